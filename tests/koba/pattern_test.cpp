#include "koba/pattern.hpp"

#include <bitset>
#include <cstdio>
#include <gtest/gtest.h>
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

TEST(CommonPattern, GoesSegmentBySegment)
{
    const struct
    {
        const char *p1;
        const char *p2;
        uint32_t flags;
        int32_t result;
    } rows[] = {
        {"", "", 0, 0},           {"a", "a*", 0, 0},
        {"a", "a?", 0, 0}, // no text, but one wildcard may be left over
        {"a", "a*b", 0, 1},       {"a/b", "a/c", 2, 1},
        {"a?b", "a/b", 2, 1},     {"a/b", "a*/b", 2, 0},
        {"a/b", "a*c/b", 2, 1},   {"a\\/b", "a/b", 2, 0},
        {"a.b", "*.c", 0x22, 1},  {"aB", "Ab", 0, 1},
        {"aB", "Ab", 0x10, 0},    {"[a-c]x", "bx", 0, 0},
        {"[a-c]x", "dx", 0, 1},   {"[ab", "[ab", 0, 0},
        {"[ab", "b", 0, 1},       {"[ab]", "[bc]", 0, 0},
        {"[ab]", "[!a-c]", 0, 1}, {"[AB]", "[bc]", 0x10, 0},
        {"[a/b]", "*", 2, 1},     {"a*c", "ab*bc", 0, 0},
        {"a*c", "*b", 0, 1},      {"a*/c", "ab/d", 2, 1},
        {"*[ab]", "x[bc]", 0, 0}, {"*[ab]", "xc", 0, 1},
        {"*[a]", "[b]", 0, 0}, // the set at the star's place is skipped
        {"\\*", "a", 0, 1},       {"\\*", "\\a", 1, 0},
        {"a\\", "a\\", 0, 0},     {"[\x80-\xFF]", "[\xE4]", 0, 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(common(row.p1, row.p2, row.flags), row.result) << row.p1 << ' ' << row.p2;
}

// Answers of old that are not quite right: there is a text, and they stay as they are.
TEST(CommonPattern, KeepsItsOddities)
{
    const struct
    {
        const char *p1;
        const char *p2;
        uint32_t flags;
        const char *text;
    } rows[] = {
        {"a", "a**", 0, "a"},        // several stars are left over
        {"?", "[*a]", 0, "a"},       // a set with a wildcard in it is not skipped
        {"?", "[[a]", 0, "a"},       // nor one with a bracket
        {"?", "[a/b]", 0, "a"},      // nor one with the separator
        {"a?b", "a/b", 0, "a/b"},    // the separator separates without PATHNAME, too
        {"a", "a/b", 0x0A, "a/b"},   // nothing may follow, in spite of LEADING_DIR
        {"*?b", "x/b", 0x26, "x/b"}, // the separator does not change behind a star
    };
    for (const auto &row : rows) {
        EXPECT_EQ(common(row.p1, row.p2, row.flags), 1) << row.p1 << ' ' << row.p2;
        EXPECT_TRUE(matches(row.p1, row.text, row.flags)) << row.p1;
        EXPECT_TRUE(matches(row.p2, row.text, row.flags)) << row.p2;
    }
}

std::vector<std::string> joined(const std::vector<std::string> &pieces, std::size_t longest)
{
    std::vector<std::string> all = {""};
    std::size_t begin = 0;
    for (std::size_t length = 0; length < longest; ++length) {
        const std::size_t end = all.size();
        for (; begin < end; ++begin)
            for (const std::string &piece : pieces)
                all.push_back(all[begin] + piece);
    }
    return all;
}

const std::vector<std::string> kTexts = joined({"a", "b", "/", ".", "*", "["}, 4);
using Matched = std::bitset<1555>;

/** The flags without the first three oddities of flags: what the answer is about. */
uint32_t meant_flags(uint32_t flags)
{
    flags = (flags | KOBA_STRING_FNMATCH_PATHNAME) & ~KOBA_STRING_FNMATCH_LEADING_DIR;
    return (flags & 0x26) == 0x22 ? flags : flags & ~KOBA_STRING_FNMATCH_DOT_SEPARATOR;
}

struct Pattern
{
    std::string text;
    std::string plain = ""; /**< the same without what is odd about stars and question marks */
    bool has_any = false;
    bool has_odd_set = false;
    Matched matched = {};
};

Pattern described(const std::string &text, uint32_t flags)
{
    Pattern pattern = {text};
    const char *next = nullptr;
    for (const char *p = text.c_str(); *p != '\0'; p = next) {
        next = p + 1;
        if (*p == '[' && KOBAString_rangematch(p + 1, 'a', flags, &next) < 0) {
            pattern.plain += "[[]";
        } else if (*p == '?') {
            pattern.plain += "[!\x01]";
            pattern.has_any = true;
        } else if (*p == '\\' && (flags & KOBA_STRING_FNMATCH_NOESCAPE) == 0) {
            pattern.plain.append(p, ++next);
        } else if (!(*p == '*' && *next == '*')) {
            pattern.plain.append(p, next);
            pattern.has_odd_set |= std::string(p + 1, next).find_first_of("[*?/") != text.npos;
        }
    }
    for (std::size_t i = 0; i < kTexts.size(); ++i)
        pattern.matched[i] = matches(text, kTexts[i], meant_flags(flags));
    return pattern;
}

bool is_excepted(const Pattern &one, const Pattern &other)
{
    return one.text.ends_with("**") || (one.has_any && other.has_odd_set);
}

int g_pairs = 0;
int g_meeting = 0;
int g_excepted = 0;

void check_pair(const Pattern &one, const Pattern &other, uint32_t flags)
{
    const bool may_meet = common(one.text, other.text, flags) == 0;
    ++g_pairs;
    g_meeting += may_meet ? 1 : 0;
    if (may_meet || (one.matched & other.matched).none())
        return;
    ++g_excepted;
    ASSERT_TRUE(is_excepted(one, other) || is_excepted(other, one))
        << one.text << ' ' << other.text << ' ' << flags;
    ASSERT_EQ(common(one.plain, other.plain, flags), 0) << one.text << ' ' << other.text;
}

// When there is a text that both match, the answer is that there may be one.
TEST(CommonPattern, NeverMissesACommonTextOfShortPatterns)
{
    ASSERT_EQ(kTexts.size(), Matched().size());
    const std::vector<std::string> pieces = {"a",    "B",    "/",    ".",  "*", "?",  "[ab]",
                                             "[!a]", "[]b]", "[*a]", "[/", "[", "\\*"};
    const std::size_t pairs_of_pieces = joined(pieces, 2).size();
    for (const uint32_t flags : {0x00u, 0x13u, 0x22u, 0x2Eu}) {
        std::vector<Pattern> patterns;
        for (const std::string &text : joined(pieces, 3))
            patterns.push_back(described(text, flags));
        const std::size_t others = flags == 0 ? patterns.size() : pairs_of_pieces;
        for (std::size_t i = 0; i < patterns.size(); ++i)
            for (std::size_t j = 0; j <= i && j < others && !HasFatalFailure(); ++j)
                check_pair(patterns[i], patterns[j], flags);
    }
    std::printf("pairs of patterns: %d, may meet: %d, excepted: %d\n", g_pairs, g_meeting,
                g_excepted);
}

} // namespace
