#include "dds/Utility.h"

#include "osapi/Thread.h"

void WOLK_Utility_sleep(const DDS_Duration_t *duration)
{
    ZOVNtpTime time;
    DDS_Duration_to_ntp_time(duration, &time);
    ZOVOsapiThread_sleep(&time);
}
