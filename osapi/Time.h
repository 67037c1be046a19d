/**
 * The time record that all layers share, the wall clock, the monotonic clock, and calibration.
 *
 * A time is seconds and a fraction in units of 2^-32 s. It serves as a duration, as a timeout, and
 * as a wall-clock time since 1970.
 *
 * A clock object is a record that starts with a table of operations; callers call through it:
 *
 *     struct ZOVClock *clock = ZOVSystemClock_new();
 *     struct ZOVNtpTime now;
 *     if (clock->getTime(clock, &now))
 *         use(&now);
 *
 * Threads: any; clock objects do not change after their creation.
 */
#ifndef WOLKCORE_OSAPI_TIME_H
#define WOLKCORE_OSAPI_TIME_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** A time, or a span of it. */
struct ZOVNtpTime
{
    int32_t sec;   /**< seconds; 0x7FFFFFFF means infinite */
    uint32_t frac; /**< fraction of a second in units of 2^-32 s */
};
typedef struct ZOVNtpTime ZOVNtpTime;

#define ZOV_NTP_TIME_SEC_MAX 0x7FFFFFFF   /**< seconds of an infinite time */
#define ZOV_NTP_TIME_FRAC_MAX 0xFFFFFFFFu /**< fraction of an infinite time */

/** What every clock object starts with. The operations return TRUE when they wrote the time. */
struct ZOVClock
{
    /** The time now. */
    ZOVBool (*getTime)(struct ZOVClock *clock, struct ZOVNtpTime *time);
    /** The least difference between two readings. */
    ZOVBool (*getResolution)(struct ZOVClock *clock, struct ZOVNtpTime *resolution);
    /** How often the clock must be read to stay right. */
    ZOVBool (*getRequiredCallPeriod)(struct ZOVClock *clock, struct ZOVNtpTime *period);
    /** Starts the clock anew. */
    ZOVBool (*reset)(struct ZOVClock *clock);
};
typedef struct ZOVClock ZOVClock;

/**
 * The wall-clock time, to the microsecond. The fraction is at most 20 units below the exact one.
 *
 * @param reportErrors FALSE reports nothing.
 *
 * Errors: FALSE with an OS failure of "gettimeofday"; FALSE with "now {%08x,%08X} < 0\n" for a time
 * before 1970 or past the range of 32 bits, which the record then holds.
 */
ZOVBool ZOVOsapiUtility_getTimeAdv(struct ZOVNtpTime *time, ZOVBool reportErrors) ZOV_NONNULL();
/** The same, with errors reported. */
ZOVBool ZOVOsapiUtility_getTime(struct ZOVNtpTime *time) ZOV_NONNULL();

/** Nanoseconds of the monotonic clock; all ones with "unable to get hardware time\n" on failure. */
uint64_t ZOVOsapiUtility_gethrtime(void);

/**
 * Measures how long one reading of a clock takes, over a hundred readings.
 *
 * Errors: FALSE with "!getTime\n" when a reading fails; FALSE with "error calculating clock
 * overhead\n", and a zero overhead, when the clock did not advance.
 */
ZOVBool ZOVClock_getTimeOverhead(struct ZOVClock *clock, struct ZOVNtpTime *overhead) ZOV_NONNULL();

/**
 * Measures how many rounds of the library's busy loop fit into a microsecond. Takes some
 * milliseconds.
 *
 * Errors: FALSE, reported, when a reading fails or the clock did not advance; spin is left alone.
 */
ZOVBool ZOVClock_getSpinPerMicrosecond(struct ZOVClock *clock, int64_t *spin) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
