// Any text is parsed or refused, and nothing of it is left. Filters that are made from the input
// mean what their truth at the points of a small domain says, and exclude each other only when no
// point satisfies both. Patterns exclude each other only when no short text matches both.
#include "koba/Log.h"
#include "koba/String.h"
#include "osapi/heap.h"

#include <bitset>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

class Bytes
{
public:
    Bytes(const uint8_t *data, std::size_t size) : m_next(data), m_end(data + size) {}

    /** A number below the limit; 0 behind the end. */
    unsigned below(unsigned limit) { return m_next != m_end ? *m_next++ % limit : 0; }

private:
    const uint8_t *m_next;
    const uint8_t *m_end;
};

// The fields x and y have the values -2, -1.5 ... 2.
constexpr std::size_t kSteps = 9;
using Truth = std::bitset<kSteps * kSteps>;

Truth truth_of(bool is_x, unsigned code, double value, double upper)
{
    Truth truth;
    for (std::size_t point = 0; point < truth.size(); ++point) {
        const double at = static_cast<double>(is_x ? point % kSteps : point / kSteps) / 2 - 2;
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

Truth truth_of(const KOBASQLExpressionTerm *tree)
{
    Truth truth;
    for (const auto *branch = tree; branch != nullptr; branch = branch->nextBranch) {
        Truth product = ~Truth();
        for (const auto *term = branch; term != nullptr; term = term->nextTerm)
            product &= truth_of(*term->field == 'x', static_cast<unsigned>(term->operatorCode),
                                std::strtod(term->value, nullptr),
                                std::strtod(term->upperValue ? term->upperValue : "", nullptr));
        truth |= product;
    }
    return truth;
}

struct Expression
{
    std::string text;
    Truth truth;
};

Expression made_term(Bytes &bytes)
{
    static const char *const kOperators[] = {"=", "<>", ">", "<", ">=", "<=", " between "};
    const bool is_x = bytes.below(2) == 0;
    const unsigned code = bytes.below(7);
    const int value = static_cast<int>(bytes.below(5)) - 2;
    const int upper = static_cast<int>(bytes.below(5)) - 2;
    std::string text = (is_x ? "x" : "y") + std::string(kOperators[code]) + std::to_string(value);
    text += bytes.below(2) == 0 ? "" : ".0";
    text += code == 6 ? " AND " + std::to_string(upper) : "";
    return {text, truth_of(is_x, code, value, upper)};
}

Expression made_filter(Bytes &bytes, int depth)
{
    Expression sum = {"", {}};
    do {
        Expression product = {"", ~Truth()};
        do {
            Expression operand =
                depth > 0 && bytes.below(3) == 0 ? made_filter(bytes, depth - 1) : made_term(bytes);
            product.text += (product.text.empty() ? "(" : " AND (") + operand.text + ")";
            product.truth &= operand.truth;
        } while (bytes.below(2) != 0);
        sum.text += (sum.text.empty() ? "" : " OR ") + product.text;
        sum.truth |= product.truth;
    } while (bytes.below(3) != 0);
    return sum;
}

void check_filters(Bytes bytes)
{
    const Expression filters[] = {made_filter(bytes, 3), made_filter(bytes, 3)};
    for (const Expression &filter : filters) {
        KOBASQLExpressionTerm *tree = nullptr;
        if (!KOBAString_parseSQLExpression(&tree, filter.text.c_str(), ',', nullptr))
            continue; // too many terms
        require(truth_of(tree) == filter.truth);
        KOBAString_freeSQLExpressionTree(tree);
    }
    if (!KOBAString_hasIntersectingFilter(filters[0].text.c_str(), filters[1].text.c_str(), ',',
                                          nullptr))
        require((filters[0].truth & filters[1].truth).none());
}

std::string made_pattern(Bytes &bytes)
{
    static constexpr char kCharacters[] = "ab/.*?[]!^-\\";
    std::string pattern;
    for (unsigned length = bytes.below(10); length > 0; --length)
        pattern += kCharacters[bytes.below(sizeof kCharacters - 1)];
    return pattern;
}

/** What does not meet although a text matches both: several stars left over, and `?` and some sets.
 */
bool is_excepted(const std::string &one, const std::string &other)
{
    return one.ends_with("**") || (one.find('?') != one.npos && other.find('[') != other.npos);
}

void check_patterns(Bytes bytes)
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> all = {""};
        for (std::size_t i = 0; all[i].size() < 4; ++i)
            for (const char c : {'a', 'b', '/', '.', '*', '['})
                all.push_back(all[i] + c);
        return all;
    }();
    const uint32_t flags = bytes.below(64);
    const std::string p1 = made_pattern(bytes);
    const std::string p2 = made_pattern(bytes);
    const int32_t result = KOBAString_isCommonPattern(p1.c_str(), p2.c_str(), &flags);
    require(KOBAString_isCommonPattern(p2.c_str(), p1.c_str(), &flags) == result);
    if (result == 0 || is_excepted(p1, p2) || is_excepted(p2, p1))
        return;
    // The separator separates without PATHNAME, too, and does not change; LEADING_DIR is ignored.
    uint32_t meant = (flags | KOBA_STRING_FNMATCH_PATHNAME) & ~KOBA_STRING_FNMATCH_LEADING_DIR;
    if ((flags & 0x26) != 0x22)
        meant &= ~KOBA_STRING_FNMATCH_DOT_SEPARATOR;
    for (const std::string &text : texts)
        require(KOBAString_fnmatch(p1.c_str(), text.c_str(), meant) != 0 ||
                KOBAString_fnmatch(p2.c_str(), text.c_str(), meant) != 0);
}

void check_text(const std::string &text)
{
    for (const char *params : {static_cast<const char *>(nullptr), "1,a*,,'b'"}) {
        KOBASQLExpressionTerm *tree = nullptr;
        if (KOBAString_parseSQLExpression(&tree, text.c_str(), ',', params))
            require(tree != nullptr);
        else
            require(tree == nullptr);
        KOBAString_freeSQLExpressionTree(tree);
        KOBAString_hasIntersectingFilter("x > 0 AND y MATCH 'a*'", text.c_str(), ',', params);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    KOBALog_setBitmaps(0, 0);
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    check_text(std::string(reinterpret_cast<const char *>(data), size));
    check_filters({data, size});
    check_patterns({data, size});
    require(ZOVOsapiHeap_g_allocCount == blocks);
    return 0;
}
