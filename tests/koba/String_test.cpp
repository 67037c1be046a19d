#include "koba/String.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

/** The comparison as a definition: fold to upper case, walk, subtract. */
int32_t reference(const std::string &a, const std::string &b, uint32_t n)
{
    const auto fold = [](char c) {
        return c >= 'a' && c <= 'z' ? c - 32 : static_cast<signed char>(c);
    };
    if (a.empty())
        return fold(0) - fold(b.c_str()[0]);
    const std::size_t bound = n == 0 ? std::string::npos : n;
    std::size_t i = 0;
    while (i + 1 < bound && i < a.size() && i < b.size() && fold(a[i]) == fold(b[i]))
        ++i;
    return fold(a.c_str()[i]) - fold(b.c_str()[i]);
}

TEST(InCompare, PrefixesAndOddities)
{
    const struct
    {
        const char *a;
        const char *b;
        uint32_t n;
        int32_t result;
    } cases[] = {
        {"-n_he", "-n_help", 5, 0},   {"-N_HE", "-n_help", 5, 0}, {"-n_helpx", "-n_help", 8, 'X'},
        {"", "x", 0, -'X'},           {"", "x", 5, -'X'},         {"", "", 0, 0},
        {"abc", "ABD", 0, 'C' - 'D'}, {"abc", "ABD", 2, 0},       {"abc", "abc", 0, 0},
        {"\xE4", "a", 1, -28 - 'A'},  {"[", "a", 1, '[' - 'A'},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KOBAString_inCompare(row.a, row.b, row.n), row.result) << row.a << ' ' << row.b;
}

TEST(InCompare, AgreesWithItsDefinition)
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
        const std::string b = text();
        const auto n = static_cast<uint32_t>(random() % 8);
        ASSERT_EQ(KOBAString_inCompare(a.c_str(), b.c_str(), n), reference(a, b, n))
            << a << ' ' << b << ' ' << n;
    }
}

} // namespace
