#include "osapi/HighResolutionClock.h"
#include "osapi/Process.h"
#include "osapi/SystemClock.h"
#include "osapi/Thread.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

using test::Expected;
using test::kOs;
using test::Lines;
using test::no_memory;
using test::os_failure;
using test::Replacement;
using test::text_of;
using test::unnoticed;
using test::operator+;

namespace {

const Expected kNoReading = {"false", {"ZOVOsapiUtility_getTimeAdv:" + kOs + "\n"}};

TEST(ClockFaults, OfReadings)
{
    const auto read = [](ZOVBool reports) {
        return [reports] {
            ZOVNtpTime time;
            return text_of(ZOVOsapiUtility_getTimeAdv(&time, reports));
        };
    };
    test::for_each_fault(read(ZOV_TRUE), {"true"}, {{"gettimeofday 1", kNoReading}});
    test::for_each_fault(read(ZOV_FALSE), {"true"}, {{"gettimeofday 1", {{"false"}}}});
    const std::string line = "ZOVOsapiUtility_gethrtime:unable to get hardware time\n";
    test::for_each_fault(
        [] { return ZOVOsapiUtility_gethrtime() == UINT64_MAX ? "all ones" : "time"; }, {"time"},
        {{"clock_gettime 1", {{"all ones", {line}}}}});
}

TEST(ClockFaults, OfClockObjects)
{
    const auto read = [](ZOVClock *(*make)(), void (*destroy)(ZOVClock *)) {
        return [=]() -> std::string {
            ZOVClock *clock = make();
            if (clock == nullptr)
                return "null";
            ZOVNtpTime time;
            const std::string result = text_of(clock->getTime(clock, &time));
            destroy(clock);
            return result;
        };
    };
    const auto memory = [](std::size_t size, const std::string &line) {
        return no_memory("ZOVOsapiHeap_allocateStructure", size) +
               Lines{line + std::to_string(size) + " bytes\n"};
    };
    const Lines no_system_clock = memory(
        sizeof(ZOVSystemClock), "ZOVSystemClock_new:no space on heap for structure of size ");
    test::for_each_fault(
        read(ZOVSystemClock_new, ZOVSystemClock_delete), {"true"},
        {{"calloc 1", {{"null", no_system_clock}}}, {"gettimeofday 1", kNoReading}});
    const std::string context = "ZOVHighResolutionClock_new:!";
    test::for_each_fault(
        read(ZOVHighResolutionClock_new, ZOVHighResolutionClock_delete), {"true"},
        {{"calloc 1", {{"null", memory(sizeof(ZOVHighResolutionClock), context + "malloc ")}}},
         {"calloc 2", {{"null", no_system_clock + Lines{context + "create sys clock\n"}}}},
         {"gettimeofday 1", kNoReading}});
}

std::vector<timespec> g_requests;

/** A sleep that a signal cuts short, once, with a quarter of a second to go. */
int interrupted_sleep(clockid_t clock, int flags, const timespec *request, timespec *remaining)
{
    EXPECT_EQ(clock, CLOCK_MONOTONIC);
    EXPECT_EQ(flags, 0);
    g_requests.push_back(*request);
    if (g_requests.size() > 1)
        return 0;
    *remaining = {0, 250000000};
    return EINTR;
}

TEST(ClockFaults, OfSleeps)
{
    const ZOVNtpTime soon = {0, 1};
    test::for_each_fault(
        [&] { return text_of(ZOVOsapiThread_sleep(&soon)); }, {"true"},
        {{"clock_nanosleep 1", {{"false", {os_failure("ZOVOsapiThread_sleep", "nanosleep")}}}}});

    const Replacement replaced(test::instead::clock_nanosleep, interrupted_sleep);
    const ZOVNtpTime infinite = {ZOV_NTP_TIME_SEC_MAX, 77};
    const ZOVNtpTime finite = {3, 0xFFFFFFFF};
    const std::pair<const ZOVNtpTime *, time_t> times[] = {
        {nullptr, 0x7FFFFFFF}, {&infinite, 0x7FFFFFFF}, {&finite, 4}};
    for (const auto &[time, seconds] : times) {
        g_requests.clear();
        EXPECT_TRUE(ZOVOsapiThread_sleep(time));
        ASSERT_EQ(g_requests.size(), 2u);
        EXPECT_EQ(g_requests[0].tv_sec, seconds);
        EXPECT_EQ(g_requests[0].tv_nsec, 0);
        EXPECT_EQ(g_requests[1].tv_sec, 0);
        EXPECT_EQ(g_requests[1].tv_nsec, 250000000);
    }
}

TEST(ClockFaults, OfPriorities)
{
    const std::string unknown = std::to_string(ZOV_OSAPI_THREAD_PRIORITY_DEFAULT);
    test::for_each_fault(
        [] {
            ZovOsapiThread_Info info = {};
            std::string text = text_of(ZovOsapiThread_InfoGetI(&info));
            for (const int32_t bound : info.prio)
                text.append(" ").append(std::to_string(bound));
            return text;
        },
        {"true 99 1 0 0"},
        {
            {"pthread_getschedparam 1",
             {{"true 99 1 0 0", {"ZOVOsapiThread_getPolicyI:" + kOs + "\n"}}}},
            {"sched_get_priority_max 1", {{"true " + unknown + " 1 0 0"}}},
            {"sched_get_priority_min 1", {{"true 99 " + unknown + " 0 0"}}},
            {"sched_get_priority_max 2", {{"true 99 1 " + unknown + " 0"}}},
            {"sched_get_priority_min 2", {{"true 99 1 0 " + unknown}}},
        });
    test::for_each_fault(
        [] {
            int32_t priority = 77;
            const std::string result = text_of(ZOVOsapiThread_getPriority(&priority));
            return result + " " + std::to_string(priority);
        },
        {"true 0"},
        {{"pthread_getschedparam 1",
          {{"false 77", {"ZOVOsapiThread_getPriority:" + kOs + "\n"}}}}});
}

TEST(ClockFaults, OfTheGlobalLock)
{
    const std::string lock_failure = os_failure("ZOVOsapi_globalLock", "ZOVOsapi_global_lock");
    const std::string unlock_failure =
        os_failure("ZOVOsapi_globalUnlock", "ZOVOsapi_global_unlock");
    test::for_each_fault(
        [] {
            pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
            if (const int error = ZOVOsapi_globalLock(&mutex))
                return "not locked: " + std::to_string(error);
            return std::to_string(ZOVOsapi_globalUnlock(&mutex));
        },
        {"0"},
        {{"pthread_mutex_lock 1", {{"not locked: 1", {lock_failure}}}},
         {"pthread_mutex_unlock 1", {{"1", {unlock_failure}}}}});

    test::LogCapture capture;
    {
        const test::Fault fault("pthread_mutex_lock 1");
        ZOVOsapi_global_lock();
    }
    ZOVOsapi_global_lock();
    {
        const test::Fault fault("pthread_mutex_unlock 1");
        ZOVOsapi_global_unlock();
    }
    EXPECT_EQ(capture.lines(), Lines({lock_failure, unlock_failure}));
}

std::ptrdiff_t open_files()
{
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
}

TEST(ClockFaults, OfQuestionsAboutProcesses)
{
    const std::string context = "ZOVOsapiProcess_getMemoryInfo:";
    test::for_each_fault(
        [] {
            const std::ptrdiff_t before = open_files();
            ZOVOsapiProcessMemoryInfo info = {1, 2};
            const std::string result = text_of(ZOVOsapiProcess_getMemoryInfo(&info));
            const bool is_kept = info.residentSize == 1 && info.totalSize == 2;
            return result + (is_kept ? ", record alone" : "") +
                   (open_files() == before ? "" : ", file open");
        },
        {"true"},
        {{"fopen 1", {{"false, record alone", {context + "!open /proc/<pid>/statm\n"}}}},
         // The file is closed only when it could be read.
         {"fscanf 1",
          {{"false, record alone, file open", {context + "!get process memory info\n"}}}},
         {"fclose 1", unnoticed}});

    // Somebody else's process lives; only one that the platform does not know does not.
    const auto is_alive = [] { return text_of(ZOVOsapiProcess_isAlive(getpid())); };
    test::for_each_fault(is_alive, {"true"}, {{"kill 1", unnoticed}});
    const test::Fault unknown("kill 1", ESRCH);
    EXPECT_EQ(is_alive(), "false");
}

} // namespace
