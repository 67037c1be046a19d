#include "osapi/HighResolutionClock.h"
#include "osapi/Process.h"
#include "osapi/SystemClock.h"
#include "osapi/Thread.h"
#include "osapi/Time.hpp"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <ostream>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using test::Lines;
using test::LogCapture;
using test::os_failure;
using test::Replacement;
using test::said_by;
using test::text_of;
using test::unnoticed;
using test::operator+;

static bool operator==(const ZOVNtpTime &a, const ZOVNtpTime &b)
{
    return a.sec == b.sec && a.frac == b.frac;
}

static std::ostream &operator<<(std::ostream &out, const ZOVNtpTime &time)
{
    return out << "{" << time.sec << ", " << time.frac << "}";
}

namespace {

constexpr std::int32_t kMax = ZOV_NTP_TIME_SEC_MAX;
constexpr std::uint32_t kFracMax = ZOV_NTP_TIME_FRAC_MAX;
constexpr std::uint32_t kHalf = 0x80000000;

TEST(Time, AddsWithACarryAndSubtractsWithABorrow)
{
    const std::tuple<ZOVNtpTime, ZOVNtpTime, ZOVNtpTime> cases[] = {
        {{1, kHalf}, {2, kHalf}, {4, 0}},
        {{5, kFracMax}, {0, 1}, {6, 0}},
        {{5, kFracMax}, {0, kFracMax}, {6, kFracMax - 1}},
        {{5, 0}, {-2, kHalf}, {3, kHalf}},
        {{-1, kFracMax}, {0, 1}, {0, 0}},
        {{kMax - 1, 3}, {2, 4}, {INT32_MIN, 7}}, // wraps around
        {{kMax, 0}, {1, 0}, {kMax, kFracMax}},   // but the infinite stays infinite
        {{-5, 7}, {kMax, 0}, {kMax, kFracMax}},
    };
    for (const auto &[a, b, sum] : cases) {
        EXPECT_EQ(zov::time::add(a, b), sum) << a << " + " << b;
        EXPECT_EQ(zov::time::add(b, a), sum) << b << " + " << a;
        if (sum.sec != kMax) {
            EXPECT_EQ(zov::time::subtract(sum, a), b);
            EXPECT_EQ(zov::time::subtract(sum, b), a);
        }
    }
    EXPECT_EQ(zov::time::subtract({INT32_MIN, 0}, {0, 1}), (ZOVNtpTime{kMax, kFracMax}));
}

TEST(Time, BecomesThePlatformsRecord)
{
    const std::pair<ZOVNtpTime, timespec> cases[] = {
        {{0, 0}, {0, 0}},
        {{0, 4}, {0, 1}},
        {{0, 5}, {0, 2}},
        {{3, 2305843009}, {3, 536870912}}, // the one fraction that is exact
        {{3, 2305843010}, {3, 536870913}},
        {{3, kFracMax - 3}, {4, 0}},
        {{3, kFracMax - 4}, {3, 999999999}},
        {{-1, kHalf}, {-1, 500000001}},
        {{kMax - 1, kFracMax}, {kMax, 0}},
        {{kMax, kFracMax}, {kMax, 1000000000}}, // there is nothing to carry into
    };
    for (const auto &[time, expected] : cases) {
        const timespec result = zov::time::timespec_of(time);
        EXPECT_EQ(result.tv_sec, expected.tv_sec) << time;
        EXPECT_EQ(result.tv_nsec, expected.tv_nsec) << time;
    }
    for (std::uint32_t nanoseconds = 0; nanoseconds < 1000000000; nanoseconds += 997) {
        const std::uint32_t fraction = zov::time::fraction_of_nanoseconds(nanoseconds);
        ASSERT_EQ(zov::time::nanoseconds_of_fraction(fraction), nanoseconds);
    }
}

timeval g_wall_clock;

int wall_clock(timeval *out, void *)
{
    *out = g_wall_clock;
    return 0;
}

TEST(Time, IsTheWallClockToTheMicrosecond)
{
    const Replacement replaced(test::instead::gettimeofday, wall_clock);
    const std::pair<timeval, ZOVNtpTime> cases[] = {
        {{5, 0}, {5, 0}},
        {{5, 1}, {5, 4294}},
        {{5, 123456}, {5, 530239481}},
        {{5, 500000}, {5, 2147483642}},
        {{kMax, 999999}, {kMax, 4294962990}},
        {{(std::int64_t{1} << 32) + 7, 1}, {7, 4294}}, // in 32 bits
        {{-1, 1}, {-1, 4294}},
        {{std::int64_t{kMax} + 1, 0}, {INT32_MIN, 0}}};
    LogCapture capture;
    for (const auto &[now, expected] : cases) {
        g_wall_clock = now;
        ZOVNtpTime time = {};
        EXPECT_EQ(ZOVOsapiUtility_getTime(&time), expected.sec >= 0);
        EXPECT_EQ(time, expected);
        EXPECT_EQ(ZOVOsapiUtility_getTimeAdv(&time, ZOV_FALSE), expected.sec >= 0);
    }
    EXPECT_EQ(capture.lines(), (Lines{"ZOVOsapiUtility_getTimeAdv:now {ffffffff,000010C6} < 0\n",
                                      "ZOVOsapiUtility_getTimeAdv:now {80000000,00000000} < 0\n"}));
}

TEST(Time, CountsNanosecondsOfTheMonotonicClock)
{
    const Replacement replaced(
        test::instead::clock_gettime, +[](clockid_t clock, timespec *now) {
            *now = {clock == CLOCK_MONOTONIC ? 5000000000 : 0, 7};
            return 0;
        });
    EXPECT_EQ(ZOVOsapiUtility_gethrtime(), 5000000000000000007u);
}

/** What a clock was asked last. */
std::tuple<int, ZOVClock *, ZOVNtpTime *> g_asked;

template <int operation>
ZOVBool note(ZOVClock *clock, ZOVNtpTime *time)
{
    g_asked = {operation, clock, time};
    return operation * 10;
}

TEST(Clock, OperationsOfTheSystemClockAndOfTheOneThatAsksIt)
{
    const std::int64_t blocks = ZOVOsapiHeap_g_allocCount;
    LogCapture capture;
    capture.set_levels(0x4);
    ZOVClock *clock = ZOVHighResolutionClock_new();
    ASSERT_NE(clock, nullptr);
    EXPECT_EQ(capture.lines(), Lines{"ZOVSystemClock_init:epoch range {7fffffff,FFFFFFFF}, "
                                     "frequency 1000000 Hz\n"});
    ZOVSystemClock *record = reinterpret_cast<ZOVHighResolutionClock *>(clock)->systemClock;
    EXPECT_EQ(record->epochRangeEnd, (ZOVNtpTime{kMax, kFracMax}));
    EXPECT_EQ(record->resolution, (ZOVNtpTime{0, 4294}));
    EXPECT_EQ(record->frequency, 1000000u);
    const Replacement replaced(test::instead::gettimeofday, wall_clock);
    g_wall_clock = {9, 500000};
    ZOVNtpTime time = {1, 2};
    EXPECT_FALSE(clock->getResolution(clock, &time));
    EXPECT_EQ(time, (ZOVNtpTime{1, 2}));
    EXPECT_TRUE(clock->getRequiredCallPeriod(clock, &time));
    EXPECT_EQ(time, (ZOVNtpTime{kMax - 1, kFracMax}));
    EXPECT_TRUE(clock->reset(clock));
    EXPECT_TRUE(clock->getTime(clock, &time));
    EXPECT_EQ(time, (ZOVNtpTime{9, 2147483642}));

    record->base = {note<1>, note<2>, note<3>, [](ZOVClock *of) { return note<4>(of, nullptr); }};
    const auto expect_asked = [&](ZOVBool result, int operation, ZOVNtpTime *out) {
        EXPECT_EQ(result, operation * 10);
        EXPECT_EQ(g_asked, std::tuple(operation, &record->base, out));
    };
    expect_asked(clock->getTime(clock, &time), 1, &time);
    expect_asked(clock->getResolution(clock, &time), 2, &time);
    expect_asked(clock->getRequiredCallPeriod(clock, &time), 3, &time);
    expect_asked(clock->reset(clock), 4, nullptr);
    ZOVHighResolutionClock_delete(clock);
    ZOVHighResolutionClock_delete(nullptr);
    ZOVSystemClock_delete(nullptr);
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
}

/** A clock that advances with every reading, by another step from some reading on. */
struct FakeClock
{
    ZOVClock base;
    ZOVNtpTime step;
    int failing_reading = 0;
    int later_from = 300;
    ZOVNtpTime later_step = {};
    int readings = 0;
    ZOVNtpTime now = {1000, kFracMax};

    static ZOVBool read(ZOVClock *clock, ZOVNtpTime *time)
    {
        auto *self = reinterpret_cast<FakeClock *>(clock);
        const bool is_later = ++self->readings >= self->later_from;
        if (self->readings == self->failing_reading)
            return ZOV_FALSE;
        *time = self->now = zov::time::add(self->now, is_later ? self->later_step : self->step);
        return ZOV_TRUE;
    }
};

constexpr ZOVClock kFake = {FakeClock::read, nullptr, nullptr, nullptr};

const Lines kOverheadReading = {"ZOVClock_getTimeOverhead:!getTime\n"};
const Lines kOverheadZero = {"ZOVClock_getTimeOverhead:error calculating clock overhead\n"};

TEST(Calibration, MeasuresTheOverheadOfAReading)
{
    // A hundred steps are elapsed. The result has 16 places of the fraction, the rest is cut.
    const std::tuple<FakeClock, ZOVNtpTime, Lines> cases[] = {
        {{kFake, {1, 0}}, {1, 0}, {}},
        {{kFake, {0, kHalf}}, {0, kHalf}, {}},
        {{kFake, {0, 70000}}, {0, 65536}, {}}, // 106 / 100
        {{kFake, {0, 65535}}, {0, 0}, {}},     //  99 / 100
        // 70000 s are 4464 s in the 32 bits that are kept; a hundredth is 44.64 s
        {{kFake, {700, 0}}, {44, 0xA3D70000}, {}},
        {{kFake, {0, 0}}, {0, 0}, kOverheadZero},
        {{kFake, {-1, kHalf}}, {0, 0}, kOverheadZero},
        {{kFake, {1, 0}, 1}, {7, 7}, kOverheadReading},
        {{kFake, {1, 0}, 101}, {7, 7}, kOverheadReading}};
    for (auto [clock, expected, lines] : cases) {
        LogCapture capture;
        ZOVNtpTime overhead = {7, 7};
        EXPECT_EQ(ZOVClock_getTimeOverhead(&clock.base, &overhead) != 0, lines.empty());
        EXPECT_EQ(overhead, expected) << clock.step;
        EXPECT_EQ(capture.lines(), lines) << clock.step;
        EXPECT_EQ(clock.readings, clock.failing_reading == 1 ? 1 : 101);
    }
}

TEST(Calibration, CountsSpinsPerMicrosecond)
{
    const std::string context = "ZOVClock_getSpinPerMicrosecond:";
    const Lines reading = {context + "!getTime\n"};
    const Lines zero = {context + "error calculating spin per microsecond\n"};
    const std::string overhead = context + "error calculating clock overhead\n";
    // Of a hundred steps one overhead is taken away; 20000 spins take a hundredth of the rest.
    const std::tuple<FakeClock, std::int64_t, Lines> cases[] = {
        {{kFake, {0, 1 << 20}}, 82, {}}, // 99 * 2^20 units are 24169922 ns, or 241699 a round
        {{kFake, {0, 50000}}, 1718, {}}, // no overhead in 16 places: 1164154 ns, 11641 a round
        {{kFake, {0, 5}}, 20000000, {}}, // 117 ns, 1 a round
        {{kFake, {0, 86000}}, 1006, {}}, // 65536 less: 8534464 units, 1987085 ns, 19870 a round
        {{kFake, {1, 0}}, 0, {}},        // 99 s
        {{kFake, {0, 0}}, -1, zero},
        {{kFake, {-1, kFracMax}}, -1, zero},
        {{kFake, {0, 4}}, -1, zero},                       // a round of less than a nanosecond
        {{kFake, {0, 1 << 20}, 0, 102, {1, 0}}, -1, zero}, // the overhead is all there is
        {{kFake, {1, 0}, 0, 102, {0, 0}}, -1, {kOverheadZero[0], overhead}},
        {{kFake, {1, 0}, 1}, -1, reading},
        {{kFake, {1, 0}, 101}, -1, reading},
        {{kFake, {1, 0}, 150}, -1, {kOverheadReading[0], overhead}}};
    for (auto [clock, expected, lines] : cases) {
        LogCapture capture;
        std::int64_t spin = -1;
        EXPECT_EQ(ZOVClock_getSpinPerMicrosecond(&clock.base, &spin) != 0, lines.empty());
        EXPECT_EQ(spin, expected) << clock.step;
        EXPECT_EQ(capture.lines(), lines) << clock.step;
    }
}

TEST(Process, KnowsWhoIsAlive)
{
    const std::int64_t own = ZOVOsapiProcess_getId();
    EXPECT_EQ(own, getpid());
    EXPECT_EQ(ZOVOsapiProcess_getPartitionId(), 0);
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    EXPECT_TRUE(ZOVOsapiProcess_isAlive(child)); // until somebody asks how it ended
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(ZOVOsapiProcess_isAlive(own));
    EXPECT_TRUE(ZOVOsapiProcess_isAlive(1));
    for (const std::int64_t pid : {std::int64_t{child}, std::int64_t{0},
                                   (std::int64_t{1} << 32) + own, std::int64_t{1} << 32})
        EXPECT_FALSE(ZOVOsapiProcess_isAlive(pid)) << pid;
}

TEST(Process, KnowsItsMemory)
{
    constexpr std::size_t kSize = 64 << 20;
    ZOVOsapiProcessMemoryInfo before = {};
    ASSERT_TRUE(ZOVOsapiProcess_getMemoryInfo(&before));
    const std::vector<char> memory(kSize, 'x');
    const char *const volatile in_use = memory.data(); // or the compiler could do without it
    ASSERT_NE(in_use, nullptr);
    ZOVOsapiProcessMemoryInfo after = {};
    ASSERT_TRUE(ZOVOsapiProcess_getMemoryInfo(&after));
    EXPECT_GE(after.totalSize, before.totalSize + kSize);
    // The kernel is a little behind in its count of what is resident.
    EXPECT_GE(after.residentSize, before.residentSize + kSize / 2);
    EXPECT_LT(after.residentSize, after.totalSize);
}

TEST(Sleep, RequestsWhatTheTimeSaysAndRefusesTheNegative)
{
    LogCapture capture;
    capture.set_levels(0x11);
    const std::pair<ZOVNtpTime, const char *> times[] = {{{0, 0}, "0.000000000"},
                                                         {{0, 1}, "0.000000001"},
                                                         {{0, 42949672}, "0.010000000"},
                                                         {{-1, 0}, "-1.000000000"}};
    const std::string context = "ZOVOsapiThread_sleep";
    Lines expected;
    for (const auto &[time, seconds] : times) {
        EXPECT_EQ(ZOVOsapiThread_sleep(&time), time.sec >= 0);
        expected.push_back(context + ": nanosleep(" + seconds + " s)\n");
    }
    expected.push_back(os_failure(context, "nanosleep", EINVAL));
    EXPECT_EQ(capture.lines(), expected);
}

Lines g_requests;

/** A sleep that a signal cuts short, once, with a quarter of a second to go. */
int interrupted_sleep(clockid_t clock, int flags, const timespec *request, timespec *remaining)
{
    EXPECT_EQ(clock, CLOCK_MONOTONIC);
    EXPECT_EQ(flags, 0);
    g_requests.push_back(std::to_string(request->tv_sec) + " s " +
                         std::to_string(request->tv_nsec));
    *remaining = {0, 250000000};
    return g_requests.size() == 1 ? EINTR : 0;
}

TEST(Sleep, GoesOnBehindAnInterruption)
{
    const Replacement replaced(test::instead::clock_nanosleep, interrupted_sleep);
    const ZOVNtpTime infinite = {kMax, 77};
    const ZOVNtpTime finite = {3, kFracMax};
    const std::pair<const ZOVNtpTime *, const char *> times[] = {
        {nullptr, "2147483647 s 0"}, {&infinite, "2147483647 s 0"}, {&finite, "4 s 0"}};
    for (const auto &[time, request] : times) {
        g_requests.clear();
        EXPECT_TRUE(ZOVOsapiThread_sleep(time));
        EXPECT_EQ(g_requests, Lines({request, "0 s 250000000"}));
    }
}

std::ptrdiff_t open_files()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

/** The record is filled if and only if that succeeds. */
std::string memory_info()
{
    const std::ptrdiff_t before = open_files();
    ZOVOsapiProcessMemoryInfo info = {1, 2};
    const ZOVBool is_known = ZOVOsapiProcess_getMemoryInfo(&info);
    EXPECT_EQ(info.residentSize != 1 && info.totalSize != 2, is_known != 0);
    return text_of(is_known) + (open_files() == before ? "" : ",open");
}

std::string reading_of(ZOVClock *clock, void (*destroy)(ZOVClock *))
{
    if (clock == nullptr)
        return "null";
    ZOVNtpTime time;
    const std::string result = text_of(clock->getTime(clock, &time));
    destroy(clock);
    return result;
}

/** Every operation that asks the platform for something, and what came of it. */
std::string results_of_all()
{
    std::string results;
    const auto note = [&results](const std::string &what, const std::string &result) {
        results += what + ":" + result + " ";
    };
    ZOVNtpTime time = {0, 1};
    note("sleep", text_of(ZOVOsapiThread_sleep(&time)));
    note("time", text_of(ZOVOsapiUtility_getTimeAdv(&time, ZOV_TRUE)));
    note("silent", text_of(ZOVOsapiUtility_getTimeAdv(&time, ZOV_FALSE)));
    note("system", reading_of(ZOVSystemClock_new(), ZOVSystemClock_delete));
    note("high", reading_of(ZOVHighResolutionClock_new(), ZOVHighResolutionClock_delete));
    note("monotonic", text_of(ZOVOsapiUtility_gethrtime() != UINT64_MAX));
    ZovOsapiThread_Info info = {};
    note("info", text_of(ZovOsapiThread_InfoGetI(&info)));
    for (int i = 0; i < 4; ++i)
        note(std::to_string(i), std::to_string(info.prio[i]));
    int32_t priority = 77;
    const ZOVBool is_known = ZOVOsapiThread_getPriority(&priority);
    note("priority", text_of(is_known) + std::to_string(priority));
    note("memory", memory_info());
    note("alive", text_of(ZOVOsapiProcess_isAlive(getpid())));
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const int error = ZOVOsapi_globalLock(&mutex);
    note("lock", std::to_string(error));
    note("unlock", std::to_string(error != 0 ? 0 : ZOVOsapi_globalUnlock(&mutex)));
    return results;
}

const std::string kLockFailure = os_failure("ZOVOsapi_globalLock", "ZOVOsapi_global_lock");
const std::string kUnlockFailure = os_failure("ZOVOsapi_globalUnlock", "ZOVOsapi_global_unlock");

TEST(Platform, EveryFailureIsReported)
{
    const std::string clean =
        "sleep:true time:true silent:true system:true high:true monotonic:true "
        "info:true 0:99 1:1 2:0 3:0 priority:true0 memory:true alive:true "
        "lock:0 unlock:0 ";
    const auto but = [&](const std::string &result, const Lines &lines = {}) {
        return test::but(clean, result, lines);
    };
    const std::string unknown = ":" + std::to_string(ZOV_OSAPI_THREAD_PRIORITY_DEFAULT);
    const std::string memory = "ZOVOsapiProcess_getMemoryInfo:";
    const Lines no_time = said_by("ZOVOsapiUtility_getTimeAdv");
    const auto no_block = [](std::size_t size, const std::string &line) {
        return test::no_memory("ZOVOsapiHeap_allocateStructure", size) +
               Lines{line + std::to_string(size) + " bytes\n"};
    };
    const Lines no_system_clock = no_block(
        sizeof(ZOVSystemClock), "ZOVSystemClock_new:no space on heap for structure of size ");
    const std::string high = "ZOVHighResolutionClock_new:!";
    test::for_each_fault(
        results_of_all, {clean},
        {{"clock_nanosleep 1",
          but("sleep:false", {os_failure("ZOVOsapiThread_sleep", "nanosleep")})},
         {"gettimeofday 1", but("time:false", no_time)},
         {"gettimeofday 2", but("silent:false")},
         {"gettimeofday 3", but("system:false", no_time)},
         {"gettimeofday 4", but("high:false", no_time)},
         {"calloc 1", but("system:null", no_system_clock)},
         {"calloc 2", but("high:null", no_block(sizeof(ZOVHighResolutionClock), high + "malloc "))},
         {"calloc 3", but("high:null", no_system_clock + Lines{high + "create sys clock\n"})},
         {"clock_gettime 1",
          but("monotonic:false", {"ZOVOsapiUtility_gethrtime:unable to get hardware time\n"})},
         {"pthread_getschedparam 1", {{clean, said_by("ZOVOsapiThread_getPolicyI")}}},
         {"sched_get_priority_max 1", but("0" + unknown)},
         {"sched_get_priority_min 1", but("1" + unknown)},
         {"sched_get_priority_max 2", but("2" + unknown)},
         {"sched_get_priority_min 2", but("3" + unknown)},
         {"pthread_getschedparam 2",
          but("priority:false77", said_by("ZOVOsapiThread_getPriority"))},
         {"fopen 1", but("memory:false", {memory + "!open /proc/<pid>/statm\n"})},
         // The file is closed only when it could be read.
         {"fscanf 1", but("memory:false,open", {memory + "!get process memory info\n"})},
         {"fclose 1", unnoticed},
         {"kill 1", unnoticed}, // somebody else's process lives
         {"pthread_mutex_lock 1", but("lock:1", {kLockFailure})},
         {"pthread_mutex_unlock 1", but("unlock:1", {kUnlockFailure})}});
    {
        const test::Fault unknown_process("kill 1", ESRCH);
        EXPECT_FALSE(ZOVOsapiProcess_isAlive(getpid()));
    }
    LogCapture capture;
    {
        const test::Fault fault("pthread_mutex_lock 1");
        ZOVOsapi_global_lock();
    }
    ZOVOsapi_global_lock();
    {
        const test::Fault fault("pthread_mutex_unlock 1");
        ZOVOsapi_global_unlock();
    }
    EXPECT_EQ(capture.lines(), Lines({kLockFailure, kUnlockFailure}));
}

} // namespace
