#include "osapi/Semaphore.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"
#include "tests/support/Servers.hpp"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <tuple>
#include <vector>

using test::eventually;
using test::Expected;
using test::kOs;
using test::Lines;
using test::LogCapture;
using test::Replacement;
using test::unnoticed;

namespace {

constexpr std::uint32_t kBinary = ZOV_OSAPI_SEMAPHORE_KIND_BINARY;
constexpr std::uint32_t kCounting = ZOV_OSAPI_SEMAPHORE_KIND_COUNTING;
constexpr std::uint32_t kMutex = ZOV_OSAPI_SEMAPHORE_KIND_MUTEX;
constexpr std::uint32_t kSignal = ZOV_OSAPI_SEMAPHORE_KIND_SIGNAL;
constexpr std::uint32_t kOk = ZOV_OSAPI_SEMAPHORE_STATUS_OK;
constexpr std::uint32_t kTimeout = ZOV_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
constexpr std::uint32_t kError = ZOV_OSAPI_SEMAPHORE_STATUS_ERROR;

constexpr ZOVNtpTime kAtOnce = {0, 0};
constexpr ZOVNtpTime kNegative = {-1, 0xFFFFFFFF};
constexpr ZOVNtpTime kMillisecond = {0, 4294967};
constexpr ZOVNtpTime kMinutes = {200, 0};
constexpr ZOVNtpTime kInfinite = {ZOV_NTP_TIME_SEC_MAX, 0};
constexpr const ZOVNtpTime *kForEver = nullptr;

struct Semaphore
{
    explicit Semaphore(std::uint32_t kind, std::uint32_t initial_count = 0)
    {
        const ZOVOsapiSemaphoreProperty property = {77, initial_count};
        record = ZOVOsapiSemaphore_new(kind, &property);
    }
    ~Semaphore() { ZOVOsapiSemaphore_delete(record); }
    Semaphore(const Semaphore &) = delete;
    Semaphore &operator=(const Semaphore &) = delete;

    auto take(const ZOVNtpTime *timeout) const { return ZOVOsapiSemaphore_take(record, timeout); }
    auto give() const { return ZOVOsapiSemaphore_give(record); }

    /** How often it can be taken without waiting. */
    int drain() const
    {
        int count = 0;
        while (take(&kAtOnce) == kOk)
            ++count;
        return count;
    }

    ZOVOsapiSemaphore *record;
};

/** Threads that wait on the condition, as the platform counts them: no sleep has to stand in. */
unsigned waiters(ZOVOsapiSemaphore *semaphore)
{
    pthread_mutex_lock(&semaphore->mutex);
    const unsigned count = semaphore->condition.__data.__wrefs >> 3;
    pthread_mutex_unlock(&semaphore->mutex);
    return count;
}

/** Threads that are joined when they are cleared away. */
using Crowd = std::vector<std::jthread>;

Crowd crowd(int count, const std::function<void()> &body)
{
    Crowd threads;
    while (count-- > 0)
        threads.emplace_back(body);
    return threads;
}

double now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

TEST(Semaphore, CountsByItsKindAndWaitsOutItsTimeout)
{
    const std::tuple<std::uint32_t, std::uint32_t, int, int> cases[] = {
        {kBinary, 0, 0, 0},   {kBinary, 9, 0, 1},   {kBinary, 0, 2, 1}, {kBinary, 1, 1, 1},
        {kCounting, 0, 0, 0}, {kCounting, 5, 2, 7}, {kSignal, 1, 0, 0}, {kSignal, 0, 2, 0}};
    LogCapture capture;
    for (const auto &[kind, initial_count, gives, takes] : cases) {
        SCOPED_TRACE(testing::Message() << kind << " " << initial_count << " " << gives);
        const Semaphore semaphore(kind, initial_count);
        for (int i = 0; i < gives; ++i)
            EXPECT_EQ(semaphore.give(), kOk);
        EXPECT_EQ(semaphore.drain(), takes);
        EXPECT_EQ(semaphore.take(&kNegative), kTimeout);
        // What is there is taken however little time there is; a signal must come later.
        semaphore.give();
        EXPECT_EQ(semaphore.take(&kNegative), kind == kSignal ? kTimeout : kOk);
        const double begin = now();
        EXPECT_EQ(semaphore.take(&kMillisecond), kTimeout);
        EXPECT_GE(now() - begin, 0.000999);
    }
    EXPECT_EQ(ZOVOsapiSemaphore_take(nullptr, nullptr), kError);
    EXPECT_EQ(ZOVOsapiSemaphore_take(nullptr, &kAtOnce), kError);
    EXPECT_EQ(ZOVOsapiSemaphore_give(nullptr), kError);
    ZOVOsapiSemaphore_delete(nullptr);
    EXPECT_EQ(capture.lines(), Lines{});
}

TEST(Semaphore, LongTimeoutsAndNoneWaitForTheGive)
{
    // The deadline of the longest finite one is beyond the range of the clock's record.
    const ZOVNtpTime longest = {ZOV_NTP_TIME_SEC_MAX - 1, 0xFFFFFFFF};
    for (const std::uint32_t kind : {kBinary, kCounting, kSignal})
        for (const ZOVNtpTime *timeout : {kForEver, &kInfinite, &longest}) {
            const Semaphore semaphore(kind);
            std::uint32_t status = 0;
            std::thread taker([&] { status = semaphore.take(timeout); });
            EXPECT_TRUE(eventually([&] { return waiters(semaphore.record) == 1; }));
            EXPECT_EQ(semaphore.give(), kOk);
            taker.join();
            EXPECT_EQ(status, kOk);
        }
}

TEST(Semaphore, AMutexThatIsBusyIsAnErrorWithoutWaitingAndElseIsWaitedForWithoutLimit)
{
    LogCapture capture;
    for (const ZOVNtpTime *timeout : {kForEver, &kMillisecond, &kNegative, &kInfinite}) {
        const Semaphore mutex(kMutex, 5);
        ASSERT_EQ(mutex.take(timeout), kOk);
        std::atomic<int> guarded = 0;
        std::thread other([&] {
            EXPECT_EQ(mutex.take(&kAtOnce), kError);
            EXPECT_EQ(mutex.take(timeout), kOk);
            EXPECT_EQ(guarded, 1);
            mutex.give();
        });
        // The platform's mark of a mutex that somebody waits for.
        EXPECT_TRUE(eventually(
            [&] { return std::atomic_ref<int>(mutex.record->mutex.__data.__lock).load() == 2; }));
        guarded = 1;
        EXPECT_EQ(mutex.give(), kOk);
        other.join();
    }
    EXPECT_EQ(capture.lines(), Lines(4, "ZOVOsapiSemaphore_take:OS pthread_mutex_trylock() "
                                        "failure, error 0X10: Device or resource busy\n"));
}

TEST(Semaphore, OneSignalWakesAllWhoWaitWithALimitOrServesOneWhoWaitsForEver)
{
    std::atomic<int> woken = 0;
    for (int round = 0; round < 50; ++round) {
        const Semaphore signal(kSignal);
        woken = 0;
        Crowd takers = crowd(4, [&] { woken += signal.take(&kMinutes) == kOk ? 1 : 0; });
        ASSERT_TRUE(eventually([&] { return waiters(signal.record) == 4; }));
        EXPECT_EQ(signal.give(), kOk);
        takers.clear();
        EXPECT_EQ(woken, 4);
        EXPECT_EQ(signal.record->count, 1u); // left for the others
    }
    const Semaphore signal(kSignal);
    woken = 0;
    Crowd takers = crowd(3, [&] { woken += signal.take(nullptr) == kOk ? 1 : 0; });
    for (unsigned waiting = 3; waiting > 0; --waiting) {
        EXPECT_TRUE(eventually([&] { return waiters(signal.record) == waiting; }));
        EXPECT_TRUE(eventually([&] { return woken == 3 - static_cast<int>(waiting); }));
        EXPECT_EQ(signal.give(), kOk);
    }
    takers.clear();
    EXPECT_EQ(signal.record->count, 0u); // consumed: nobody else can go on
}

TEST(Semaphore, NothingGivenIsLostOrTakenTwice)
{
    constexpr int kEach = 5000;
    for (const std::uint32_t kind : {kCounting, kBinary}) {
        const Semaphore semaphore(kind);
        std::atomic<int> taken = 0;
        std::atomic<bool> is_over = false;
        Crowd impatient = crowd(2, [&] {
            for (int i = 0; !is_over; ++i)
                taken += semaphore.take(i % 3 == 0 ? &kAtOnce : &kMillisecond) == kOk ? 1 : 0;
        });
        crowd(3, [&] {
            for (int i = 0; i < kEach; ++i)
                EXPECT_EQ(semaphore.give(), kOk);
        }).clear();
        is_over = true;
        impatient.clear();
        const int left = semaphore.drain();
        EXPECT_LE(taken + left, 3 * kEach);
        EXPECT_GE(taken + left, kind == kCounting ? 3 * kEach : 1);
    }
}

/** Gives semaphores that somebody else deletes as soon as he has them. */
void give_to_deleter(std::uint32_t kind, const ZOVNtpTime *timeout)
{
    constexpr int kRounds = 5000;
    std::atomic<ZOVOsapiSemaphore *> handed_over = nullptr;
    std::jthread giver([&] {
        for (int round = 0; round < kRounds; ++round) {
            ZOVOsapiSemaphore *semaphore = ZOVOsapiSemaphore_new(kind, nullptr);
            if (kind == kMutex)
                ZOVOsapiSemaphore_take(semaphore, nullptr);
            handed_over = semaphore;
            while (kind == kSignal && waiters(semaphore) == 0)
                std::this_thread::yield();
            if (round % 2 == 0) // sometimes the other waits already
                std::this_thread::yield();
            ZOVOsapiSemaphore_give(semaphore);
            while (handed_over.load() != nullptr)
                std::this_thread::yield();
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        ZOVOsapiSemaphore *semaphore;
        while ((semaphore = handed_over.load()) == nullptr)
            std::this_thread::yield();
        EXPECT_EQ(ZOVOsapiSemaphore_take(semaphore, timeout), kOk);
        if (kind == kMutex)
            ZOVOsapiSemaphore_give(semaphore);
        ZOVOsapiSemaphore_delete(semaphore);
        handed_over = nullptr;
    }
}

TEST(Semaphore, WhoeverIsWokenMayDeleteItAtOnce)
{
    LogCapture capture;
    for (const std::uint32_t kind : {kBinary, kCounting, kSignal, kMutex})
        for (const ZOVNtpTime *timeout : {kForEver, &kMinutes})
            give_to_deleter(kind, timeout);
    EXPECT_EQ(capture.lines(), Lines{});
}

ZOVOsapiSemaphore *g_semaphore = nullptr;

int give_at_once(pthread_cond_t *, pthread_mutex_t *)
{
    g_semaphore->count = 1;
    return 0;
}

struct Step
{
    const char *operation;
    std::uint32_t (*run)();
};

const Step kTake = {"take", [] { return ZOVOsapiSemaphore_take(g_semaphore, nullptr); }};
const Step kTakeAtOnce = {"take", [] { return ZOVOsapiSemaphore_take(g_semaphore, &kAtOnce); }};
const Step kTakeSoon = {"take", [] { return ZOVOsapiSemaphore_take(g_semaphore, &kMillisecond); }};
const Step kGive = {"give", [] { return ZOVOsapiSemaphore_give(g_semaphore); }};

/**
 * Makes a semaphore, takes the steps until one is not OK, and deletes the semaphore, which reports
 * a lock that an error left behind.
 */
std::string take_steps(std::uint32_t kind, const std::vector<Step> &steps)
{
    const ZOVOsapiSemaphoreProperty one = {.first = 0, .initialCount = 1};
    g_semaphore = ZOVOsapiSemaphore_new(kind, &one);
    if (g_semaphore == nullptr)
        return "null";
    std::string result;
    for (std::size_t i = 0; i < steps.size() && (i == 0 || result.ends_with("ok ")); ++i) {
        const std::uint32_t status = steps[i].run();
        result += status == kOk ? "ok " : status == kTimeout ? "timeout " : "error ";
    }
    ZOVOsapiSemaphore_delete(g_semaphore);
    return result;
}

/** The call that fails, the number of the step that it fails, and what is said of it. */
using StepFaults = std::vector<std::tuple<std::string, std::size_t, std::string>>;

/** Besides the given faults those of making and deleting, and of the lock in every step. */
void expect_faults(std::uint32_t kind, const std::vector<Step> &steps, const std::string &clean,
                   StepFaults of_steps)
{
    const std::string kDelete = "ZOVOsapiSemaphore_delete:!delete ";
    const Lines memory = test::no_memory("ZOVOsapiHeap_allocateStructure", sizeof *g_semaphore);
    const Expected not_made = {"null", test::said_by("ZOVOsapiSemaphore_new"), 1};
    test::Faults faults = {{"calloc 1", {{"null", memory}}},
                           {"pthread_mutex_init 1", not_made},
                           {"pthread_mutex_destroy 1", {{clean, {kDelete + "mutex\n"}, 1}}}};
    if (kind != kMutex) {
        faults["pthread_condattr_init 1"] = not_made;
        faults["pthread_condattr_setclock 1"] = not_made;
        faults["pthread_cond_init 1"] = unnoticed;
        faults["pthread_cond_destroy 1"] = {clean, {kDelete + "condition\n"}, 1};
        for (std::size_t step = 1; step <= steps.size(); ++step)
            for (const char *function : {"pthread_mutex_lock ", "pthread_mutex_unlock "})
                of_steps.emplace_back(function + std::to_string(step), step, kOs);
    }
    for (const auto &[call, step, said] : of_steps) {
        std::string result = "error ";
        for (std::size_t before = 1; before < step; ++before)
            result.insert(0, "ok ");
        const std::string operation = steps[step - 1].operation;
        faults[call] = {result, {"ZOVOsapiSemaphore_" + operation + ":" + said + "\n"}};
    }
    SCOPED_TRACE(kind);
    test::for_each_fault([&] { return take_steps(kind, steps); }, {clean}, faults);
}

TEST(SemaphoreFaults, OfEveryKind)
{
    const Replacement wait(test::instead::pthread_cond_wait, &give_at_once);
    expect_faults(kMutex, {kTake, kGive, kTakeAtOnce, kGive}, "ok ok ok ok ",
                  {{"pthread_mutex_lock 1", 1, kOs},
                   {"pthread_mutex_unlock 1", 2, kOs},
                   {"pthread_mutex_trylock 1", 3, kOs},
                   {"pthread_mutex_unlock 2", 4, kOs}});
    // The wait fails, and the message names the unlock.
    const std::string no_wait =
        "OS pthread_mutex_unlock() failure, error 0X1: Operation not permitted";
    for (const std::uint32_t kind : {kBinary, kCounting})
        expect_faults(kind, {kTakeAtOnce, kGive, kTake, kTake, kTakeSoon}, "ok ok ok ok timeout ",
                      {{"pthread_cond_signal 1", 2, kOs},
                       {"pthread_cond_wait 1", 4, no_wait},
                       {"clock_gettime", 5, kOs},
                       {"pthread_cond_timedwait", 5, kOs}});
    expect_faults(kSignal, {kGive, kTake, kTakeSoon}, "ok ok timeout ",
                  {{"pthread_cond_broadcast 1", 1, kOs},
                   {"pthread_cond_wait 1", 2, no_wait},
                   {"clock_gettime", 3, kOs},
                   {"pthread_cond_timedwait", 3, kOs}});
}

timespec g_now = {};
timespec g_wake_up = {};

// Long waits go by rounds of a year less a second, so that no platform's arithmetic overflows.
TEST(Semaphore, WakeUpTimesAreThoseOfTheMonotonicClock)
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
    g_semaphore = ZOVOsapiSemaphore_new(kBinary, nullptr);
    for (const auto &[now, timeout, wake_up] : cases) {
        g_now = now;
        EXPECT_EQ(ZOVOsapiSemaphore_take(g_semaphore, &timeout), kOk);
        EXPECT_EQ(g_wake_up.tv_sec, wake_up.tv_sec);
        EXPECT_EQ(g_wake_up.tv_nsec, wake_up.tv_nsec) << wake_up.tv_sec;
    }
    ZOVOsapiSemaphore_delete(g_semaphore);
}

} // namespace
