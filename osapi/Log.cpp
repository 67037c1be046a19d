#include "osapi/Log.hpp"

#define MSG(INDEX, NAME, FORMAT)                                                                   \
    constinit const ZOVLogMessage NAME = {zov::log::kCodeBase + (INDEX), FORMAT};
#include "osapi/Log_normal.msg"
#undef MSG

ZOV_LOG_DEFINE_MODULE(ZOVOsapiLog, 0xFFFF);
ZOV_LOG_DEFINE_MODULE(ZOVClockLog, 0xFFFF);
