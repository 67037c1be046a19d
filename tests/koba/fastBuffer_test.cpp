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
using koba::fast_buffer::next_growth;
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

const std::string kNew = "KOBAFastBufferPool_newWithNotification:";
const std::string kNewSet = "KOBAFastBufferPoolSet_new:";
const std::string kGrow = "KOBAFastBufferPool_growEmptyPoolEA:";
const std::string kNoAlignment = "!( ((bufferAlignment) > 0) && (((bufferAlignment) & "
                                 "(-bufferAlignment)) == (bufferAlignment)) )";

constexpr Property growing(int32_t initial, int32_t maximal, int32_t increment)
{
    return {{initial, maximal, increment}, 0, 0, 0};
}
constexpr Property kDoubling = growing(1, -1, -1);
constexpr Property kGuarded = {{1, -1, -1}, 1, 0, 0};

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

/**
 * How large a pool becomes, as far as 32. A step is twice the last or the increment, but for a last
 * one, which leaves nothing over and is less than one and a half times as large.
 */
std::vector<int64_t> sizes_of(const Property &property)
{
    const auto &[initial, maximal, increment] = property.growth;
    const bool limited = maximal >= 0 && property.overrideGrowthLimits == 0;
    const int64_t end = limited ? maximal : INT32_MAX;
    std::vector<int64_t> sizes;
    int64_t count = initial;
    for (int64_t step = initial; step != 0; count += step) {
        if (count <= 32)
            sizes.push_back(count);
        const int64_t full = increment > 0 ? std::min<int64_t>(2 * step, increment) : 2 * step;
        const bool is_last = end - count < (limited ? 3 * full / 2 : full);
        step = next_growth(property, static_cast<int32_t>(count), static_cast<int32_t>(step));
        EXPECT_EQ(step, is_last ? end - count : full)
            << initial << " " << maximal << " " << increment << " at " << count;
    }
    EXPECT_EQ(count, end);
    return sizes;
}

TEST(FastBufferPool, GrowsToTwiceItsLastGrowthWithinItsLimits)
{
    using Sizes = std::vector<int64_t>;
    EXPECT_EQ(sizes_of(growing(4, 20, -1)), Sizes({4, 12, 20}));
    EXPECT_EQ(sizes_of(growing(4, -1, 1000003)), Sizes({4, 12, 28}));
    EXPECT_EQ(sizes_of(growing(4, 999, 10)), Sizes({4, 12, 22, 32}));
    EXPECT_EQ(sizes_of(growing(4, 7, 1)), Sizes({4, 5, 6, 7}));
    EXPECT_EQ(sizes_of(growing(4, 25, 5)), Sizes({4, 9, 14, 19, 25}));
    EXPECT_EQ(sizes_of(growing(4, 26, 5)), Sizes({4, 9, 14, 19, 24, 26}));
    EXPECT_EQ(sizes_of({{3, 3, 0}, 0, 0, 1}), Sizes({3, 9, 21}));
    EXPECT_EQ(next_growth(growing(3, 3, 0), 3, 3), 0);

    const int32_t numbers[] = {1,          1000003,    1 << 29,       (1 << 30) - 1, 1 << 30,
                               1431655764, 1431655765, INT32_MAX - 1, INT32_MAX};
    for (const int32_t initial : numbers)
        for (const int32_t increment : {-1, 1000003, 1 << 30, INT32_MAX}) {
            sizes_of(growing(initial, -1, increment));
            for (const int32_t maximal : numbers)
                for (const int32_t overrides : {0, 1})
                    if (maximal >= initial)
                        sizes_of({{initial, maximal, increment}, 0, 0, overrides});
        }
}

TEST(FastBufferPool, HandsOutBuffersInTheOrderOfAddressesAndTakesThemBack)
{
    const Pool pool = make(10, 8, growing(3, 9, -1));
    ASSERT_EQ(KOBAFastBufferPool_getBufferSize(pool.get()), 16);
    const std::vector<char *> buffers = get(pool, 9);
    for (const std::size_t i : {1, 2, 4, 5, 6, 7, 8})
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
    const std::string too_large = "!create fast buffer pool buffers\n";
    const auto unmet = [](const std::string &condition) {
        return "!precondition: " + condition + "\n";
    };
    const auto with_increment_0 = [](int32_t initial, int32_t maximal) {
        return Property{{initial, maximal, 0}, 0, 1, 1};
    };
    // Each has the faults of all that follow it.
    const std::tuple<int32_t, int32_t, Property, std::string> cases[] = {
        {0, 0, with_increment_0(0, 1), unmet("propertyIn->growth.initial < 1")},
        {0, 0, with_increment_0(2, 1),
         unmet("(((&propertyIn->growth)->maximal >= 0) && ((propertyIn->growth.initial) > "
               "(&propertyIn->growth)->maximal))")},
        {0, 0, with_increment_0(2, 3), unmet("bufferSize < 1")},
        {1, 24, with_increment_0(2, 3), unmet(kNoAlignment)},
        {1, INT32_MIN, with_increment_0(2, 3), unmet(kNoAlignment)},
        {INT32_MAX, 2, with_increment_0(2, -1),
         unmet("propertyIn->growth.increment == 0 && propertyIn->growth.maximal != "
               "propertyIn->growth.initial")},
        {INT32_MAX, 2, with_increment_0(2, 2),
         unmet("bufferInitializeFnc != ((void *)0) && propertyIn->zeroBufferContent != 0")},
        {INT32_MAX, 2, kDoubling, too_large},
        {(1 << 30) + 1, 1 << 30, kGuarded, too_large},
    };
    const LogCapture capture;
    EXPECT_EQ(KOBAFastBufferPool_new(0, 0, nullptr), nullptr);
    Lines lines = {kNew + unmet("propertyIn == ((void *)0)")};
    const KOBAFastBufferInitializeFcn initialize = [](void *, void *) { return 1; };
    for (const auto &[size, alignment, property, line] : cases) {
        EXPECT_EQ(KOBAFastBufferPool_newWithNotification(size, alignment, initialize, nullptr,
                                                         nullptr, nullptr, &property),
                  nullptr);
        lines.push_back(kNew + line);
    }
    EXPECT_EQ(capture.lines(), lines);
}

/** The buffers as they were made ready; finalised ones are told by their place among them. */
struct Notes
{
    std::vector<void *> ready = {};
    std::size_t failing = 100; /**< the place whose buffer fails */
    std::string finalized = {};
};

int32_t initialize(void *buffer, void *parameter)
{
    auto &notes = *static_cast<Notes *>(parameter);
    notes.ready.push_back(buffer);
    return notes.ready.size() == notes.failing + 1 ? 0 : 7;
}

void finalize(void *buffer, void *parameter)
{
    auto &notes = *static_cast<Notes *>(parameter);
    const auto place = std::find(notes.ready.rbegin(), notes.ready.rend(), buffer);
    notes.finalized += std::to_string(notes.ready.rend() - place - 1) + " ";
}

TEST(FastBufferPool, TellsItsFunctionsOfEachBufferAndStaysAsItWasWhenGrowingFails)
{
    LogCapture capture;
    capture.set_levels(0x3);
    Notes notes;
    const Property property = growing(2, -1, -1);
    Pool pool(KOBAFastBufferPool_newWithNotification(4, 4, initialize, &notes, finalize, &notes,
                                                     &property));
    ASSERT_NE(pool, nullptr);
    get(pool, 2);
    const KOBAFastBufferPool before = *pool;
    for (const char *call : {"calloc 1", "calloc 2", "calloc 3"}) {
        const test::Fault fault(call);
        EXPECT_EQ(KOBAFastBufferPool_growEmptyPoolEA(pool.get()), 0) << call;
    }
    capture.clear();
    notes.failing = 4;
    EXPECT_EQ(KOBAFastBufferPool_getBuffer(pool.get()), nullptr);
    EXPECT_EQ(std::memcmp(&before, pool.get(), sizeof before), 0);
    EXPECT_EQ(capture.lines(), Lines({kGrow + "!init newly allocated buffer\n"}));
    EXPECT_TRUE(std::is_sorted(notes.ready.begin() + 2, notes.ready.end()));
    EXPECT_NE(KOBAFastBufferPool_getBuffer(pool.get()), nullptr);
    capture.clear();
    pool.reset();
    EXPECT_EQ(notes.finalized, "3 2 8 7 6 ");
    EXPECT_EQ(capture.lines(), Lines({"KOBAFastBufferPool_delete:!all buffers returned\n"}));
    capture.clear();
    notes = {.failing = 1};
    EXPECT_EQ(KOBAFastBufferPool_newWithNotification(4, 4, initialize, &notes, nullptr, nullptr,
                                                     &property),
              nullptr);
    EXPECT_EQ(capture.lines(), Lines({kGrow + "!init newly allocated buffer\n",
                                      kNew + "!create fast buffer pool buffers\n"}));
}

char *g_buffer = nullptr;

TEST(FastBufferPool, ZeroesWhatAGetHandsOutOutsideTheMutex)
{
    LogCapture capture;
    const std::string filled(24, 0x5A);
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
        EXPECT_EQ(contents_after(KOBAFastBufferPool_getBufferNoMalloc), filled);
        const test::Fault fault("pthread_mutex_unlock 2"); // the first is the return's
        EXPECT_EQ(contents_after(KOBAFastBufferPool_getBuffer) == filled, guarded != 0);
    }
    EXPECT_EQ(capture.lines(), Lines({os_failure("ZOVOsapiSemaphore_give", "pthread_mutex_unlock"),
                                      "KOBAFastBufferPool_getBuffer:!give mutex\n"}));
}

/** What a growth by buffers of 8 bytes reports when one of its three allocations fails. */
Lines growth_failure(int allocation, std::size_t added, std::size_t count)
{
    const std::string bytes = std::to_string(8 * added) + " bytes\n";
    if (allocation == 0)
        return no_memory("ZOVOsapiHeap_allocateStructure", sizeof(KOBAFastBufferPoolStorage)) +
               Lines{kGrow + " !allocate container for buffer for " + bytes};
    if (allocation == 1)
        return no_memory("ZOVOsapiHeap_allocateBufferAligned", 8 * added) +
               Lines{kGrow + " !allocate buffer of " + bytes};
    return no_memory("ZOVOsapiHeap_allocateArray", 8 * count) +
           Lines{kGrow + " !allocate stack of " + std::to_string(count) + " buffers\n"};
}

/** Of the first of two pools: three gets, one without growth, "b" for each buffer, and a return. */
std::string use_set()
{
    const int32_t sizes[] = {8, 8};
    const Set set(KOBAFastBufferPoolSet_new(2, sizes, 8, &kGuarded));
    if (set == nullptr)
        return "null";
    std::string result;
    void *buffers[4];
    for (int i = 0; i < 4; ++i) {
        buffers[i] = i < 3 ? KOBAFastBufferPoolSet_getBuffer(set.get(), 8)
                           : KOBAFastBufferPool_getBufferNoMalloc(set->pools[0]);
        result += buffers[i] != nullptr ? "b" : "-";
    }
    KOBAFastBufferPoolSet_returnBuffer(set.get(),
                                       *std::find_if(buffers, buffers + 4, std::identity()), 8);
    return result + " " + usage(set->pools[0]);
}

TEST(FastBufferFaults, AreReportedAndAFailedGrowthMayBeTriedAgain)
{
    make(8, 8, kGuarded); // reads the limit of the heap, so that the scenario does not
    const std::string clean = "bbb- 2 of 3";
    const std::string structure = "ZOVOsapiHeap_allocateStructure";
    const auto no_set = [](const Lines &cause, const std::string &what) {
        return Expected{"null", cause + Lines{kNewSet + "!create fast buffer pool" + what + "\n"}};
    };
    const auto no_pool = [&](const Lines &cause, const std::string &what) {
        return no_set(cause + Lines{kNew + "!create " + what + "\n"}, "");
    };
    test::Faults faults = {
        {"calloc 1", no_set(no_memory(structure, sizeof(KOBAFastBufferPoolSet)), " set")},
        {"calloc 2", no_set(no_memory("ZOVOsapiHeap_allocateArray", 16), " array")},
        {"pthread_mutex_init",
         no_pool({os_failure("ZOVOsapiSemaphore_new", "pthread_mutex_init")}, "mutex")},
        {"pthread_mutex_destroy", {{clean, {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
    };
    faults["pthread_mutex_init"]->leaks = 1;
    const auto call = [](int number) { return "calloc " + std::to_string(number); };
    for (const int first : {3, 8}) {
        faults[call(first)] =
            no_pool(no_memory(structure, sizeof(KOBAFastBufferPool)), "fast buffer pool");
        faults[call(first + 1)] = no_pool(no_memory(structure, sizeof(ZOVOsapiSemaphore)), "mutex");
    }
    for (int i = 0; i < 3; ++i) {
        faults[call(5 + i)] = faults[call(10 + i)] =
            no_pool(growth_failure(i, 1, 1), "fast buffer pool buffers");
        faults[call(13 + i)] = {"b-bb 2 of 3", growth_failure(i, 2, 3)};
    }
    const char *const uses[][2] = {{"getBuffer", "-bbb 2 of 3"},
                                   {"getBuffer", "b-bb 2 of 3"},
                                   {"getBuffer", "bb-b 2 of 3"},
                                   {"getBufferNoMalloc", "bbb- 2 of 3"},
                                   {"returnBuffer", "bbb- 3 of 3"}};
    for (int i = 0; i < 5; ++i) {
        const auto &[operation, result] = uses[i];
        const auto lines = [&](const std::string &take, const std::string &lock) {
            return Lines{os_failure("ZOVOsapiSemaphore_" + take, lock),
                         std::string("KOBAFastBufferPool_") + operation + ":!" + take + " mutex\n"};
        };
        const std::string at = std::string(" ") + std::to_string(i + 1);
        faults["pthread_mutex_lock" + at] = {result, lines("take", "pthread_mutex_lock")};
        faults["pthread_mutex_unlock" + at] = {clean, lines("give", "pthread_mutex_unlock")};
    }
    test::for_each_fault(use_set, {clean}, faults);
}

using MonitoredFastBuffers = test::HeapMonitor;

TEST_F(MonitoredFastBuffers, BlocksAreNotedAsThoseOfAPoolAndNothingElseIs)
{
    ASSERT_TRUE(ZOVOsapiHeap_enableMonitoring());
    const auto note_of = [](void *block) {
        const ZOVOsapiHeapContext &context = zov::heap::header_of(block)->info->context;
        return std::to_string(context.poolAllocation) + " " +
               std::to_string(context.poolBufferCount) + " " +
               std::to_string(context.poolBufferSize);
    };
    const LogCapture capture;
    const Pool pool = make(10, 4, growing(3, -1, -1));
    EXPECT_EQ(note_of(pool->storage->block), "1 3 12");
    get(pool, 4);
    EXPECT_EQ(note_of(pool->storage->block), "1 9 12");
    for (void *other : {static_cast<void *>(pool.get()), static_cast<void *>(pool->storage),
                        static_cast<void *>(pool->bottom)})
        EXPECT_EQ(note_of(other), "0 0 0");
    EXPECT_EQ(capture.lines(), Lines());
    // Without a context of its own a thread grows the pool all the same.
    pthread_setspecific(ZOVOsapiHeapContext_g_TssContextKey, nullptr);
    get(pool, 6);
    EXPECT_EQ(note_of(pool->storage->block), "0 0 0");
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

    const int32_t bad[] = {16, 0};
    const std::tuple<int32_t, const Property *, std::string> cases[] = {
        {0, nullptr, "poolCount < 1"},
        {2, nullptr, "propertyIn == ((void *)0)"},
        {2, &kDoubling, "bufferSizes[i] < 1"},
        {1, &kDoubling, kNoAlignment}};
    Lines lines;
    for (const auto &[count, property, condition] : cases) {
        EXPECT_EQ(KOBAFastBufferPoolSet_new(count, bad, 3, property), nullptr);
        lines.push_back(kNewSet + "!precondition: " + condition + "\n");
    }
    EXPECT_EQ(capture.lines(), lines);
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
