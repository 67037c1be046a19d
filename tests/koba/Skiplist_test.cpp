#include "koba/OrderedDataType.h"
#include "koba/Skiplist.h"
#include "koba/fastBuffer.h"
#include "osapi/Semaphore.h"
#include "osapi/Utility.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <bit>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <thread>
#include <tuple>

using test::Lines;
using test::operator+;

namespace {

using Node = KOBASkiplistNode;

struct Record
{
    uint32_t key[8];
    std::vector<uint64_t> words; // of the key, as they sort
    uint32_t value;              // its node has it too, and its lowest byte for a flag

    [[nodiscard]] uint8_t flag() const { return static_cast<uint8_t>(value); }
};

using Records = std::vector<const Record *>;

/** What is wrong with a list that should have these records; "" if nothing is. */
std::string flaw_of(const KOBASkiplist &list, const Records &records, const Node *tail_if_empty)
{
    Node *last[32]; // on each level
    std::fill_n(last, 32, list.head);
    Node *before = list.head;
    int top = 0;
    for (const Record *record : records) {
        Node *node = before->forward[0];
        if (node == nullptr || node->userData != record || node->userValue != record->value ||
            node->userFlag != record->flag())
            return "not the records";
        if (node->backward != before || node->level < 0 || node->level > list.head->level)
            return "a node";
        for (int level = 0; level <= node->level; ++level)
            if (std::exchange(last[level], node)->forward[level] != node)
                return "a link";
        top = std::max<int>(top, node->level);
        before = node;
    }
    for (int level = 0; level <= list.head->level; ++level)
        if (last[level]->forward[level] != nullptr)
            return "no end";
    if (list.tail != (records.empty() ? tail_if_empty : before))
        return "the tail";
    return list.topLevel == top && list.nodeCount == records.size() ? "" : "a count";
}

thread_local int t_calls = 0;
thread_local bool t_refuses = false; // the allocator of the test

/** Ascending or descending, as the parameter says; the results are no signs. */
int32_t compare_first(const void *a, const void *b, void *direction)
{
    ++t_calls;
    return 1000 * *static_cast<int32_t *>(direction) * KOBAOrderedDataType_compareUInt(a, b);
}

int32_t compare_without_parameter(const void *a, const void *b)
{
    int32_t ascending = 1;
    return compare_first(a, b, &ascending);
}

struct Order
{
    KOBASkiplistCompareFcn compare; // null: compare_first, descending
    std::size_t words;
    std::size_t word_size;
    ZOVBool is_fast;
};

constexpr Order kOrders[] = {
    {KOBAOrderedDataType_compareUInt, 1, 4, ZOV_TRUE},
    {KOBAOrderedDataType_compareDoubleUInt, 2, 4, ZOV_TRUE},
    {KOBAOrderedDataType_compareTripleUInt, 3, 4, ZOV_TRUE},
    {KOBAOrderedDataType_compareQuadUInt, 4, 4, ZOV_TRUE},
    {KOBAOrderedDataType_compareSixUInt, 6, 4, ZOV_TRUE},
    {KOBAOrderedDataType_comparePointer, 1, 8, ZOV_TRUE},
    {KOBAOrderedDataType_compareQuadPointer, 4, 8, ZOV_TRUE},
    {KOBAOrderedDataType_compareFiveUInt, 5, 4, ZOV_FALSE},
    {compare_without_parameter, 1, 4, ZOV_FALSE},
    {nullptr, 1, 4, ZOV_FALSE},
};

/** A list and a map that should have the same records, through random steps. */
class Twins
{
public:
    Twins(KOBASkiplistDescription *description, unsigned seed)
        : m_order(kOrders[seed % std::size(kOrders)]), m_random(seed)
    {
        static int32_t descending = -1;
        for (Record &record : m_records)
            fill(record);
        std::sort(m_records.begin(), m_records.end(),
                  [](const Record &a, const Record &b) { return a.words < b.words; });
        m_list = m_order.compare != nullptr
                     ? KOBASkiplist_new(description, m_order.compare, this, 7, 8)
                     : KOBASkiplist_new_ex(description, compare_first, &descending, this, 7, 8);
        EXPECT_EQ(m_list->fastCompare, m_order.is_fast);
        EXPECT_EQ(m_list->head->userData, this);
        EXPECT_EQ(m_list->head->userValue, 7u);
        EXPECT_EQ(m_list->head->userFlag, 8);
    }
    ~Twins()
    {
        const KOBASkiplist nothing = {};
        for (int i = 0; i < 2; ++i)
            KOBASkiplist_finalize(m_list);
        EXPECT_EQ(std::memcmp(m_list, &nothing, sizeof nothing), 0);
        KOBASkiplist_delete(m_list);
    }
    Twins(const Twins &) = delete;
    Twins &operator=(const Twins &) = delete;

    /** What is wrong after a random step; "" if nothing is. */
    std::string step()
    {
        const int dice = below(200);
        Record &record = m_records[static_cast<std::size_t>(below(kRecords))];
        t_refuses = dice % 20 == 0;
        const bool is_right = dice == 0    ? clear()
                              : dice < 80  ? find_or_insert(record)
                              : dice < 130 ? append()
                                           : remove(record);
        t_refuses = false;
        Records records;
        for (const auto &[words, present] : m_map)
            records.push_back(present);
        return is_right ? flaw_of(*m_list, records, m_was_emptied ? m_list->head : nullptr)
                        : "step " + std::to_string(dice);
    }

private:
    static constexpr int kRecords = 200;

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(m_random); }

    void fill(Record &record)
    {
        static constexpr uint32_t kWords[] = {0, 1, 0x7FFFFFFF, 0xFFFFFFFF};
        record.value = static_cast<uint32_t>(m_random());
        for (uint32_t &word : record.key)
            word = kWords[below(4)];
        record.key[0] = static_cast<uint32_t>(below(100)) * 42'949'672u;
        const char *bytes = reinterpret_cast<const char *>(record.key);
        for (std::size_t i = 0; i < m_order.words; ++i) {
            uint64_t &word = record.words.emplace_back(0);
            std::memcpy(&word, bytes + i * m_order.word_size, m_order.word_size);
            word = m_order.compare != nullptr ? word : ~word;
        }
    }

    bool find_or_insert(Record &record)
    {
        const auto old = m_map.find(record.words);
        const bool is_new = old == m_map.end();
        const void *expected = is_new ? &record : old->second;
        ZOVBool existed = -1;
        const Node *node =
            KOBASkiplist_assertNodeEA(m_list, &existed, &record, record.value, record.flag());
        if (t_refuses && is_new && node == nullptr)
            return existed == -1;
        m_map.emplace(record.words, &record);
        return existed == (is_new ? ZOV_FALSE : ZOV_TRUE) && node->userData == expected &&
               node == KOBASkiplist_assertNodeEA(m_list, nullptr, &record, 0, 0);
    }

    bool append()
    {
        Record *record = &m_records.front();
        while (!m_map.empty() && record->words <= m_map.rbegin()->first)
            if (++record > &m_records.back())
                return true;
        t_calls = 0;
        const Node *node =
            KOBASkiplist_addNonExistingNodeAtEndEA(m_list, record, record->value, record->flag());
        if (!t_refuses || node != nullptr) {
            m_map.emplace(record->words, record);
            ++m_appended;
        }
        return t_calls == 0 && m_list->appendCount == m_appended;
    }

    bool remove(const Record &record)
    {
        const auto place = m_map.find(record.words);
        Node *node = KOBASkiplist_removeNodeEA(m_list, &record);
        if (node == nullptr || place == m_map.end())
            return node == nullptr && place == m_map.end();
        const bool is_right = node->userData == place->second;
        KOBASkiplist_deleteNode(m_list, node);
        m_map.erase(place);
        m_was_emptied = m_was_emptied || m_map.empty();
        return is_right;
    }

    bool clear()
    {
        KOBASkiplist_clearEA(m_list);
        m_map.clear();
        m_was_emptied = false;
        return true;
    }

    const Order &m_order;
    std::mt19937 m_random;
    std::vector<Record> m_records = std::vector<Record>(kRecords);
    KOBASkiplist *m_list;
    std::map<std::vector<uint64_t>, const Record *> m_map;
    uint32_t m_appended = 0;
    bool m_was_emptied = false; // by removals, since the list was new or cleared
};

std::string first_flaw(KOBASkiplistDescription *description, unsigned seed)
{
    Twins twins(description, seed);
    std::string flaw;
    for (int step = 0; step < 2000 && flaw.empty(); ++step)
        flaw = twins.step();
    return flaw;
}

TEST(Skiplist, IsAMapThroughAllSteps)
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
        if (seed % 3 == 0)
            description.level = any_level;
        EXPECT_EQ(first_flaw(&description, seed), "") << seed;
        EXPECT_EQ(nodes.size(), 0u) << seed;
    }
}

TEST(Skiplist, TakesNoMaximumLevelThatIsOutOfRange)
{
    const test::LogCapture capture;
    for (const int level : {-128, -1, 32, 127}) {
        KOBASkiplistDescription description = {};
        description.maximumLevel = static_cast<int8_t>(level);
        for (const auto create :
             {KOBASkiplist_newDefaultAllocator, KOBASkiplist_newDefaultAllocatorSafe})
            EXPECT_FALSE(create(&description, static_cast<int8_t>(level), 1));
        KOBASkiplist list;
        EXPECT_FALSE(
            KOBASkiplist_init(&list, &description, compare_without_parameter, nullptr, 0, 0));
        KOBASkiplist_finalize(&list);
    }
    EXPECT_EQ(capture.lines(), Lines());
}

TEST(Level, IsTheLengthOfARunOfBitsWithinTheLimits)
{
    const std::tuple<int32_t, uint32_t, int> cases[] = {
        {-1, 1000, 0}, {0, 1000, 0}, {5, 1000, 5}, {31, 0, 0},         {31, 1, 0},
        {31, 2, 1},    {31, 3, 1},   {31, 4, 2},   {32, UINT_MAX, 31},
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
    KOBASkiplistDescription description;

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
    for (const bool is_safe : {false, true})
        for (const int32_t expected : {INT_MIN, 0, 1, 10, 100}) {
            Allocator allocator = {is_safe, {}};
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
    Allocator allocator = {true, {}};
    ASSERT_TRUE(allocator.create(6, 1));
    std::thread threads[2];
    for (unsigned seed = 0; seed < 2; ++seed)
        threads[seed] =
            std::thread([&, seed] { EXPECT_EQ(first_flaw(&allocator.description, seed), ""); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(allocator.destroy(), 0);
}

/** Makes an allocator of two levels with a node each, and a list to which a record goes twice. */
std::string make_and_use_list(bool is_safe)
{
    Allocator allocator = {is_safe, {}};
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

/** What a pool reports for each of its allocations that fails when it is made. */
std::vector<Lines> reports_of_pool(int32_t size)
{
    const KOBAFastBufferPoolProperty property = {{1, -1, -1}, 0, 0, 0};
    test::LogCapture capture;
    capture.set_levels(0x3);
    for (std::vector<Lines> reports;; reports.push_back(capture.take())) {
        const test::Fault fault("calloc " + std::to_string(reports.size() + 1));
        KOBAFastBufferPool *pool = KOBAFastBufferPool_new(size, 8, &property);
        KOBAFastBufferPool_delete(pool);
        if (pool != nullptr)
            return reports;
    }
}

void add_mutex_faults(test::Faults &faults)
{
    const std::string get = "KOBASkiplistDefaultAllocator_createNodeSafe:";
    const std::string put = "KOBASkiplistDefaultAllocator_destroyNodeSafe:";
    const Lines no_node = {"ZOVOsapiSemaphore_take:OS()\n", get + "!take mutex\n",
                           "KOBASkiplistNode_new:!create node\n"};
    const auto add = [&](const std::string &call, const std::string &result, const Lines &lines,
                         int leaks = 0) {
        faults["pthread_mutex_" + call] = {result, lines, leaks};
    };
    add("init 1", "no allocator",
        {"ZOVOsapiSemaphore_new:OS()\n", "KOBASkiplist_newDefaultAllocatorSafe:!create mutex\n"},
        1);
    add("destroy 1", "0 out", {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1);
    add("lock 1", "no list, 0 out",
        no_node + Lines{"KOBASkiplist_init:!create head\n", "KOBASkiplist_new:!init list\n"});
    add("lock 2", "not inserted, 0 out",
        no_node + Lines{"KOBASkiplist_assertNodeEA:!create node\n"});
    add("lock 4", "not appended, 0 out",
        no_node + Lines{"KOBASkiplist_addNonExistingNodeAtEndEA:!create node\n"});
    add("lock", "1 out", {"ZOVOsapiSemaphore_take:OS()\n", put + "!take mutex\n"});
    for (const char *call : {"unlock 1", "unlock 2", "unlock 4"})
        add(call, "0 out", {"ZOVOsapiSemaphore_give:OS()\n", get + "!give mutex\n"});
    add("unlock", "0 out", {"ZOVOsapiSemaphore_give:OS()\n", put + "!give mutex\n"});
}

TEST(DefaultAllocator, FailsAsAWhole)
{
    for (const bool is_safe : {false, true}) {
        const std::string create = "KOBASkiplist_newDefaultAllocator";
        const std::string safe = create + "Safe:!create ";
        test::Faults faults;
        int calls = 0;
        const auto no_memory = [&](const std::string &result, const std::string &operation,
                                   std::size_t size, const Lines &lines) {
            faults["calloc " + std::to_string(++calls)] = {
                result, test::no_memory("ZOVOsapiHeap_allocate" + operation, size) + lines};
        };
        if (is_safe) {
            no_memory("no allocator", "Structure", 2 * sizeof(void *),
                      {safe + "allocatorParameter\n"});
            no_memory("no allocator", "Structure", sizeof(ZOVOsapiSemaphore), {safe + "mutex\n"});
        }
        no_memory("no allocator", "Array", 2 * sizeof(void *),
                  is_safe ? Lines{safe + "poolArray\n"} : Lines());
        for (int pool = 0; pool < 2; ++pool)
            for (const Lines &lines : reports_of_pool(32 + 8 * pool))
                faults["calloc " + std::to_string(++calls)] = {
                    "no allocator",
                    lines + Lines{(is_safe ? safe : create + ":!create ") + "fast buffer pool\n"}};
        no_memory("no list, 0 out", "Structure", sizeof(KOBASkiplist), {});
        if (is_safe)
            add_mutex_faults(faults);
        test::for_each_fault([=] { return make_and_use_list(is_safe); }, {"0 out"}, faults);
    }
}

} // namespace
