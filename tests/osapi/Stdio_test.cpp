#include "osapi/Stdio.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

TEST(Format, LongNumbersAndErrorTexts)
{
    char text[64] = {};
    std::FILE *stream = fmemopen(text, sizeof text, "w");
    EXPECT_EQ(ZOVOsapiUtility_fprintf_ll(stream, INT64_MIN), 20);
    EXPECT_EQ(ZOVOsapiUtility_fprintf_llu(stream, UINT64_MAX), 20);
    std::fclose(stream);
    EXPECT_STREQ(text, "-922337203685477580818446744073709551615");
    EXPECT_STREQ(ZOVOsapiUtility_getErrorString(text, 2, ENOENT), "No such file or directory");
    EXPECT_EQ(text[0], '-');
}

TEST(BoundedString, CopiesAndAppendsWhatFits)
{
    for (std::size_t i = 0; i < 5 * 5 * 7 * 7; ++i) {
        const std::size_t capacity = i % 5;
        const std::size_t count = i / 5 % 7;
        const std::string source = std::string("abcdef").substr(0, i / 35 % 7);
        const std::string start(std::min(capacity, i / 245), '-');
        const std::string part = source.substr(0, count);
        // Bounded by a count the source needs no terminator.
        std::vector<char> exact(source.begin(), source.end());
        exact.push_back(count <= source.size() ? '!' : '\0');
        std::vector<std::string> out(4, start + '\0' + "##########");
        char *const results[] = {
            ZOVOsapiUtility_strncpy(out[0].data(), capacity, exact.data(), count),
            ZOVOsapiUtility_strncat(out[1].data(), capacity, exact.data(), count),
            ZOVOsapiUtility_strcpy(out[2].data(), capacity, source.c_str()),
            ZOVOsapiUtility_strcat(out[3].data(), capacity, source.c_str())};
        const std::string wholes[] = {part, start + part, source, start + source};
        for (std::size_t j = 0; j < 4; ++j) {
            const bool fits = wholes[j].size() <= capacity;
            EXPECT_EQ(results[j], fits ? out[j].data() : nullptr) << j << " of " << i;
            EXPECT_EQ(out[j].c_str(), wholes[j].substr(0, capacity)) << j << " of " << i;
            EXPECT_EQ(out[j][std::max(capacity, start.size()) + 1], '#');
        }
    }
    char unterminated[] = {'a', 'b', 'c', 'd', '\0'};
    EXPECT_EQ(ZOVOsapiUtility_strcat(unterminated, 3, ""), nullptr);
    EXPECT_STREQ(unterminated, "abc");
}

TEST(Text, TokensTrimmedAndJoined)
{
    using Words = std::vector<std::string>;
    const std::pair<std::string, Words> cases[] = {
        {"", {}}, {";,,;", {}}, {",a;;bc,", {"a", "bc"}}, {"a,b", {"a", "b"}}};
    for (const auto &[text, expected] : cases) {
        std::string copy = text;
        Words words;
        char *save = nullptr;
        for (char *word = ZOVOsapiUtility_strToken(copy.data(), ",;", &save); word != nullptr;
             word = ZOVOsapiUtility_strToken(nullptr, ",;", &save))
            words.emplace_back(word);
        EXPECT_EQ(words, expected) << text;
        EXPECT_EQ(save, copy.data() + text.size());
    }
    for (const char *text : {"", "a", "a \t b", "\xA0z\x85"}) {
        std::string padded = std::string(" \t\n\v\f\r") + text + "\r\f\v\n\t ";
        EXPECT_EQ(ZOVOsapiUtility_strTrim(padded.data()), padded.data());
        EXPECT_STREQ(padded.c_str(), text);
    }
    const char *words[] = {"ab", "", "cde"};
    for (const auto &[count, joined] : {std::pair{3, "ab::cde"}, {2, "ab:"}, {0, ""}, {-1, ""}}) {
        const int length = static_cast<int>(std::strlen(joined));
        char buffer[16] = "#";
        for (int size = 0; size <= length + 1; ++size) {
            const bool fits = size == length + 1;
            EXPECT_EQ(ZOVOsapiUtility_stringArrayToDelimitedString(size == 0 ? nullptr : buffer,
                                                                   static_cast<std::size_t>(size),
                                                                   words, count, ':'),
                      size == 0 || fits ? length : -1);
            EXPECT_STREQ(buffer, fits ? joined : "#");
        }
    }
}

/** UTF-8 by its arithmetic, of any number. */
std::string encode(uint32_t number)
{
    std::string text;
    for (; number >= (text.empty() ? 0x80u : 0x40u >> text.size()); number /= 64)
        text.insert(0, 1, static_cast<char>(0x80 | number % 64));
    return static_cast<char>((text.empty() ? 0u : 0xFF80u >> text.size()) | number) + text;
}

bool is_encodable(uint32_t codepoint)
{
    return codepoint <= 0x10FFFF && codepoint / 0x800 != 0xD800 / 0x800;
}

TEST(Utf8, EverySequenceIsThatOfItsCodepointOrInvalid)
{
    for (unsigned i = 0; i < 1u << 24; ++i) {
        // Three bytes are the longest below 0xF0.
        for (const char fourth : {'\x80', '\x7F', '\xBF', '\xC0', '\0'}) {
            const char text[] = {static_cast<char>(i >> 16), static_cast<char>(i >> 8),
                                 static_cast<char>(i), fourth, 0};
            uint32_t codepoint = 0x110000;
            const int length = ZOVOsapiUtility_stringUtf8ToCodepoint(&codepoint, text);
            const bool is_valid = is_encodable(codepoint);
            if (length != ZOVOsapiUtility_stringUtf8ValidateChar(text) ||
                (is_valid ? encode(codepoint).compare(0, 5, text, static_cast<std::size_t>(length))
                          : length + 1) != 0)
                ADD_FAILURE() << std::hex << i << ' ' << +fourth;
            if (i >> 16 < 0xF0)
                break;
        }
    }
}

TEST(Utf8, EveryCodepointRoundTrips)
{
    for (uint32_t codepoint = 0; codepoint < 0x110400; ++codepoint) {
        const std::string text = encode(codepoint);
        const int length = is_encodable(codepoint) ? static_cast<int>(text.size()) : -5;
        char buffer[5] = "####";
        const auto put = [&](char *out, std::size_t size) {
            return ZOVOsapiUtility_stringUtf8FromCodepoint(out, size, codepoint);
        };
        ASSERT_EQ(put(nullptr, 0), length);
        ASSERT_EQ(put(buffer, text.size() - 1), length < 0 ? length : -length);
        ASSERT_STREQ(buffer, "####");
        ASSERT_EQ(put(buffer, text.size()), length);
        ASSERT_EQ(std::string(buffer, text.size()) == text, length > 0) << codepoint;
        uint32_t decoded = 0;
        ASSERT_EQ(ZOVOsapiUtility_stringUtf8ToCodepoint(&decoded, text.c_str()),
                  length < 0 ? -1 : length);
        ASSERT_EQ(decoded, length < 0 ? 0 : codepoint);
    }
}

template <class Unit, class From>
void expect_conversion(int (*convert)(Unit *, std::size_t, const From *), const From *text,
                       const std::basic_string<Unit> &expected)
{
    const int length = static_cast<int>(expected.size());
    std::vector<Unit> out(expected.size() + 1, 0x23);
    EXPECT_EQ(convert(nullptr, 0, text), length + 1);
    EXPECT_EQ(convert(out.data(), expected.size(), text), -length - 1);
    EXPECT_EQ(out, std::vector<Unit>(expected.size() + 1, 0x23));
    EXPECT_EQ(convert(out.data(), out.size(), text), length);
    EXPECT_EQ(out.data(), expected);
}

TEST(Utf16, WholeTextsConvertBothWaysAndTellTheSizeNeeded)
{
    const std::pair<std::basic_string<uint16_t>, std::string> cases[] = {
        {{}, ""},
        {{'z', 0xE4, 0x20AC, 0xD7FF, 0xE000, 0xFFFF, 0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF,
          '.'},
         "z\xC3\xA4\xE2\x82\xAC\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF0\x9F\x98\x80"
         "\xF4\x8F\xBF\xBF."}};
    for (const auto &[units, bytes] : cases) {
        EXPECT_TRUE(ZOVOsapiUtility_stringUtf8ValidateString(bytes.c_str()));
        expect_conversion(ZOVOsapiUtility_stringUtf16ToUtf8, units.c_str(), bytes);
        expect_conversion(ZOVOsapiUtility_stringUtf8ToUtf16, bytes.c_str(), units);
    }
    const uint16_t no_pairs[][2] = {{'a', 0xD800},    {0xD800, 0xD800}, {0xD800, 0xDBFF},
                                    {0xDBFF, 0xE000}, {0xDBFF, 'a'},    {0xDC00, 0xDC00},
                                    {0xDFFF, 0xDC00}, {0xD7FF, 0xDC00}, {0xE000, 0xDC00}};
    for (const auto &[high, low] : no_pairs) {
        const uint16_t units[] = {high, low, 0};
        char out[8] = "#";
        uint32_t codepoint = 7;
        EXPECT_EQ(ZOVOsapiUtility_stringUtf16ToUtf8(out, sizeof out, units), INT_MIN);
        EXPECT_STREQ(out, "#");
        EXPECT_FALSE(ZOVOsapiUtility_stringUtf16FromSurrogatePair(&codepoint, high, low));
        EXPECT_EQ(codepoint, 7u);
    }
    uint16_t unit = 7;
    EXPECT_FALSE(ZOVOsapiUtility_stringUtf16ToSurrogatePair(&unit, &unit, 0xFFFF));
    EXPECT_FALSE(ZOVOsapiUtility_stringUtf16ToSurrogatePair(&unit, &unit, 0x110000));
    for (const char *text : {"a\xC3", "\xF0\x9F\x98", "a\x80z"}) {
        EXPECT_FALSE(ZOVOsapiUtility_stringUtf8ValidateString(text)) << text;
        EXPECT_EQ(ZOVOsapiUtility_stringUtf8ToUtf16(&unit, 0, text), INT_MIN) << text;
    }
}

TEST(Number, AgreesWithTheCLibraryInEveryBase)
{
    const std::string ones(65, '1');
    std::istringstream texts(
        "| |-|+|x|0|00|-0|+7|--1|+-1|- 1| \t\n\v\f\r42z|\xA0|0x|0xg|0x1F|-0X1f|0x0x1|"
        "0778|12.5|zZ|9a|9223372036854775807|9223372036854775808|"
        "-9223372036854775808|-9223372036854775809|18446744073709551615|"
        "18446744073709551616|-18446744073709551615|0x7fffffffffffffff|"
        "-0x8000000000000000|0xffffffffffffffff|0x10000000000000000|" +
        ones + "|" + ones.substr(1));
    for (std::string line; std::getline(texts, line, '|');)
        for (int base = 0; base <= 36; base += base == 0 ? 2 : 1) {
            const char *const text = line.c_str();
            SCOPED_TRACE(testing::Message() << '"' << text << "\" in base " << base);
            const auto check = [&](auto library, auto operation, bool is_refused, auto untouched) {
                char *expected_end = nullptr;
                errno = 0;
                const auto expected = library(text, &expected_end, base);
                const bool is_number = expected_end != text && errno == 0 && !is_refused;
                auto value = untouched;
                char *end = nullptr;
                EXPECT_EQ(operation(&value, text, &end, base), is_number);
                EXPECT_EQ(value, is_number ? static_cast<decltype(value)>(expected) : untouched);
                EXPECT_EQ(end, is_number ? expected_end : nullptr);
            };
            check(::strtoll, ZOVOsapiUtility_strtoll, false, int64_t{-77});
            check(::strtoull, ZOVOsapiUtility_strtoull, std::strchr(text, '-') != nullptr,
                  uint64_t{77});
        }
    int64_t value = 7;
    EXPECT_TRUE(ZOVOsapiUtility_strtoll(&value, "0", nullptr, 0));
    for (const int base : {-1, 1, 37})
        EXPECT_FALSE(ZOVOsapiUtility_strtoll(&value, "0", nullptr, base));
}

TEST(Number, PointersAreHexadecimalAndNothingElse)
{
    void *const untouched = &errno;
    void *pointer = untouched;
    for (const char *text : {"", "0x", " 1", "1 ", "+1", "-1", "0x0x1", "g", "10000000000000000"}) {
        EXPECT_FALSE(ZOVOsapiUtility_strtoptr(&pointer, text)) << text;
        EXPECT_EQ(pointer, untouched);
    }
    for (const char *text : {"0", "0x0", "7fFe", "0X7ffe00000001", "00ffffffffffffffff"}) {
        EXPECT_TRUE(ZOVOsapiUtility_strtoptr(&pointer, text)) << text;
        EXPECT_EQ(pointer, reinterpret_cast<void *>(std::stoull(text, nullptr, 16)));
    }
}

} // namespace
