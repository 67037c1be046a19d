/**
 * The finest clock object of the platform, which here is the system clock: it owns one and asks it.
 *
 * Threads: any number of threads may read one clock.
 */
#ifndef WOLKCORE_OSAPI_HIGH_RESOLUTION_CLOCK_H
#define WOLKCORE_OSAPI_HIGH_RESOLUTION_CLOCK_H

#include "osapi/SystemClock.h"

ZOV_BEGIN_DECLARATIONS

/** Visible for its size; use the operations. */
struct ZOVHighResolutionClock
{
    struct ZOVClock base;               /**< its table of operations */
    struct ZOVSystemClock *systemClock; /**< the clock that it asks; its own */
};
typedef struct ZOVHighResolutionClock ZOVHighResolutionClock;

/**
 * Creates a clock.
 *
 * Errors: null with "!malloc %lu bytes\n" or "!create sys clock\n", behind the reason.
 * Ownership: the caller's; ZOVHighResolutionClock_delete.
 */
ZOV_MUST_USE struct ZOVClock *ZOVHighResolutionClock_new(void);
/** Frees a clock; null is ignored. */
void ZOVHighResolutionClock_delete(struct ZOVClock *clock);

/** ZOVSystemClock_getTime. */
ZOVBool ZOVHighResolutionClock_getTime(struct ZOVClock *clock, struct ZOVNtpTime *time);
/** ZOVSystemClock_getResolution: FALSE, and nothing is written. */
ZOVBool ZOVHighResolutionClock_getResolution(struct ZOVClock *clock, struct ZOVNtpTime *resolution);
/** ZOVSystemClock_getRequiredCallPeriod. */
ZOVBool ZOVHighResolutionClock_getRequiredCallPeriod(struct ZOVClock *clock,
                                                     struct ZOVNtpTime *period);
/** ZOVSystemClock_reset: does nothing. Returns TRUE. */
ZOVBool ZOVHighResolutionClock_reset(struct ZOVClock *clock);

ZOV_END_DECLARATIONS

#endif
