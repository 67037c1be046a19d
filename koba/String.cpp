#include "koba/String.h"

#include "koba/fold.hpp"
#include "log/Log.h"
#include "osapi/Stdio.h"
#include "osapi/ascii.hpp"
#include "osapi/heap.h"

#include <cstdlib>
#include <cstring>

using koba::to_upper;

extern constexpr int32_t KOBA_STRING_INDENT_AMOUNT = 3;

int32_t KOBAString_compare(const char *a, const char *b)
{
    return std::strcmp(a, b);
}

int32_t KOBAString_iCompare(const char *a, const char *b)
{
    while (*a != '\0' && to_upper(*a) == to_upper(*b)) {
        ++a;
        ++b;
    }
    return to_upper(*a) - to_upper(*b);
}

int32_t KOBAString_inCompare(const char *a, const char *b, uint32_t n)
{
    // Kept: a bound of 0 wraps around, and callers rely on its meaning no bound.
    for (uint32_t left = n - 1; *a != '\0' && *b != '\0' && left != 0; --left) {
        if (to_upper(*a) != to_upper(*b))
            break;
        ++a;
        ++b;
    }
    return to_upper(*a) - to_upper(*b);
}

const char *KOBAString_iFindSubString(const char *s, const char *sub)
{
    if (s == nullptr || sub == nullptr || *sub == '\0')
        return s;
    const auto begins_with_sub = [sub](const char *place) {
        std::size_t i = 0;
        while (sub[i] != '\0' && to_upper(place[i]) == to_upper(sub[i]))
            ++i;
        return sub[i] == '\0';
    };
    for (; *s != '\0'; ++s)
        if (begins_with_sub(s))
            return s;
    return nullptr;
}

ZOVBool KOBAString_strToUnsignedShort(const char *s, uint16_t *out)
{
    char *end = nullptr;
    // Kept: 32 bits of the number decide, so that 4294967297 is read as 1.
    const auto value = static_cast<uint32_t>(std::strtol(s, &end, 10));
    if (end == s || value > UINT16_MAX)
        return ZOV_FALSE;
    *out = static_cast<uint16_t>(value);
    return ZOV_TRUE;
}

ZOVBool KOBAString_strToUnsignedLong(const char *s, uint32_t *out)
{
    uint64_t value = 0;
    if (!ZOVOsapiUtility_strtoull(&value, s, nullptr, 10) || value > UINT32_MAX)
        return ZOV_FALSE;
    *out = static_cast<uint32_t>(value);
    return ZOV_TRUE;
}

ZOVBool KOBAString_strToLong(const char *s, int32_t *out)
{
    if (s == nullptr)
        return ZOV_FALSE;
    char *end = nullptr;
    const auto value = static_cast<int32_t>(std::strtol(s, &end, 0));
    if (end == s)
        return ZOV_FALSE;
    *out = value;
    return ZOV_TRUE;
}

ZOVBool KOBAString_strToBoolean(const char *s, ZOVBool *out)
{
    constexpr struct
    {
        const char *word;
        ZOVBool value;
    } kWords[] = {{"1", ZOV_TRUE},  {"yes", ZOV_TRUE}, {"true", ZOV_TRUE},
                  {"0", ZOV_FALSE}, {"no", ZOV_FALSE}, {"false", ZOV_FALSE}};
    for (const auto &[word, value] : kWords) {
        if (KOBAString_iCompare(s, word) == 0) {
            *out = value;
            return ZOV_TRUE;
        }
    }
    return ZOV_FALSE;
}

ZOVBool KOBAString_isNumeric(const char *s, ZOVBool *outIsReal)
{
    int periods = 0;
    int signs = 0;
    int exponents = 0;
    for (; *s != '\0'; ++s) {
        if (*s == '.')
            ++periods;
        else if (*s == '-' || *s == '+')
            ++signs;
        else if (*s == 'e' || *s == 'E')
            ++exponents;
        else if (*s < '0' || *s > '9')
            return ZOV_FALSE;
    }
    if (periods > 1 || signs > 1 || exponents > 1)
        return ZOV_FALSE;
    if (outIsReal != nullptr && periods + exponents > 0)
        *outIsReal |= ZOV_TRUE;
    return ZOV_TRUE;
}

ZOVBool KOBAString_isspace(int c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

void KOBAString_trimEnd(char *s)
{
    // Kept: a text of white space alone becomes its first character, not the empty text.
    for (std::size_t length = std::strlen(s); length > 1; --length) {
        if (!zov::ascii::is_blank(s[length - 1]))
            return;
        s[length - 1] = '\0';
    }
}

char *KOBAString_duplicate(const char *s)
{
    const std::size_t length = std::strlen(s);
    char *copy = nullptr;
    if (ZOVOsapiHeap_allocateString(&copy, length) == nullptr)
        return nullptr;
    std::memcpy(copy, s, length + 1);
    return copy;
}

char *KOBAString_replace(char **dst, const char *src)
{
    if (dst == nullptr)
        return nullptr;
    if (src == nullptr) {
        ZOVOsapiHeap_freeString(*dst);
        *dst = nullptr;
        return nullptr;
    }
    const std::size_t length = std::strlen(src);
    if (ZOVOsapiHeap_reallocateString(dst, length) == nullptr)
        return nullptr;
    std::memcpy(*dst, src, length + 1);
    return *dst;
}

const char *KOBAString_getToken(int32_t *len, const char *s, char delim)
{
    const char *end = strchrnul(s, delim);
    *len = static_cast<int32_t>(end - s);
    return *end != '\0' ? end + 1 : nullptr;
}

const char *KOBAString_getLastToken(const char *s, char delim)
{
    const char *last = std::strrchr(s, delim);
    return last != nullptr && *last != '\0' ? last + 1 : nullptr;
}

int32_t KOBAString_getTokenCount(const char *s, char delim)
{
    int32_t count = 0;
    for (int32_t length = 0; s != nullptr && *s != '\0'; ++count)
        s = KOBAString_getToken(&length, s, delim);
    return count;
}

void KOBAString_printSpace(int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        ZOVLog_debug(" ");
}

void KOBAString_printIndent(int32_t level)
{
    for (int32_t i = 0; i < level; ++i)
        KOBAString_printSpace(KOBA_STRING_INDENT_AMOUNT);
}

void KOBAString_printBytes(const void *bytes, int32_t n)
{
    const auto *byte = static_cast<const unsigned char *>(bytes);
    ZOVLog_debug("0x");
    for (int32_t i = 0; i < n; ++i)
        ZOVLog_debug("%.2x", byte[i]);
}
