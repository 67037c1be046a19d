/** How the sources of the operating-system layer report. */
#ifndef WOLKCORE_OSAPI_LOG_HPP
#define WOLKCORE_OSAPI_LOG_HPP

#include "log/Log.hpp"
#include "osapi/Log.h"
#include "osapi/Stdio.h"

namespace zov::log::format {
#define MSG(INDEX, NAME, FORMAT) inline constexpr char NAME[] = FORMAT;
#include "osapi/Log_normal.msg"
#undef MSG
} // namespace zov::log::format

namespace zov::osapi {

inline constexpr std::uint32_t kSubmoduleUtility = ZOV_OSAPI_LOG_SUBMODULE_UTILITY;
inline constexpr std::uint32_t kSubmoduleMemory = ZOV_OSAPI_LOG_SUBMODULE_MEMORY;
inline constexpr std::uint32_t kSubmoduleSocket = ZOV_OSAPI_LOG_SUBMODULE_SOCKET;
inline constexpr std::uint32_t kSubmoduleSemaphore = ZOV_OSAPI_LOG_SUBMODULE_SEMAPHORE;
inline constexpr std::uint32_t kSubmoduleThread = ZOV_OSAPI_LOG_SUBMODULE_THREAD;
inline constexpr std::uint32_t kSubmoduleProcess = ZOV_OSAPI_LOG_SUBMODULE_PROCESS;

// Submodules of the clocks.
inline constexpr std::uint32_t kSubmoduleSystemClock = ZOV_CLOCK_LOG_SUBMODULE_SYSTEM;
inline constexpr std::uint32_t kSubmoduleHighResolutionClock =
    ZOV_CLOCK_LOG_SUBMODULE_HIGH_RESOLUTION;
inline constexpr std::uint32_t kSubmoduleCalibration = ZOV_CLOCK_LOG_SUBMODULE_CALIBRATION;

/** The text of an error number, for the length of a statement. */
class ErrorText
{
public:
    explicit ErrorText(int error)
        : m_text(ZOVOsapiUtility_getErrorString(m_buffer, sizeof m_buffer, error))
    {
    }
    [[nodiscard]] const char *text() const { return m_text; }

private:
    char m_buffer[128] = {};
    const char *m_text;
};

} // namespace zov::osapi

/** Reports a message of the layer under the name of another operation. */
#define OSAPI_LOG_AS(LEVEL, SUBMODULE, CONTEXT, ...)                                               \
    ZOV_LOG(ZOVOsapiLog, ::zov::log::announce, LEVEL, ::zov::osapi::SUBMODULE, CONTEXT, __VA_ARGS__)

/** Reports a message of the layer: OSAPI_LOG(Exception, kSubmoduleThread, MESSAGE, arguments). */
#define OSAPI_LOG(LEVEL, SUBMODULE, ...) OSAPI_LOG_AS(LEVEL, SUBMODULE, __func__, __VA_ARGS__)

/** Reports that a platform function failed with an error number. */
#define OSAPI_LOG_OS_FAILURE(LEVEL, SUBMODULE, FUNCTION, ERROR)                                    \
    OSAPI_LOG(LEVEL, SUBMODULE, ZOV_LOG_OS_FAILURE_sXs, FUNCTION, ERROR,                           \
              ::zov::osapi::ErrorText(ERROR).text())

/** Reports a message of the clocks under the name of another operation. */
#define CLOCK_LOG_AS(LEVEL, SUBMODULE, CONTEXT, ...)                                               \
    ZOV_LOG(ZOVClockLog, ::zov::log::announce, LEVEL, ::zov::osapi::SUBMODULE, CONTEXT, __VA_ARGS__)

/** Reports a message of the clocks. */
#define CLOCK_LOG(LEVEL, SUBMODULE, ...) CLOCK_LOG_AS(LEVEL, SUBMODULE, __func__, __VA_ARGS__)

#endif
