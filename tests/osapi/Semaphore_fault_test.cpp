#include "osapi/Semaphore.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <tuple>

using test::Expected;
using test::Faults;
using test::kOs;
using test::Lines;
using test::Replacement;
using test::unnoticed;

namespace {

constexpr ZOVNtpTime kNoTime = {0, 0};
constexpr ZOVNtpTime kMillisecond = {0, 4294968};
constexpr uint32_t kKinds[] = {ZOV_OSAPI_SEMAPHORE_KIND_BINARY, ZOV_OSAPI_SEMAPHORE_KIND_COUNTING,
                               ZOV_OSAPI_SEMAPHORE_KIND_SIGNAL};

ZOVOsapiSemaphore *g_semaphore = nullptr;

int give_at_once(pthread_cond_t *, pthread_mutex_t *)
{
    g_semaphore->count = 1;
    return 0;
}

using Step = uint32_t (*)();

const Step take = [] { return ZOVOsapiSemaphore_take(g_semaphore, nullptr); };
const Step take_at_once = [] { return ZOVOsapiSemaphore_take(g_semaphore, &kNoTime); };
const Step take_soon = [] { return ZOVOsapiSemaphore_take(g_semaphore, &kMillisecond); };
const Step give = [] { return ZOVOsapiSemaphore_give(g_semaphore); };

/**
 * Makes a semaphore, takes the steps until one is not OK, and deletes the semaphore, which reports
 * a lock that an error left behind.
 */
std::function<std::string()> scenario(uint32_t kind, const std::vector<Step> &steps)
{
    return [=]() -> std::string {
        const ZOVOsapiSemaphoreProperty one = {.first = 0, .initialCount = 1};
        g_semaphore = ZOVOsapiSemaphore_new(kind, &one);
        if (g_semaphore == nullptr)
            return "null";
        std::string result;
        for (const auto step : steps) {
            const uint32_t status = step();
            result += status == ZOV_OSAPI_SEMAPHORE_STATUS_OK        ? "ok "
                      : status == ZOV_OSAPI_SEMAPHORE_STATUS_TIMEOUT ? "timeout "
                                                                     : "error ";
            if (status != ZOV_OSAPI_SEMAPHORE_STATUS_OK)
                break;
        }
        ZOVOsapiSemaphore_delete(g_semaphore);
        return result;
    };
}

/** The step with this number fails, and says so of a function; of the one that failed, mostly. */
Expected error_in_step(int number, const std::string &operation, const std::string &what = kOs)
{
    std::string result;
    for (int step = 1; step < number; ++step)
        result += "ok ";
    return {result + "error ", {"ZOVOsapiSemaphore_" + operation + ":" + what + "\n"}};
}

/** What making and deleting report, and each step that locks: a "take" or a "give". */
Faults faults_of(const std::string &clean, const std::vector<const char *> &steps, Faults faults)
{
    const std::string kDelete = "ZOVOsapiSemaphore_delete:!delete ";
    const Lines memory = test::no_memory("ZOVOsapiHeap_allocateStructure", sizeof *g_semaphore);
    const Expected not_made = {"null", {"ZOVOsapiSemaphore_new:" + kOs + "\n"}, 1};
    faults["calloc 1"] = {"null", memory};
    faults["pthread_mutex_init 1"] = not_made;
    faults["pthread_mutex_destroy 1"] = {clean, {kDelete + "mutex\n"}, 1};
    if (steps.empty())
        return faults;
    faults["pthread_condattr_init 1"] = not_made;
    faults["pthread_condattr_setclock 1"] = not_made;
    faults["pthread_cond_init 1"] = unnoticed;
    faults["pthread_cond_destroy 1"] = {clean, {kDelete + "condition\n"}, 1};
    for (int step = 1; step <= static_cast<int>(steps.size()); ++step)
        for (const char *function : {"pthread_mutex_lock ", "pthread_mutex_unlock "})
            faults[function + std::to_string(step)] =
                error_in_step(step, steps[static_cast<std::size_t>(step) - 1]);
    return faults;
}

TEST(SemaphoreFaults, OfAMutex)
{
    const char *clean = "ok ok ok ok ";
    test::for_each_fault(scenario(ZOV_OSAPI_SEMAPHORE_KIND_MUTEX, {take, give, take_at_once, give}),
                         {clean},
                         faults_of(clean, {},
                                   {{"pthread_mutex_lock 1", error_in_step(1, "take")},
                                    {"pthread_mutex_unlock 1", error_in_step(2, "give")},
                                    {"pthread_mutex_trylock 1", error_in_step(3, "take")},
                                    {"pthread_mutex_unlock 2", error_in_step(4, "give")}}));
}

// The wait fails, and the message names the unlock.
const std::string kNoWait = "OS pthread_mutex_unlock() failure, error 0X1: Operation not permitted";

TEST(SemaphoreFaults, OfACount)
{
    const Replacement wait(test::instead::pthread_cond_wait, &give_at_once);
    const char *clean = "ok ok ok ok timeout ";
    for (const uint32_t kind : {kKinds[0], kKinds[1]})
        test::for_each_fault(scenario(kind, {take_at_once, give, take, take, take_soon}), {clean},
                             faults_of(clean, {"take", "give", "take", "take", "take"},
                                       {{"pthread_cond_signal 1", error_in_step(2, "give")},
                                        {"pthread_cond_wait 1", error_in_step(4, "take", kNoWait)},
                                        {"clock_gettime", error_in_step(5, "take")},
                                        {"pthread_cond_timedwait", error_in_step(5, "take")}}));
}

TEST(SemaphoreFaults, OfASignal)
{
    const Replacement wait(test::instead::pthread_cond_wait, &give_at_once);
    const char *clean = "ok ok timeout ";
    test::for_each_fault(scenario(kKinds[2], {give, take, take_soon}), {clean},
                         faults_of(clean, {"give", "take", "take"},
                                   {{"pthread_cond_broadcast 1", error_in_step(1, "give")},
                                    {"pthread_cond_wait 1", error_in_step(2, "take", kNoWait)},
                                    {"clock_gettime", error_in_step(3, "take")},
                                    {"pthread_cond_timedwait", error_in_step(3, "take")}}));
}

timespec g_now = {};
timespec g_wake_up = {};

// Long waits go by rounds of a year less a second, so that no platform's arithmetic overflows.
TEST(SemaphoreFaults, WakeUpTimesAreThoseOfTheMonotonicClock)
{
    const Replacement clock(
        test::instead::clock_gettime, +[](clockid_t, timespec *now) {
            *now = g_now;
            return 0;
        });
    const Replacement wait(
        test::instead::pthread_cond_timedwait,
        +[](pthread_cond_t *, pthread_mutex_t *, const timespec *wake_up) {
            g_wake_up = *wake_up;
            g_semaphore->count = 1;
            return 0;
        });
    const std::tuple<timespec, ZOVNtpTime, timespec> cases[] = {
        {{10, 0}, {0, 0x80000000}, {10, 500000001}},
        {{10, 999999999}, {5, 0xFFFFFFFF}, {16, 999999999}},
        {{10, 0}, {31535998, 0}, {31536008, 0}},
        {{10, 0}, {31535999, 77}, {31536009, 0}},
        {{10, 0}, {0x7FFFFFFE, 0xFFFFFFFF}, {31536009, 0}},
        {{0x7FFFFFFF, 0}, {1, 0}, {0x7FFFFFFF, 1000000000}},
    };
    g_semaphore = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    for (const auto &[now, timeout, wake_up] : cases) {
        g_now = now;
        EXPECT_EQ(ZOVOsapiSemaphore_take(g_semaphore, &timeout), ZOV_OSAPI_SEMAPHORE_STATUS_OK);
        EXPECT_EQ(g_wake_up.tv_sec, wake_up.tv_sec);
        EXPECT_EQ(g_wake_up.tv_nsec, wake_up.tv_nsec) << wake_up.tv_sec;
    }
    ZOVOsapiSemaphore_delete(g_semaphore);
}

} // namespace
