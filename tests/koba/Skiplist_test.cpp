#include "koba/OrderedDataType.h"
#include "koba/Skiplist.h"
#include "koba/fastBuffer.hpp"
#include "osapi/Utility.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <array>
#include <bit>
#include <climits>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <thread>
#include <tuple>

using test::Lines;
using test::no_memory;
using test::operator+;

namespace {

using Node = KOBASkiplistNode;

struct Record
{
    uint32_t key[8];
    uint32_t value; // its node has it too, and its lowest byte for a flag

    [[nodiscard]] uint8_t flag() const { return static_cast<uint8_t>(value); }
};

using Records = std::set<Record *, std::function<bool(Record *, Record *)>>;

/** Whether a list has these records and is sound. */
bool is_list_of(const KOBASkiplist &list, const Records &records, const Node *tail_if_empty)
{
    Node *last[32]; // on each level
    std::fill_n(last, 32, list.head);
    Node *before = list.head;
    int top = 0;
    for (const Record *record : records) {
        Node *node = before->forward[0];
        if (node == nullptr || node->userData != record || node->userValue != record->value ||
            node->userFlag != record->flag() || node->backward != before || node->level < 0 ||
            node->level > list.head->level)
            return false;
        for (int level = 0; level <= node->level; ++level)
            if (std::exchange(last[level], node)->forward[level] != node)
                return false;
        top = std::max<int>(top, node->level);
        before = node;
    }
    for (int level = 0; level <= list.head->level; ++level)
        if (last[level]->forward[level] != nullptr)
            return false;
    return list.tail == (records.empty() ? tail_if_empty : before) && list.topLevel == top &&
           list.nodeCount == records.size();
}

thread_local int t_calls = 0;
thread_local bool t_refuses = false; // the allocator of the test

/** Ascending or descending, as the parameter says; the results are no signs. */
int32_t compare_first(const void *a, const void *b, void *direction)
{
    ++t_calls;
    return 1000 * *static_cast<int32_t *>(direction) * KOBAOrderedDataType_compareUInt(a, b);
}

int32_t descending(const void *a, const void *b)
{
    int32_t direction = -1;
    return compare_first(a, b, &direction);
}

constexpr std::pair<KOBASkiplistCompareFcn, ZOVBool> kOrders[] = {
    {KOBAOrderedDataType_compareUInt, ZOV_TRUE},
    {KOBAOrderedDataType_compareDoubleUInt, ZOV_TRUE},
    {KOBAOrderedDataType_compareTripleUInt, ZOV_TRUE},
    {KOBAOrderedDataType_compareQuadUInt, ZOV_TRUE},
    {KOBAOrderedDataType_compareSixUInt, ZOV_TRUE},
    {KOBAOrderedDataType_comparePointer, ZOV_TRUE},
    {KOBAOrderedDataType_compareQuadPointer, ZOV_TRUE},
    {KOBAOrderedDataType_compareFiveUInt, ZOV_FALSE},
    {descending, ZOV_FALSE},
    {nullptr, ZOV_FALSE}}; // compare_first, descending; the others have a fast comparison or not

// Each takes the same step with a list and with the set of what it has, and tells whether the list
// answered as it should.

bool find_or_insert(KOBASkiplist *list, Records &records, Record &record)
{
    ZOVBool existed = -1;
    const Node *node =
        KOBASkiplist_assertNodeEA(list, &existed, &record, record.value, record.flag());
    if (t_refuses && node == nullptr)
        return existed == -1 && !records.contains(&record);
    const auto [place, is_new] = records.insert(&record);
    return existed == (is_new ? ZOV_FALSE : ZOV_TRUE) && node->userData == *place &&
           node == KOBASkiplist_assertNodeEA(list, nullptr, &record, 0, 0);
}

bool append(KOBASkiplist *list, Records &records, const Records &all)
{
    const auto next = records.empty() ? all.begin() : all.upper_bound(*records.rbegin());
    if (next == all.end())
        return true;
    t_calls = 0;
    const uint32_t count = list->appendCount;
    const Node *node =
        KOBASkiplist_addNonExistingNodeAtEndEA(list, *next, (*next)->value, (*next)->flag());
    const bool is_uncompared = t_calls == 0;
    if (t_refuses && node == nullptr)
        return list->appendCount == count;
    records.insert(*next);
    return is_uncompared && list->appendCount == count + 1;
}

bool remove(KOBASkiplist *list, Records &records, Record &record)
{
    const auto place = records.find(&record);
    Node *node = KOBASkiplist_removeNodeEA(list, &record);
    if (node == nullptr || place == records.end())
        return node == nullptr && place == records.end();
    const bool is_right = node->userData == *place;
    KOBASkiplist_deleteNode(list, node);
    records.erase(place);
    return is_right;
}

std::vector<Record> random_records(std::mt19937 &random)
{
    std::vector<Record> records(200);
    for (Record &record : records) {
        for (uint32_t &word : record.key)
            word = std::array{0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu}[random() % 4];
        record.key[0] = static_cast<uint32_t>(random() % 100) * 42'949'672u;
        record.value = static_cast<uint32_t>(random());
    }
    return records;
}

/** The first of some random steps behind which a list is not what it should be; -1 for none. */
int first_flaw(KOBASkiplistDescription *description, unsigned seed)
{
    const auto [compare, is_fast] = kOrders[seed % std::size(kOrders)];
    const auto order = compare != nullptr ? compare : descending;
    Records records([=](auto *a, auto *b) { return order(a, b) < 0; });
    Records all = records;
    std::mt19937 random(seed);
    std::vector<Record> given = random_records(random);
    for (Record &record : given)
        all.insert(&record);
    int32_t direction = -1;
    KOBASkiplist *list =
        compare != nullptr
            ? KOBASkiplist_new(description, compare, &direction, 7, 8)
            : KOBASkiplist_new_ex(description, compare_first, &direction, &direction, 7, 8);
    EXPECT_EQ(std::tuple(list->head->userData, list->head->userValue, list->head->userFlag),
              std::tuple(&direction, 7u, 8));
    EXPECT_EQ(list->fastCompare, is_fast);
    bool is_right = true;
    int step = 0;
    const Node *tail_if_empty = nullptr;
    for (; is_right && step < 2000; ++step) {
        Record &record = given[random() % given.size()];
        const auto dice = random() % 200;
        if (dice == 0) {
            KOBASkiplist_clearEA(list);
            records.clear();
            tail_if_empty = nullptr;
        }
        const bool had_any = !records.empty();
        t_refuses = dice % 20 == 0;
        is_right = dice < 80    ? find_or_insert(list, records, record)
                   : dice < 130 ? append(list, records, all)
                                : remove(list, records, record);
        t_refuses = false;
        if (had_any && records.empty())
            tail_if_empty = list->head;
        is_right = is_right && is_list_of(*list, records, tail_if_empty);
    }
    for (int i = 0; i < 2; ++i)
        KOBASkiplist_finalize(list);
    EXPECT_TRUE(ZOVOsapiMemory_isZero(list, sizeof *list));
    KOBASkiplist_delete(list);
    return is_right ? -1 : step;
}

TEST(Skiplist, IsASetThroughAllSteps)
{
    const test::LogCapture capture; // of what is refused
    static std::set<void *> nodes;
    const auto create = [](int32_t level, void *) {
        void *node = t_refuses ? nullptr : std::malloc(KOBA_SKIPLIST_NODE_SIZE(level));
        if (node != nullptr)
            nodes.insert(node);
        return static_cast<Node *>(node);
    };
    const auto destroy = [](void *, Node *node) {
        EXPECT_EQ(nodes.erase(node), 1u);
        std::free(node);
    };
    const auto any_level = [](void *, int32_t, uint32_t) {
        return ZOVOsapiUtility_randRange(-2, 40);
    };
    for (unsigned seed = 1; seed <= 50; ++seed) {
        ZOVOsapiUtility_srandWithSeed(seed);
        const int8_t levels[] = {0, 1, 2, 3, 6, 12, 31};
        KOBASkiplistDescription description;
        KOBASkiplistDescription_init(&description, levels[seed % 7], create, nullptr, destroy,
                                     nullptr, nullptr, nullptr);
        EXPECT_EQ(KOBASkiplistDescription_getMaximumLevel(&description), levels[seed % 7]);
        if (seed % 3 == 0)
            description.level = any_level;
        EXPECT_EQ(first_flaw(&description, seed), -1) << seed;
        EXPECT_EQ(nodes.size(), 0u) << seed;
    }
}

TEST(Skiplist, TakesNoMaximumLevelThatIsOutOfRange)
{
    const test::LogCapture capture;
    constexpr int8_t kLevels[] = {-128, -1, 32, 127};
    for (const int8_t level : kLevels) {
        KOBASkiplistDescription description = {};
        description.maximumLevel = level;
        EXPECT_FALSE(KOBASkiplist_newDefaultAllocator(&description, level, 1));
        EXPECT_FALSE(KOBASkiplist_newDefaultAllocatorSafe(&description, level, 1));
        EXPECT_EQ(KOBASkiplist_new(&description, descending, nullptr, 0, 0), nullptr);
    }
    EXPECT_EQ(capture.lines(), Lines(4, "KOBASkiplist_new:!init list\n"));
}

TEST(Level, IsTheLengthOfARunOfBitsWithinTheLimits)
{
    const std::tuple<int32_t, uint32_t, int> cases[] = {
        {-1, 1000, 0}, {0, 1000, 0}, {1, 1000, 1}, {5, 1000, 5}, {31, 0, 0},
        {31, 1, 0},    {31, 2, 1},   {31, 3, 1},   {31, 4, 2},   {32, UINT_MAX, 31},
    };
    for (const auto &[maximum_level, node_count, limit] : cases)
        for (unsigned seed = 0; seed < 200; ++seed) {
            ZOVOsapiUtility_srandWithSeed(seed);
            const int run = std::countr_one(static_cast<uint32_t>(ZOVOsapiUtility_rand()));
            ZOVOsapiUtility_srandWithSeed(seed);
            EXPECT_EQ(KOBASkiplist_binaryDistribution(nullptr, maximum_level, node_count),
                      std::min(run, limit));
        }
    constexpr int32_t kOptima[][2] = {{INT_MIN, 31}, {0, 31},    {1, 1},     {2, 1},
                                      {3, 2},        {1024, 10}, {1025, 11}, {INT_MAX, 31}};
    for (const auto &[count, level] : kOptima)
        EXPECT_EQ(KOBASkiplist_getOptimumMaximumLevel(count), level) << count;
}

/** The default allocator of one kind or the other. */
struct Allocator
{
    bool is_safe;
    KOBASkiplistDescription description = {};

    ZOVBool create(int8_t maximum_level, int32_t expected_count)
    {
        return (is_safe ? KOBASkiplist_newDefaultAllocatorSafe : KOBASkiplist_newDefaultAllocator)(
            &description, maximum_level, expected_count);
    }
    [[nodiscard]] KOBAFastBufferPoolInfo info(int level) const
    {
        void *parameter = description.createParameter;
        auto *safe = static_cast<KOBASkiplistDefaultAllocatorParameter *>(parameter);
        auto **pools = is_safe ? safe->poolArray : static_cast<KOBAFastBufferPool **>(parameter);
        KOBAFastBufferPoolInfo info;
        KOBAFastBufferPool_getInfo(pools[level], &info);
        return info;
    }
    /** Deletes it, and does so more than once. Returns how many nodes were out. */
    int destroy()
    {
        int out = 0;
        for (int level = 0; level <= description.maximumLevel; ++level)
            out += info(level).inUse;
        for (const bool was_plain : {!is_safe, true}) {
            KOBASkiplist_deleteDefaultAllocator(&description);
            EXPECT_EQ(description.createNode == nullptr, was_plain) << "whose it was";
            KOBASkiplist_deleteDefaultAllocatorSafe(&description);
        }
        return out;
    }
};

TEST(DefaultAllocator, HasAPoolForEachLevel)
{
    for (const int32_t expected : {INT_MIN, 0, 1, 10, 100}) {
        Allocator allocator = {expected > 1};
        ASSERT_TRUE(allocator.create(5, expected));
        for (int level = 0; level <= 5; ++level) {
            EXPECT_EQ(allocator.info(level).bufferSize, 32 + 8 * level);
            EXPECT_EQ(allocator.info(level).allocated, std::max(1, expected / (1 << level)));
            EXPECT_EQ(allocator.info(level).maximal, -1);
        }
        allocator.destroy();
    }
}

TEST(DefaultAllocator, TheSafeOneServesTwoThreads)
{
    Allocator allocator = {true};
    ASSERT_TRUE(allocator.create(6, 1));
    const auto use = [&](unsigned seed) {
        EXPECT_EQ(first_flaw(&allocator.description, seed), -1);
    };
    std::thread other(use, 1);
    use(0);
    other.join();
    EXPECT_EQ(allocator.destroy(), 0);
}

/** An allocator of two levels with a node each, and a list to which a record goes twice. */
std::string make_and_use_list(bool is_safe)
{
    Allocator allocator = {is_safe};
    if (!allocator.create(1, 1))
        return allocator.description.createNode == nullptr ? "no allocator" : "changed";
    std::string result = "no list, ";
    Record record = {};
    KOBASkiplist *list =
        KOBASkiplist_new(&allocator.description, KOBAOrderedDataType_compareUInt, nullptr, 0, 0);
    if (list != nullptr) {
        const auto *node = KOBASkiplist_assertNodeEA(list, nullptr, &record, 0, 0);
        result = node == nullptr ? "not inserted, " : "";
        KOBASkiplist_deleteNode(list, KOBASkiplist_removeNodeEA(list, &record));
        node = KOBASkiplist_addNonExistingNodeAtEndEA(list, &record, 0, 0);
        result += node == nullptr ? "not appended, " : "";
    }
    KOBASkiplist_delete(list);
    return result + std::to_string(allocator.destroy()) + " out";
}

TEST(DefaultAllocator, FailsAsAWhole)
{
    using test::Expected;
    const std::string structure = "ZOVOsapiHeap_allocateStructure";
    const Lines no_array = no_memory("ZOVOsapiHeap_allocateArray", 2 * sizeof(void *));
    const Lines no_pool =
        no_memory(structure, sizeof(KOBAFastBufferPool)) +
        Lines{"KOBAFastBufferPool_newWithNotification:!create fast buffer pool\n"};
    const auto none = [](const std::string &kind, const Lines &cause, const std::string &what) {
        return Expected{
            kind == "Safe" ? "0 out; no allocator" : "no allocator; 0 out",
            cause + Lines{"KOBASkiplist_newDefaultAllocator" + kind + ":!create " + what + "\n"}};
    };
    const auto mutex = [](const std::string &result, const std::string &verb,
                          const std::string &operation, const Lines &more = {}) {
        return Expected{"0 out; " + result, Lines{"ZOVOsapiSemaphore_" + verb + ":OS()\n",
                                                  "KOBASkiplistDefaultAllocator_" + operation +
                                                      "NodeSafe:!" + verb + " mutex\n"} +
                                                more};
    };
    const auto no_node = [&](const std::string &result, const Lines &more) {
        return mutex(result + ", 0 out", "take", "create",
                     Lines{"KOBASkiplistNode_new:!create node\n"} + more);
    };
    test::Faults faults = {
        {"calloc 1", {{"no allocator; 0 out", no_array}}},
        {"calloc 2", none("", no_pool, "fast buffer pool")},
        {"calloc 6", none("", no_pool, "fast buffer pool")}, // of the other level
        {"calloc 10", {{"no list, 0 out; 0 out", no_memory(structure, sizeof(KOBASkiplist))}}},
        {"calloc 11", none("Safe", no_memory(structure, 16), "allocatorParameter")},
        {"calloc 12", none("Safe", no_memory(structure, sizeof(ZOVOsapiSemaphore)), "mutex")},
        {"calloc 13", none("Safe", no_array, "poolArray")},
        {"calloc 18", none("Safe", no_pool, "fast buffer pool")},
        {"pthread_mutex_init", none("Safe", {"ZOVOsapiSemaphore_new:OS()\n"}, "mutex")},
        {"pthread_mutex_destroy",
         {{"0 out; 0 out", {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
        {"pthread_mutex_lock 1",
         no_node("no list", {"KOBASkiplist_init:!create head\n", "KOBASkiplist_new:!init list\n"})},
        {"pthread_mutex_lock 2",
         no_node("not inserted", {"KOBASkiplist_assertNodeEA:!create node\n"})},
        {"pthread_mutex_lock 4",
         no_node("not appended", {"KOBASkiplist_addNonExistingNodeAtEndEA:!create node\n"})},
        {"pthread_mutex_lock", mutex("1 out", "take", "destroy")},
        {"pthread_mutex_unlock 1", mutex("0 out", "give", "create")},
        {"pthread_mutex_unlock 3", mutex("0 out", "give", "destroy")},
    };
    faults["pthread_mutex_init"]->leaks = 1;
    const auto use_both = [] {
        const std::string plain = make_and_use_list(false);
        return plain + "; " + make_and_use_list(true);
    };
    test::for_these_faults(use_both, {"0 out; 0 out"}, faults);
}

} // namespace
