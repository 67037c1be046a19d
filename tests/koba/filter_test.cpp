#include "koba/String.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Term = KOBASQLExpressionTerm;

constexpr const char *kOperators[] = {"=", "<>", ">", "<", ">=", "<=", " BETWEEN ", " MATCH "};

/** The branches in brackets; a copied term has a star. */
std::string printed(const Term *tree)
{
    std::string text;
    for (const Term *branch = tree; branch != nullptr; branch = branch->nextBranch) {
        text += "[";
        for (const Term *term = branch; term != nullptr; term = term->nextTerm) {
            text += term == branch ? "" : " ";
            text += (term->textIsBorrowed != 0 ? "*" : "") + std::string(term->field) +
                    kOperators[term->operatorCode] + term->value;
            text += term->upperValue != nullptr ? std::string("..") + term->upperValue : "";
        }
        text += "]";
    }
    return text;
}

/** The parser's report. */
std::string refusal(const std::string &reason)
{
    return "KOBAString_parseSQLExpression:!" + reason + "\n";
}

/** The tree as text, or what was reported. */
std::string parsed(const std::string &filter, const char *params)
{
    test::LogCapture capture;
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    Term untouched = {};
    Term *tree = &untouched;
    std::string text;
    if (KOBAString_parseSQLExpression(&tree, filter.c_str(), ',', params)) {
        text = printed(tree);
        KOBAString_freeSQLExpressionTree(tree);
    } else {
        EXPECT_EQ(tree, &untouched) << filter;
        for (const std::string &line : capture.lines())
            text += line;
    }
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks) << filter;
    return text;
}

TEST(FilterParser, MakesBranchesOfTerms)
{
    const struct
    {
        const char *filter;
        const char *tree;
    } rows[] = {
        {"x=1", "[x=1]"},
        {"\t x <>\n-1.5e3 ", "[x<>-1.5e3]"},
        {"a>1 and b<2 AND c>=3 Or d <= 4", "[a>1 b<2 c>=3][d<=4]"},
        {"x between 1 AND 2 AND y = 3", "[x BETWEEN 1..2 y=3]"},
        {"a.b MATCH 'a*, (b) = it''s'", "[a.b MATCH a*, (b) = it's]"},
        {"a MATCH\ta*,[!b] AND(b = '5')", "[a MATCH a*,[!b] b='5']"},
        {"a = '' AND b = 'it''s'", "[a='' b='it''s']"},
        {"a = %0 AND b = %1 AND c = %2 AND d = %x AND e = '%0'",
         "[a=zero b='one' c=two d=%x e='%0']"},
        {"a=1 AND (b=2 OR c=3)", "[*a=1 b=2][a=1 c=3]"},
        {"(a=1 OR b=2) AND (c=3 OR (d=4))", "[*a=1 c=3][*b=2 *c=3][a=1 d=4][b=2 *d=4]"},
        {"(a=1 OR b=2) AND c BETWEEN 3 AND 4 OR ((d=5))",
         "[a=1 c BETWEEN 3..4][b=2 *c BETWEEN 3..4][d=5]"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(parsed(row.filter, "zero,'one',two,"), row.tree);
}

TEST(FilterParser, SaysWhatIsWrong)
{
    const std::pair<const char *, std::vector<const char *>> rows[] = {
        {"syntax error partial term",
         {"", " ", "x", "x )", "x (y = 1)", "x = 1 AND ", "x = 1 OR ", "= 1", "x = 'a", "()",
          "() OR x = 1", "x = 1 OR ()", "(x = 1 AND )", "(x"}},
        {"syntax error missing operand",
         {"x =", "x = )", "x > = 1", "x BETWEEN", "x BETWEEN 1 AND ", "x MATCH ", "x = %3"}},
        {"syntax error no match for opcode",
         {"x == 1", "x ! 1", "x =< 1", "x LIKE 'a'", "x MATCH", "x MATCH'a'", "x 1"}},
        {"syntax error following expression",
         {"x = 1 2", "x = 1 2 y", "x = 'a' 'b'", "x = 1 y = 2", "x = 1 (y = 2)", "x = 1 AND",
          "(x BETWEEN 1 AND 2) 3"}},
        {"syntax error missing AND from BETWEEN range",
         {"x BETWEEN 1", "x BETWEEN 1 OR 2", "x BETWEEN 1 AND"}},
        {"syntax error following BETWEEN expression",
         {"x BETWEEN 1 AND 2 3", "x BETWEEN 1 AND 2 y = 3"}},
        {"unmatched parenthesis", {"(x = 1", "x = 1)", "((x = 1)", "() )"}},
        {"NOT connector unsupported",
         {"x = 1 NOT y = 2", "NOT x = 1", "x = 1 AND not(y = 2)", "(NOT x = 1)"}},
        {"no match for connector verb", {"x = 1 XOR y = 2", "x BETWEEN 1 AND 2 nor (y = 1)"}},
        {"attempt to clone empty branch", {"() AND x = 1", "x = 1 AND ()", "(()) AND ()"}},
        {"parameter index exceeds number of parameters",
         {"x = %5", "x = %4294967296", "x = %99999999999999999999999"}},
    };
    for (const auto &[message, filters] : rows)
        for (const char *filter : filters)
            EXPECT_EQ(parsed(filter, "1,2,3,,5,"), refusal(message)) << filter;
    EXPECT_EQ(parsed("x = %0", ""), refusal("parameter index exceeds number of parameters"));
    EXPECT_EQ(parsed("x = %0", nullptr), refusal("publisher filter does not support parameters"));
}

std::string repeated(const std::string &text, int count, const std::string &between = "")
{
    std::string all = text;
    for (int i = 1; i < count; ++i)
        all += between + text;
    return all;
}

TEST(FilterParser, HasLimits)
{
    const auto any_of = [](int count) { return "(" + repeated("x=1", count, " OR ") + ")"; };
    const std::pair<std::string, std::string> rows[] = {
        {repeated("(", 32) + "x=1" + repeated(")", 32), repeated("(", 33) + "x=1"},
        {any_of(64) + " AND (" + repeated("x=1", 63, " AND ") + ")",
         any_of(64) + " AND (" + repeated("x=1", 64, " AND ") + ")"},
        {any_of(4096), any_of(4097)},
        {repeated("x=1", 4096, " AND "), repeated("x=1", 100000, " AND ")},
        {repeated(any_of(2), 8, " AND "), repeated(any_of(2), 100000, " AND ")},
    };
    for (const auto &[right, wrong] : rows) {
        EXPECT_EQ(parsed(right, nullptr).front(), '[');
        EXPECT_EQ(parsed(wrong, nullptr), refusal("parenthesis complexity exceeded for match"));
    }
}

/** Failures of allocations, in order: of terms ("t") and of strings of one character ("s"). */
test::Faults out_of_memory(const std::string &result, const std::string &allocations)
{
    test::Faults faults;
    for (std::size_t i = 0; i < allocations.size(); ++i)
        faults["calloc " + std::to_string(i + 1)] = {
            result, allocations[i] == 't'
                        ? test::no_memory("ZOVOsapiHeap_allocateBufferAligned", sizeof(Term))
                        : test::no_memory("ZOVOsapiHeap_allocateString", 2)};
    return faults;
}

TEST(FilterFaults, FreeWhatThereIsAndLeaveTheOutput)
{
    const auto parse = []() -> std::string {
        Term *tree = nullptr;
        if (!KOBAString_parseSQLExpression(
                &tree, "(a=1 OR b BETWEEN 2 AND 3) AND (c=4 OR d MATCH '5')", ',', nullptr))
            return tree == nullptr ? "untouched" : "touched";
        const std::string text = printed(tree);
        KOBAString_freeSQLExpressionTree(tree);
        return text;
    };
    test::for_each_fault(
        parse, {"[*a=1 c=4][*b BETWEEN 2..3 *c=4][a=1 d MATCH 5][b BETWEEN 2..3 *d MATCH 5]"},
        out_of_memory("untouched", "tsstssstsstsstttt"));
    const auto intersect = [] {
        return test::text_of(KOBAString_hasIntersectingFilter("a=1", "a=%0", ',', "2"));
    };
    test::for_each_fault(intersect, {"false"}, out_of_memory("true", "tsstss"));
}

/** A term for the length of an expression. */
Term term(int32_t code, const std::string &value, const std::string &upper = "")
{
    Term made = {};
    made.operatorCode = code;
    made.value = const_cast<char *>(value.c_str());
    made.upperValue = const_cast<char *>(upper.c_str());
    return made;
}

bool intersect(const Term &one, const Term &other)
{
    const ZOVBool result = KOBAString_isSQLNumericRelationshipIntersect(&one, &other);
    EXPECT_EQ(KOBAString_isSQLNumericRelationshipIntersect(&other, &one), result);
    return result != 0;
}

bool holds(int32_t code, double x, int value, int upper)
{
    const bool results[] = {x == value,
                            x != value,
                            x > value,
                            x < value,
                            x >= value,
                            x <= value,
                            value <= x && x <= upper};
    return results[code];
}

TEST(NumericIntersection, IsThatOfTheNumbersThatSatisfyBoth)
{
    std::vector<std::array<int, 3>> relations;
    for (int value = -1; value <= 2; ++value) {
        for (int code = 0; code < 6; ++code)
            relations.push_back({code, value, 0});
        for (int upper = -1; upper <= 2; ++upper)
            relations.push_back({6, value, upper});
    }
    int cases = 0;
    const auto check = [&](const auto &one, const auto &other, const char *suffix1,
                           const char *suffix2) {
        const auto &[code1, value1, upper1] = one;
        const auto &[code2, value2, upper2] = other;
        bool expected = false;
        for (double x = -2; x <= 3; x += 0.5)
            expected |= holds(code1, x, value1, upper1) && holds(code2, x, value2, upper2);
        EXPECT_EQ(intersect(term(code1, std::to_string(value1) + suffix1, std::to_string(upper1)),
                            term(code2, std::to_string(value2), std::to_string(upper2) + suffix2)),
                  expected)
            << testing::PrintToString(one) << testing::PrintToString(other);
        ++cases;
    };
    for (const char *suffix1 : {"", ".0", "e0"})
        for (const char *suffix2 : {"", "."})
            for (const auto &one : relations)
                for (const auto &other : relations)
                    check(one, other, suffix1, suffix2);
    std::printf("numeric cases: %d\n", cases);
}

TEST(NumericIntersection, ExcludesNothingThatItCannotTell)
{
    test::LogCapture capture;
    const std::string largest = "9223372036854775807";
    const std::string larger = "9223372036854775808";
    EXPECT_FALSE(intersect(term(0, largest), term(1, largest)));
    EXPECT_FALSE(intersect(term(2, largest), term(0, "-" + larger)));
    EXPECT_TRUE(intersect(term(2, largest), term(0, larger)));
    EXPECT_TRUE(intersect(term(3, larger), term(0, largest)));
    EXPECT_TRUE(intersect(term(1, larger), term(0, larger + "0")));
    EXPECT_FALSE(intersect(term(0, larger), term(3, "5")));
    EXPECT_TRUE(intersect(term(2, "1e999"), term(0, "1e1000")));
    EXPECT_TRUE(intersect(term(0, "'5'"), term(0, "6")));
    EXPECT_TRUE(intersect(term(0, "5"), term(7, "a*")));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_TRUE(intersect(term(0, "5"), term(7, "6")));
    EXPECT_TRUE(intersect(term(7, "5.0"), term(7, "6")));
    const std::string line = "KOBAString_hasPatternsOnly:!";
    const std::string integer = line + "Integer Comparison Intersection Logic Error\n";
    const std::string real = line + "FloatingPoint Comparison Intersection Logic Error\n";
    EXPECT_EQ(capture.lines(), (test::Lines{integer, integer, real, real}));
}

TEST(FilterIntersection, ComparesBranchesFieldByField)
{
    const std::string element(256, 'a');
    const struct
    {
        std::string f1;
        std::string f2;
        bool intersect;
    } rows[] = {
        {"x > 5", "x < 3", false},
        {"x > 5", "X < 3", false},
        {"x > 5", "y < 3", true},
        {"x > 5", "x < 6", true},
        {"x > 5 OR x < 2", "x = 3 OR x = %1", false},
        {"x > 5 OR x < 2", "x = 3 OR x = %0", true},
        {"x > 5 AND y = 1", "x = 9 AND (y = 2 OR y BETWEEN 3 AND 1)", false},
        {"x MATCH 'a*'", "x MATCH 'b*'", false},
        {"x MATCH 'a*,b'", "x MATCH '?,cc'", true},
        {"x MATCH 'a/*'", "x MATCH 'a/b/c'", false},
        {"x MATCH '[a/b]'", "x MATCH 'a'", false},
        {"x MATCH '\\*'", "x MATCH '\\a'", true}, // a backslash is no escape
        {"x MATCH 'a*'", "x = 'b'", true},
        {"x = '10'", "x = '9'", true}, // texts
        {"x MATCH 'a'", "x MATCH " + element, true},
        {"x MATCH " + element, "x MATCH 'a'", true},
        {"x > 5", "x << 3", true},
        {"x > %0", "x < 0", true},
    };
    test::LogCapture capture;
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    for (const auto &row : rows)
        EXPECT_EQ(KOBAString_hasIntersectingFilter(row.f1.c_str(), row.f2.c_str(), ';', "6;4"),
                  row.intersect ? 1 : 0)
            << row.f1 << ' ' << row.f2;
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
    EXPECT_EQ(capture.lines(),
              (test::Lines{refusal("syntax error no match for opcode"),
                           refusal("publisher filter does not support parameters")}));
}

} // namespace
