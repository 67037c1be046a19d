#include "osapi/Environment.hpp"

#include <cstdlib>
#include <utility>

namespace {

constexpr std::size_t kBufferSize = 4096;
constexpr char kOperation[] = "ZOVOsapi_envVarOrFileGet";

bool get_variable(char *buffer, const char *name, const char *value)
{
    OSAPI_LOG_AS(Local, kSubmoduleUtility, kOperation, ZOV_OSAPI_UTILITY_LOG_USING_ENV_VAR_s, name);
    if (ZOVOsapiUtility_strcpy(buffer, kBufferSize - 1, value) != nullptr)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleUtility, kOperation,
                 ZOV_OSAPI_UTILITY_LOG_ENV_VAR_TOO_LONG_sd, name,
                 static_cast<int>(kBufferSize - 1));
    return false;
}

/** Takes the characters of a file one after the other and keeps its items. */
class ItemList
{
public:
    ItemList(char *buffer, char separator, char comment)
        : m_buffer(buffer), m_separator(separator), m_comment(comment)
    {
    }

    /** FALSE when there is no room for the character. */
    bool add(char c)
    {
        const bool ends_line = c == '\n' || c == '\r';
        const bool begins_comment = c == m_comment && c != '\0';
        m_in_comment = (m_in_comment && !ends_line) || begins_comment;
        if (m_in_comment || ends_line || c == m_separator || c == ' ' || c == '\t' || c == '\0')
            return end_item();
        m_in_item = true;
        return put(c);
    }

    /** Terminates the list; FALSE when there is no room for the end of the last item. */
    bool finish()
    {
        if (!end_item())
            return false;
        m_buffer[m_length > 0 ? m_length - 1 : 0] = '\0';
        return true;
    }

private:
    bool end_item() { return !std::exchange(m_in_item, false) || put(m_separator); }

    bool put(char c)
    {
        if (m_length == kBufferSize)
            return false;
        m_buffer[m_length++] = c;
        return true;
    }

    char *m_buffer;
    std::size_t m_length = 0;
    char m_separator;
    char m_comment;
    bool m_in_comment = false;
    bool m_in_item = false;
};

bool get_items(ItemList &items, zov::environment::Reader &file, const char *name)
{
    char chunk[1024];
    std::size_t count = 0;
    bool fits = true;
    do {
        count = file.read(chunk, sizeof chunk);
        for (std::size_t i = 0; i < count && fits; ++i)
            fits = items.add(chunk[i]);
    } while (fits && count == sizeof chunk);
    if (file.has_failed())
        return false;
    if (fits && items.finish())
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleUtility, kOperation, ZOV_OSAPI_UTILITY_LOG_FILE_TOO_LONG_sd,
                 name, static_cast<int>(kBufferSize));
    return false;
}

bool get_file(char *buffer, const char *name, char separator, char comment)
{
    zov::environment::Reader file(name, kOperation);
    if (!file.is_open())
        return false;
    OSAPI_LOG_AS(Local, kSubmoduleUtility, kOperation, ZOV_OSAPI_UTILITY_LOG_USING_FILE_s, name);
    ItemList items(buffer, separator, comment);
    return get_items(items, file, name);
}

} // namespace

ZOVBool ZOVOsapi_envVarOrFileGet(char *buffer, int32_t size, const char *variableName,
                                 const char *fileName, char separator, char commentCharacter)
{
    if (buffer == nullptr || size < static_cast<std::int32_t>(kBufferSize) ||
        (variableName == nullptr && fileName == nullptr)) {
        OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_LOG_PRECONDITION_FAILURE);
        return ZOV_FALSE;
    }
    // A failure half-way leaves the caller's buffer alone.
    char text[kBufferSize];
    const char *value = variableName != nullptr ? std::getenv(variableName) : nullptr;
    if (variableName != nullptr && value == nullptr)
        OSAPI_LOG(Local, kSubmoduleUtility, ZOV_OSAPI_UTILITY_LOG_ENV_VAR_NOT_FOUND_s,
                  variableName);
    bool found = false;
    if (value != nullptr)
        found = get_variable(text, variableName, value);
    else if (fileName != nullptr)
        found = get_file(text, fileName, separator, commentCharacter);
    return found && ZOVOsapiUtility_strcpy(buffer, kBufferSize - 1, text) != nullptr;
}
