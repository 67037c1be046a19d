#include "koba/String.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

using test::Lines;

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
            text += std::string(term == branch ? "" : " ") + (term->textIsBorrowed ? "*" : "");
            text += std::string(term->field) + kOperators[term->operatorCode] + term->value;
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
    const std::pair<const char *, const char *> rows[] = {
        {"\t x <>\n-1.5e3 ", "[x<>-1.5e3]"},
        {"a>1 and b<2 AND c>=3 Or d <= 4", "[a>1 b<2 c>=3][d<=4]"},
        {"x between 1 AND 2 AND y = 3", "[x BETWEEN 1..2 y=3]"},
        {"a.b MATCH 'a*, (b) = it''s'", "[a.b MATCH a*, (b) = it's]"},
        {"a MATCH\ta*,[!b] AND(b = '5')", "[a MATCH a*,[!b] b='5']"},
        {"a = '' AND b = 'it''s'", "[a='' b='it''s']"},
        {"a = %0 AND b = %1 AND c = %2 AND d = %x AND e = '%0'",
         "[a=zero b='one' c=two d=%x e='%0']"},
        {"(a=1 OR b=2) AND (c=3 OR (d=4))", "[*a=1 c=3][*b=2 *c=3][a=1 d=4][b=2 *d=4]"},
        {"(a=1 OR b=2) AND c BETWEEN 3 AND 4 OR ((d=5))",
         "[a=1 c BETWEEN 3..4][b=2 *c BETWEEN 3..4][d=5]"},
    };
    for (const auto &[filter, tree] : rows)
        EXPECT_EQ(parsed(filter, "zero,'one',two,"), tree);
}

TEST(FilterParser, SaysWhatIsWrong)
{
    const std::pair<const char *, std::vector<const char *>> rows[] = {
        {"syntax error partial term",
         {"", "x )", "x (y = 1)", "x = 1 AND ", "x = 1 OR ", "= 1", "x = 'a", "() OR x = 1",
          "x = 1 OR ()", "(x = 1 AND )"}},
        {"syntax error missing operand",
         {"x =", "x = )", "x > = 1", "x BETWEEN", "x BETWEEN 1 AND ", "x MATCH ", "x = %3"}},
        {"syntax error no match for opcode",
         {"x == 1", "x ! 1", "x LIKE 'a'", "x MATCH", "x MATCH'a'"}},
        {"syntax error following expression",
         {"x = 1 2", "x = 1 2 y", "x = 'a' 'b'", "x = 1 y = 2", "x = 1 (y = 2)", "x = 1 AND",
          "(x BETWEEN 1 AND 2) 3"}},
        {"syntax error missing AND from BETWEEN range", {"x BETWEEN 1", "x BETWEEN 1 OR 2"}},
        {"syntax error following BETWEEN expression",
         {"x BETWEEN 1 AND 2 3", "x BETWEEN 1 AND 2 y = 3"}},
        {"unmatched parenthesis", {"(x = 1", "x = 1)", "() )"}},
        {"NOT connector unsupported", {"x = 1 NOT y = 2", "x = 1 AND not(y = 2)", "(NOT x = 1)"}},
        {"no match for connector verb", {"x = 1 XOR y = 2", "x BETWEEN 1 AND 2 nor (y = 1)"}},
        {"attempt to clone empty branch", {"() AND x = 1", "x = 1 AND ()", "(()) AND ()"}},
        {"parameter index exceeds number of parameters",
         {"x = %5", "x = %4294967296", "x = %99999999999999999999999"}},
    };
    for (const auto &[message, filters] : rows)
        for (const char *filter : filters)
            EXPECT_EQ(parsed(filter, "1,2,3,,5,"), refusal(message)) << filter;
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
    const auto any_of = [](int count) {
        return std::string("(") + repeated("x=1", count, " OR ") + ")";
    };
    const std::pair<std::string, std::string> rows[] = {
        {repeated("(", 32) + "x=1" + repeated(")", 32), repeated("(", 33) + "x=1"},
        {any_of(64) + " AND (" + repeated("x=1", 63, " AND ") + ")",
         any_of(64) + " AND (" + repeated("x=1", 64, " AND ") + ")"},
        {any_of(4096), any_of(4097)},
        {repeated(any_of(2), 8, " AND "), repeated(any_of(2), 100000, " AND ")},
    };
    for (const auto &[right, wrong] : rows) {
        EXPECT_EQ(parsed(right, nullptr).front(), '[');
        EXPECT_EQ(parsed(wrong, nullptr), refusal("parenthesis complexity exceeded for match"));
    }
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
    test::Faults faults;
    for (const char allocation : std::string("tsstssstsstsstttt")) { // of a term, of a string
        const Lines no_term = test::no_memory("ZOVOsapiHeap_allocateBufferAligned", sizeof(Term));
        faults["calloc " + std::to_string(faults.size() + 1)] = {
            "untouched",
            allocation == 't' ? no_term : test::no_memory("ZOVOsapiHeap_allocateString", 2)};
    }
    test::for_each_fault(
        parse, {"[*a=1 c=4][*b BETWEEN 2..3 *c=4][a=1 d MATCH 5][b BETWEEN 2..3 *d MATCH 5]"},
        faults);
}

/** Two terms on a field, in either order. */
bool intersect(int32_t code1, const std::string &value1, int32_t code2, const std::string &value2,
               const std::string &upper1 = "", const std::string &upper2 = "")
{
    Term one = {};
    one.operatorCode = code1;
    one.value = const_cast<char *>(value1.c_str());
    one.upperValue = const_cast<char *>(upper1.c_str());
    Term other = one;
    other.operatorCode = code2;
    other.value = const_cast<char *>(value2.c_str());
    other.upperValue = const_cast<char *>(upper2.c_str());
    const ZOVBool result = KOBAString_isSQLNumericRelationshipIntersect(&one, &other);
    EXPECT_EQ(KOBAString_isSQLNumericRelationshipIntersect(&other, &one), result);
    return result != 0;
}

using Relation = std::array<int, 3>; // operator code, value, upper value

bool holds(const Relation &relation, double x)
{
    const auto &[code, value, upper] = relation;
    const std::array simple = {x == value, x != value, x > value,
                               x < value,  x >= value, x <= value};
    return code < 6 ? simple[static_cast<std::size_t>(code)] : value <= x && x <= upper;
}

TEST(NumericIntersection, IsThatOfTheNumbersThatSatisfyBoth)
{
    std::vector<Relation> relations;
    for (int value = -1; value <= 2; ++value)
        for (int code = 0; code <= 6; ++code)
            for (int upper = -1; upper <= (code < 6 ? -1 : 2); ++upper)
                relations.push_back({code, value, upper});
    for (const char *suffix1 : {"", ".0", "e0"})
        for (const char *suffix2 : {"", "."})
            for (const Relation &one : relations)
                for (const Relation &other : relations) {
                    bool expected = false;
                    for (double x = -2; x <= 3; x += 0.5)
                        expected |= holds(one, x) && holds(other, x);
                    EXPECT_EQ(intersect(one[0], std::to_string(one[1]) + suffix1, other[0],
                                        std::to_string(other[1]), std::to_string(one[2]),
                                        std::to_string(other[2]) + suffix2),
                              expected)
                        << testing::PrintToString(one) << testing::PrintToString(other);
                }
}

TEST(NumericIntersection, ExcludesNothingThatItCannotTell)
{
    test::LogCapture capture;
    const std::string largest = "9223372036854775807";
    const std::string larger = "9223372036854775808";
    EXPECT_FALSE(intersect(0, largest, 1, largest));
    EXPECT_FALSE(intersect(2, largest, 0, "-" + larger));
    EXPECT_TRUE(intersect(2, largest, 0, larger));
    EXPECT_TRUE(intersect(3, larger, 0, largest));
    EXPECT_TRUE(intersect(1, larger, 0, larger + "0"));
    EXPECT_FALSE(intersect(0, larger, 3, "5"));
    EXPECT_TRUE(intersect(2, "1e999", 0, "1e1000"));
    EXPECT_TRUE(intersect(0, "'5'", 0, "6"));
    EXPECT_TRUE(intersect(0, "5", 7, "a*"));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_TRUE(intersect(0, "5", 7, "6"));
    EXPECT_TRUE(intersect(7, "5.0", 7, "6"));
    const std::string line = "KOBAString_hasPatternsOnly:!";
    const std::string integer = line + "Integer Comparison Intersection Logic Error\n";
    const std::string real = line + "FloatingPoint Comparison Intersection Logic Error\n";
    EXPECT_EQ(capture.lines(), (Lines{integer, integer, real, real}));
}

TEST(FilterIntersection, ComparesBranchesFieldByField)
{
    const std::string element(256, 'a');
    const std::tuple<std::string, std::string, bool> rows[] = {
        {"x > 5", "X < 3", false},
        {"x > 5", "y < 3", true},
        {"x > 5", "x < 6", true},
        {"x > 5 OR x < 2", "x = 3 OR x = %1", false},
        {"x > 5 OR x < 2", "x = 3 OR x = %0", true},
        {"x > 5 AND y = 1", "x = 9 AND (y = 2 OR y BETWEEN 3 AND 1)", false},
        {"x MATCH 'a*'", "x MATCH 'b*'", false},
        {"x MATCH 'a*,b'", "x MATCH '?,cc'", true},
        {"x MATCH 'a/*'", "x MATCH 'a/b/c'", false},
        {"x MATCH '\\*'", "x MATCH '\\a'", true}, // a backslash is no escape
        {"x MATCH 'a*'", "x = 'b'", true},
        {"x MATCH 'a'", "x MATCH " + element, true},
        {"x MATCH " + element, "x MATCH 'a'", true},
        {"x > 5", "x << 3", true},
        {"x > %0", "x < 0", true},
    };
    test::LogCapture capture;
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    for (const auto &[f1, f2, expected] : rows)
        EXPECT_EQ(KOBAString_hasIntersectingFilter(f1.c_str(), f2.c_str(), ';', "6;4"),
                  expected ? ZOV_TRUE : ZOV_FALSE)
            << f1 << ' ' << f2;
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
    EXPECT_EQ(capture.lines(), (Lines{refusal("syntax error no match for opcode"),
                                      refusal("publisher filter does not support parameters")}));
}

} // namespace
