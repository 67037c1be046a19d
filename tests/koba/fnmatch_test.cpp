#include "koba/fnmatch.h"
#include "tests/koba/fnmatch_reference.hpp"

#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace reference = test::reference;

namespace {

constexpr uint32_t kFlagWords = 64;

// For what the definition in the tests could have wrong, too.
TEST(Fnmatch, OddPatterns)
{
    const std::tuple<const char *, const char *, uint32_t, int32_t> cases[] = {
        {"*.c", ".x.c", 0x04, 1},
        {"a/*", "a/b/c", 0x02, 1},
        {"a", "a/b", 0x0A, 0},
        {"a.*", "a.b.c", 0x22, 1},
        {"[]]", "]", 0, 0},
        {"[a-", "[a-", 0, 0},
        {"[!a]", "a", 0, 1},
        {"a\\", "a\\", 0, 0},
        {"*?.x", "a/.x", 0x06, 1},
        {"[\x80-a]", "A", 0, 0}, // a range of signed characters
        // The first star goes on to other segments, which the second one cannot.
        {"*b*", "a.ab.a.bb", 0x26, 0},
        {"*b*", "a.ab/a.bb", 0x26, 1},
    };
    for (const auto &[pattern, text, flags, result] : cases)
        EXPECT_EQ(KOBAString_fnmatch(pattern, text, flags), result) << pattern << ' ' << text;
}

/** What patterns and texts are made of, and how long they may be for all of them to be tried. */
struct Space
{
    std::string pattern;
    std::size_t longest_pattern;
    std::string text;
    std::size_t longest_text;
};

const Space kSpaces[] = {{"*a./", 5, "a./", 4},
                         {"*?/.", 4, "a./", 4},
                         {"[]a-!^", 5, "]a-[!", 1},
                         {"[]\\.", 5, "].\\[", 2},
                         {"aB*\xC4", 4, "Ab\xE4\xC4", 3},
                         {"[]!^a-c\\*./", 3, "abc].-/", 1},
                         {"[]-\\?*\x7F\x80\xE4\xFFzA", 2, "\x7F\x80\xE4\xFF\xC4Za]-", 1}};

std::vector<std::string> all_texts(const std::string &alphabet, std::size_t longest)
{
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; texts[i].size() < longest; ++i)
        for (const char c : alphabet)
            texts.push_back(texts[i] + c);
    return texts;
}

TEST(Fnmatch, IsItsDefinitionForAllShortTexts)
{
    for (const Space &space : kSpaces)
        for (const std::string &pattern : all_texts(space.pattern, space.longest_pattern))
            for (const std::string &text : all_texts(space.text, space.longest_text))
                for (uint32_t flags = 0; flags < kFlagWords; ++flags)
                    ASSERT_EQ(KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags),
                              reference::fnmatch(pattern.c_str(), text.c_str(), flags))
                        << pattern << ' ' << text << ' ' << flags;
}

// To try all ways would take for ever.
TEST(Fnmatch, CopesWithManyStars)
{
    std::string pattern = "b";
    for (int i = 0; i < 50; ++i)
        pattern.insert(0, "*a");
    const std::string text(2000, 'a');
    for (uint32_t flags = 0; flags < kFlagWords; ++flags)
        EXPECT_EQ(KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags), 1) << flags;
}

} // namespace
