/**
 * The time record that all layers share.
 *
 * A time is seconds and a fraction in units of 2^-32 s. It serves as a duration, as a timeout, and
 * as a wall-clock time since 1970.
 */
#ifndef WOLKCORE_OSAPI_TIME_H
#define WOLKCORE_OSAPI_TIME_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVNtpTime
{
    int32_t sec;   /**< seconds; 0x7FFFFFFF means infinite */
    uint32_t frac; /**< fraction of a second in units of 2^-32 s */
};
typedef struct ZOVNtpTime ZOVNtpTime;

#define ZOV_NTP_TIME_SEC_MAX 0x7FFFFFFF
#define ZOV_NTP_TIME_FRAC_MAX 0xFFFFFFFFu

ZOV_END_DECLARATIONS

#endif
