// Any text is parsed or refused, and nothing of it is left. Filters that are made from the input
// mean what their truth at the points of a small domain says, and exclude each other only when no
// point satisfies both; two relations of numbers do so always then.
#include "fuzz/fuzz.hpp"
#include "koba/String.h"

#include <bitset>
#include <cstring>

using fuzz::require;

namespace {

// The fields x and y have the values -2.5, -2 ... 2.5, and z these texts.
constexpr const char *kTexts[] = {"", "a", "b", "aa", "ab", "ba", "bb"};
constexpr std::size_t kSteps = 11;
constexpr std::size_t kNumbers = kSteps * kSteps;
using Truth = std::bitset<kNumbers * std::size(kTexts)>;

constexpr char kPatterns[][8] = {"*", "a", "b*", "*b", "a?", "[!a]*", "a*b"};
constexpr char kParameters[] = "-2,-1,0,1,2";

Truth truth_of_match(const std::string &list)
{
    Truth truth;
    for (std::size_t point = 0; point < truth.size(); ++point)
        truth[point] =
            KOBAString_hasMatchingElement(kTexts[point / kNumbers], list.c_str(), ',') != 0;
    return truth;
}

Truth truth_of(bool is_x, int code, double value, double upper)
{
    Truth truth;
    for (std::size_t point = 0; point < truth.size(); ++point) {
        const std::size_t step = is_x ? point % kSteps : point % kNumbers / kSteps;
        const double at = static_cast<double>(step) / 2 - 2.5;
        const bool results[] = {at == value,
                                at != value,
                                at > value,
                                at < value,
                                at >= value,
                                at <= value,
                                value <= at && at <= upper};
        truth[point] = results[code];
    }
    return truth;
}

Truth truth_of(const KOBASQLExpressionTerm &term)
{
    if (term.operatorCode == KOBA_SQL_OPERATOR_MATCH)
        return truth_of_match(term.value);
    return truth_of(std::strchr("xX", *term.field) != nullptr, term.operatorCode,
                    std::strtod(term.value, nullptr),
                    term.upperValue != nullptr ? std::strtod(term.upperValue, nullptr) : 0);
}

Truth truth_of(const KOBASQLExpressionTerm *tree)
{
    Truth truth;
    for (const auto *branch = tree; branch != nullptr; branch = branch->nextBranch) {
        Truth product = ~Truth();
        for (const auto *term = branch; term != nullptr; term = term->nextTerm)
            product &= truth_of(*term);
        truth |= product;
    }
    return truth;
}

struct Expression
{
    std::string text;
    Truth truth;
};

Expression made_match(fuzz::Input &input)
{
    std::string list = kPatterns[input.below(std::size(kPatterns))];
    if (input.below(2) != 0)
        list += std::string(",") + kPatterns[input.below(std::size(kPatterns))];
    return {(input.below(2) == 0 ? "z MATCH '" : "Z match '") + list + "'", truth_of_match(list)};
}

std::string made_value(fuzz::Input &input, int value, bool has_parameters)
{
    if (has_parameters && input.below(4) == 3)
        return "%" + std::to_string(value + 2);
    static constexpr const char *kEnds[] = {"", ".0", "e0"};
    return std::to_string(value) + kEnds[input.below(3)];
}

Expression made_relation(fuzz::Input &input, bool has_parameters, unsigned field)
{
    static constexpr const char *kOperators[] = {"=", "<>", ">", "<", ">=", "<=", " between "};
    static constexpr const char *kFields[] = {"x", "y", "X", "Y"};
    const unsigned code = input.below(7);
    const int value = static_cast<int>(input.below(5)) - 2;
    const int upper = static_cast<int>(input.below(5)) - 2;
    std::string text = std::string(kFields[field]) + kOperators[code];
    text += made_value(input, value, has_parameters);
    text += code == 6 ? " AND " + made_value(input, upper, has_parameters) : "";
    return {text, truth_of(field % 2 == 0, static_cast<int>(code), value, upper)};
}

Expression made_term(fuzz::Input &input, bool has_parameters)
{
    return input.below(5) == 4 ? made_match(input)
                               : made_relation(input, has_parameters, input.below(4));
}

Expression made_filter(fuzz::Input &input, bool has_parameters, int depth)
{
    Expression sum = {"", {}};
    do {
        Expression product = {"", ~Truth()};
        do {
            const Expression operand = depth > 0 && input.below(3) == 2
                                           ? made_filter(input, has_parameters, depth - 1)
                                           : made_term(input, has_parameters);
            product.text += (product.text.empty() ? "(" : " AND (") + operand.text + ")";
            product.truth &= operand.truth;
        } while (input.below(2) != 0);
        sum.text += (sum.text.empty() ? "" : " OR ") + product.text;
        sum.truth |= product.truth;
    } while (input.below(3) == 2);
    return sum;
}

void check_tree(const Expression &filter, const char *parameters)
{
    KOBASQLExpressionTerm *tree = nullptr;
    if (!KOBAString_parseSQLExpression(&tree, filter.text.c_str(), ',', parameters))
        return; // too many terms
    require(truth_of(tree) == filter.truth);
    KOBAString_freeSQLExpressionTree(tree);
}

bool can_both_be_true(const Expression &one, const Expression &other)
{
    return KOBAString_hasIntersectingFilter(one.text.c_str(), other.text.c_str(), ',',
                                            kParameters) != ZOV_FALSE;
}

void check_filters(fuzz::Input input)
{
    const Expression one = made_filter(input, false, 3);
    const Expression other = made_filter(input, true, 3);
    check_tree(one, nullptr);
    check_tree(other, kParameters);
    require(can_both_be_true(one, other) || (one.truth & other.truth).none());
}

void check_relations(fuzz::Input input)
{
    while (!input.empty()) {
        const Expression one = made_relation(input, false, 0);
        const Expression other = made_relation(input, true, 2);
        require(can_both_be_true(one, other) == (one.truth & other.truth).any());
    }
}

void check_text(const std::string &text)
{
    for (const char *parameters : {static_cast<const char *>(nullptr), "1,a*,,'b'"}) {
        KOBASQLExpressionTerm *tree = nullptr;
        require((KOBAString_parseSQLExpression(&tree, text.c_str(), ',', parameters) != 0) ==
                (tree != nullptr));
        KOBAString_freeSQLExpressionTree(tree);
        KOBAString_hasIntersectingFilter("x > 0 AND y MATCH 'a*'", text.c_str(), ',', parameters);
    }
}

} // namespace

void fuzz::test(Input input)
{
    check_filters(input);
    check_relations(input);
    check_text(input.rest());
}
