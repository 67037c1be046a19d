#include "xml/Utils.h"

#include "koba/String.h"
#include "osapi/Environment.h"
#include "xml/Log.hpp"

#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kValueSize = 4096;

/** The value of a variable; false, and reported, when it is too long. Empty without one. */
bool get_value(char *value, const char *name)
{
    value[0] = '\0';
    if (ZOVOsapi_envVarOrFileGet(value, kValueSize, name, nullptr, '\0', '\0'))
        return true;
    if (std::getenv(name) != nullptr)
        return false;
    XML_LOG_AS(Exception, kSubmoduleObject, "ZOVXMLHelper_expandEnvironmentVariables",
               ZOVXML_LOG_PARSER_ENV_VAR_NOT_DEFINED_s, name);
    return true;
}

} // namespace

const char *ZOVXMLHelper_getAttribute(const char **list, const char *name)
{
    for (; *list != nullptr; list += 2)
        if (std::strcmp(*list, name) == 0)
            return list[1];
    return nullptr;
}

int32_t ZOVXMLHelper_getAttributeCount(const char **list)
{
    int32_t count = 0;
    while (list[2 * static_cast<std::ptrdiff_t>(count)] != nullptr)
        ++count;
    return count;
}

ZOVBool ZOVXMLHelper_isspace(int c)
{
    return KOBAString_isspace(c);
}

char *ZOVXMLHelper_strTrim(char *text)
{
    const char *first = text;
    while (ZOVXMLHelper_isspace(static_cast<unsigned char>(*first)))
        ++first;
    std::size_t length = std::strlen(first);
    while (length > 0 && ZOVXMLHelper_isspace(static_cast<unsigned char>(first[length - 1])))
        --length;
    std::memmove(text, first, length);
    text[length] = '\0';
    return text;
}

char *ZOVXMLHelper_expandEnvironmentVariables(char *text)
{
    char value[kValueSize];
    char *reference = text;
    while ((reference = std::strstr(reference, "$(")) != nullptr) {
        char *name = reference + 2;
        char *end = std::strchr(name, ')');
        if (end == nullptr)
            break;
        *end = '\0';
        const bool fits = get_value(value, name);
        const std::size_t length = std::strlen(value);
        const std::size_t rest = std::strlen(end + 1);
        if (!fits ||
            static_cast<std::size_t>(reference - text) + length + rest >= ZOV_XML_EXPANDED_SIZE) {
            if (ZOV_LOG_IS_ON(ZOVXMLLog, Exception, zov::xml::kSubmoduleObject))
                ZOVLog_debug("%s: value of '%s' too long\n", __func__, name);
            *end = ')';
            return nullptr;
        }
        std::memmove(reference + length, end + 1, rest + 1);
        std::memcpy(reference, value, length);
        reference += length; // a value is not looked through for references
    }
    return text;
}
