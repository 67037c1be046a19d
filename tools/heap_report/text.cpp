#include "tools/heap_report/text.hpp"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <utility>
#include <vector>

namespace heap_report {
namespace {

/** A printable character, or one byte that is none (columns is then -1). */
struct Character
{
    std::string_view bytes;
    int columns;
};

std::vector<Character> characters(std::string_view text)
{
    // Snapshots have no character set. UTF-8 is what names are written in, whatever the user's
    // locale.
    static const bool is_utf8 = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
    std::vector<Character> found;
    while (!text.empty()) {
        wchar_t wide = 0;
        std::mbstate_t state = {};
        std::size_t size = std::mbrtowc(&wide, text.data(), text.size(), &state);
        int columns = -1;
        if (size == 0 || size > text.size() || (!is_utf8 && size > 1))
            size = 1;
        else if (std::iswprint(static_cast<wint_t>(wide)) != 0)
            columns = wcwidth(wide);
        found.push_back({text.substr(0, size), columns});
        text.remove_prefix(size);
    }
    return found;
}

} // namespace

std::string grouped(int64_t value)
{
    std::string digits = std::to_string(std::abs(value));
    for (std::size_t behind = 3; behind < digits.size(); behind += 4)
        digits.insert(digits.size() - behind, ",");
    return (value < 0 ? "-" : "") + digits;
}

std::string grouped_change(int64_t value)
{
    return (value > 0 ? "+" : "") + grouped(value);
}

std::string share(int64_t part, int64_t whole)
{
    if (whole == 0)
        return "-";
    char text[16];
    std::snprintf(text, sizeof text, "%.1f%%",
                  100 * static_cast<double>(part) / static_cast<double>(whole));
    return text;
}

std::string printable(std::string_view bytes)
{
    std::string text;
    for (const Character &character : characters(bytes)) {
        if (character.columns >= 0) {
            text += character.bytes;
            continue;
        }
        for (const char byte : character.bytes) {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(byte));
            text += escape;
        }
    }
    return text;
}

std::size_t columns(std::string_view text)
{
    std::size_t sum = 0;
    for (const Character &character : characters(text))
        sum += static_cast<std::size_t>(std::max(character.columns, 0));
    return sum;
}

std::string fitted(std::string_view text, std::size_t limit)
{
    if (columns(text) <= limit)
        return std::string(text);
    constexpr std::string_view kGap = "...";
    const std::vector<Character> all = characters(text);
    // As many characters as fit into the columns, from one end.
    const auto take = [](auto from, auto to, std::size_t room) {
        while (from != to && static_cast<std::size_t>(from->columns) <= room)
            room -= static_cast<std::size_t>((from++)->columns);
        return from;
    };
    const std::size_t room = limit - kGap.size();
    const auto head = take(all.begin(), all.end(), room - room / 2);
    const auto tail = take(all.rbegin(), all.rend(), room / 2).base();
    std::string result(text.data(), head->bytes.data());
    result += kGap;
    if (tail != all.end())
        result.append(tail->bytes.data(), text.data() + text.size());
    return result;
}

} // namespace heap_report
