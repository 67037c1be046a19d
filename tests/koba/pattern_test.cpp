#include "koba/pattern.hpp"

#include <bitset>
#include <cstring>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <vector>

namespace {

int32_t common(const std::string &p1, const std::string &p2, uint32_t flags)
{
    const int32_t result = KOBAString_isCommonPattern(p1.c_str(), p2.c_str(), &flags);
    EXPECT_EQ(KOBAString_isCommonPattern(p2.c_str(), p1.c_str(), &flags), result)
        << p1 << ' ' << p2;
    return result;
}

bool matches(const std::string &pattern, const std::string &text, uint32_t flags)
{
    return KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags) == 0;
}

struct Pair
{
    const char *p1;
    const char *p2;
    uint32_t flags;
};

void expect(std::span<const Pair> pairs, int32_t result)
{
    for (const auto &[p1, p2, flags] : pairs)
        EXPECT_EQ(common(p1, p2, flags), result) << p1 << ' ' << p2;
}

TEST(CommonPattern, GoesSegmentBySegment)
{
    const Pair common_pairs[] = {
        {"a", "a?", 0},                        // no text, but one wildcard may be left over
        {"[ab", "[ab", 0}, {"*[a]", "[b]", 0}, // the set at the star's place is skipped
        {"a\\", "a\\", 0}, {"aB", "Ab", 0x10}, {"\\*", "\\a", 1}, {"[\x80-\xFF]", "[\xE4]", 0},
    };
    const Pair other_pairs[] = {
        {"a", "a*b", 0},       {"a/b", "a/c", 2}, {"a?b", "a/b", 2},   {"a/b", "a*c/b", 2},
        {"a.b", "*.c", 0x22},  {"aB", "Ab", 0},   {"[a-c]x", "dx", 0}, {"[ab", "b", 0},
        {"[ab]", "[!a-c]", 0}, {"[a/b]", "*", 2}, {"a*c", "*b", 0},    {"a*/c", "ab/d", 2},
        {"*[ab]", "xc", 0},    {"\\*", "a", 0},
    };
    // There is a text that both match, and the answers of old stay as they are.
    const Pair odd_pairs[] = {
        {"a", "a**", 0},      // several stars are left over
        {"?", "[*a]", 0},     // a set with a wildcard in it is not skipped
        {"?", "[[a]", 0},     // nor one with a bracket
        {"?", "[a/b]", 0},    // nor one with the separator
        {"a?b", "a/b", 0},    // the separator separates without PATHNAME, too
        {"a", "a/b", 0x0A},   // nothing may follow, in spite of LEADING_DIR
        {"*?b", "x/b", 0x26}, // the separator does not change behind a star
    };
    expect(common_pairs, 0);
    expect(other_pairs, 1);
    expect(odd_pairs, 1);
}

std::vector<std::string> joined(const std::vector<std::string> &pieces, std::size_t longest)
{
    std::vector<std::string> all = {""};
    std::size_t begin = 0;
    for (std::size_t length = 0; length < longest; ++length)
        for (const std::size_t end = all.size(); begin < end; ++begin)
            for (const std::string &piece : pieces)
                all.push_back(all[begin] + piece);
    return all;
}

const std::vector<std::string> kTexts = joined({"a", "b", "/", ".", "*", "["}, 4);

/** Whether there is a set with a bracket, a wildcard or the separator in it. */
bool contains_odd_set(const std::string &pattern)
{
    bool is_open = false;
    bool is_odd = false;
    for (const char c : pattern) {
        if (c == ']' && is_odd)
            return true;
        is_odd |= is_open && std::strchr("[*?/", c) != nullptr;
        is_open = c == '[' || (is_open && c != ']');
    }
    return false;
}

struct Pattern
{
    std::string text;
    bool has_any;
    bool has_odd_set;
    std::bitset<1555> matched; // of the texts

    Pattern(const std::string &pattern, uint32_t flags)
        : text(pattern), has_any(pattern.find('?') != pattern.npos),
          has_odd_set(contains_odd_set(pattern))
    {
        // Without the oddities of flags: what the answer is about.
        flags = (flags | KOBA_STRING_FNMATCH_PATHNAME) & ~KOBA_STRING_FNMATCH_LEADING_DIR;
        if ((flags & KOBA_STRING_FNMATCH_PERIOD) != 0)
            flags &= ~KOBA_STRING_FNMATCH_DOT_SEPARATOR;
        for (std::size_t i = 0; i < kTexts.size(); ++i)
            matched[i] = matches(text, kTexts[i], flags);
    }

    /** Whether it may miss what another one has in common with it. */
    [[nodiscard]] bool is_odd_with(const Pattern &other) const
    {
        return text.ends_with("**") || (has_any && other.has_odd_set);
    }
};

// When there is a text that both match, the answer is that there may be one.
TEST(CommonPattern, NeverMissesACommonTextOfShortPatterns)
{
    ASSERT_EQ(kTexts.size(), 1555u);
    const std::vector<std::string> pieces = {"a",    "B",    "/",    ".",  "*", "?",  "[ab]",
                                             "[!a]", "[]b]", "[*a]", "[/", "[", "\\*"};
    for (const uint32_t flags : {0x00u, 0x13u, 0x22u, 0x2Eu}) {
        std::vector<Pattern> patterns;
        for (const std::string &text : joined(pieces, 3))
            patterns.emplace_back(text, flags);
        const std::size_t shorter = joined(pieces, 2).size();
        for (const Pattern &one : patterns)
            for (std::size_t i = 0; i < shorter; ++i) {
                const Pattern &other = patterns[i];
                const bool are_odd = one.is_odd_with(other) || other.is_odd_with(one);
                const bool meet = (one.matched & other.matched).any();
                ASSERT_TRUE(common(one.text, other.text, flags) == 0 || are_odd || !meet)
                    << one.text << ' ' << other.text << ' ' << flags;
            }
    }
}

} // namespace
