#include "xml/Log.h"

#include "log/Log.hpp"

#define MSG(INDEX, NAME, FORMAT)                                                                   \
    constinit const ZOVLogMessage NAME = {zov::log::kCodeBase + (INDEX), FORMAT};
#include "xml/Log_normal.msg"
#undef MSG

ZOV_LOG_DEFINE_MODULE(ZOVXMLLog, 0xFFFF);
