// Any text is read or refused, and what is refused changes nothing. Numbers and masks that are made
// from the input give what they were made of.
#include "dds/ThreadSettings.h"
#include "dds/XmlHelper.h"
#include "fuzz/fuzz.hpp"
#include "xml/Utils.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

using fuzz::require;

namespace {

template <class Value>
using Read = DDS_Boolean (*)(Value *, const char *, ZOVXMLContext *);

template <class Value>
std::optional<Value> value_of(Read<Value> read, const std::string &text)
{
    constexpr Value kUntouched = 77;
    ZOVXMLContext context = {};
    Value value = kUntouched;
    const bool done = read(&value, text.c_str(), &context);
    require(context.error == !done && (done || value == kUntouched));
    return done ? std::optional(value) : std::nullopt;
}

DDS_Boolean str_to_small_int(DDS_Long *value, const char *text, ZOVXMLContext *context)
{
    return DDS_XMLHelper_str_to_int_with_interval(value, text, -5, 100, context);
}

void check_any(const std::string &text)
{
    value_of<DDS_Boolean>(DDS_XMLHelper_str_to_boolean, text);
    value_of<DDS_Long>(DDS_XMLHelper_str_to_int, text);
    value_of<DDS_UnsignedLong>(DDS_XMLHelper_str_to_unsigned_int, text);
    value_of<DDS_UnsignedLong>(DDS_XMLHelper_str_to_thread_settings_kind_mask, text);
    const auto small = value_of<DDS_Long>(str_to_small_int, text);
    require(!small || (*small >= -5 && *small <= 100));
    std::vector<char> trimmed(text.c_str(), text.c_str() + text.size() + 1);
    require(ZOVXMLHelper_strTrim(trimmed.data()) == trimmed.data());
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const std::size_t end = text.find_last_not_of(" \t\n\v\f\r") + 1;
    require(trimmed.data() == (end == 0 ? "" : text.substr(begin, end - begin)));
}

void check_number(fuzz::Input &input)
{
    const bool is_hexadecimal = input.below(2) != 0;
    const unsigned bits = input.below(40);
    std::int64_t number = 0;
    for (unsigned i = 0; i < 5; ++i)
        number = number << 8 | input.byte();
    number &= (std::int64_t{1} << bits) - 1;
    if (!is_hexadecimal && input.below(2) != 0)
        number = -number;
    char text[40];
    std::snprintf(text, sizeof text, is_hexadecimal ? "0x%llX" : "%lld",
                  static_cast<long long>(number));
    static constexpr const char *kEnds[] = {"", " ", "|", "_", "ns"};
    std::strcat(text, kEnds[input.below(std::size(kEnds))]);

    const auto is_read = [&](std::int64_t least, std::int64_t most, const auto &value) {
        require(value.has_value() == (number >= least && number <= most));
        using Value = std::remove_cvref_t<decltype(*value)>;
        require(!value || *value == static_cast<Value>(number));
    };
    is_read(INT32_MIN, is_hexadecimal ? std::int64_t{UINT32_MAX} : INT32_MAX,
            value_of<DDS_Long>(DDS_XMLHelper_str_to_int, text));
    is_read(0, UINT32_MAX, value_of<DDS_UnsignedLong>(DDS_XMLHelper_str_to_unsigned_int, text));
    if (number <= INT32_MAX)
        is_read(-5, 100, value_of<DDS_Long>(str_to_small_int, text));
}

/** Some words with or without the prefix, in any case, between blanks; one word in ten is none. */
void check_mask(fuzz::Input &input)
{
    static constexpr std::pair<const char *, DDS_UnsignedLong> kWords[] = {
        {"MASK_DEFAULT", 0},
        {"THREAD_SETTINGS_KIND_MASK_DEFAULT", 0},
        {"DDS_THREAD_SETTINGS_KIND_MASK_DEFAULT", 0},
        {"FLOATING_POINT", DDS_THREAD_SETTINGS_FLOATING_POINT},
        {"DDS_THREAD_SETTINGS_FLOATING_POINT", DDS_THREAD_SETTINGS_FLOATING_POINT},
        {"THREAD_SETTINGS_STDIO", DDS_THREAD_SETTINGS_STDIO},
        {"REALTIME_PRIORITY", DDS_THREAD_SETTINGS_REALTIME_PRIORITY},
        {"DDS_THREAD_SETTINGS_REALTIME_PRIORITY", DDS_THREAD_SETTINGS_REALTIME_PRIORITY},
        {"PRIORITY_ENFORCE", DDS_THREAD_SETTINGS_PRIORITY_ENFORCE},
    };
    static constexpr const char *kBlanks[] = {"", " ", "\n\t", "  "};
    std::string text;
    DDS_UnsignedLong mask = 0;
    bool is_mask = true;
    for (unsigned count = 1 + input.below(100); count > 0; --count) {
        const unsigned choice = input.below(std::size(kWords) + 1);
        const bool is_word = choice < std::size(kWords);
        std::string word = is_word ? kWords[choice].first : "STDIO_";
        for (char &c : word)
            if (input.below(2) != 0)
                c = static_cast<char>(std::tolower(c));
        text += kBlanks[input.below(4)] + word + kBlanks[input.below(4)] + (count > 1 ? "|" : "");
        mask |= is_word ? kWords[choice].second : 0;
        is_mask = is_mask && is_word;
    }
    require(value_of<DDS_UnsignedLong>(DDS_XMLHelper_str_to_thread_settings_kind_mask, text) ==
            (is_mask ? std::optional(mask) : std::nullopt));
}

} // namespace

void fuzz::test(Input input)
{
    Input again = input;
    check_any(input.text());
    check_number(again);
    check_mask(again);
}
