/**
 * The clock object of the wall clock.
 *
 * Threads: any number of threads may read one clock.
 */
#ifndef WOLKCORE_OSAPI_SYSTEM_CLOCK_H
#define WOLKCORE_OSAPI_SYSTEM_CLOCK_H

#include "osapi/Time.h"

ZOV_BEGIN_DECLARATIONS

/** Visible for its size; use the operations. */
struct ZOVSystemClock
{
    struct ZOVClock base;            /**< its table of operations */
    struct ZOVNtpTime epochRangeEnd; /**< {0x7FFFFFFF, 0xFFFFFFFF} */
    struct ZOVNtpTime resolution;    /**< a microsecond */
    uint32_t frequency;              /**< 1000000 Hz */
};
typedef struct ZOVSystemClock ZOVSystemClock;

/**
 * Creates a clock; its range and frequency are reported as local information.
 *
 * Errors: null with "no space on heap for structure of size %d bytes\n".
 * Ownership: the caller's; ZOVSystemClock_delete.
 */
ZOV_MUST_USE struct ZOVClock *ZOVSystemClock_new(void);
/** Frees a clock; null is ignored. */
void ZOVSystemClock_delete(struct ZOVClock *clock);

/** The wall-clock time. Results and errors are those of ZOVOsapiUtility_getTime. */
ZOVBool ZOVSystemClock_getTime(struct ZOVClock *clock, struct ZOVNtpTime *time);
/** FALSE, and nothing is written: the resolution is not promised. */
ZOVBool ZOVSystemClock_getResolution(struct ZOVClock *clock, struct ZOVNtpTime *resolution);
/** A second less than the range of the epoch. Returns TRUE. */
ZOVBool ZOVSystemClock_getRequiredCallPeriod(struct ZOVClock *clock, struct ZOVNtpTime *period);
/** Does nothing. Returns TRUE. */
ZOVBool ZOVSystemClock_reset(struct ZOVClock *clock);

ZOV_END_DECLARATIONS

#endif
