#include "osapi/Stdio.h"
#include "osapi/ascii.hpp"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kWhole = SIZE_MAX;

/** Whether nothing was cut. */
bool copy(char *destination, std::size_t capacity, const char *source, std::size_t count)
{
    const std::size_t length = strnlen(source, std::min(capacity, count));
    std::memcpy(destination, source, length);
    destination[length] = '\0';
    return length < capacity || length == count || source[length] == '\0';
}

} // namespace

char *ZOVOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t count)
{
    return copy(destination, capacity, source, count) ? destination : nullptr;
}

char *ZOVOsapiUtility_strcpy(char *destination, size_t capacity, const char *source)
{
    return ZOVOsapiUtility_strncpy(destination, capacity, source, kWhole);
}

char *ZOVOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t count)
{
    const std::size_t length = strnlen(destination, capacity);
    const bool had_room = destination[length] == '\0';
    const bool fits = copy(destination + length, capacity - length, source, count);
    return had_room && fits ? destination : nullptr;
}

char *ZOVOsapiUtility_strcat(char *destination, size_t capacity, const char *source)
{
    return ZOVOsapiUtility_strncat(destination, capacity, source, kWhole);
}

char *ZOVOsapiUtility_strToken(char *string, const char *delimiters, char **savePointer)
{
    char *token = string != nullptr ? string : *savePointer;
    token += std::strspn(token, delimiters);
    char *end = token + std::strcspn(token, delimiters);
    *savePointer = end;
    if (token == end)
        return nullptr;
    if (*end != '\0') {
        *end = '\0';
        *savePointer = end + 1;
    }
    return token;
}

char *ZOVOsapiUtility_strTrim(char *text)
{
    const char *begin = text;
    while (zov::ascii::is_blank(*begin))
        ++begin;
    std::size_t length = std::strlen(begin);
    while (length > 0 && zov::ascii::is_blank(begin[length - 1]))
        --length;
    std::memmove(text, begin, length);
    text[length] = '\0';
    return text;
}

int ZOVOsapiUtility_stringArrayToDelimitedString(char *buffer, size_t size,
                                                 const char *const *strings, int count,
                                                 char delimiter)
{
    std::size_t length = 0;
    for (int i = 0; i < count; ++i)
        length += std::strlen(strings[i]) + (i > 0 ? 1 : 0);
    if (length > INT_MAX || (buffer != nullptr && length >= size))
        return -1;
    if (buffer == nullptr)
        return static_cast<int>(length);
    char *end = buffer;
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            *end++ = delimiter;
        end = stpcpy(end, strings[i]);
    }
    *end = '\0';
    return static_cast<int>(length);
}
