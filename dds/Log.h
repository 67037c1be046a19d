/** Reporting of the DDS value types and settings: the masks of DDSLog, and its messages. */
#ifndef WOLKCORE_DDS_LOG_H
#define WOLKCORE_DDS_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/** Submodule bits of DDSLog. */
#define DDS_LOG_SUBMODULE_SEQUENCE 0x1u
#define DDS_LOG_SUBMODULE_STRING 0x2u
#define DDS_LOG_SUBMODULE_SETTINGS 0x4u /**< and the text conversions of DDS_StringSeq */
#define DDS_LOG_SUBMODULE_ALLOCATION_PARAMS 0x10u
#define DDS_LOG_SUBMODULE_THREAD 0x40u
#define DDS_LOG_SUBMODULE_VERSION 0x200u
#define DDS_LOG_SUBMODULE_XML 0x20000u

ZOV_LOG_MODULE(DDSLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "dds/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
