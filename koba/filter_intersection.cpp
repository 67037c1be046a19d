#include "koba/Log.hpp"
#include "koba/String.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

namespace {

using Term = KOBASQLExpressionTerm;

/** The values of two terms: the lower and the upper one of each, which differ only in BETWEEN. */
constexpr std::size_t kValueCount = 4;
using Texts = std::array<const char *, kValueCount>;

const char *upper_value_of(const Term &term)
{
    return term.operatorCode == KOBA_SQL_OPERATOR_BETWEEN ? term.upperValue : term.value;
}

bool compares_numbers(const Term &term)
{
    return term.operatorCode >= KOBA_SQL_OPERATOR_EQUAL &&
           term.operatorCode <= KOBA_SQL_OPERATOR_BETWEEN;
}

/** A term whose values are places in a row: each value has an odd one, and between any two, before
 *  and behind them is an even one for all the numbers there. */
struct Relation
{
    int32_t operator_code;
    int lower;
    int upper;
    bool is_exact; /**< else a value may be but the nearest that there is to what was written */

    [[nodiscard]] bool holds_at(int place) const
    {
        switch (operator_code) {
        case KOBA_SQL_OPERATOR_EQUAL:
            return place == lower;
        case KOBA_SQL_OPERATOR_NOT_EQUAL:
            return place != lower || !is_exact;
        case KOBA_SQL_OPERATOR_GREATER:
            return place > lower || (place == lower && !is_exact);
        case KOBA_SQL_OPERATOR_LESS:
            return place < lower || (place == lower && !is_exact);
        case KOBA_SQL_OPERATOR_GREATER_OR_EQUAL:
            return place >= lower;
        case KOBA_SQL_OPERATOR_LESS_OR_EQUAL:
            return place <= lower;
        default:
            return lower <= place && place <= upper;
        }
    }
};

/** Tells whether there is a number, of any kind, for which both terms hold. */
template <class Number>
bool can_both_hold(const Term &t1, const Term &t2, const Texts &texts, Number (*read)(const char *))
{
    std::array<Number, kValueCount> values;
    const int saved_error = errno;
    errno = 0;
    std::transform(texts.begin(), texts.end(), values.begin(), read);
    const bool is_exact = errno != ERANGE;
    errno = saved_error;
    const auto place_of = [&](Number value) {
        const auto is_less = [value](Number other) { return other < value; };
        return 2 * static_cast<int>(std::count_if(values.begin(), values.end(), is_less)) + 1;
    };
    const Relation first = {t1.operatorCode, place_of(values[0]), place_of(values[1]), is_exact};
    const Relation second = {t2.operatorCode, place_of(values[2]), place_of(values[3]), is_exact};
    for (int place = 0; place <= static_cast<int>(2 * kValueCount); ++place)
        if (first.holds_at(place) && second.holds_at(place))
            return true;
    return false;
}

// What a list has beyond the longest element that can be looked at is not known to meet nothing.
bool has_short_elements(const char *list)
{
    constexpr int32_t kLongest = 255;
    int32_t length = 0;
    while (list != nullptr && length <= kLongest)
        list = KOBAString_getToken(&length, list, ',');
    return length <= kLongest;
}

bool can_both_match(const Term &t1, const Term &t2)
{
    const uint32_t flags = KOBA_STRING_FNMATCH_NOESCAPE | KOBA_STRING_FNMATCH_PATHNAME;
    return KOBAString_hasIntersectingPattern(t1.value, t2.value, ',', &flags) != ZOV_FALSE ||
           !has_short_elements(t1.value) || !has_short_elements(t2.value);
}

bool exclude_each_other(const Term &t1, const Term &t2)
{
    if (KOBAString_iCompare(t1.field, t2.field) != 0)
        return false;
    if (t1.operatorCode == KOBA_SQL_OPERATOR_MATCH && t2.operatorCode == KOBA_SQL_OPERATOR_MATCH)
        return !can_both_match(t1, t2);
    return KOBAString_isSQLNumericRelationshipIntersect(&t1, &t2) == ZOV_FALSE;
}

bool are_disjoint(const Term *branch1, const Term *branch2)
{
    for (const Term *t1 = branch1; t1 != nullptr; t1 = t1->nextTerm)
        for (const Term *t2 = branch2; t2 != nullptr; t2 = t2->nextTerm)
            if (exclude_each_other(*t1, *t2))
                return true;
    return false;
}

class Filter
{
public:
    Filter() = default;
    ~Filter() { KOBAString_freeSQLExpressionTree(m_tree); }
    Filter(const Filter &) = delete;
    Filter &operator=(const Filter &) = delete;

    bool parse(const char *text, char delim, const char *params)
    {
        return KOBAString_parseSQLExpression(&m_tree, text, delim, params) != ZOV_FALSE;
    }

    [[nodiscard]] bool is_disjoint_from(const Filter &other) const
    {
        for (const Term *mine = m_tree; mine != nullptr; mine = mine->nextBranch)
            for (const Term *theirs = other.m_tree; theirs != nullptr; theirs = theirs->nextBranch)
                if (!are_disjoint(mine, theirs))
                    return false;
        return true;
    }

private:
    Term *m_tree = nullptr;
};

} // namespace

ZOVBool KOBAString_isSQLNumericRelationshipIntersect(const struct KOBASQLExpressionTerm *t1,
                                                     const struct KOBASQLExpressionTerm *t2)
{
    const Texts texts = {t1->value, upper_value_of(*t1), t2->value, upper_value_of(*t2)};
    ZOVBool is_real = ZOV_FALSE;
    for (const char *text : texts)
        if (!KOBAString_isNumeric(text, &is_real))
            return ZOV_TRUE;
    if (!compares_numbers(*t1) || !compares_numbers(*t2)) {
        // Kept: the context names another operation.
        KOBA_LOG_AS(Exception, kSubmoduleString, "KOBAString_hasPatternsOnly",
                    ZOV_LOG_ANY_FAILURE_s,
                    is_real ? "FloatingPoint Comparison Intersection Logic Error"
                            : "Integer Comparison Intersection Logic Error");
        return ZOV_TRUE;
    }
    const bool can_hold =
        is_real ? can_both_hold<double>(*t1, *t2, texts,
                                        [](const char *text) { return std::strtod(text, nullptr); })
                : can_both_hold<long long>(*t1, *t2, texts, [](const char *text) {
                      return std::strtoll(text, nullptr, 10);
                  });
    return can_hold ? ZOV_TRUE : ZOV_FALSE;
}

ZOVBool KOBAString_hasIntersectingFilter(const char *f1, const char *f2, char delim,
                                         const char *params)
{
    Filter first;
    Filter second;
    if (!first.parse(f1, delim, nullptr) || !second.parse(f2, delim, params))
        return ZOV_TRUE;
    return first.is_disjoint_from(second) ? ZOV_FALSE : ZOV_TRUE;
}
