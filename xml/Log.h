/** Reporting of the XML layer: the masks of ZOVXMLLog, and its messages. */
#ifndef WOLKCORE_XML_LOG_H
#define WOLKCORE_XML_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/** Submodule bit of ZOVXMLLog: objects and attributes. */
#define ZOV_XML_LOG_SUBMODULE_OBJECT 0x1000u

ZOV_LOG_MODULE(ZOVXMLLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "xml/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
