#include "osapi/Stdio.h"

#include <climits>
#include <cstdint>

namespace {

constexpr int kInvalidSequence = -1;
constexpr int kInvalidCodepoint = -5;
constexpr int kInvalidText = INT_MIN;

constexpr std::uint32_t kLastCodepoint = 0x10FFFF;
constexpr std::uint32_t kFirstSupplementary = 0x10000;

constexpr bool is_high_surrogate(std::uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool is_low_surrogate(std::uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

constexpr bool is_surrogate(std::uint32_t unit)
{
    return is_high_surrogate(unit) || is_low_surrogate(unit);
}

/** Lead bytes of sequences of more than one byte, and what may stand behind them. */
struct LeadRange
{
    std::uint8_t first;
    std::uint8_t last;
    std::uint8_t length;
    std::uint8_t second_first; /**< further bytes are always 0x80 to 0xBF */
    std::uint8_t second_last;
};

constexpr LeadRange kLeadRanges[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, // 0xC0 and 0xC1 would be overlong
    {0xE0, 0xE0, 3, 0xA0, 0xBF}, // below: overlong
    {0xE1, 0xEC, 3, 0x80, 0xBF}, //
    {0xED, 0xED, 3, 0x80, 0x9F}, // above: surrogates
    {0xEE, 0xEF, 3, 0x80, 0xBF}, //
    {0xF0, 0xF0, 4, 0x90, 0xBF}, // below: overlong
    {0xF1, 0xF3, 4, 0x80, 0xBF}, //
    {0xF4, 0xF4, 4, 0x80, 0x8F}, // above: beyond the last code point
};

constexpr bool is_continuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

int validate(const unsigned char *text)
{
    if (text[0] < 0x80)
        return 1;
    for (const LeadRange &range : kLeadRanges) {
        if (text[0] < range.first || text[0] > range.last)
            continue;
        if (text[1] < range.second_first || text[1] > range.second_last)
            return kInvalidSequence;
        for (int i = 2; i < range.length; ++i) {
            if (!is_continuation(text[i]))
                return kInvalidSequence;
        }
        return range.length;
    }
    return kInvalidSequence;
}

/** The length of a sequence of UTF-8. */
constexpr std::size_t length_of(std::uint32_t codepoint)
{
    return codepoint < 0x80 ? 1 : codepoint < 0x800 ? 2 : codepoint < kFirstSupplementary ? 3 : 4;
}

/** Takes a code point off UTF-16; FALSE when a surrogate stands alone. */
bool next_codepoint(const std::uint16_t *&text, std::uint32_t &codepoint)
{
    codepoint = *text++;
    if (!is_surrogate(codepoint))
        return true;
    const auto high = static_cast<std::uint16_t>(codepoint);
    if (!ZOVOsapiUtility_stringUtf16FromSurrogatePair(&codepoint, high, *text))
        return false;
    ++text;
    return true;
}

/** Takes a code point off UTF-8; FALSE when it is not well formed. */
bool next_codepoint(const char *&text, std::uint32_t &codepoint)
{
    const int length = ZOVOsapiUtility_stringUtf8ToCodepoint(&codepoint, text);
    if (length < 0)
        return false;
    text += length;
    return true;
}

std::size_t units_of(std::uint32_t codepoint, char)
{
    return length_of(codepoint);
}

std::size_t units_of(std::uint32_t codepoint, std::uint16_t)
{
    return codepoint < kFirstSupplementary ? 1 : 2;
}

char *put(char *out, std::uint32_t codepoint)
{
    return out + ZOVOsapiUtility_stringUtf8FromCodepoint(out, length_of(codepoint), codepoint);
}

std::uint16_t *put(std::uint16_t *out, std::uint32_t codepoint)
{
    if (ZOVOsapiUtility_stringUtf16ToSurrogatePair(&out[0], &out[1], codepoint))
        return out + 2;
    *out = static_cast<std::uint16_t>(codepoint);
    return out + 1;
}

/** Units of the whole converted text without terminator; FALSE when the text is invalid. */
template <class To, class From>
bool measure(const From *text, std::size_t &length)
{
    length = 0;
    while (*text != 0) {
        std::uint32_t codepoint;
        if (!next_codepoint(text, codepoint))
            return false;
        length += units_of(codepoint, To());
    }
    return true;
}

template <class To, class From>
int convert(To *buffer, std::size_t size, const From *text)
{
    std::size_t length;
    if (!measure<To>(text, length) || length >= INT_MAX)
        return kInvalidText;
    const int needed = static_cast<int>(length) + 1;
    if (buffer == nullptr)
        return needed;
    if (length >= size)
        return -needed;
    std::uint32_t codepoint;
    while (*text != 0 && next_codepoint(text, codepoint))
        buffer = put(buffer, codepoint);
    *buffer = 0;
    return static_cast<int>(length);
}

} // namespace

int ZOVOsapiUtility_stringUtf8ValidateChar(const char *text)
{
    return validate(reinterpret_cast<const unsigned char *>(text));
}

ZOVBool ZOVOsapiUtility_stringUtf8ValidateString(const char *text)
{
    while (*text != '\0') {
        const int length = ZOVOsapiUtility_stringUtf8ValidateChar(text);
        if (length < 0)
            return ZOV_FALSE;
        text += length;
    }
    return ZOV_TRUE;
}

int ZOVOsapiUtility_stringUtf8ToCodepoint(uint32_t *codepoint, const char *text)
{
    const int length = ZOVOsapiUtility_stringUtf8ValidateChar(text);
    if (length < 0)
        return kInvalidSequence;
    std::uint32_t value =
        static_cast<unsigned char>(text[0]) & (length == 1 ? 0x7Fu : 0x7Fu >> length);
    for (int i = 1; i < length; ++i)
        value = value << 6 | (static_cast<unsigned char>(text[i]) & 0x3F);
    *codepoint = value;
    return length;
}

int ZOVOsapiUtility_stringUtf8FromCodepoint(char *buffer, size_t size, uint32_t codepoint)
{
    if (codepoint > kLastCodepoint || is_surrogate(codepoint))
        return kInvalidCodepoint;
    const std::size_t length = length_of(codepoint);
    const int result = static_cast<int>(length);
    if (buffer == nullptr)
        return result;
    if (size < length)
        return -result;
    constexpr std::uint8_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t i = length - 1; i > 0; --i) {
        buffer[i] = static_cast<char>(0x80 | (codepoint & 0x3F));
        codepoint >>= 6;
    }
    buffer[0] = static_cast<char>(kLead[length] | codepoint);
    return result;
}

ZOVBool ZOVOsapiUtility_stringUtf16ToSurrogatePair(uint16_t *high, uint16_t *low,
                                                   uint32_t codepoint)
{
    if (codepoint < kFirstSupplementary || codepoint > kLastCodepoint)
        return ZOV_FALSE;
    *high = static_cast<std::uint16_t>(0xD800 + ((codepoint - kFirstSupplementary) >> 10));
    *low = static_cast<std::uint16_t>(0xDC00 + (codepoint & 0x3FF));
    return ZOV_TRUE;
}

ZOVBool ZOVOsapiUtility_stringUtf16FromSurrogatePair(uint32_t *codepoint, uint16_t high,
                                                     uint16_t low)
{
    if (!is_high_surrogate(high) || !is_low_surrogate(low))
        return ZOV_FALSE;
    *codepoint = ((high & 0x3FFu) << 10 | (low & 0x3FFu)) + kFirstSupplementary;
    return ZOV_TRUE;
}

int ZOVOsapiUtility_stringUtf16ToUtf8(char *buffer, size_t size, const uint16_t *text)
{
    return convert(buffer, size, text);
}

int ZOVOsapiUtility_stringUtf8ToUtf16(uint16_t *buffer, size_t count, const char *text)
{
    return convert(buffer, count, text);
}
