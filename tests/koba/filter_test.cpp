#include "fuzz/fuzz.hpp"
#include "koba/String.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <cerrno>
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

/** The tree as text, or "refused", and then with the output as it was. */
std::string parse(const std::string &filter, const char *params)
{
    Term untouched = {};
    Term *tree = &untouched;
    if (!KOBAString_parseSQLExpression(&tree, filter.c_str(), ',', params))
        return tree == &untouched ? "refused" : "refused and written";
    const std::string text = printed(tree);
    KOBAString_freeSQLExpressionTree(tree);
    return text;
}

/** The tree as text, or what was reported. */
std::string parsed(const std::string &filter, const char *params)
{
    const test::LogCapture capture;
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    const std::string text = parse(filter, params);
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks) << filter;
    return text == "refused" && capture.lines().size() == 1 ? capture.lines()[0] : text;
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
    test::Faults faults;
    for (const char allocation : std::string("tsstssstsstsstttt")) // of a term, of a string
        faults["calloc " + std::to_string(faults.size() + 1)] = {
            "refused", allocation == 't'
                           ? test::no_memory("ZOVOsapiHeap_allocateBufferAligned", sizeof(Term))
                           : test::no_memory("ZOVOsapiHeap_allocateString", 2)};
    test::for_each_fault(
        [] { return parse("(a=1 OR b BETWEEN 2 AND 3) AND (c=4 OR d MATCH '5')", nullptr); },
        {"[*a=1 c=4][*b BETWEEN 2..3 *c=4][a=1 d MATCH 5][b BETWEEN 2..3 *d MATCH 5]"}, faults);
}

bool intersect(const std::string &f1, const std::string &f2)
{
    return KOBAString_hasIntersectingFilter(f1.c_str(), f2.c_str(), ';', "7;4") == ZOV_TRUE;
}

TEST(Filters, MeanWhatTheirTruthSays)
{
    fuzz::run(1500);
}

#define LARGEST "9223372036854775807"
#define LARGER "9223372036854775808"

TEST(FilterIntersection, ComparesBranchesFieldByField)
{
    const auto logic_error = [](const std::string &kind) {
        return "KOBAString_hasPatternsOnly:!" + kind + " Comparison Intersection Logic Error\n";
    };
    const std::string fits(255, 'a');
    // What is reported is the same for either order.
    const std::tuple<std::string, std::string, bool, std::string> rows[] = {
        {"x > 5", "X < 3", false, ""},
        {"x > 5", "y < 3", true, ""},
        {"x > 5 OR x < 2", "x = 3 OR x = 4", false, ""},
        {"x > 5 OR x < 2", "x = 3 OR x = 6", true, ""},
        {"x > 5 AND y = 1", "x = 9 AND (y = 2 OR y BETWEEN 3 AND 1)", false, ""},
        {"x MATCH 'a*'", "x MATCH 'b*'", false, ""},
        {"x MATCH 'a*,b'", "x MATCH '?,cc'", true, ""},
        {"x MATCH 'a/*'", "x MATCH 'a/b/c'", false, ""},
        {"x MATCH '\\*'", "x MATCH '\\a'", true, ""}, // a backslash is no escape
        {"x MATCH 'a*'", "x = 'b'", true, ""},
        {"x MATCH 'b'", "x MATCH " + fits, false, ""},
        {"x MATCH 'b'", "x MATCH a" + fits, true, ""},
        {"x MATCH 'b'", "x MATCH " + fits + ",a" + fits, true, ""},
        // Nothing is excluded that cannot be told.
        {"x = " LARGEST, "x <> " LARGEST, false, ""},
        {"x > " LARGEST, "x = -" LARGER, false, ""},
        {"x > " LARGEST, "x = " LARGER, true, ""},
        {"x < " LARGER, "x = " LARGEST, true, ""},
        {"x <> " LARGER, "x = " LARGER "0", true, ""},
        {"x = " LARGER, "x < 5", false, ""},
        {"x > 1e999", "x = 1e1000", true, ""},
        {"x = '5'", "x = 6", true, ""},
        {"x = 5", "x MATCH 'a*'", true, ""},
        {"x = 5", "x MATCH 6", true, logic_error("Integer")},
        {"x = 6", "x MATCH 5.0", true, logic_error("FloatingPoint")},
        {"x > 5", "x << 3", true, refusal("syntax error no match for opcode")},
    };
    test::LogCapture capture;
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    errno = ERANGE; // of something else
    for (const auto &[f1, f2, expected, line] : rows) {
        EXPECT_EQ(intersect(f1, f2), expected) << f1 << ' ' << f2;
        EXPECT_EQ(intersect(f2, f1), expected) << f2 << ' ' << f1;
        EXPECT_EQ(capture.take(), line.empty() ? Lines() : Lines(2, line)) << f1 << ' ' << f2;
    }
    EXPECT_FALSE(intersect("x > 5", "x < %1"));
    EXPECT_EQ(errno, ERANGE);
    EXPECT_TRUE(intersect("x > 5", "x < %0"));
    EXPECT_TRUE(intersect("x > %0", "x < 0")) << "the first one has no parameters";
    EXPECT_EQ(capture.lines(), Lines{refusal("publisher filter does not support parameters")});
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
}

} // namespace
