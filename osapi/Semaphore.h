/**
 * One synchronisation object of four kinds: mutex, binary, counting, and broadcast signal.
 *
 * All but the mutex kind are a count under a mutex with a condition on the monotonic clock, so that
 * a change of the wall clock neither shortens nor lengthens a wait.
 *
 * Threads: any thread may take and give. A mutex is given by the thread that took it, and taking
 * it twice in one thread deadlocks. A semaphore may be deleted as soon as nobody will take or give
 * it any more: also by the thread that has just been woken, while the giver is still returning.
 *
 *     const struct ZOVNtpTime second = {1, 0};
 *     struct ZOVOsapiSemaphore *done =
 *         ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_BINARY, NULL);
 *     if (ZOVOsapiSemaphore_take(done, &second) == ZOV_OSAPI_SEMAPHORE_STATUS_TIMEOUT)
 *         giveUp();
 */
#ifndef WOLKCORE_OSAPI_SEMAPHORE_H
#define WOLKCORE_OSAPI_SEMAPHORE_H

#include "osapi/Time.h"

#include <pthread.h>

ZOV_BEGIN_DECLARATIONS

/** Taken when the count is 1, which it then no longer is; giving it again changes nothing. */
#define ZOV_OSAPI_SEMAPHORE_KIND_BINARY 0x02020008u
/** Taken as often as it was given. */
#define ZOV_OSAPI_SEMAPHORE_KIND_COUNTING 0x02020009u
/** The platform's mutex. */
#define ZOV_OSAPI_SEMAPHORE_KIND_MUTEX 0x0202000Au
/**
 * Taken when it is given after the take began. One give serves everybody who waits with a limit;
 * whoever waits without one takes it away from those who come after him.
 */
#define ZOV_OSAPI_SEMAPHORE_KIND_SIGNAL 0x0202000Bu

#define ZOV_OSAPI_SEMAPHORE_STATUS_OK 0x020200F8u      /**< done */
#define ZOV_OSAPI_SEMAPHORE_STATUS_TIMEOUT 0x020200F9u /**< not given in time */
#define ZOV_OSAPI_SEMAPHORE_STATUS_ERROR 0x020200FFu   /**< failed; for all but null reported */

/** Visible for its size; use the operations. */
struct ZOVOsapiSemaphore
{
    uint32_t kind;            /**< ZOV_OSAPI_SEMAPHORE_KIND_... */
    pthread_mutex_t mutex;    /**< the mutex kind itself; of the others what guards the count */
    pthread_cond_t condition; /**< not in use for the mutex kind */
    uint32_t count;           /**< under the mutex */
};
typedef struct ZOVOsapiSemaphore ZOVOsapiSemaphore;

/** What a semaphore starts with. */
struct ZOVOsapiSemaphoreProperty
{
    uint32_t first;        /**< not read */
    uint32_t initialCount; /**< counting kind: the count; binary and signal kind: 0 or 1 */
};
typedef struct ZOVOsapiSemaphoreProperty ZOVOsapiSemaphoreProperty;

/**
 * Creates a semaphore.
 *
 * @param kind ZOV_OSAPI_SEMAPHORE_KIND_..., which is not checked.
 * @param attributes null means a count of 0.
 *
 * Errors: null, with the heap's report or an OS failure of the pthread function. A record whose
 * pthread parts could not be made is not released.
 * Ownership: the caller's; ZOVOsapiSemaphore_delete.
 */
ZOV_MUST_USE struct ZOVOsapiSemaphore *
ZOVOsapiSemaphore_new(uint32_t kind, const struct ZOVOsapiSemaphoreProperty *attributes);

/**
 * Deletes a semaphore; null is ignored.
 *
 * Errors: "!delete mutex\n" or "!delete condition\n" for one in use, which is then not released.
 */
void ZOVOsapiSemaphore_delete(struct ZOVOsapiSemaphore *semaphore);

/**
 * Takes a semaphore, waiting for it when necessary.
 *
 * @param timeout how long to wait; null or seconds of 0x7FFFFFFF mean for ever, {0, 0} not at all.
 * The mutex kind knows only "not at all" and "for ever", which every other timeout means.
 *
 * @return ZOV_OSAPI_SEMAPHORE_STATUS_OK, or _TIMEOUT, which is not reported.
 *
 * Errors: _ERROR with an OS failure of the pthread function, an unlock included, or of
 * "clock_gettime"; also for a busy mutex that is not to be waited for. _ERROR, unreported, for
 * null.
 */
uint32_t ZOVOsapiSemaphore_take(struct ZOVOsapiSemaphore *semaphore,
                                const struct ZOVNtpTime *timeout);

/**
 * Gives a semaphore; never waits, but for the mutex that guards its count.
 *
 * @return ZOV_OSAPI_SEMAPHORE_STATUS_OK.
 *
 * Errors: _ERROR with an OS failure of the pthread function. _ERROR, unreported, for null.
 */
uint32_t ZOVOsapiSemaphore_give(struct ZOVOsapiSemaphore *semaphore);

ZOV_END_DECLARATIONS

#endif
