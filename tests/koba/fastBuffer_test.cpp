#include "koba/fastBuffer.hpp"
#include "tests/osapi/heap_monitor.hpp"
#include "tests/support/Faults.hpp"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

using koba::fast_buffer::DeletedBy;
using test::Expected;
using test::Lines;
using test::LogCapture;
using test::no_memory;
using test::os_failure;
using test::operator+;

namespace {

using Pool = std::unique_ptr<KOBAFastBufferPool, DeletedBy<KOBAFastBufferPool_delete>>;
using Set = std::unique_ptr<KOBAFastBufferPoolSet, DeletedBy<KOBAFastBufferPoolSet_delete>>;
using Property = KOBAFastBufferPoolProperty;
using Sizes = std::vector<int64_t>;

const std::string kNew = "KOBAFastBufferPool_newWithNotification:";
const std::string kNewSet = "KOBAFastBufferPoolSet_new:";
const std::string kGrow = "KOBAFastBufferPool_growEmptyPoolEA:";
const std::string kStructure = "ZOVOsapiHeap_allocateStructure";
const std::string kNoAlignment = "!( ((bufferAlignment) > 0) && (((bufferAlignment) & "
                                 "(-bufferAlignment)) == (bufferAlignment)) )";

constexpr Property growing(int32_t initial, int32_t maximal, int32_t increment)
{
    return {{initial, maximal, increment}, 0, 0, 0};
}
constexpr Property kDoubling = growing(1, -1, -1);

Pool make(int32_t size, int32_t alignment, const Property &property)
{
    return Pool(KOBAFastBufferPool_new(size, alignment, &property));
}

std::vector<char *> get(const Pool &pool, int count)
{
    std::vector<char *> buffers;
    while (count-- > 0)
        buffers.push_back(static_cast<char *>(KOBAFastBufferPool_getBuffer(pool.get())));
    return buffers;
}

std::string usage(KOBAFastBufferPool *pool)
{
    KOBAFastBufferPoolInfo info;
    EXPECT_EQ(KOBAFastBufferPool_getInfo(pool, &info),
              KOBAFastBufferPool_getProperty(pool)->growth.maximal);
    return std::to_string(info.inUse) + " of " + std::to_string(info.allocated);
}

/** How large a pool becomes: the first five sizes and the last one. */
Sizes sizes_of(const Property &property)
{
    Sizes sizes;
    int64_t count = 0;
    for (int64_t step = property.growth.initial; step > 0;
         step = koba::fast_buffer::next_growth(property, static_cast<int32_t>(count),
                                               static_cast<int32_t>(step))) {
        count += step;
        sizes.resize(std::min<std::size_t>(sizes.size(), 5));
        sizes.push_back(count);
    }
    return sizes;
}

TEST(FastBufferPool, GrowsToTwiceItsLastGrowthWithinItsLimits)
{
    const std::pair<Property, Sizes> cases[] = {
        {growing(4, 20, -1), {4, 12, 20}},
        {growing(4, -1, 1000003), {4, 12, 28, 60, 124, INT32_MAX}},
        {growing(4, 999, 10), {4, 12, 22, 32, 42, 999}},
        {growing(4, 7, 1), {4, 5, 6, 7}},
        {growing(4, 25, 5), {4, 9, 14, 19, 25}}, // the last step leaves nothing over: it is longer
        {growing(4, 26, 5), {4, 9, 14, 19, 24, 26}}, // or shorter
        {growing(INT32_MAX - 7, -1, 5), {INT32_MAX - 7, INT32_MAX - 2, INT32_MAX}},
        {growing(1 << 30, -1, -1), {1 << 30, INT32_MAX}},
        {growing(INT32_MAX / 2, INT32_MAX - 1, INT32_MAX), {INT32_MAX / 2, INT32_MAX - 1}},
        {growing(3, 3, 0), {3}},
        {{{3, 3, 0}, 0, 0, 1}, {3, 9, 21, 45, 93, INT32_MAX}},
    };
    for (const auto &[property, sizes] : cases)
        EXPECT_EQ(sizes_of(property), sizes);
}

TEST(FastBufferPool, HandsOutBuffersInTheOrderOfAddressesAndTakesThemBack)
{
    const Pool pool = make(9, 8, growing(3, 9, -1));
    ASSERT_EQ(KOBAFastBufferPool_getBufferSize(pool.get()), 16);
    const std::vector<char *> buffers = get(pool, 9);
    for (const std::size_t i : {1u, 2u, 4u, 5u, 6u, 7u, 8u})
        EXPECT_EQ(buffers[i] - buffers[i - 1], 16) << i;
    {
        const test::Fault counting;
        EXPECT_EQ(KOBAFastBufferPool_getBuffer(pool.get()), nullptr);
        EXPECT_EQ(test::live_blocks(), 0u);
    }
    for (char *buffer : buffers)
        KOBAFastBufferPool_returnBuffer(pool.get(), buffer);
    char more;
    KOBAFastBufferPool_returnBuffer(pool.get(), &more); // there is no room
    EXPECT_EQ(get(pool, 8), std::vector(buffers.rbegin(), buffers.rend() - 1));
    KOBAFastBufferPool_returnBuffer(pool.get(), nullptr);
    EXPECT_EQ(usage(pool.get()), "8 of 9");
    EXPECT_EQ(KOBAFastBufferPool_getBufferNoMalloc(pool.get()), buffers[0]);
    EXPECT_EQ(KOBAFastBufferPool_getBufferNoMalloc(pool.get()), nullptr);
    for (const int32_t alignment : {1, 64, 4096})
        for (const char *buffer : get(make(1, alignment, kDoubling), 7))
            EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer) % static_cast<unsigned>(alignment), 0u);
}

TEST(FastBufferPool, RefusesWhatItCannotBe)
{
    const auto with_increment_0 = [](int32_t initial, int32_t maximal) {
        return Property{{initial, maximal, 0}, 0, 1, 1};
    };
    // Each has the faults of all that follow it.
    const std::tuple<int32_t, int32_t, Property, std::string> cases[] = {
        {0, 0, with_increment_0(0, 1), "propertyIn->growth.initial < 1"},
        {0, 0, with_increment_0(1, 0),
         "(((&propertyIn->growth)->maximal >= 0) && ((propertyIn->growth.initial) > "
         "(&propertyIn->growth)->maximal))"},
        {0, 0, with_increment_0(2, 3), "bufferSize < 1"},
        {1, 24, with_increment_0(2, 3), kNoAlignment},
        {1, INT32_MIN, with_increment_0(2, 3), kNoAlignment},
        {INT32_MAX, 2, with_increment_0(2, -1),
         "propertyIn->growth.increment == 0 && propertyIn->growth.maximal != "
         "propertyIn->growth.initial"},
        {INT32_MAX, 2, with_increment_0(2, 2),
         "bufferInitializeFnc != ((void *)0) && propertyIn->zeroBufferContent != 0"},
        {INT32_MAX, 2, kDoubling, ""},
        {(1 << 30) + 1, 1 << 30, {{1, -1, -1}, 1, 0, 0}, ""},
    };
    const LogCapture capture;
    EXPECT_EQ(KOBAFastBufferPool_new(0, 0, nullptr), nullptr);
    Lines lines = {kNew + "!precondition: propertyIn == ((void *)0)\n"};
    const KOBAFastBufferInitializeFcn initialize = [](void *, void *) { return 1; };
    for (const auto &[size, alignment, property, condition] : cases) {
        EXPECT_EQ(KOBAFastBufferPool_newWithNotification(size, alignment, initialize, nullptr,
                                                         nullptr, nullptr, &property),
                  nullptr);
        lines.push_back(kNew + (condition.empty() ? "!create fast buffer pool buffers\n"
                                                  : "!precondition: " + condition + "\n"));
    }
    const test::Fault fault("calloc 3"); // of the largest pool that is tried
    EXPECT_EQ(make(INT32_MAX, 1, kDoubling), nullptr);
    EXPECT_EQ(capture.lines(), lines + Lines({kGrow + " !allocate buffer of 2147483647 bytes\n",
                                              kNew + "!create fast buffer pool buffers\n"}));
}

/** What a buffer has while it is ready: a number and a block, which may be lacking. */
struct Item
{
    void *block;
    int number;
};

struct Notes
{
    std::string text = {};
    int made = 0;
};

int32_t initialize(void *buffer, void *parameter)
{
    auto &notes = *static_cast<Notes *>(parameter);
    auto *item = new (buffer) Item{ZOVOsapiHeap_malloc(1), ++notes.made};
    notes.text += "+" + std::to_string(item->number) + " ";
    return item->block != nullptr ? 7 : 0;
}

void finalize(void *buffer, void *parameter)
{
    auto *item = static_cast<Item *>(buffer);
    ZOVOsapiHeap_free(item->block);
    static_cast<Notes *>(parameter)->text += "-" + std::to_string(item->number) + " ";
}

/** The numbers of the buffers that six gets make and take, the fourth get without growth. */
std::string use_pool()
{
    Notes notes;
    const Property property = {{3, 4, -1}, 1, 0, 0};
    Pool pool(KOBAFastBufferPool_newWithNotification(12, 8, initialize, &notes, finalize, &notes,
                                                     &property));
    if (pool == nullptr)
        return notes.text + "null";
    Item *last = nullptr;
    for (int i = 1; i <= 6; ++i) {
        const auto take =
            i == 4 ? KOBAFastBufferPool_getBufferNoMalloc : KOBAFastBufferPool_getBuffer;
        auto *item = static_cast<Item *>(take(pool.get()));
        notes.text += item != nullptr ? std::to_string(item->number) + " " : "null ";
        if (item != nullptr)
            ZOVOsapiHeap_free(std::exchange((last = item)->block, nullptr));
    }
    KOBAFastBufferPool_returnBuffer(pool.get(), last);
    notes.text += usage(pool.get()) + " ";
    pool.reset();
    return notes.text;
}

TEST(FastBufferFaults, AreReportedAndAFailedGrowthMayBeTriedAgain)
{
    const auto no_pool = [](const Lines &cause, const std::string &what,
                            const std::string &notes = "") {
        return Expected{notes + "null", cause + Lines{kNew + "!create " + what + "\n"}};
    };
    const auto used = [](const std::string &notes, const Lines &before, const Lines &after = {}) {
        return Expected{
            "+1 +2 +3 " + notes + "3 of 4 -4 ",
            before + Lines{test::warning("KOBAFastBufferPool_delete:!all buffers returned\n")} +
                after};
    };
    const auto no_growth = [&](const std::string &operation, std::size_t size,
                               const std::string &line) {
        return used("1 2 3 null null +4 4 ",
                    no_memory("ZOVOsapiHeap_" + operation, size) + Lines{kGrow + line + "\n"});
    };
    const auto no_mutex = [](const std::string &operation, const std::string &verb) {
        return Lines{"ZOVOsapiSemaphore_" + verb + ":OS()\n",
                     "KOBAFastBufferPool_" + operation + ":!" + verb + " mutex\n"};
    };
    const std::string notes = "1 2 3 null +4 4 null ";
    const Lines not_ready =
        no_memory("ZOVOsapiHeap_malloc", 1) + Lines{kGrow + "!init newly allocated buffer\n"};
    test::Faults faults = {
        {"calloc 1",
         no_pool(no_memory(kStructure, sizeof(KOBAFastBufferPool)), "fast buffer pool")},
        {"calloc 2", no_pool(no_memory(kStructure, sizeof(ZOVOsapiSemaphore)), "mutex")},
        {"calloc 8", no_pool(not_ready, "fast buffer pool buffers", "+1 +2 +3 -2 -1 ")},
        {"calloc 9", no_growth("allocateStructure", sizeof(KOBAFastBufferPoolStorage),
                               " !allocate container for buffer for 16 bytes")},
        {"calloc 10", no_growth("allocateBufferAligned", 16, " !allocate buffer of 16 bytes")},
        {"calloc 11", no_growth("allocateArray", 32, " !allocate stack of 4 buffers")},
        {"calloc 12", {{"+1 +2 +3 1 2 3 null +4 null +5 5 3 of 4 -5 ", used("", not_ready).lines}}},
        {"pthread_mutex_init", no_pool({"ZOVOsapiSemaphore_new:OS()\n"}, "mutex")},
        {"pthread_mutex_destroy", used(notes, {}, {"ZOVOsapiSemaphore_delete:!delete mutex\n"})},
        {"pthread_mutex_lock 1", used("null 1 2 3 +4 4 null ", no_mutex("getBuffer", "take"))},
        {"pthread_mutex_lock 4", used(notes, no_mutex("getBufferNoMalloc", "take"))},
        {"pthread_mutex_lock 7",
         {{"+1 +2 +3 " + notes + "4 of 4 ", used("", no_mutex("returnBuffer", "take")).lines}}},
        {"pthread_mutex_unlock 4", used(notes, no_mutex("getBufferNoMalloc", "give"))},
        {"pthread_mutex_unlock 7", used(notes, no_mutex("returnBuffer", "give"))},
        {"pthread_mutex_unlock", used(notes, no_mutex("getBuffer", "give"))},
    };
    faults["pthread_mutex_init"]->leaks = faults["pthread_mutex_destroy"]->leaks = 1;
    test::for_these_faults(use_pool, used(notes, {}), faults);
}

char *g_buffer = nullptr;

TEST(FastBufferPool, ZeroesWhatAGetHandsOutOutsideTheMutex)
{
    const LogCapture capture;
    for (const int32_t guarded : {0, 1}) {
        const Pool pool = make(24, 8, {{2, 2, 0}, guarded, 1, 0});
        g_buffer = get(pool, 1)[0];
        const auto contents_after = [&](void *(*take)(KOBAFastBufferPool *)) {
            std::memset(g_buffer, 0x5A, 24);
            KOBAFastBufferPool_returnBuffer(pool.get(), g_buffer);
            const test::Replacement unlock(
                test::instead::pthread_mutex_unlock, +[](pthread_mutex_t *mutex) {
                    EXPECT_EQ(*g_buffer, 0x5A) << "zeroed under the mutex";
                    return __real_pthread_mutex_unlock(mutex);
                });
            EXPECT_EQ(take(pool.get()), g_buffer);
            return std::string(g_buffer, 24);
        };
        EXPECT_EQ(contents_after(KOBAFastBufferPool_getBuffer), std::string(24, '\0'));
        EXPECT_EQ(contents_after(KOBAFastBufferPool_getBufferNoMalloc), std::string(24, 0x5A));
        const test::Fault fault("pthread_mutex_unlock 2"); // the first is the return's
        EXPECT_EQ(contents_after(KOBAFastBufferPool_getBuffer)[23] == 0x5A, guarded != 0);
    }
    const Pool growing = make(24, 8, {{1, -1, -1}, 0, 1, 0});
    for (const char *buffer : get(growing, 3))
        EXPECT_EQ(std::string(buffer, 24), std::string(24, '\0'));
    EXPECT_EQ(capture.lines(), Lines({os_failure("ZOVOsapiSemaphore_give", "pthread_mutex_unlock"),
                                      "KOBAFastBufferPool_getBuffer:!give mutex\n"}));
}

using MonitoredFastBuffers = test::HeapMonitor;

TEST_F(MonitoredFastBuffers, BlocksAreNotedAsThoseOfAPoolAndNothingElseIs)
{
    ASSERT_TRUE(ZOVOsapiHeap_enableMonitoring());
    const LogCapture capture;
    const Pool pool = make(10, 4, growing(3, -1, -1));
    const auto notes = [&] {
        std::string text;
        for (void *block :
             {pool->storage->block, static_cast<void *>(pool.get()),
              static_cast<void *>(pool->storage), static_cast<void *>(pool->bottom)}) {
            const ZOVOsapiHeapContext &context = zov::heap::header_of(block)->info->context;
            for (const auto number :
                 {int64_t{context.poolAllocation}, int64_t{context.poolBufferCount},
                  int64_t{context.poolBufferSize}})
                text += std::to_string(number) + " ";
        }
        return text;
    };
    EXPECT_EQ(notes(), "1 3 12 0 0 0 0 0 0 0 0 0 ");
    get(pool, 4);
    EXPECT_EQ(notes(), "1 9 12 0 0 0 0 0 0 0 0 0 ");
    EXPECT_EQ(capture.lines(), Lines());
    // Without a context of its own a thread grows the pool all the same.
    pthread_setspecific(ZOVOsapiHeapContext_g_TssContextKey, nullptr);
    get(pool, 6);
    EXPECT_EQ(notes(), "0 0 0 0 0 0 0 0 0 0 0 0 ");
    EXPECT_EQ(capture.lines(), Lines({kGrow + "!get heap context\n"}));
}

// Each thread marks its buffers and finds its marks again; the pool grows under all of them.
TEST(FastBufferPool, GivesNoTwoThreadsTheSameBuffer)
{
    const Pool pool = make(16, 8, {{1, 40, 8}, 1, 1, 0});
    const auto work = [&](int number) {
        for (int round = 0; round < 2000; ++round) {
            std::vector<char *> buffers = get(pool, 1 + (round + number) % 8);
            buffers.push_back(
                static_cast<char *>(KOBAFastBufferPool_getBufferNoMalloc(pool.get())));
            std::erase(buffers, nullptr);
            for (char *buffer : buffers)
                std::memset(buffer, number, 16);
            for (char *buffer : buffers) {
                EXPECT_EQ(std::count(buffer, buffer + 16, number), 16);
                KOBAFastBufferPool_returnBuffer(pool.get(), buffer);
            }
        }
    };
    std::vector<std::thread> threads;
    for (const int number : {1, 2, 3, 4})
        threads.emplace_back(work, number);
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(usage(pool.get()).substr(0, 5), "0 of ");
}

TEST(FastBufferPoolSet, ServesFromTheFirstPoolThatIsLargeEnough)
{
    const LogCapture capture;
    const int32_t sizes[] = {10, 64, 256};
    const Set set(KOBAFastBufferPoolSet_new(3, sizes, 16, &kDoubling));
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->largestBufferSize, 256);
    const std::pair<int32_t, int> places[] = {{-1, 0}, {16, 0}, {17, 1}, {65, 2}, {256, 2}};
    for (const auto &[size, place] : places) {
        void *const buffer = KOBAFastBufferPoolSet_getBuffer(set.get(), size);
        EXPECT_EQ(usage(set->pools[place]), "1 of 1") << size;
        KOBAFastBufferPoolSet_returnBuffer(set.get(), buffer, size);
        EXPECT_EQ(usage(set->pools[place]), "0 of 1") << size;
    }
    EXPECT_EQ(KOBAFastBufferPoolSet_getPool(set.get(), 300), nullptr);
    EXPECT_EQ(KOBAFastBufferPoolSet_getBuffer(set.get(), 300), nullptr);
    KOBAFastBufferPoolSet_returnBuffer(set.get(), nullptr, 300);
    EXPECT_EQ(capture.lines(), Lines());
}

TEST(FastBufferPoolSet, IsMadeAsAWhole)
{
    const std::tuple<int32_t, const Property *, std::string> cases[] = {
        {0, nullptr, "poolCount < 1"},
        {2, nullptr, "propertyIn == ((void *)0)"},
        {2, &kDoubling, "bufferSizes[i] < 1"},
        {1, &kDoubling, kNoAlignment}};
    const int32_t sizes[] = {16, 0};
    for (const auto &[count, property, condition] : cases) {
        const LogCapture capture;
        EXPECT_EQ(KOBAFastBufferPoolSet_new(count, sizes, 3, property), nullptr);
        EXPECT_EQ(capture.lines(), Lines{kNewSet + "!precondition: " + condition + "\n"});
    }
    const auto no_set = [](const Lines &cause, const std::string &what) {
        return Expected{"null", cause + Lines{kNewSet + "!create fast buffer pool" + what + "\n"}};
    };
    const Expected no_pool = no_set(no_memory(kStructure, sizeof(KOBAFastBufferPool)) +
                                        Lines{kNew + "!create fast buffer pool\n"},
                                    "");
    test::for_these_faults(
        [] {
            const int32_t two[] = {8, 8};
            const Set set(KOBAFastBufferPoolSet_new(2, two, 8, &kDoubling));
            return std::string(set != nullptr ? "set" : "null");
        },
        {"set"},
        {{"calloc 1", no_set(no_memory(kStructure, sizeof(KOBAFastBufferPoolSet)), " set")},
         {"calloc 2", no_set(no_memory("ZOVOsapiHeap_allocateArray", 16), " array")},
         {"calloc 3", no_pool},
         {"calloc 7", no_pool}}); // of the second pool
}

TEST(FastBufferPoolInfo, IsDisplayedOnStandardOutput)
{
    KOBAFastBufferPoolInfo info = {reinterpret_cast<KOBAFastBufferPool *>(0xAB0), 16, 8, 3, 1, -1};
    testing::internal::CaptureStdout();
    KOBAFastBufferPoolInfo_display(&info);
    info.maximal = 0;
    KOBAFastBufferPoolInfo_display(&info);
    const std::string text = "FastBuffer at 0x0xab0\n"
                             "  Buffer Size: 16 bytes\n"
                             "  Buffer Alignment: 8 bytes\n"
                             "  Number of Buffers currently allocated by pool: 3 buffers\n"
                             "  Number of buffers currently in use by application: 1 buffers\n"
                             "  Number of Buffers the pool can grow to: ";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), text + "unlimited\n" + text + "0 buffers\n");
}

TEST(FastBufferStat, CopiesTheCountersInTheirOrderAndSetsThemBack)
{
    int64_t value = 0;
    for (int64_t *counter :
         {&KOBAFastBufferStat_HEAP_MEM_CURRENT_USE, &KOBAFastBufferStat_HEAP_MEM_HIGH_WATERMARK,
          &KOBAFastBufferStat_HEAP_MEM_LOW_WATERMARK, &KOBAFastBufferStat_FB_MEM_CURRENT_USE,
          &KOBAFastBufferStat_FB_MEM_HIGH_WATERMARK, &KOBAFastBufferStat_FB_MEM_LOW_WATERMARK})
        *counter = ++value;
    int32_t count = 0;
    for (int32_t *counter :
         {&KOBAFastBufferStat_HEAP_MEM_ALLOC_COUNT, &KOBAFastBufferStat_HEAP_MEM_FREE_COUNT,
          &KOBAFastBufferStat_FB_MEM_GET_COUNT, &KOBAFastBufferStat_FB_MEM_RETURN_COUNT})
        *counter = ++count;
    KOBAFastBufferStat stat = {};
    KOBAFastBuffer_statGet(&stat);
    const KOBAFastBufferStat expected = {1, 2, 3, 1, 2, 4, 5, 6, 3, 4};
    EXPECT_EQ(std::memcmp(&stat, &expected, sizeof stat), 0);
    KOBAFastBuffer_statReset();
    KOBAFastBuffer_statGet(&stat);
    EXPECT_TRUE(ZOVOsapiMemory_isZero(&stat, sizeof stat));
}

} // namespace
