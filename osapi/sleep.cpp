#include "osapi/Log.hpp"
#include "osapi/Thread.h"
#include "osapi/Time.hpp"

#include <cerrno>
#include <ctime>

namespace {

constexpr timespec request_for(const ZOVNtpTime *time)
{
    if (time == nullptr || zov::time::is_infinite(*time))
        return {.tv_sec = ZOV_NTP_TIME_SEC_MAX, .tv_nsec = 0};
    return zov::time::timespec_of(*time);
}

// A time that is not zero yields the processor: it never turns into a request of zero.
constexpr ZOVNtpTime kShortest = {0, 1};
static_assert(request_for(&kShortest).tv_nsec == 1);
constexpr ZOVNtpTime kLongestFraction = {0, 0xFFFFFFFF};
static_assert(request_for(&kLongestFraction).tv_sec == 1);
static_assert(request_for(&kLongestFraction).tv_nsec == 0);

} // namespace

ZOVBool ZOVOsapiThread_sleep(const ZOVNtpTime *time)
{
    timespec request = request_for(time);
    if (ZOV_LOG_IS_ON(ZOVOsapiLog, Debug, zov::osapi::kSubmoduleThread))
        ZOVLog_debug("%s: nanosleep(%d.%09d s)\n", __func__, static_cast<int>(request.tv_sec),
                     static_cast<int>(request.tv_nsec));
    do {
        errno = clock_nanosleep(CLOCK_MONOTONIC, 0, &request, &request);
    } while (errno == EINTR);
    if (errno == 0)
        return ZOV_TRUE;
    OSAPI_LOG_OS_FAILURE(Exception, kSubmoduleThread, "nanosleep", errno);
    return ZOV_FALSE;
}
