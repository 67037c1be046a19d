/** How the launcher's sources report. */
#ifndef QUILLON_LAUNCHER_LOG_HPP
#define QUILLON_LAUNCHER_LOG_HPP

#include "launcher/Log.h"
#include "osapi/Log.hpp"

namespace zov::log::format {
#define MSG(INDEX, NAME, FORMAT) inline constexpr char NAME[] = FORMAT;
#include "launcher/Log_normal.msg"
#undef MSG
} // namespace zov::log::format

/** Reports a message under the name of another operation. */
#define QUILLON_LOG_AS(LEVEL, CONTEXT, ...)                                                        \
    ZOV_LOG(QUILLONLog, ::zov::log::announce_nothing, LEVEL, QUILLON_LOG_SUBMODULE, CONTEXT,       \
            __VA_ARGS__)

/** Reports a message of the launcher: QUILLON_LOG(Exception, MESSAGE, arguments). */
#define QUILLON_LOG(LEVEL, ...) QUILLON_LOG_AS(LEVEL, __func__, __VA_ARGS__)

/** Reports that a platform function failed with an error number. */
#define QUILLON_LOG_OS_FAILURE_AS(CONTEXT, FUNCTION, ERROR)                                        \
    QUILLON_LOG_AS(Exception, CONTEXT, ZOV_LOG_OS_FAILURE_sXs, FUNCTION, ERROR,                    \
                   ::zov::osapi::ErrorText(ERROR).text())

/** Writes a debug text of the local level. */
#define QUILLON_DEBUG(...)                                                                         \
    do {                                                                                           \
        if (ZOV_LOG_IS_ON(QUILLONLog, Local, QUILLON_LOG_SUBMODULE)) [[unlikely]]                  \
            ZOVLog_debug(__VA_ARGS__);                                                             \
    } while (false)

#endif
