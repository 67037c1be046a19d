/**
 * Threads.
 *
 * Threads: every operation may be called by any thread.
 */
#ifndef WOLKCORE_OSAPI_THREAD_H
#define WOLKCORE_OSAPI_THREAD_H

#include "osapi/Time.h"

ZOV_BEGIN_DECLARATIONS

/**
 * Blocks the calling thread for a time, measured on the monotonic clock.
 *
 * A signal never shortens the sleep. Null and every time with seconds 0x7FFFFFFF mean for ever;
 * {0, 0} returns at once; any other time lasts at least a nanosecond.
 *
 * Errors: FALSE, with an OS failure of "nanosleep" reported, when the platform refuses, as it does
 * for a negative time.
 */
ZOVBool ZOVOsapiThread_sleep(const struct ZOVNtpTime *time);

ZOV_END_DECLARATIONS

#endif
