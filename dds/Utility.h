/**
 * Waiting: asleep, or at work.
 *
 * Threads: any.
 */
#ifndef WOLKCORE_DDS_UTILITY_H
#define WOLKCORE_DDS_UTILITY_H

#include "dds/Duration.h"

ZOV_BEGIN_DECLARATIONS

/**
 * Blocks the calling thread for a duration, as ZOVOsapiThread_sleep does for its time.
 *
 * Errors: it returns at once, with the report of ZOVOsapiThread_sleep, for a negative duration.
 */
void WOLK_Utility_sleep(const struct DDS_Duration_t *duration) ZOV_NONNULL();

/** Keeps the calling thread busy for a number of rounds. */
void WOLK_Utility_spin(DDS_UnsignedLongLong count);

/**
 * Measures how many of these rounds this machine does in a microsecond.
 *
 * Errors: 0 with "!create clock\n", or with the report of ZOVClock_getSpinPerMicrosecond and "error
 * calculating spin per microsecond\n".
 */
DDS_UnsignedLongLong WOLK_Utility_get_spin_per_microsecond(void);

ZOV_END_DECLARATIONS

#endif
