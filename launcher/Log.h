/** Reporting of the launcher: the masks of QUILLONLog, and its messages. */
#ifndef QUILLON_LAUNCHER_LOG_H
#define QUILLON_LAUNCHER_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/** The submodule bit of everything that the launcher reports. */
#define QUILLON_LOG_SUBMODULE 0x2000u

ZOV_LOG_MODULE(QUILLONLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "launcher/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
