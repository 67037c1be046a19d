#include "koba/String.h"
#include "koba/pattern.hpp"
#include "tests/support/LogCapture.hpp"

#include <cctype>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string upper(std::string text)
{
    for (char &c : text)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    return text;
}

/** The comparison of upper-case texts as a definition: walk, subtract. */
int32_t reference(const std::string &a, const std::string &b, uint32_t n)
{
    const std::size_t bound = n == 0 ? std::string::npos : n;
    std::size_t i = 0;
    while (i + 1 < bound && i < a.size() && i < b.size() && a[i] == b[i])
        ++i;
    return static_cast<signed char>(a.c_str()[i]) - static_cast<signed char>(b.c_str()[i]);
}

TEST(Compare, HasPrefixesAndOddities)
{
    EXPECT_EQ(KOBAString_inCompare("-N_he", "-n_help", 5), 0);
    EXPECT_EQ(KOBAString_inCompare("-n_helpx", "-n_help", 8), 'X');
    EXPECT_EQ(KOBAString_inCompare("", "x", 5), -'X');
    EXPECT_EQ(KOBAString_inCompare("abc", "ABD", 0), 'C' - 'D');
    EXPECT_EQ(KOBAString_inCompare("\xE4", "a", 1), -28 - 'A');
}

TEST(Compare, AgreesWithItsDefinition)
{
    std::mt19937 random(4711);
    const std::string alphabet = "aAbZz[\x80\xE4\xFF";
    const auto text = [&] {
        std::string s(random() % 6, ' ');
        for (char &c : s)
            c = alphabet[random() % alphabet.size()];
        return s;
    };
    for (int round = 0; round < 200000; ++round) {
        const std::string a = text();
        const std::string b = text().substr(0, random() % 6);
        const auto n = static_cast<uint32_t>(random() % 8);
        ASSERT_EQ(KOBAString_inCompare(a.c_str(), b.c_str(), n), reference(upper(a), upper(b), n))
            << a << ' ' << b << ' ' << n;
        ASSERT_EQ(KOBAString_iCompare(a.c_str(), b.c_str()), reference(upper(a), upper(b), 0))
            << a << ' ' << b;
        const std::size_t place = upper(a).find(upper(b));
        ASSERT_EQ(KOBAString_iFindSubString(a.c_str(), b.c_str()),
                  place == std::string::npos ? nullptr : a.c_str() + place)
            << a << ' ' << b;
    }
    EXPECT_EQ(KOBAString_iFindSubString(nullptr, "a"), nullptr);
    EXPECT_STREQ(KOBAString_iFindSubString("a", nullptr), "a");
}

/** What a parser makes of a text: the number, or a dash for a failure, which stores nothing. */
template <class T>
std::string parsed(ZOVBool (*parse)(const char *, T *), const char *text)
{
    T value = 76;
    if (parse(text, &value))
        return std::to_string(value) + ' ';
    EXPECT_EQ(value, 76) << text;
    return "- ";
}

TEST(Parse, NumbersAndWords)
{
    // As a short, an unsigned and a signed number, as a boolean, and 76 or 77 for a whole or a real
    // number.
    const std::pair<const char *, std::string> cases[] = {
        {"1", "1 1 1 1 76 "},
        {"65535", "65535 65535 65535 - 76 "},
        {"65536", "- 65536 65536 - 76 "},
        {" \t+7x", "7 7 7 - - "},
        {"", "- - - - 76 "},
        {"5-", "5 5 5 - 76 "},
        {"0x10", "0 0 16 - - "},
        {"010", "10 10 8 - 76 "},
        {"-1", "- - -1 - 76 "},
        // What is beyond 32 bits falls off a number that was read as a long one.
        {"4294967297", "1 - 1 - 76 "},
        {"-4294967290", "6 - 6 - 76 "},
        {"99999999999999999999", "- - -1 - 76 "},
        {"-99999999999999999999", "0 - 0 - 76 "},
        {"-1.E5", "- - -1 - 77 "},
        {".", "- - - - 77 "},
        {"-1e-5", "- - -1 - - "},
        {"1e2E3", "1 1 1 - - "},
        {"1.2.3", "1 1 1 - - "},
        {"e", "- - - - 77 "},
        {"yEs", "- - - 1 - "},
        {"TRUE", "- - - 1 - "},
        {"no", "- - - 0 - "},
        {"false ", "- - - - - "},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(parsed(KOBAString_strToUnsignedShort, text) +
                      parsed(KOBAString_strToUnsignedLong, text) +
                      parsed(KOBAString_strToLong, text) + parsed(KOBAString_strToBoolean, text) +
                      parsed(KOBAString_isNumeric, text),
                  expected)
            << text;
    EXPECT_EQ(parsed(KOBAString_strToLong, nullptr), "- ");
    EXPECT_TRUE(KOBAString_isNumeric("1.5", nullptr));
}

TEST(WhiteSpace, IsThatOfTheCLocale)
{
    for (int c = -1; c <= 255; ++c)
        EXPECT_EQ(KOBAString_isspace(c) != 0, std::isspace(c) != 0) << c;
    for (const int c : {-300, -247, -2, 256 + ' '})
        EXPECT_FALSE(KOBAString_isspace(c)) << c;
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {" ", " "}, {" \t\n", " "}, {" a b \r\v\f", " a b"}, {"a\xA0", "a\xA0"}};
    for (auto [text, trimmed] : cases) {
        KOBAString_trimEnd(text.data());
        EXPECT_EQ(text.c_str(), trimmed);
    }
}

TEST(Tokens, EndAtDelimiters)
{
    // Each with its end, their number, and the last one if it is not the only one.
    const std::pair<const char *, std::string> cases[] = {{"", "| 0 -"},
                                                          {"a", "a| 1 -"},
                                                          {"a,b,", "a|b|| 2 "},
                                                          {"a,,b", "a||b| 3 b"},
                                                          {",", "|| 1 "}};
    for (const auto &[text, expected] : cases) {
        std::string result;
        for (const char *token = text; token != nullptr;) {
            int32_t length = -1;
            const char *next = KOBAString_getToken(&length, token, ',');
            result += std::string(token, static_cast<std::size_t>(length)) + '|';
            token = next;
        }
        const char *last = KOBAString_getLastToken(text, ',');
        result += ' ' + std::to_string(KOBAString_getTokenCount(text, ',')) + ' ';
        EXPECT_EQ(result + (last != nullptr ? last : "-"), expected);
    }
    EXPECT_EQ(KOBAString_getTokenCount(nullptr, ','), 0);
    EXPECT_EQ(KOBAString_getLastToken("a", '\0'), nullptr);
}

TEST(Print, GoesToTheDebugOutputInPieces)
{
    const test::LogCapture capture;
    KOBAString_printIndent(-1);
    KOBAString_printIndent(1);
    KOBAString_printBytes("\x0A\xFF", 2);
    EXPECT_EQ(capture.lines(), (test::Lines{" ", " ", " ", "0x", "0a", "ff"}));
}

TEST(Patterns, HaveACharacterThatIsNotEscaped)
{
    for (const char *text : {"*", "a?", "[", "!x", R"(a\\*b)", R"(\*?)"})
        EXPECT_EQ(KOBAString_isPattern(text), ZOV_TRUE) << text;
    for (const char *text : {"", "a]^-", R"(a\*b)", R"(\\\*)", "\\"})
        EXPECT_EQ(KOBAString_isPattern(text), ZOV_FALSE) << text;
    const test::LogCapture capture;
    EXPECT_EQ(KOBAString_isPattern(nullptr), ZOV_FALSE);
    EXPECT_EQ(capture.lines(), test::Lines{"KOBAString_isPattern:null object\n"});
    EXPECT_EQ(KOBAString_matchPattern("a*", "*b"), -1);
    EXPECT_LT(KOBAString_matchPattern("a", "b"), 0);
}

TEST(Lists, MatchWhenTwoElementsDo)
{
    const std::string fits(255, 'a');
    const std::string too_long(256, 'a');
    const uint32_t path = KOBA_STRING_FNMATCH_PATHNAME;
    // Whether elements match, as paths too, are equal, can match the same path; and whether the
    // first list has patterns only.
    const struct
    {
        std::string list1;
        std::string list2;
        const char *expected;
    } cases[] = {
        {"a,b", "c,b", "1111 0"},
        {"x,abc", "a*", "1101 0"},
        {"a*", "abc", "1001 1"},
        {"a*,", "a*", "0111 1"},
        {"a/b", "a*", "1000 0"},
        {"'a,b'", "'b", "1111 0"},
        {"'a','b'", "b", "0000 0"}, // the second opening quote stays
        {"", "''", "1111 0"},
        {"a,", "b,", "0000 0"},
        {"a,,b", "c,,d", "1111 0"},
        {"'" + fits + "'", "x," + fits, "1111 0"},
        {"*" + fits.substr(1), fits, "1001 1"},
        {too_long, too_long, "0000 0"},
        {too_long + ",x", too_long + ",*", "1101 0"},
        {"*" + too_long, "*", "0000 0"},
    };
    for (const auto &[list1, list2, expected] : cases) {
        const char *a = list1.c_str();
        const char *b = list2.c_str();
        EXPECT_EQ(std::to_string(KOBAString_hasMatchingElement(a, b, ',')) +
                      std::to_string(KOBAString_hasMatchingElementX(a, b, ',', &path)) +
                      std::to_string(KOBAString_hasCommonElement(a, b, ',')) +
                      std::to_string(KOBAString_hasIntersectingPattern(a, b, ',', &path)) + ' ' +
                      std::to_string(KOBAString_hasPatternsOnly(a, ',')),
                  expected)
            << a << ' ' << b;
    }
    EXPECT_EQ(KOBAString_hasPatternsOnly(nullptr, ','), ZOV_TRUE);
}

std::string g_pairs;

TEST(Lists, AreWalkedUntilAPairMatches)
{
    const auto note = [](const char *a, const char *b, const uint32_t *flags) -> int32_t {
        g_pairs += std::string(a) + b + std::to_string(*flags) + ' ';
        return *b == 'e' ? 0 : 1;
    };
    const uint32_t flags = 5;
    EXPECT_EQ(KOBAString_hasMatchingElementInternal("a;b", "c;d;e;f", ';', &flags, note), ZOV_TRUE);
    EXPECT_EQ(g_pairs, "ac5 bc5 ad5 bd5 ae5 ");
}

TEST(ClosestName, HasTheLeastEditDistance)
{
    // For each name the index and the distance, behind the candidates.
    const std::pair<const char *, std::vector<const char *>> cases[] = {
        {"kitten", {"saturday", "sitting", "mitten", "", "2 1"}},
        {"sunday", {"saturday", "", "0 3"}},
        {"ab", {"ba", "xaby", "abcd", "", "0 2"}}, // the first of equals
        {"Name", {"nAME", "Name", "Name", "", "1 0"}},
        {"\xC4", {"\xE4", "", "0 1"}},
        {"name", {"", "-7 -7"}},
    };
    for (const auto &[name, candidates] : cases) {
        int32_t index = -7;
        int32_t distance = -7;
        const ZOVBool is_found =
            KOBAString_validateName(&index, &distance, name, candidates.data(), ZOV_TRUE);
        EXPECT_EQ(is_found, distance == 0) << name;
        EXPECT_EQ(std::to_string(index) + ' ' + std::to_string(distance), candidates.back());
    }
    const char *const candidates[] = {"\xC4", "nAME", "Name", ""};
    int32_t index = -7;
    EXPECT_TRUE(KOBAString_validateName(&index, nullptr, "Name", candidates, ZOV_FALSE));
    EXPECT_EQ(index, 1);
    EXPECT_FALSE(KOBAString_validateName(nullptr, nullptr, "\xE4", candidates, ZOV_FALSE));
}

} // namespace
