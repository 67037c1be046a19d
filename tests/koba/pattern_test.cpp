#include "fuzz/fuzz.hpp"
#include "koba/pattern.hpp"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace {

void expect(int32_t result, uint32_t flags,
            const std::vector<std::pair<const char *, const char *>> &pairs)
{
    for (const auto &[p1, p2] : pairs) {
        EXPECT_EQ(KOBAString_isCommonPattern(p1, p2, &flags), result) << p1 << ' ' << p2;
        EXPECT_EQ(KOBAString_isCommonPattern(p2, p1, &flags), result) << p2 << ' ' << p1;
    }
}

TEST(CommonPattern, GoesSegmentBySegment)
{
    expect(0, 0, {{"a", "a?"}}); // no text, but one wildcard may be left over
    expect(0, 0,
           {{"[ab", "[ab"},
            {"a\\", "a\\"},
            {"[\x80-\xFF]", "[\xE4]"},
            {"[\x01]", "[\x01]"},
            {"[\xFF]", "[\xFF]"}});
    expect(0, 0, {{"*[a]", "[b]"}}); // the set at the star's place is skipped
    expect(0, 1, {{"\\*", "\\a"}});
    expect(0, 0x10, {{"aB", "Ab"}});
    expect(1, 0, {{"a", "a*b"}, {"aB", "Ab"}, {"[a-c]x", "dx"}, {"[ab", "b"}, {"[ab]", "[!a-c]"}});
    expect(1, 0, {{"a*c", "*b"}, {"*[ab]", "xc"}, {"\\*", "a"}});
    expect(1, 2, {{"a/b", "a/c"}, {"a?b", "a/b"}, {"a/b", "a*c/b"}, {"[a/b]", "*"}});
    expect(1, 2, {{"a*/c", "ab/d"}});
    expect(1, 0x22, {{"a.b", "*.c"}});
    // There is a text that both match, and the answers of old stay as they are.
    expect(1, 0, {{"a", "a**"}});                                 // several stars are left over
    expect(1, 0, {{"?", "[*a]"}, {"?", "[[a]"}, {"?", "[a/b]"}}); // such sets are not skipped
    expect(1, 0, {{"a?b", "a/b"}});    // the separator separates without PATHNAME, too
    expect(1, 0x0A, {{"a", "a/b"}});   // nothing may follow, in spite of LEADING_DIR
    expect(1, 0x26, {{"*?b", "x/b"}}); // the separator does not change behind a star
}

TEST(Sets, WithoutAnEndAreTold)
{
    EXPECT_EQ(KOBAString_rangeIntersect("ab", "a]", 0), -1);
    EXPECT_EQ(KOBAString_rangeIntersect("a]", "ab", 0), -1);
    EXPECT_EQ(KOBAString_rangeIntersect("a]", "b]", 0), 0);
    EXPECT_EQ(KOBAString_matchTokenSuffix("*a", "*b", 0), 1);
}

// When there is a text that both match, the answer is that there may be one.
TEST(CommonPattern, NeverMissesACommonTextOfShortPatterns)
{
    fuzz::run(3000);
}

} // namespace
