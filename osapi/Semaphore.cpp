#include "osapi/Semaphore.h"

#include "osapi/Log.hpp"
#include "osapi/Time.hpp"
#include "osapi/heap.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <ctime>

#if __has_cpp_attribute(gnu::noplt)
// What every take and give calls is called directly: the linker's stubs would cost a tenth of them.
extern "C" {
[[gnu::noplt]] int pthread_mutex_lock(pthread_mutex_t *) noexcept;
[[gnu::noplt]] int pthread_mutex_unlock(pthread_mutex_t *) noexcept;
[[gnu::noplt]] int pthread_cond_signal(pthread_cond_t *) noexcept;
}
#endif

static_assert(offsetof(ZOVOsapiSemaphore, condition) == 8 + sizeof(pthread_mutex_t));
static_assert(offsetof(ZOVOsapiSemaphore, count) ==
              8 + sizeof(pthread_mutex_t) + sizeof(pthread_cond_t));
static_assert(offsetof(ZOVOsapiSemaphoreProperty, initialCount) == 4);

namespace {

using zov::time::add;
using zov::time::is_infinite;
using zov::time::subtract;

constexpr std::uint32_t kOk = ZOV_OSAPI_SEMAPHORE_STATUS_OK;
constexpr std::uint32_t kTimeout = ZOV_OSAPI_SEMAPHORE_STATUS_TIMEOUT;
constexpr std::uint32_t kError = ZOV_OSAPI_SEMAPHORE_STATUS_ERROR;

constexpr char kTake[] = "ZOVOsapiSemaphore_take";
constexpr char kGive[] = "ZOVOsapiSemaphore_give";

// One round of a wait lasts at most a year less a second: the platform's arithmetic holds that.
constexpr ZOVNtpTime kLongestRound = {31535999, 0};

bool is_mutex(const ZOVOsapiSemaphore *semaphore)
{
    return semaphore->kind == ZOV_OSAPI_SEMAPHORE_KIND_MUTEX;
}

bool is_signal(const ZOVOsapiSemaphore *semaphore)
{
    return semaphore->kind == ZOV_OSAPI_SEMAPHORE_KIND_SIGNAL;
}

/** Reports a failure. Returns the status that goes with it. */
[[gnu::cold, gnu::noinline]] std::uint32_t failure(const char *operation, const char *function,
                                                   int error)
{
    OSAPI_LOG_AS(Exception, kSubmoduleSemaphore, operation, ZOV_LOG_OS_FAILURE_sXs, function, error,
                 zov::osapi::ErrorText(error).text());
    return kError;
}

[[gnu::cold]] std::uint32_t unlock_and_fail(ZOVOsapiSemaphore *semaphore, const char *operation,
                                            const char *function, int error)
{
    pthread_mutex_unlock(&semaphore->mutex);
    return failure(operation, function, error);
}

std::uint32_t lock(ZOVOsapiSemaphore *semaphore, const char *operation)
{
    const int error = pthread_mutex_lock(&semaphore->mutex);
    return error == 0 ? kOk : failure(operation, "pthread_mutex_lock", error);
}

// Nothing of the semaphore is touched behind the unlock: the thread that it wakes may delete it.
std::uint32_t unlock(ZOVOsapiSemaphore *semaphore, const char *operation)
{
    const int error = pthread_mutex_unlock(&semaphore->mutex);
    return error == 0 ? kOk : failure(operation, "pthread_mutex_unlock", error);
}

std::uint32_t initialize_condition(ZOVOsapiSemaphore *semaphore, std::uint32_t initial_count)
{
    constexpr char kNew[] = "ZOVOsapiSemaphore_new";
    pthread_condattr_t attributes;
    int error = pthread_condattr_init(&attributes);
    if (error != 0)
        return failure(kNew, "pthread_condattr_init", error);
    error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    if (error != 0)
        return failure(kNew, "pthread_condattr_setclock", error);
    const bool counts = semaphore->kind == ZOV_OSAPI_SEMAPHORE_KIND_COUNTING;
    semaphore->count = counts ? initial_count : std::min(initial_count, 1u);
    pthread_cond_init(&semaphore->condition, &attributes);
    pthread_condattr_destroy(&attributes);
    return kOk;
}

bool is_conditional(std::uint32_t kind)
{
    return kind == ZOV_OSAPI_SEMAPHORE_KIND_BINARY || kind == ZOV_OSAPI_SEMAPHORE_KIND_COUNTING ||
           kind == ZOV_OSAPI_SEMAPHORE_KIND_SIGNAL;
}

// Kept: a mutex that is busy is an error for a caller who does not wait, and a finite timeout is
// none.
std::uint32_t take_mutex(ZOVOsapiSemaphore *semaphore, bool may_wait)
{
    if (may_wait)
        return lock(semaphore, kTake);
    const int error = pthread_mutex_trylock(&semaphore->mutex);
    return error == 0 ? kOk : failure(kTake, "pthread_mutex_trylock", error);
}

/** Waits for a count without a limit and takes it; the mutex is held. */
[[gnu::noinline]] std::uint32_t wait_for_ever(ZOVOsapiSemaphore *semaphore)
{
    while (semaphore->count == 0) {
        const int error = pthread_cond_wait(&semaphore->condition, &semaphore->mutex);
        // Kept: the message names the unlock, though it was the wait that failed.
        if (error != 0)
            return unlock_and_fail(semaphore, kTake, "pthread_mutex_unlock", error);
    }
    --semaphore->count;
    return unlock(semaphore, kTake);
}

int read_clock(ZOVNtpTime &now)
{
    timespec time;
    if (clock_gettime(CLOCK_MONOTONIC, &time) != 0)
        return errno;
    now = {static_cast<std::int32_t>(time.tv_sec),
           zov::time::fraction_of_nanoseconds(static_cast<std::uint32_t>(time.tv_nsec))};
    return 0;
}

bool is_zero(const ZOVNtpTime &time)
{
    return time.sec == 0 && time.frac == 0;
}

bool has_run_out(const ZOVNtpTime &remaining)
{
    return remaining.sec < 0 || is_zero(remaining);
}

timespec wake_up_time(const ZOVNtpTime &now, const ZOVNtpTime &remaining)
{
    const ZOVNtpTime round = remaining.sec >= kLongestRound.sec ? kLongestRound : remaining;
    return zov::time::timespec_of(add(now, round));
}

/**
 * Takes within a limit; the mutex is held. The count is tested before the time that remains, so
 * that a give just at the deadline still counts.
 */
[[gnu::noinline]] std::uint32_t wait_until(ZOVOsapiSemaphore *semaphore, ZOVNtpTime now,
                                           const ZOVNtpTime &timeout)
{
    const ZOVNtpTime deadline = add(now, timeout);
    ZOVNtpTime remaining = timeout;
    while (semaphore->count == 0) {
        if (has_run_out(remaining)) {
            const std::uint32_t status = unlock(semaphore, kTake);
            return status == kOk ? kTimeout : status;
        }
        const timespec wake_up = wake_up_time(now, remaining);
        int error = pthread_cond_timedwait(&semaphore->condition, &semaphore->mutex, &wake_up);
        // Kept: whoever waits with a limit leaves a signal for the others that it woke.
        if (error == 0 && is_signal(semaphore) && semaphore->count != 0)
            return unlock(semaphore, kTake);
        if (error != 0 && error != ETIMEDOUT)
            return unlock_and_fail(semaphore, kTake, "pthread_cond_timedwait", error);
        error = read_clock(now);
        if (error != 0)
            return unlock_and_fail(semaphore, kTake, "clock_gettime", error);
        remaining = now.sec == ZOV_NTP_TIME_SEC_MAX ? ZOVNtpTime{} : subtract(deadline, now);
    }
    --semaphore->count;
    return unlock(semaphore, kTake);
}

// The common cases keep to few registers, so that a take and a give cost little more than the
// platform's calls: what waits or fails is in functions of its own.

std::uint32_t lock_to_take(ZOVOsapiSemaphore *semaphore)
{
    const std::uint32_t status = lock(semaphore, kTake);
    if (status == kOk && is_signal(semaphore))
        semaphore->count = 0; // only a give that comes after this counts
    return status;
}

[[gnu::noinline]] std::uint32_t take_unlimited(ZOVOsapiSemaphore *semaphore)
{
    if (const std::uint32_t status = lock_to_take(semaphore); status != kOk) [[unlikely]]
        return status;
    if (semaphore->count == 0)
        return wait_for_ever(semaphore);
    --semaphore->count;
    return unlock(semaphore, kTake);
}

[[gnu::noinline]] std::uint32_t take_limited(ZOVOsapiSemaphore *semaphore,
                                             const ZOVNtpTime &timeout)
{
    ZOVNtpTime now = {};
    if (!is_zero(timeout))
        if (const int error = read_clock(now))
            return failure(kTake, "clock_gettime", error);
    if (const std::uint32_t status = lock_to_take(semaphore); status != kOk) [[unlikely]]
        return status;
    if (semaphore->count == 0)
        return wait_until(semaphore, now, timeout);
    --semaphore->count;
    return unlock(semaphore, kTake);
}

/** Sets the count and wakes whoever it is for; the mutex is held. */
[[gnu::noinline]] std::uint32_t give_signal(ZOVOsapiSemaphore *semaphore)
{
    semaphore->count = 1;
    if (const int error = pthread_cond_broadcast(&semaphore->condition))
        return unlock_and_fail(semaphore, kGive, "pthread_cond_broadcast", error);
    return unlock(semaphore, kGive);
}

[[gnu::noinline]] std::uint32_t give_count(ZOVOsapiSemaphore *semaphore)
{
    if (const std::uint32_t status = lock(semaphore, kGive); status != kOk) [[unlikely]]
        return status;
    if (is_signal(semaphore))
        return give_signal(semaphore);
    if (semaphore->kind != ZOV_OSAPI_SEMAPHORE_KIND_BINARY || semaphore->count == 0) {
        ++semaphore->count;
        if (const int error = pthread_cond_signal(&semaphore->condition)) [[unlikely]]
            return unlock_and_fail(semaphore, kGive, "pthread_cond_signal", error);
    }
    return unlock(semaphore, kGive);
}

} // namespace

ZOVOsapiSemaphore *ZOVOsapiSemaphore_new(uint32_t kind, const ZOVOsapiSemaphoreProperty *attributes)
{
    ZOVOsapiSemaphore *semaphore = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&semaphore, struct ZOVOsapiSemaphore) == nullptr)
        return nullptr;
    semaphore->kind = kind;
    // Kept: what fails from here on leaves the record behind; callers only see null.
    const int error = pthread_mutex_init(&semaphore->mutex, nullptr);
    if (error != 0) {
        failure(__func__, "pthread_mutex_init", error);
        return nullptr;
    }
    const std::uint32_t initial_count = attributes != nullptr ? attributes->initialCount : 0;
    if (is_conditional(kind) && initialize_condition(semaphore, initial_count) != kOk)
        return nullptr;
    return semaphore;
}

void ZOVOsapiSemaphore_delete(ZOVOsapiSemaphore *semaphore)
{
    if (semaphore == nullptr)
        return;
    if (pthread_mutex_destroy(&semaphore->mutex) != 0) {
        OSAPI_LOG(Exception, kSubmoduleSemaphore, ZOV_LOG_DELETE_FAILURE_s, "mutex");
        return;
    }
    if (!is_mutex(semaphore) && pthread_cond_destroy(&semaphore->condition) != 0) {
        OSAPI_LOG(Exception, kSubmoduleSemaphore, ZOV_LOG_DELETE_FAILURE_s, "condition");
        return;
    }
    ZOVOsapiHeap_freeStructure(semaphore);
}

uint32_t ZOVOsapiSemaphore_take(ZOVOsapiSemaphore *semaphore, const ZOVNtpTime *timeout)
{
    if (semaphore == nullptr)
        return kError;
    if (is_mutex(semaphore))
        return take_mutex(semaphore, timeout == nullptr || !is_zero(*timeout));
    if (timeout == nullptr || is_infinite(*timeout))
        return take_unlimited(semaphore);
    return take_limited(semaphore, *timeout);
}

uint32_t ZOVOsapiSemaphore_give(ZOVOsapiSemaphore *semaphore)
{
    if (semaphore == nullptr)
        return kError;
    if (is_mutex(semaphore))
        return unlock(semaphore, kGive);
    return give_count(semaphore);
}
