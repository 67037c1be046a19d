/** Reporting of the DDS value types and settings: the masks of DDSLog, and its messages. */
#ifndef WOLKCORE_DDS_LOG_H
#define WOLKCORE_DDS_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/* Submodule bits of DDSLog. */
#define DDS_LOG_SUBMODULE_SEQUENCE 0x1u           /**< sequences */
#define DDS_LOG_SUBMODULE_STRING 0x2u             /**< strings */
#define DDS_LOG_SUBMODULE_SETTINGS 0x4u           /**< settings, DDS_StringSeq and text */
#define DDS_LOG_SUBMODULE_ALLOCATION_PARAMS 0x10u /**< parameter blocks of sequences */
#define DDS_LOG_SUBMODULE_THREAD 0x40u            /**< the thread factory, waiting */
#define DDS_LOG_SUBMODULE_VERSION 0x200u          /**< versions, which report nothing */
#define DDS_LOG_SUBMODULE_XML 0x20000u            /**< reading and writing XML */

ZOV_LOG_MODULE(DDSLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "dds/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
