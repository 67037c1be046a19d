#include "osapi/Log.hpp"
#include "osapi/Thread.h"
#include "osapi/Time.hpp"

#include <cerrno>
#include <ctime>

namespace {

constexpr timespec request_for(const ZOVNtpTime *time)
{
    if (time == nullptr || time->sec == ZOV_NTP_TIME_SEC_MAX)
        return {.tv_sec = ZOV_NTP_TIME_SEC_MAX, .tv_nsec = 0};
    timespec request = {.tv_sec = time->sec,
                        .tv_nsec = zov::time::nanoseconds_of_fraction(time->frac)};
    if (request.tv_nsec >= zov::time::kNanosecondsPerSecond) {
        request.tv_nsec -= zov::time::kNanosecondsPerSecond;
        request.tv_sec += 1;
    }
    return request;
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
