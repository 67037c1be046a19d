#include "osapi/Log.hpp"
#include "osapi/Thread.h"

#include <sched.h>

namespace {

/** A range of priorities, bounds included. */
struct Range
{
    std::int64_t min;
    std::int64_t max;

    [[nodiscard]] bool holds(std::int64_t value) const { return value >= min && value <= max; }
    [[nodiscard]] std::int64_t width() const { return max - min; }
};

/** The calling thread's policy as a realtime one: FIFO unless it is another that has priorities. */
int ZOVOsapiThread_getPolicyI()
{
    int policy = 0;
    sched_param parameter = {};
    if (const int error = pthread_getschedparam(pthread_self(), &policy, &parameter)) {
        OSAPI_LOG_OS_FAILURE(Exception, kSubmoduleThread, "pthread_getschedparam", error);
        return SCHED_FIFO;
    }
    return policy == SCHED_FIFO || policy == SCHED_RR ? policy : SCHED_FIFO;
}

std::int32_t known(int bound)
{
    return bound != -1 ? bound : ZOV_OSAPI_THREAD_PRIORITY_DEFAULT;
}

Range native_range(std::uint32_t options)
{
    ZovOsapiThread_Info info;
    ZovOsapiThread_InfoGetI(&info);
    const bool current =
        (options & ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY) != 0 && info.valid != 0;
    return current ? Range{info.prio[1], info.prio[0]} : Range{info.prio[3], info.prio[2]};
}

/** Maps to the nearest, a half upwards. The value is in `from`, whose width is not 0. */
std::int32_t map(std::int64_t value, const Range &from, const Range &to)
{
    const std::int64_t product = (value - from.min) * to.width();
    const std::int64_t quotient = product / from.width();
    const bool up = product % from.width() * 2 >= from.width();
    return static_cast<std::int32_t>(to.min + quotient + (up ? 1 : 0));
}

} // namespace

ZOVBool ZovOsapiThread_InfoGetI(ZovOsapiThread_Info *info)
{
    const int policy = ZOVOsapiThread_getPolicyI();
    *info = {.valid = ZOV_TRUE,
             .second = 0,
             .prio = {known(sched_get_priority_max(policy)), known(sched_get_priority_min(policy)),
                      known(sched_get_priority_max(SCHED_OTHER)),
                      known(sched_get_priority_min(SCHED_OTHER))},
             .zero = {}};
    return ZOV_TRUE;
}

ZOVBool ZOVOsapiThread_getNormalPriorityFromNative(int32_t *out, int32_t native, int32_t normalMin,
                                                   int32_t normalMax, uint32_t options)
{
    if (normalMin == normalMax)
        *out = normalMin;
    if (normalMin >= normalMax)
        return ZOV_FALSE;
    const Range range = native_range(options);
    const Range normal = {normalMin, normalMax};
    // Kept: without a place in the range it is half the width, not the middle.
    *out = range.holds(native) && range.width() > 0
               ? map(native, range, normal)
               : static_cast<std::int32_t>((normal.width() + 1) / 2);
    return ZOV_TRUE;
}

ZOVBool ZOVOsapiThread_getNativePriorityFromNormal(int32_t *out, int32_t normal, int32_t normalMin,
                                                   int32_t normalMax, uint32_t options)
{
    const Range from = {normalMin, normalMax};
    if (from.width() <= 0 || !from.holds(normal))
        return ZOV_FALSE;
    const Range range = native_range(options);
    *out = range.width() > 0 ? map(normal, from, range) : static_cast<std::int32_t>(range.min);
    return ZOV_TRUE;
}

ZOVBool ZOVOsapiThread_getPriority(int32_t *out)
{
    int policy = 0;
    sched_param parameter = {};
    if (const int error = pthread_getschedparam(pthread_self(), &policy, &parameter)) {
        OSAPI_LOG_OS_FAILURE(Exception, kSubmoduleThread, "pthread_getschedparam", error);
        return ZOV_FALSE;
    }
    *out = parameter.sched_priority;
    return ZOV_TRUE;
}
