#include "osapi/SystemClock.h"

#include "osapi/Log.hpp"
#include "osapi/heap.h"

#include <cstddef>

static_assert(offsetof(ZOVSystemClock, epochRangeEnd) == sizeof(ZOVClock));
static_assert(offsetof(ZOVSystemClock, frequency) == sizeof(ZOVClock) + 16);

namespace {

constexpr ZOVSystemClock kSystemClock = {
    .base = {.getTime = ZOVSystemClock_getTime,
             .getResolution = ZOVSystemClock_getResolution,
             .getRequiredCallPeriod = ZOVSystemClock_getRequiredCallPeriod,
             .reset = ZOVSystemClock_reset},
    .epochRangeEnd = {ZOV_NTP_TIME_SEC_MAX, ZOV_NTP_TIME_FRAC_MAX},
    .resolution = {0, 4294},
    .frequency = 1'000'000,
};

ZOVSystemClock *of(ZOVClock *clock)
{
    return reinterpret_cast<ZOVSystemClock *>(clock);
}

} // namespace

ZOVClock *ZOVSystemClock_new(void)
{
    ZOVSystemClock *clock = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&clock, struct ZOVSystemClock) == nullptr) {
        CLOCK_LOG(Exception, kSubmoduleSystemClock, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                  static_cast<int>(sizeof *clock));
        return nullptr;
    }
    *clock = kSystemClock;
    CLOCK_LOG_AS(Local, kSubmoduleSystemClock, "ZOVSystemClock_init", ZOV_CLOCK_LOG_EPOCH_RANGE_xXd,
                 static_cast<unsigned>(clock->epochRangeEnd.sec), clock->epochRangeEnd.frac,
                 static_cast<int>(clock->frequency));
    return &clock->base;
}

void ZOVSystemClock_delete(ZOVClock *clock)
{
    if (clock == nullptr)
        return;
    *of(clock) = {};
    ZOVOsapiHeap_freeStructure(of(clock));
}

ZOVBool ZOVSystemClock_getTime(ZOVClock *, ZOVNtpTime *time)
{
    return ZOVOsapiUtility_getTime(time);
}

ZOVBool ZOVSystemClock_getResolution(ZOVClock *, ZOVNtpTime *)
{
    return ZOV_FALSE; // Kept: callers take it for "unknown".
}

ZOVBool ZOVSystemClock_getRequiredCallPeriod(ZOVClock *clock, ZOVNtpTime *period)
{
    const ZOVNtpTime &end = of(clock)->epochRangeEnd;
    *period = {.sec = end.sec - 1, .frac = end.frac};
    return ZOV_TRUE;
}

ZOVBool ZOVSystemClock_reset(ZOVClock *)
{
    return ZOV_TRUE;
}
