/** Reporting of the DDS value types and settings: the masks of DDSLog, and its messages. */
#ifndef WOLKCORE_DDS_LOG_H
#define WOLKCORE_DDS_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

ZOV_LOG_MODULE(DDSLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "dds/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
