#include "launcher/Log.hpp"

#define MSG(INDEX, NAME, FORMAT)                                                                   \
    constinit const ZOVLogMessage NAME = {zov::log::kCodeBase + (INDEX), FORMAT};
#include "launcher/Log_normal.msg"
#undef MSG

ZOV_LOG_DEFINE_MODULE(QUILLONLog, 0xFFFF);
