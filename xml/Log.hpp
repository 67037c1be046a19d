/** How the sources of the XML layer report. */
#ifndef WOLKCORE_XML_LOG_HPP
#define WOLKCORE_XML_LOG_HPP

#include "log/Log.hpp"
#include "osapi/Log.hpp" // its out-of-heap messages are reported here too
#include "xml/Log.h"

namespace zov::log::format {
#define MSG(INDEX, NAME, FORMAT) inline constexpr char NAME[] = FORMAT;
#include "xml/Log_normal.msg"
#undef MSG
} // namespace zov::log::format

namespace zov::xml {

inline constexpr std::uint32_t kSubmoduleObject = ZOV_XML_LOG_SUBMODULE_OBJECT;

} // namespace zov::xml

/** Reports a message of the XML layer under the name of another operation. */
#define XML_LOG_AS(LEVEL, SUBMODULE, CONTEXT, ...)                                                 \
    ZOV_LOG(ZOVXMLLog, ::zov::log::announce, LEVEL, ::zov::xml::SUBMODULE, CONTEXT, __VA_ARGS__)

/** Reports a message of the XML layer: XML_LOG(Exception, kSubmoduleObject, MESSAGE, ...). */
#define XML_LOG(LEVEL, SUBMODULE, ...) XML_LOG_AS(LEVEL, SUBMODULE, __func__, __VA_ARGS__)

#endif
