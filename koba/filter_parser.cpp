#include "koba/Log.hpp"
#include "koba/String.h"
#include "osapi/heap.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

namespace {

using Term = KOBASQLExpressionTerm;
using std::string_view;

constexpr std::size_t kMaxNesting = 32;
// Each pair of parentheses may multiply the branches: a short text could ask for all memory.
constexpr std::size_t kMaxTerms = 4096;

constexpr char kSpace[] = " \t\n\v\f\r";
constexpr char kSymbols[] = "=<>!";
constexpr char kNameEnd[] = " \t\n\v\f\r()'=<>!";
constexpr char kValueEnd[] = " \t\n\v\f\r()'=<>"; // a pattern may have a `!`

constexpr char kPartialTerm[] = "syntax error partial term";
constexpr char kTooComplex[] = "parenthesis complexity exceeded for match";
constexpr char kUnmatched[] = "unmatched parenthesis";
constexpr char kNotUnsupported[] = "NOT connector unsupported";

bool fail(const char *reason)
{
    KOBA_LOG_AS(Exception, kSubmoduleString, "KOBAString_parseSQLExpression", ZOV_LOG_ANY_FAILURE_s,
                reason);
    return false;
}

bool new_term(Term **out)
{
    return ZOVOsapiHeap_allocateBufferAligned(out, sizeof(Term), alignof(Term)) != nullptr;
}

void free_term(Term *term)
{
    if (!term->textIsBorrowed) {
        ZOVOsapiHeap_freeString(term->field);
        ZOVOsapiHeap_freeString(term->value);
        ZOVOsapiHeap_freeString(term->upperValue);
    }
    ZOVOsapiHeap_freeBufferAligned(term);
}

bool copy_text(char **out, string_view text)
{
    if (ZOVOsapiHeap_allocateString(out, text.size()) == nullptr)
        return false;
    std::ranges::copy(text, *out);
    return true;
}

Term **end_of_branch(Term *branch)
{
    Term **link = &branch->nextTerm;
    while (*link != nullptr)
        link = &(*link)->nextTerm;
    return link;
}

/** Copies the terms of a branch to where a link is: after a failure, some of them. */
bool copy_branch(Term **link, const Term *branch)
{
    for (; branch != nullptr; branch = branch->nextTerm) {
        if (!new_term(link))
            return false;
        Term *copy = *link;
        *copy = *branch;
        copy->textIsBorrowed = ZOV_TRUE;
        copy->nextTerm = nullptr;
        copy->nextBranch = nullptr;
        link = &copy->nextTerm;
    }
    return true;
}

/** Branches joined by OR; owns them. */
class Branches
{
public:
    Branches() = default;
    Branches(Branches &&other) noexcept : m_first(other.release()) {}
    Branches &operator=(Branches &&other) noexcept
    {
        KOBAString_freeSQLExpressionTree(std::exchange(m_first, other.release()));
        return *this;
    }
    ~Branches() { KOBAString_freeSQLExpressionTree(m_first); }

    [[nodiscard]] bool is_empty() const { return m_first == nullptr; }
    [[nodiscard]] Term **address() { return &m_first; }
    [[nodiscard]] Term *release() { return std::exchange(m_first, nullptr); }

    /** Joins others by OR. */
    bool add(Branches other)
    {
        if (size().terms + other.size().terms > kMaxTerms)
            return fail(kTooComplex);
        append(std::move(other));
        return true;
    }

    /** Joins others by AND: each branch with each of the others. */
    bool multiply(Branches factors)
    {
        if (is_empty() || factors.is_empty())
            return fail("attempt to clone empty branch");
        const Size left = size();
        const Size right = factors.size();
        if (left.terms * right.branches + right.terms * left.branches > kMaxTerms)
            return fail(kTooComplex);
        Branches product;
        for (std::size_t number = 1; number <= right.branches; ++number) {
            Branches block;
            if (number == right.branches)
                block = std::move(*this);
            else if (!block.copy(*this))
                return false;
            if (!block.multiply_by(factors.take_first()))
                return false;
            product.append(std::move(block));
        }
        *this = std::move(product);
        return true;
    }

private:
    struct Size
    {
        std::size_t branches = 0;
        std::size_t terms = 0;
    };

    [[nodiscard]] Size size() const
    {
        Size size;
        for (const Term *branch = m_first; branch != nullptr; branch = branch->nextBranch) {
            ++size.branches;
            for (const Term *term = branch; term != nullptr; term = term->nextTerm)
                ++size.terms;
        }
        return size;
    }

    void append(Branches other)
    {
        Term **link = &m_first;
        while (*link != nullptr)
            link = &(*link)->nextBranch;
        *link = other.release();
    }

    [[nodiscard]] Term *take_first()
    {
        return std::exchange(m_first, std::exchange(m_first->nextBranch, nullptr));
    }

    bool copy(const Branches &other)
    {
        Term **link = &m_first;
        for (const Term *branch = other.m_first; branch != nullptr; branch = branch->nextBranch) {
            if (!copy_branch(link, branch))
                return false;
            link = &(*link)->nextBranch;
        }
        return true;
    }

    /** The first branch takes the factor over, and the others get copies. */
    bool multiply_by(Term *factor)
    {
        *end_of_branch(m_first) = factor;
        for (Term *branch = m_first->nextBranch; branch != nullptr; branch = branch->nextBranch)
            if (!copy_branch(end_of_branch(branch), factor))
                return false;
        return true;
    }

    Term *m_first = nullptr;
};

/** The operand of an operator, as it was written. */
struct Value
{
    string_view text;
    bool is_quoted = false;

    bool copy_to(char **out) const { return copy_text(out, text); }

    bool copy_list_to(char **out) const
    {
        if (!is_quoted)
            return copy_to(out);
        const string_view list(text.data() + 1, text.size() - 2);
        if (!copy_text(out, list))
            return false;
        char *end = *out;
        for (std::size_t i = 0; i < list.size(); ++i) {
            *end++ = list[i];
            if (list[i] == '\'')
                ++i; // the second of two
        }
        *end = '\0';
        return true;
    }
};

struct WrittenTerm
{
    string_view field;
    int32_t operator_code = 0;
    Value value;
    Value upper; /**< empty unless the operator is BETWEEN */

    bool copy_to(Term **out) const
    {
        if (!new_term(out))
            return false;
        Term *term = *out;
        term->operatorCode = operator_code;
        if (!copy_text(&term->field, field))
            return false;
        if (operator_code == KOBA_SQL_OPERATOR_MATCH)
            return value.copy_list_to(&term->value);
        return value.copy_to(&term->value) &&
               (upper.text.empty() || upper.copy_to(&term->upperValue));
    }
};

class Parser
{
public:
    Parser(const char *text, char delim, const char *params)
        : m_text(text), m_delim(delim), m_params(params)
    {
    }

    bool parse(Term **tree)
    {
        while (!m_is_done)
            if (!read_operand() || !read_connector())
                return false;
        *tree = m_groups[0].sum.release();
        return true;
    }

private:
    /** What an open parenthesis, or the whole text, has been read to so far. */
    struct Group
    {
        Branches sum;     /**< of the operands of OR that are complete */
        Branches product; /**< of the operands of AND, as far as they were read */
        bool is_and = false;
    };

    char skip_space()
    {
        m_text += std::strspn(m_text, kSpace);
        return *m_text;
    }

    bool take_keyword(string_view keyword)
    {
        const auto length = static_cast<uint32_t>(keyword.size());
        if (KOBAString_inCompare(m_text, keyword.data(), length) != 0)
            return false;
        const char next = m_text[length];
        if (next == '\0' || (next != '(' && std::strchr(kSpace, next) == nullptr))
            return false;
        m_text += length;
        return true;
    }

    /** Takes what is before the first of these characters. */
    string_view take_until(const char *ends)
    {
        const string_view taken(m_text, std::strcspn(m_text, ends));
        m_text += taken.size();
        return taken;
    }

    bool read_operand()
    {
        bool is_opened = false;
        for (; skip_space() == '('; ++m_text) {
            if (!open_group())
                return false;
            is_opened = true;
        }
        if (is_opened && *m_text == ')')
            return true; // no operand, which matters only when it is joined with another one
        if (take_keyword("NOT"))
            return fail(kNotUnsupported);
        WrittenTerm written;
        Branches term;
        return read_term(&written) && written.copy_to(term.address()) && join(std::move(term));
    }

    bool read_connector()
    {
        for (; skip_space() == ')'; ++m_text)
            if (!close_group())
                return false;
        if (*m_text == '\0')
            return finish();
        if (take_keyword("AND")) {
            group().is_and = true;
            return true;
        }
        if (take_keyword("OR"))
            return add_product();
        if (take_keyword("NOT"))
            return fail(kNotUnsupported);
        if (is_at_verb())
            return fail("no match for connector verb");
        return fail(m_is_behind_between ? "syntax error following BETWEEN expression"
                                        : "syntax error following expression");
    }

    /** Whether there is a word that cannot be but a connector: it has an operand behind it. */
    [[nodiscard]] bool is_at_verb() const
    {
        const std::size_t length = std::strcspn(m_text, kNameEnd);
        if (length == 0 || (*m_text >= '0' && *m_text <= '9'))
            return false;
        const char *behind = m_text + length;
        behind += std::strspn(behind, kSpace);
        return *behind == '(' || std::strcspn(behind, kNameEnd) > 0;
    }

    Group &group() { return m_groups[m_depth]; }

    bool open_group()
    {
        if (m_depth == kMaxNesting)
            return fail(kTooComplex);
        ++m_depth;
        return true;
    }

    bool close_group()
    {
        if (m_depth == 0)
            return fail(kUnmatched);
        const bool is_empty = group().sum.is_empty() && group().product.is_empty();
        if (!is_empty && !add_product())
            return false;
        Branches sum = std::move(group().sum);
        --m_depth;
        m_is_behind_between = false;
        return join(std::move(sum));
    }

    bool finish()
    {
        if (m_depth > 0)
            return fail(kUnmatched);
        m_is_done = true;
        return add_product();
    }

    bool join(Branches operand)
    {
        if (std::exchange(group().is_and, false))
            return group().product.multiply(std::move(operand));
        group().product = std::move(operand);
        return true;
    }

    bool add_product()
    {
        if (group().product.is_empty())
            return fail(kPartialTerm);
        return group().sum.add(std::move(group().product));
    }

    bool read_term(WrittenTerm *term)
    {
        term->field = take_until(kNameEnd);
        const char next = skip_space();
        if (term->field.empty() || next == '\0' || std::strchr("()'", next) != nullptr)
            return fail(kPartialTerm);
        if (!read_operator(&term->operator_code) || !read_value(&term->value))
            return false;
        m_is_behind_between = term->operator_code == KOBA_SQL_OPERATOR_BETWEEN;
        return !m_is_behind_between || read_upper_value(&term->upper);
    }

    bool read_operator(int32_t *code)
    {
        static constexpr string_view kOperators[] = {"=", "<>", ">", "<", ">=", "<="};
        static constexpr string_view kBetween = "BETWEEN";
        const string_view symbols(m_text, std::strspn(m_text, kSymbols));
        m_text += symbols.size();
        for (const string_view &candidate : kOperators)
            if (symbols == candidate) {
                *code = static_cast<int32_t>(&candidate - std::begin(kOperators));
                return true;
            }
        if (!symbols.empty())
            return fail("syntax error no match for opcode");
        if (KOBAString_inCompare(m_text, kBetween.data(), kBetween.size()) == 0) {
            m_text += kBetween.size();
            *code = KOBA_SQL_OPERATOR_BETWEEN;
            return true;
        }
        *code = KOBA_SQL_OPERATOR_MATCH;
        return take_keyword("MATCH") || fail("syntax error no match for opcode");
    }

    bool read_upper_value(Value *upper)
    {
        skip_space();
        if (!take_keyword("AND"))
            return fail("syntax error missing AND from BETWEEN range");
        return read_value(upper);
    }

    bool read_value(Value *value)
    {
        value->is_quoted = skip_space() == '\'';
        if (value->is_quoted)
            return read_quoted(&value->text);
        value->text = take_until(kValueEnd);
        if (value->text.starts_with('%') && !read_parameter(&value->text))
            return false;
        return !value->text.empty() || fail("syntax error missing operand");
    }

    /** Reads a text in quotes, with them. */
    bool read_quoted(string_view *text)
    {
        const char *const start = m_text;
        do {
            m_text = std::strchr(m_text + 1, '\'');
            if (m_text == nullptr)
                return fail(kPartialTerm);
            ++m_text;
        } while (*m_text == '\'');
        *text = {start, m_text};
        return true;
    }

    /** Puts a parameter in the place of its number; another text stays as it is. */
    bool read_parameter(string_view *text) const
    {
        const string_view digits(text->data() + 1, text->size() - 1);
        if (digits.empty() || digits.find_first_not_of("0123456789") != digits.npos)
            return true;
        if (m_params == nullptr)
            return fail("publisher filter does not support parameters");
        uint32_t left = UINT32_MAX; // no list is as long as a number that does not fit
        std::from_chars(digits.begin(), digits.end(), left);
        const char *next = m_params;
        for (; next != nullptr && *next != '\0'; --left) {
            const char *const parameter = next;
            int32_t length = 0;
            next = KOBAString_getToken(&length, parameter, m_delim);
            if (left == 0) {
                *text = {parameter, static_cast<std::size_t>(length)};
                return true;
            }
        }
        return fail("parameter index exceeds number of parameters");
    }

    const char *m_text;
    char m_delim;
    const char *m_params;
    bool m_is_done = false;
    bool m_is_behind_between = false;
    std::size_t m_depth = 0;
    std::array<Group, kMaxNesting + 1> m_groups;
};

} // namespace

ZOVBool KOBAString_parseSQLExpression(struct KOBASQLExpressionTerm **tree, const char *text,
                                      char delim, const char *params)
{
    return Parser(text, delim, params).parse(tree) ? ZOV_TRUE : ZOV_FALSE;
}

void KOBAString_freeSQLExpressionTree(struct KOBASQLExpressionTerm *tree)
{
    for (Term *branch = tree; branch != nullptr;) {
        Term *const next_branch = branch->nextBranch;
        for (Term *term = branch; term != nullptr;)
            free_term(std::exchange(term, term->nextTerm));
        branch = next_branch;
    }
}
