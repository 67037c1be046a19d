/** How the sources of the DDS layer report. */
#ifndef WOLKCORE_DDS_LOG_HPP
#define WOLKCORE_DDS_LOG_HPP

#include "dds/Log.h"
#include "log/Log.hpp"

namespace zov::log::format {
#define MSG(INDEX, NAME, FORMAT) inline constexpr char NAME[] = FORMAT;
#include "dds/Log_normal.msg"
#undef MSG
} // namespace zov::log::format

namespace dds {

inline constexpr std::uint32_t kSubmoduleSequence = DDS_LOG_SUBMODULE_SEQUENCE;
inline constexpr std::uint32_t kSubmoduleString = DDS_LOG_SUBMODULE_STRING;
inline constexpr std::uint32_t kSubmoduleSettings = DDS_LOG_SUBMODULE_SETTINGS;
inline constexpr std::uint32_t kSubmoduleAllocationParams = DDS_LOG_SUBMODULE_ALLOCATION_PARAMS;
inline constexpr std::uint32_t kSubmoduleThread = DDS_LOG_SUBMODULE_THREAD;
inline constexpr std::uint32_t kSubmoduleXml = DDS_LOG_SUBMODULE_XML;

} // namespace dds

/** Reports a message of the DDS layer under the name of another operation. */
#define DDS_LOG_AS(LEVEL, SUBMODULE, CONTEXT, ...)                                                 \
    ZOV_LOG(DDSLog, ::zov::log::announce, LEVEL, ::dds::SUBMODULE, CONTEXT, __VA_ARGS__)

/** Reports a message of the DDS layer: DDS_LOG(Exception, kSubmoduleString, MESSAGE, ...). */
#define DDS_LOG(LEVEL, SUBMODULE, ...) DDS_LOG_AS(LEVEL, SUBMODULE, __func__, __VA_ARGS__)

namespace dds {

/** Reports an argument that is missing, or that cannot be; false. */
template <std::uint32_t submodule>
[[gnu::cold, gnu::noinline]] bool bad_parameter(const char *operation, const char *word)
{
    ZOV_LOG(DDSLog, ::zov::log::announce, Exception, submodule, operation, DDS_LOG_BAD_PARAMETER_s,
            word);
    return false;
}

/** Whether an argument is there; one that is not is reported. */
template <std::uint32_t submodule>
bool is_given(const void *argument, const char *word, const char *operation)
{
    return argument != nullptr || bad_parameter<submodule>(operation, word);
}

} // namespace dds

#endif
