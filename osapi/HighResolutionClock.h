/**
 * The finest clock object of the platform, which here is the system clock: it owns one and asks it.
 *
 * Threads: any number of threads may read one clock.
 */
#ifndef WOLKCORE_OSAPI_HIGH_RESOLUTION_CLOCK_H
#define WOLKCORE_OSAPI_HIGH_RESOLUTION_CLOCK_H

#include "osapi/SystemClock.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVHighResolutionClock
{
    struct ZOVClock base;
    struct ZOVSystemClock *systemClock;
};
typedef struct ZOVHighResolutionClock ZOVHighResolutionClock;

/**
 * Creates a clock.
 *
 * Errors: null with "!malloc %lu bytes\n" or "!create sys clock\n".
 * Ownership: the caller's.
 */
ZOV_MUST_USE struct ZOVClock *ZOVHighResolutionClock_new(void);
/** Frees a clock; null is ignored. */
void ZOVHighResolutionClock_delete(struct ZOVClock *clock);

/** The system clock's operation of the same name, for each of these. */
ZOVBool ZOVHighResolutionClock_getTime(struct ZOVClock *clock, struct ZOVNtpTime *time);
ZOVBool ZOVHighResolutionClock_getResolution(struct ZOVClock *clock, struct ZOVNtpTime *resolution);
ZOVBool ZOVHighResolutionClock_getRequiredCallPeriod(struct ZOVClock *clock,
                                                     struct ZOVNtpTime *period);
ZOVBool ZOVHighResolutionClock_reset(struct ZOVClock *clock);

ZOV_END_DECLARATIONS

#endif
