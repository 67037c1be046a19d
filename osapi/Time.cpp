#include "osapi/Time.h"

#include "osapi/Log.hpp"
#include "osapi/Time.hpp"

#include <cerrno>
#include <ctime>
#include <sys/time.h>

static_assert(sizeof(ZOVNtpTime) == 8);

namespace {

/**
 * microseconds * 2^32 / 10^6 without a division. Other layers compare times to the unit, so the
 * rounding is part of the contract.
 */
constexpr std::uint32_t fraction_of_microseconds(std::uint32_t microseconds)
{
    return 4294 * microseconds + ((((61 * microseconds) >> 7) + 15 * microseconds) >> 4);
}
static_assert(fraction_of_microseconds(1) == 4294);
static_assert(fraction_of_microseconds(500000) == 2147483642);
static_assert(fraction_of_microseconds(999999) == 4294962990);

} // namespace

ZOVBool ZOVOsapiUtility_getTimeAdv(ZOVNtpTime *time, ZOVBool reportErrors)
{
    timeval now;
    if (gettimeofday(&now, nullptr) == -1) {
        if (reportErrors)
            OSAPI_LOG_OS_FAILURE(Exception, kSubmoduleUtility, "gettimeofday", errno);
        return ZOV_FALSE;
    }
    *time = {.sec = static_cast<std::int32_t>(now.tv_sec),
             .frac = fraction_of_microseconds(static_cast<std::uint32_t>(now.tv_usec))};
    if (time->sec >= 0)
        return ZOV_TRUE;
    if (reportErrors)
        OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_OSAPI_UTILITY_LOG_NEGATIVE_TIME_xX,
                  static_cast<unsigned>(time->sec), time->frac);
    return ZOV_FALSE;
}

ZOVBool ZOVOsapiUtility_getTime(ZOVNtpTime *time)
{
    return ZOVOsapiUtility_getTimeAdv(time, ZOV_TRUE);
}

uint64_t ZOVOsapiUtility_gethrtime(void)
{
    timespec now;
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_OSAPI_UTILITY_LOG_HRTIME_FAILURE);
        return UINT64_MAX;
    }
    return static_cast<std::uint64_t>(now.tv_sec) * zov::time::kNanosecondsPerSecond +
           static_cast<std::uint64_t>(now.tv_nsec);
}
