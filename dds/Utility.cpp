#include "dds/Utility.h"

#include "dds/Log.hpp"
#include "osapi/HighResolutionClock.h"
#include "osapi/Log.hpp"
#include "osapi/Thread.h"
#include "osapi/spin.hpp"

void WOLK_Utility_sleep(const DDS_Duration_t *duration)
{
    ZOVNtpTime time;
    DDS_Duration_to_ntp_time(duration, &time);
    ZOVOsapiThread_sleep(&time);
}

void WOLK_Utility_spin(DDS_UnsignedLongLong count)
{
    zov::spin(count);
}

DDS_UnsignedLongLong WOLK_Utility_get_spin_per_microsecond()
{
    ZOVClock *clock = ZOVHighResolutionClock_new();
    int64_t rounds = 0;
    if (clock == nullptr) {
        DDS_LOG(Exception, kSubmoduleThread, DDS_LOG_CREATE_FAILURE_s, "clock");
        return 0;
    }
    if (!ZOVClock_getSpinPerMicrosecond(clock, &rounds))
        DDS_LOG(Exception, kSubmoduleThread, ZOV_CLOCK_LOG_GET_SPIN_PER_MICROSECOND_FAILURE);
    ZOVHighResolutionClock_delete(clock);
    return static_cast<DDS_UnsignedLongLong>(rounds);
}
