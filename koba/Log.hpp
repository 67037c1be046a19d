/** How the sources of the data structures report. */
#ifndef WOLKCORE_KOBA_LOG_HPP
#define WOLKCORE_KOBA_LOG_HPP

#include "koba/Log.h"
#include "log/Log.hpp"

namespace koba {

inline constexpr std::uint32_t kSubmoduleString = KOBA_LOG_SUBMODULE_STRING;
inline constexpr std::uint32_t kSubmoduleOrderedDataType = KOBA_LOG_SUBMODULE_ORDERED_DATA_TYPE;
inline constexpr std::uint32_t kSubmoduleSkiplist = KOBA_LOG_SUBMODULE_SKIPLIST;
inline constexpr std::uint32_t kSubmoduleFastBuffer = KOBA_LOG_SUBMODULE_FAST_BUFFER;

/** How a SemaphoreGuard of a submodule reports. */
template <std::uint32_t submodule>
[[gnu::cold]] void report_mutex(const char *context, const ZOVLogMessage &message)
{
    if (!ZOV_LOG_IS_ON(KOBALog, Exception, submodule))
        return;
    zov::log::announce(zov::log::Level::Exception);
    ZOVLog_printContextAndMsg(context, &message);
}

} // namespace koba

/** Reports a message of the data structures under the name of another operation. */
#define KOBA_LOG_AS(LEVEL, SUBMODULE, CONTEXT, ...)                                                \
    ZOV_LOG(KOBALog, ::zov::log::announce, LEVEL, ::koba::SUBMODULE, CONTEXT, __VA_ARGS__)

/** Reports a message of the data structures: KOBA_LOG(Exception, kSubmoduleString, MESSAGE, ...).
 */
#define KOBA_LOG(LEVEL, SUBMODULE, ...) KOBA_LOG_AS(LEVEL, SUBMODULE, __func__, __VA_ARGS__)

#endif
