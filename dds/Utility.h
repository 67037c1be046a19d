/** Waiting. */
#ifndef WOLKCORE_DDS_UTILITY_H
#define WOLKCORE_DDS_UTILITY_H

#include "dds/Duration.h"

ZOV_BEGIN_DECLARATIONS

/** Blocks the calling thread for a duration, as ZOVOsapiThread_sleep does for its time. */
void WOLK_Utility_sleep(const struct DDS_Duration_t *duration) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
