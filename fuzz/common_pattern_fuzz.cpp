// Any two lists of patterns under any flags: two patterns are said to have nothing in common only
// when no short text matches both, and two lists only when that is said of all their elements.
#include "fuzz/fuzz.hpp"
#include "koba/String.h"

#include <vector>

using fuzz::require;

namespace {

using Patterns = std::vector<std::string>;

const std::vector<std::string> kTexts = [] {
    std::vector<std::string> all = {""};
    for (std::size_t i = 0; all[i].size() < 4; ++i)
        for (const char c : {'a', 'b', '/', '.', '*', '['})
            all.push_back(all[i] + c);
    return all;
}();

Patterns made_patterns(fuzz::Input &input)
{
    static constexpr char kCharacters[] = "ab/.*?[]!^-\\";
    Patterns patterns(1 + input.below(3));
    for (std::string &pattern : patterns)
        for (unsigned length = input.below(10); length > 0; --length)
            pattern += kCharacters[input.below(sizeof kCharacters - 1)];
    return patterns;
}

/** What does not meet although a text matches both. */
bool are_odd(const std::string &one, const std::string &other)
{
    const std::size_t set = other.find('[') + 1;
    const bool has_odd_set = set > 0 && other.find_first_of("[*?/.", set) + 1 <= other.rfind(']');
    return one.ends_with("**") || (one.find('?') != one.npos && has_odd_set);
}

bool matches(const std::string &pattern, const std::string &text, uint32_t flags)
{
    return KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags) == 0;
}

bool is_common(const std::string &p1, const std::string &p2, uint32_t flags)
{
    const int32_t result = KOBAString_isCommonPattern(p1.c_str(), p2.c_str(), &flags);
    require(KOBAString_isCommonPattern(p2.c_str(), p1.c_str(), &flags) == result);
    if (result == 0 || are_odd(p1, p2) || are_odd(p2, p1))
        return result == 0;
    // The separator separates without PATHNAME, too, and does not change; LEADING_DIR is ignored.
    uint32_t meant = (flags | KOBA_STRING_FNMATCH_PATHNAME) & ~KOBA_STRING_FNMATCH_LEADING_DIR;
    if ((flags & 0x26) != 0x22)
        meant &= ~KOBA_STRING_FNMATCH_DOT_SEPARATOR;
    for (const std::string &text : kTexts)
        require(!matches(p1, text, meant) || !matches(p2, text, meant));
    return false;
}

/** Takes the empty element off that a delimiter at the end does not begin. */
std::string list_of(Patterns &patterns)
{
    std::string list;
    for (const std::string &pattern : patterns)
        list += (&pattern != &patterns[0] ? "," : "") + pattern;
    if (patterns.size() > 1 && patterns.back().empty())
        patterns.pop_back();
    return list;
}

} // namespace

void fuzz::test(Input input)
{
    const uint32_t flags = input.below(64);
    Patterns patterns = made_patterns(input);
    Patterns others = made_patterns(input);
    const std::string list = list_of(patterns);
    const std::string other_list = list_of(others);
    bool expected = false;
    for (const std::string &one : patterns)
        for (const std::string &other : others)
            expected |= is_common(one, other, flags);
    require(expected == (KOBAString_hasIntersectingPattern(list.c_str(), other_list.c_str(), ',',
                                                           &flags) != ZOV_FALSE));
}
