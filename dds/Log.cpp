#include "dds/Log.h"

#include "log/Log.hpp"

#define MSG(INDEX, NAME, FORMAT)                                                                   \
    constinit const ZOVLogMessage NAME = {zov::log::kCodeBase + (INDEX), FORMAT};
#include "dds/Log_normal.msg"
#undef MSG

ZOV_LOG_DEFINE_MODULE(DDSLog, 0xFFFFFF);
