#include "osapi/Thread.h"
#include "osapi/heap.h"
#include "tests/support/LogCapture.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>

using test::Lines;
using test::LogCapture;
using Bitmap = ZOVOsapiCpuBitmap;

namespace {

constexpr std::int32_t kDefault = ZOV_OSAPI_THREAD_PRIORITY_DEFAULT;
constexpr std::uint32_t kRealtime = ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY;
constexpr std::uint32_t kCancel = ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS;
constexpr std::int32_t kOwnStackSize = 1 << 20;
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t kSmallestStack = 1 << 20; // the sanitizer enlarges what is below
#else
constexpr std::size_t kSmallestStack = 0;
#endif

/** What a thread is started with; nothing special where a case says nothing. */
struct Start
{
    const char *name = "test";
    std::int32_t priority = kDefault;
    std::uint32_t options = 0;
    std::int32_t stack_size = -1;
    const Bitmap *cpus = nullptr;
};

using Body = std::function<void()>;

void *call(void *body)
{
    (*static_cast<Body *>(body))();
    return nullptr;
}

/** Runs it in a thread of its own and waits for its end. False when there is no thread. */
bool run(const Start &start, Body body)
{
    auto *thread = ZOVOsapiJoinableThread_new(start.name, start.priority, start.options,
                                              start.stack_size, start.cpus, call, &body);
    ZOVOsapiJoinableThread_delete(thread);
    return thread != nullptr;
}

/** Starts it and leaves it alone. */
bool start_on(void *stack, std::int32_t size, Body &body)
{
    auto *thread =
        ZOVOsapiThread_newWithStack("test", kDefault, 0, stack, size, nullptr, call, &body);
    ZOVOsapiThread_delete(thread);
    return thread != nullptr;
}

/** The calling thread's stack as the platform has it. */
struct Stack
{
    char *lowest;
    std::size_t size;
};

Stack own_stack()
{
    pthread_attr_t attributes;
    void *lowest;
    std::size_t size;
    EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
    pthread_attr_getstack(&attributes, &lowest, &size);
    pthread_attr_destroy(&attributes);
    return {static_cast<char *>(lowest), size};
}

cpu_set_t own_cpus()
{
    cpu_set_t cpus;
    EXPECT_EQ(pthread_getaffinity_np(pthread_self(), sizeof cpus, &cpus), 0);
    return cpus;
}

std::string text_of(const cpu_set_t &cpus)
{
    char text[256];
    return ZOVOsapiCpuBitmap_cpusetToString(&cpus, text, sizeof text);
}

Bitmap bitmap_of(std::initializer_list<int> cpus, std::uint32_t rotation, int index)
{
    Bitmap bitmap = {{}, rotation, static_cast<std::int32_t>(cpus.size()), index};
    for (const int cpu : cpus)
        bitmap.word[cpu / 32] |= 1u << (cpu % 32);
    return bitmap;
}

TEST(Thread, RoundsStackSizesUp)
{
    pthread_attr_t attributes;
    std::size_t usual = 0;
    pthread_getattr_default_np(&attributes);
    pthread_attr_getstacksize(&attributes, &usual);
    pthread_attr_destroy(&attributes);
    // First and ascending: the platform takes a stack that is left over for less than its size.
    const std::pair<std::int32_t, std::size_t> cases[] = {
        {1, 16384},         {16384, 16384}, {16385, 20480}, {20480, 20480},    {65536, 65536},
        {1500001, 1503232}, {0, usual},     {-1, usual},    {INT32_MIN, usual}};
    for (const auto &[asked_for, expected] : cases) {
        std::size_t seen = 0;
        EXPECT_TRUE(run({.stack_size = asked_for}, [&seen] { seen = own_stack().size; }));
        EXPECT_TRUE(seen == expected || expected < kSmallestStack) << asked_for << ": " << seen;
    }
}

TEST(Thread, DeletingAJoinableOneWaitsForItsFunction)
{
    for (int i = 0; i < 1000; ++i) {
        int plain = 0;
        ASSERT_TRUE(run({}, [&plain, i] {
            for (int yields = 0; yields < i % 4; ++yields)
                sched_yield();
            plain = 1;
        }));
        ASSERT_EQ(plain, 1);
    }
    // Without a function there is still something to wait for.
    ZOVOsapiJoinableThread_delete(
        ZOVOsapiJoinableThread_new("none", kDefault, 0, -1, nullptr, nullptr, nullptr));
}

TEST(Thread, RunsOnItsCpusFromItsFirstInstruction)
{
    const cpu_set_t all = own_cpus();
    std::array<int, 2> cpu = {-1, -1};
    for (int i = 0; i < CPU_SETSIZE; ++i)
        if (CPU_ISSET(i, &all))
            (cpu[0] < 0 ? cpu[0] : cpu[1]) = i;
    if (cpu[1] < 0)
        GTEST_SKIP() << "this machine has one CPU";
    const int first = cpu[0];
    const int last = cpu[1];
    const auto bitmap = [=](std::uint32_t rotation, int index) {
        return bitmap_of({first, last}, rotation, index);
    };
    Bitmap no_affinity = bitmap(0, 0);
    no_affinity.count = 0;
    const std::string texts[] = {std::to_string(first), std::to_string(last)};
    const std::pair<Bitmap, std::string> cases[] = {{bitmap_of({last}, 0, 7), texts[1]},
                                                    {bitmap(0, 1), texts[0] + "," + texts[1]},
                                                    {bitmap(1, 0), texts[0]},
                                                    {bitmap(1, 7), texts[1]},
                                                    {no_affinity, text_of(all)}};
    for (const auto &[cpus, expected] : cases)
        for (int i = 0; i < 100; ++i) {
            cpu_set_t seen;
            ASSERT_TRUE(run({.cpus = &cpus}, [&seen] { seen = own_cpus(); }));
            ASSERT_EQ(text_of(seen), expected);
        }
    EXPECT_EQ(text_of(own_cpus()), text_of(all));
}

TEST(Thread, RunsOnTheCallersStackAtExactlyItsSizeOrNotAtAll)
{
    // Static, as a thread may still be leaving its stack when its function has returned.
    alignas(4096) static std::array<char, 2 * kOwnStackSize> memory;
    static sem_t done;
    sem_init(&done, 0, 0);
    int place = 0;
    for (const std::int32_t size : {kOwnStackSize, 1000016}) {
        char *const lowest = memory.data() + place++ * kOwnStackSize;
        Stack stack = {};
        const char *frame = nullptr;
        Body body = [&] {
            stack = own_stack();
            frame = static_cast<const char *>(__builtin_frame_address(0));
            sem_post(&done);
        };
        ASSERT_TRUE(start_on(lowest, size, body));
        sem_wait(&done);
        EXPECT_EQ(stack.lowest, lowest);
        EXPECT_EQ(stack.size, static_cast<std::size_t>(size));
        EXPECT_GT(frame, lowest);
        EXPECT_LT(frame, lowest + size);
    }
    EXPECT_TRUE(ZOVOsapiThread_isManagedStackSupported());

    LogCapture capture;
    const std::int64_t blocks = ZOVOsapiHeap_g_allocCount;
    Body never = [] { ADD_FAILURE() << "on another stack"; };
    for (const std::int32_t size : {4096, 0, -1}) {
        capture.clear();
        EXPECT_FALSE(start_on(memory.data(), size, never));
        std::ostringstream stack;
        stack << ", thread stack " << &memory << " of size " << size << "\n";
        EXPECT_EQ(capture.lines(),
                  Lines({"ZOVOsapiThread_initializeWithStack:OS pthread_attr_setstack() failure, "
                         "error 0X16: Invalid argument" +
                             stack.str(),
                         "ZOVOsapiThread_initializeWithStack:!create child\n",
                         "ZOVOsapiThread_newWithStack:!create initialize\n"}));
    }
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
}

TEST(Thread, HasItsNameAndBlocksEverySignalButTheInterrupt)
{
    sigset_t blocked;
    char name[16];
    ASSERT_TRUE(run({.name = "much more than fifteen"}, [&] {
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        pthread_getname_np(pthread_self(), name, sizeof name);
    }));
    EXPECT_STREQ(name, "much more than ");
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        const bool is_platforms =
            signal == SIGKILL || signal == SIGSTOP || (signal > SIGSYS && signal < SIGRTMIN);
        EXPECT_TRUE(is_platforms || sigismember(&blocked, signal) == (signal == SIGINT ? 0 : 1))
            << signal;
    }
}

TEST(Thread, CanBeCancelledAnywhereOnlyWhenAskedFor)
{
    for (const auto &[options, expected] : {std::pair{0u, PTHREAD_CANCEL_DEFERRED},
                                            std::pair{kCancel, PTHREAD_CANCEL_ASYNCHRONOUS}}) {
        int type = -1;
        ASSERT_TRUE(run({.options = options},
                        [&type] { pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type); }));
        EXPECT_EQ(type, expected);
    }
}

TEST(Thread, OneThatIsCancelledAtOnceLeavesNothingBehind)
{
    const std::int64_t blocks = ZOVOsapiHeap_g_allocCount;
    for (int i = 0; i < 1000; ++i) {
        const auto wait = [](void *) -> void * {
            for (;;)
                pause();
        };
        ZOVOsapiThread *thread = ZOVOsapiThread_new("cancelled", kDefault, i % 2 == 0 ? kCancel : 0,
                                                    65536, nullptr, wait, nullptr);
        ASSERT_NE(thread, nullptr);
        EXPECT_EQ(pthread_cancel(thread->handle), 0);
        while (std::atomic_ref(ZOVOsapiHeap_g_allocCount).load() != blocks + 1)
            sched_yield();
        ZOVOsapiThread_delete(thread);
    }
}

TEST(Thread, RunsInRealtimeWhereThePlatformAllowsIt)
{
    LogCapture capture;
    bool is_allowed = false;
    ASSERT_TRUE(run({}, [&is_allowed] {
        const sched_param parameter = {.sched_priority = 10};
        is_allowed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
    }));
    // The policy has no priority 0, so that the default does not go with it.
    for (const auto &[priority, expected] :
         {std::pair{10, is_allowed}, std::pair{kDefault, false}}) {
        capture.clear();
        std::int32_t seen = -1;
        EXPECT_EQ(run({.priority = priority, .options = kRealtime},
                      [&] { ZOVOsapiThread_getPriority(&seen); }),
                  expected);
        EXPECT_EQ(seen, expected ? priority : -1);
        EXPECT_EQ(capture.lines().size(), expected ? 0u : 5u);
    }
}

TEST(Thread, MapsPrioritiesBothWays)
{
    constexpr std::int32_t kUntouched = 12345;
    // Of each case the priority, its range, and what it becomes.
    const auto check = [](const auto &map, std::uint32_t options, const std::string &cases) {
        std::istringstream numbers(cases);
        for (std::int32_t priority, min, max, result;
             numbers >> priority >> min >> max >> result;) {
            std::int32_t out = kUntouched;
            EXPECT_EQ(map(&out, priority, min, max, options), result != kUntouched && min < max);
            EXPECT_EQ(out, result) << priority << " in " << min << ".." << max;
        }
    };
    // The ordinary policy has the priority 0 alone; the realtime one of this thread 1 to 99. A half
    // goes up. What has no place becomes half the width, which need not even be in the range.
    check(ZOVOsapiThread_getNormalPriorityFromNative, 0,
          "0 0 10 5  0 0 5 3  0 10 20 5  99 -10 10 10  3 7 7 7  3 8 7 12345");
    check(ZOVOsapiThread_getNormalPriorityFromNative, kRealtime,
          "1 0 98 0  99 0 98 98  50 0 98 49  50 0 10 5  5 0 10 0  6 0 10 1  2 0 49 1  0 100 110 5  "
          "99 100 110 110  100 100 110 5  50 -2147483648 2147483647 0");
    check(ZOVOsapiThread_getNativePriorityFromNormal, 0, "7 0 10 0  11 0 10 12345  7 7 7 12345");
    check(ZOVOsapiThread_getNativePriorityFromNormal, kRealtime,
          "0 0 10 1  10 0 10 99  5 0 10 50  1 0 10 11  105 100 110 50");
    std::int32_t own = kUntouched;
    EXPECT_TRUE(ZOVOsapiThread_getPriority(&own));
    EXPECT_EQ(own, 0);
}

TEST(Thread, TellsWhoItIsAndWhereItMayRun)
{
    ZOVOsapiThread *self = ZOVOsapiThread_getCurrentThread();
    ASSERT_NE(self, nullptr);
    EXPECT_TRUE(pthread_equal(self->handle, pthread_self()));
    ZOVOsapiThread_delete(self);
    EXPECT_TRUE(pthread_equal(ZOVOsapiThread_getCurrentThreadID(), pthread_self()));

    LogCapture capture;
    ZOVOsapiThread_logCpuAffinity("quiet");
    capture.set_levels(0x4);
    ZOVOsapiThread_logCpuAffinity("me");
    EXPECT_TRUE(run({}, [] {}));
    EXPECT_EQ(capture.lines(),
              (Lines{"ZOVOsapiThread_logCpuAffinity:thread 'me' (" + std::to_string(gettid()) +
                         ") affinity: using CPUs " + text_of(own_cpus()) + "\n",
                     "ZOVOsapiThread_initializeWithStack:spawning thread\n"}));
}

TEST(GlobalLock, Excludes)
{
    constexpr int kEach = 20000;
    int plain = 0;
    {
        std::array<std::jthread, 4> threads;
        for (std::jthread &thread : threads)
            thread = std::jthread([&plain] {
                for (int i = 0; i < kEach; ++i) {
                    ZOVOsapi_global_lock();
                    ++plain;
                    ZOVOsapi_global_unlock();
                }
            });
    }
    EXPECT_EQ(plain, 4 * kEach);
}

TEST(CpuBitmap, BecomesAPlatformSet)
{
    const std::pair<Bitmap, const char *> cases[] = {
        {bitmap_of({2, 5, 9}, 0, 4), "2,5,9"},
        {bitmap_of({2, 5, 9}, 1, 0), "2"},
        {bitmap_of({2, 5, 9}, 1, 4), "5"},
        {bitmap_of({2, 5, 9}, 1, 5), "9"},
        {bitmap_of({2, 5, 9}, 1, -1), "9"},
        {bitmap_of({2, 5, 9}, 2, 0), ""},
        {bitmap_of({}, 0, 0), ""},
        {bitmap_of({}, 1, 3), ""},
        {bitmap_of({31, 32, 1023}, 1, 2), "1023"},
        {bitmap_of({31, 32, 1023}, 0, 0), "31,32,1023"}};
    for (const auto &[bitmap, text] : cases) {
        cpu_set_t cpus;
        std::memset(&cpus, 0xFF, sizeof cpus);
        ZOVOsapiCpuBitmap_toCpuset(&bitmap, &cpus);
        EXPECT_EQ(text_of(cpus), text);
    }
}

TEST(CpuBitmap, PrintsWhatFitsAndIsEqualByCpusRotationAndCount)
{
    const Bitmap bitmap = bitmap_of({2, 15, 900}, 1, 0);
    const std::string whole = "2,15,900";
    for (std::int32_t size = 0; size <= 10; ++size) {
        char buffer[16] = "<untouched>";
        EXPECT_EQ(ZOVOsapiCpuBitmap_toStringI(&bitmap, buffer, size), buffer);
        const auto room = static_cast<std::size_t>(std::max(size - 1, 0));
        EXPECT_EQ(buffer, size == 0 ? "<untouched>" : whole.substr(0, room));
    }
    const Bitmap same = bitmap_of({2, 15, 900}, 1, 9);
    EXPECT_TRUE(ZOVOsapiCpuBitmap_equals(&bitmap, &same));
    Bitmap others[] = {same, same, same};
    others[0].word[31] = 1;
    others[1].rotation = 0;
    others[2].count = 1;
    for (const Bitmap &other : others)
        EXPECT_FALSE(ZOVOsapiCpuBitmap_equals(&bitmap, &other));
}

} // namespace
