// Any text of 8 or 16 bits, and any code point: it is converted as the platform's iconv does it,
// into a buffer of the size needed; a smaller one says what is needed and is left alone.
#include "fuzz/fuzz.hpp"
#include "osapi/Stdio.h"

#include <climits>
#include <cstring>
#include <iconv.h>
#include <optional>
#include <vector>

using fuzz::require;

namespace {

constexpr std::size_t kMostBytes = 200; // each size of a buffer is tried
constexpr char kMark = 0x55;

const char *encoding_of(char)
{
    return "UTF-8";
}

const char *encoding_of(std::uint16_t)
{
    return "UTF-16LE";
}

const char *encoding_of(std::uint32_t)
{
    return "UTF-32LE";
}

/** Nothing for what is not well formed. */
template <class To, class From>
std::optional<std::vector<To>> converted(std::vector<From> text)
{
    static const iconv_t converter = iconv_open(encoding_of(To()), encoding_of(From()));
    require(converter != iconv_t(-1));
    std::vector<To> result(4 * text.size());
    char *in = reinterpret_cast<char *>(text.data());
    char *out = reinterpret_cast<char *>(result.data());
    std::size_t in_left = text.size() * sizeof(From);
    std::size_t out_left = result.size() * sizeof(To);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &in, &in_left, &out, &out_left) == static_cast<std::size_t>(-1))
        return std::nullopt;
    result.resize(result.size() - out_left / sizeof(To));
    return result;
}

template <class Unit>
std::vector<Unit> marked(std::size_t size)
{
    std::vector<Unit> buffer(size);
    std::memset(buffer.data(), kMark, size * sizeof(Unit));
    return buffer;
}

/** A text with its terminator. */
template <class To, class From>
void check_text(int (*convert)(To *, std::size_t, const From *), const std::vector<From> &text)
{
    const auto expected = converted<To>(text);
    auto buffer = marked<To>(expected ? expected->size() : 4 * text.size());
    const auto untouched = buffer;
    const int needed = expected ? static_cast<int>(buffer.size()) : INT_MIN;
    require(convert(nullptr, 0, text.data()) == needed);
    for (std::size_t size = 0; size < buffer.size(); ++size)
        require(convert(buffer.data(), size, text.data()) == (expected ? -needed : needed) &&
                buffer == untouched);
    require(convert(buffer.data(), buffer.size(), text.data()) == (expected ? needed - 1 : needed));
    require(buffer == (expected ? *expected : untouched));
}

void check_codepoint(std::uint32_t codepoint)
{
    const auto bytes = converted<char>(std::vector{codepoint});
    const auto units = converted<std::uint16_t>(std::vector{codepoint});
    auto buffer = marked<char>(4);
    const int length = bytes ? static_cast<int>(bytes->size()) : -5;
    require(ZOVOsapiUtility_stringUtf8FromCodepoint(nullptr, 0, codepoint) == length);
    for (int size = 0; size < length || (size < 4 && !bytes); ++size)
        require(ZOVOsapiUtility_stringUtf8FromCodepoint(buffer.data(),
                                                        static_cast<std::size_t>(size),
                                                        codepoint) == (bytes ? -length : -5) &&
                buffer == marked<char>(4));
    std::uint16_t pair[2];
    const bool has_pair = units && units->size() == 2;
    require(has_pair ==
            (ZOVOsapiUtility_stringUtf16ToSurrogatePair(&pair[0], &pair[1], codepoint) != 0));
    require(!has_pair || std::equal(pair, pair + 2, units->begin()));
    if (!bytes)
        return;
    std::uint32_t back = ~codepoint;
    require(ZOVOsapiUtility_stringUtf8FromCodepoint(buffer.data(), 4, codepoint) == length &&
            std::equal(bytes->begin(), bytes->end(), buffer.begin()));
    require(ZOVOsapiUtility_stringUtf8ToCodepoint(&back, buffer.data()) == length);
    require(back == codepoint);
}

template <class Unit>
std::vector<Unit> units_of(const std::string &bytes)
{
    std::vector<Unit> units(bytes.size() / sizeof(Unit) + 1);
    for (std::size_t i = 0; i + 1 < units.size(); ++i)
        std::memcpy(&units[i], &bytes[i * sizeof(Unit)], sizeof(Unit));
    units.erase(std::find(units.begin(), units.end(), Unit{0}) + 1, units.end());
    return units;
}

} // namespace

void fuzz::test(Input input)
{
    const std::string bytes = input.take(kMostBytes);
    const auto text = units_of<char>(bytes);
    check_text(ZOVOsapiUtility_stringUtf8ToUtf16, text);
    check_text(ZOVOsapiUtility_stringUtf16ToUtf8, units_of<std::uint16_t>(bytes));
    require((ZOVOsapiUtility_stringUtf8ValidateString(text.data()) != 0) ==
            converted<std::uint16_t>(text).has_value());
    check_codepoint(units_of<std::uint32_t>(bytes)[0]);
    check_codepoint(units_of<std::uint32_t>(bytes)[0] & 0x1FFFFF);
}
