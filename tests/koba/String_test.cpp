#include "koba/String.h"
#include "koba/pattern.hpp"
#include "tests/support/Faults.hpp"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using test::no_memory;
using test::operator+;

namespace {

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), toupper);
    return text;
}

/** The comparison of upper-case texts as a definition: walk, subtract; 0 is no bound. */
int32_t reference(const std::string &a, const std::string &b, uint32_t n)
{
    const std::size_t bound = n == 0 ? std::string::npos : n;
    std::size_t i = 0;
    while (i + 1 < bound && i < a.size() && i < b.size() && a[i] == b[i])
        ++i;
    return static_cast<signed char>(a.c_str()[i]) - static_cast<signed char>(b.c_str()[i]);
}

TEST(Compare, AgreesWithItsDefinition)
{
    EXPECT_EQ(KOBAString_inCompare("-N_he", "-n_help", 5), 0);
    EXPECT_EQ(KOBAString_inCompare("\xE4", "a", 1), -28 - 'A');
    std::mt19937 random(4711);
    const auto text = [&] {
        std::string s(random() % 6, ' ');
        for (char &c : s)
            c = "aAbZz[\x80\xE4\xFF"[random() % 9];
        return s;
    };
    for (int round = 0; round < 200000; ++round) {
        const std::string a = text();
        const std::string b = text().substr(0, random() % 6);
        const auto n = static_cast<uint32_t>(random() % 8);
        const std::size_t place = upper(a).find(upper(b));
        const char *const found = place == std::string::npos ? nullptr : a.c_str() + place;
        ASSERT_EQ(KOBAString_inCompare(a.c_str(), b.c_str(), n), reference(upper(a), upper(b), n))
            << a << ' ' << b << ' ' << n;
        ASSERT_EQ(KOBAString_iCompare(a.c_str(), b.c_str()), reference(upper(a), upper(b), 0))
            << a << ' ' << b;
        ASSERT_EQ(KOBAString_iFindSubString(a.c_str(), b.c_str()), found) << a << ' ' << b;
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
    // number. What is beyond 32 bits falls off a number that was read as a long one.
    const std::pair<std::string, std::vector<const char *>> cases[] = {
        {"1 1 1 1 76 ", {"1"}},
        {"0 0 0 0 76 ", {"0"}},
        {"- - - 1 - ", {"yEs", "TRUE"}},
        {"- - - 0 - ", {"no", "false"}},
        {"- - - - - ", {"false "}},
        {"65535 65535 65535 - 76 ", {"65535"}},
        {"- 65536 65536 - 76 ", {"65536"}},
        {"7 7 7 - - ", {" \t+7x", "7.0.0", "7e0E0"}},
        {"- - - - 76 ", {""}},
        {"5 5 5 - 76 ", {"5-"}},
        {"0 0 16 - - ", {"0x10"}},
        {"10 10 8 - 76 ", {"010"}},
        {"6 - 6 - 76 ", {"-4294967290"}},
        {"- - -1 - 76 ", {"99999999999999999999"}},
        {"- 4294967295 -1 - 76 ", {"4294967295"}},
        {"0 - 0 - 76 ", {"4294967296"}},
        {"- - -1 - 77 ", {"-1.E5"}},
        {"- - -1 - - ", {"-1e-5"}},
        {"- - - - 77 ", {"e"}},
    };
    for (const auto &[expected, texts] : cases)
        for (const char *text : texts)
            EXPECT_EQ(parsed(KOBAString_strToUnsignedShort, text) +
                          parsed(KOBAString_strToUnsignedLong, text) +
                          parsed(KOBAString_strToLong, text) +
                          parsed(KOBAString_strToBoolean, text) +
                          parsed(KOBAString_isNumeric, text),
                      expected)
                << text;
    EXPECT_EQ(parsed(KOBAString_strToLong, nullptr), "- ");
    EXPECT_TRUE(KOBAString_isNumeric("1.5", nullptr));
}

TEST(WhiteSpace, IsThatOfTheCLocale)
{
    for (int c = -300; c <= 300; ++c)
        EXPECT_EQ(KOBAString_isspace(c) != 0, c >= 0 && c <= 255 && std::isspace(c) != 0) << c;
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
    const std::pair<const char *, std::string> cases[] = {
        {"", "| 0 -"}, {"a", "a| 1 -"}, {"a,b,", "a|b|| 2 "}, {"a,,b", "a||b| 3 b"}};
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
    const test::LogCapture capture;
    for (const char *text : {"*", "a?", "[", "!x", R"(a\\*b)", R"(\*?)"})
        EXPECT_EQ(KOBAString_isPattern(text), ZOV_TRUE) << text;
    for (const char *text : {"", "a]^-", R"(a\*b)", R"(\\\*)", "\\"})
        EXPECT_EQ(KOBAString_isPattern(text), ZOV_FALSE) << text;
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
    const std::tuple<std::string, std::string, const char *> cases[] = {
        {"a,b", "c,b", "1111 0"},
        {"x,abc", "\\a*", "1101 0"},
        {"\\a*", "abc", "1001 1"},
        {"a*,", "a*", "0111 1"},
        {"a/b", "a*", "1000 0"},
        {"'a,b'", "'b", "1111 0"},
        {"'a','b'", "b", "0000 0"}, // the second opening quote stays
        {"", "''", "1111 0"},
        {"a,", "b,", "0000 0"},
        {"'" + fits + "'", "x," + fits, "1111 0"},
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
    // In which order, and that the first match ends the walk.
    static std::string pairs;
    const auto note = [](const char *a, const char *b, const uint32_t *flags) -> int32_t {
        pairs += std::string(a) + b + std::to_string(*flags) + ' ';
        return *b == 'e' ? 0 : 1;
    };
    EXPECT_TRUE(KOBAString_hasMatchingElementInternal("a;b", "c;d;e;f", ';', &path, note));
    EXPECT_EQ(pairs, "ac2 bc2 ad2 bd2 ae2 ");
}

TEST(ClosestName, HasTheLeastEditDistance)
{
    // Index and distance, in any case and in this one, behind the candidates.
    const std::pair<const char *, std::vector<const char *>> cases[] = {
        {"kitten", {"saturday", "sitting", "mitten", "", "2 1 2 1 "}},
        {"sunday", {"saturday", "", "0 3 0 3 "}},
        {"ab", {"ba", "xaby", "abcd", "", "0 2 0 2 "}}, // the first of equals
        {"Name", {"nAME", "Name", "Name", "", "0 0 1 0 "}},
        {"\xC4", {"\xE4", "", "0 1 0 1 "}},
        {"names", {"name", "", "0 1 0 1 "}},
        {"name", {"", "-7 -7 -7 -7 "}},
    };
    for (const auto &[name, candidates] : cases) {
        std::string result;
        for (const ZOVBool case_sensitive : {ZOV_FALSE, ZOV_TRUE}) {
            int32_t index = -7;
            int32_t distance = -7;
            const ZOVBool is_found =
                KOBAString_validateName(&index, &distance, name, candidates.data(), case_sensitive);
            EXPECT_EQ(is_found, distance == 0) << name;
            result += std::to_string(index) + ' ' + std::to_string(distance) + ' ';
        }
        EXPECT_EQ(result, candidates.back());
        KOBAString_validateName(nullptr, nullptr, name, candidates.data(), ZOV_TRUE);
    }
}

TEST(StringFaults, LeaveWhatThereWas)
{
    const auto use = []() -> std::string {
        char *copy = KOBAString_duplicate("abc");
        if (copy == nullptr)
            return "null";
        const char *replaced = KOBAString_replace(&copy, "longer");
        std::string result = std::string(copy) + (replaced == copy ? "" : ", and null");
        EXPECT_EQ(KOBAString_replace(&copy, nullptr), nullptr);
        EXPECT_EQ(copy, nullptr);
        EXPECT_EQ(KOBAString_replace(nullptr, "a"), nullptr);
        const char *const candidates[] = {"ab", "name", ""};
        int32_t index = -1;
        const ZOVBool is_found = KOBAString_validateName(&index, nullptr, "name", candidates, 1);
        return result + " " + std::to_string(index) + (is_found ? " found" : "");
    };
    const auto no_matrix = [](std::size_t size) {
        return no_memory("ZOVOsapiHeap_allocateArray", size) +
               test::Lines{"KOBAString_validateName:!error allocating memory\n"};
    };
    test::for_each_fault(
        use, {"longer 1 found"},
        {{"calloc 1", {{"null", no_memory("ZOVOsapiHeap_allocateString", 4)}}},
         {"realloc", {{"abc, and null 1 found", no_memory("ZOVOsapiHeap_reallocateString", 7)}}},
         {"calloc 2", {{"longer -1", no_matrix(60)}}},
         {"calloc 3", {{"longer 0", no_matrix(100)}}}});
}

} // namespace
