#include "osapi/Semaphore.h"
#include "tests/support/LogCapture.hpp"
#include "tests/support/Servers.hpp"

#include <atomic>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <tuple>
#include <vector>

using test::eventually;
using test::Lines;
using test::LogCapture;

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

} // namespace
