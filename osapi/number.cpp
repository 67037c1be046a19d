#include "osapi/Stdio.h"
#include "osapi/ascii.hpp"

#include <cstdint>
#include <limits>
#include <optional>

namespace {

using zov::ascii::digit_value;

struct Number
{
    std::uint64_t magnitude;
    bool negative;
    const char *end; /**< behind the last digit */
};

/** Digits alone; nothing when there are none, or when 64 bits cannot hold them. */
std::optional<Number> parse_digits(const char *text, int base)
{
    const char *digit = text;
    std::uint64_t value = 0;
    for (; digit_value(*digit) < base; ++digit) {
        const auto unit = static_cast<std::uint64_t>(digit_value(*digit));
        if (__builtin_mul_overflow(value, static_cast<std::uint64_t>(base), &value) ||
            __builtin_add_overflow(value, unit, &value))
            return std::nullopt;
    }
    if (digit == text)
        return std::nullopt;
    return Number{.magnitude = value, .negative = false, .end = digit};
}

/** A prefix without digits behind it is a zero and a letter. */
bool has_hexadecimal_prefix(const char *text)
{
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && digit_value(text[2]) < 16;
}

std::optional<Number> parse(const char *text, int base)
{
    if (base < 0 || base == 1 || base > 36)
        return std::nullopt;
    while (zov::ascii::is_blank(*text))
        ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    if ((base == 0 || base == 16) && has_hexadecimal_prefix(text)) {
        text += 2;
        base = 16;
    }
    if (base == 0)
        base = *text == '0' ? 8 : 10;
    std::optional<Number> number = parse_digits(text, base);
    if (number)
        number->negative = negative;
    return number;
}

template <class T>
ZOVBool store(T *out, T value, char **end, const Number &number)
{
    *out = value;
    if (end != nullptr)
        *end = const_cast<char *>(number.end);
    return ZOV_TRUE;
}

} // namespace

ZOVBool ZOVOsapiUtility_strtoll(int64_t *out, const char *text, char **end, int base)
{
    const std::optional<Number> number = parse(text, base);
    if (!number)
        return ZOV_FALSE;
    constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max();
    if (number->magnitude > kMax + (number->negative ? 1 : 0))
        return ZOV_FALSE;
    const std::uint64_t bits = number->negative ? -number->magnitude : number->magnitude;
    return store(out, static_cast<std::int64_t>(bits), end, *number);
}

ZOVBool ZOVOsapiUtility_strtoull(uint64_t *out, const char *text, char **end, int base)
{
    const std::optional<Number> number = parse(text, base);
    if (!number || number->negative)
        return ZOV_FALSE;
    return store(out, number->magnitude, end, *number);
}

ZOVBool ZOVOsapiUtility_strtoptr(void **out, const char *text)
{
    const std::optional<Number> number =
        parse_digits(has_hexadecimal_prefix(text) ? text + 2 : text, 16);
    if (!number || *number->end != '\0')
        return ZOV_FALSE;
    static_assert(sizeof(void *) == sizeof number->magnitude);
    *out = reinterpret_cast<void *>(number->magnitude);
    return ZOV_TRUE;
}
