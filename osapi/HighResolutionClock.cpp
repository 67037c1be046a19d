#include "osapi/HighResolutionClock.h"

#include "osapi/Log.hpp"
#include "osapi/heap.h"

namespace {

constexpr ZOVClock kOperations = {.getTime = ZOVHighResolutionClock_getTime,
                                  .getResolution = ZOVHighResolutionClock_getResolution,
                                  .getRequiredCallPeriod =
                                      ZOVHighResolutionClock_getRequiredCallPeriod,
                                  .reset = ZOVHighResolutionClock_reset};

ZOVHighResolutionClock *of(ZOVClock *clock)
{
    return reinterpret_cast<ZOVHighResolutionClock *>(clock);
}

ZOVClock *system_clock(ZOVClock *clock)
{
    return &of(clock)->systemClock->base;
}

} // namespace

ZOVClock *ZOVHighResolutionClock_new(void)
{
    ZOVHighResolutionClock *clock = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&clock, struct ZOVHighResolutionClock) == nullptr) {
        CLOCK_LOG(Exception, kSubmoduleHighResolutionClock, ZOV_LOG_MALLOC_FAILURE_d,
                  static_cast<unsigned long>(sizeof *clock));
        return nullptr;
    }
    clock->systemClock = reinterpret_cast<ZOVSystemClock *>(ZOVSystemClock_new());
    if (clock->systemClock == nullptr) {
        CLOCK_LOG(Exception, kSubmoduleHighResolutionClock, ZOV_LOG_CREATION_FAILURE_s,
                  "sys clock");
        ZOVHighResolutionClock_delete(&clock->base);
        return nullptr;
    }
    clock->base = kOperations;
    return &clock->base;
}

void ZOVHighResolutionClock_delete(ZOVClock *clock)
{
    if (clock == nullptr)
        return;
    if (of(clock)->systemClock != nullptr)
        ZOVSystemClock_delete(system_clock(clock));
    *clock = {};
    ZOVOsapiHeap_freeStructure(of(clock));
}

ZOVBool ZOVHighResolutionClock_getTime(ZOVClock *clock, ZOVNtpTime *time)
{
    return system_clock(clock)->getTime(system_clock(clock), time);
}

ZOVBool ZOVHighResolutionClock_getResolution(ZOVClock *clock, ZOVNtpTime *resolution)
{
    return system_clock(clock)->getResolution(system_clock(clock), resolution);
}

ZOVBool ZOVHighResolutionClock_getRequiredCallPeriod(ZOVClock *clock, ZOVNtpTime *period)
{
    return system_clock(clock)->getRequiredCallPeriod(system_clock(clock), period);
}

ZOVBool ZOVHighResolutionClock_reset(ZOVClock *clock)
{
    return system_clock(clock)->reset(system_clock(clock));
}
