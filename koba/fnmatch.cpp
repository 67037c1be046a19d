#include "koba/pattern.hpp"

#include <cstring>

using namespace koba::pattern;

namespace {

/** Matched by itself alone. A backslash may be, too. */
constexpr bool is_plain(char c)
{
    return c != '\0' && c != '*' && c != '?' && c != '[' && c != '\\';
}

/** What wildcards do not take; NUL when there is no such character. */
constexpr char boundary_of(uint32_t flags)
{
    return (flags & kPathName) != 0 ? separator(flags) : '\0';
}

/**
 * A match under way.
 *
 * Every element of a pattern but a star takes one character. So when the rest of the pattern does
 * not fit, only the star that was met last need take more: whatever could be won by an earlier one
 * can be had from this one.
 */
class Match
{
public:
    Match(const char *pattern, const char *s, uint32_t flags)
        : m_pattern(pattern), m_s(s), m_start(s)
    {
        set_flags(flags);
    }

    bool run()
    {
        for (;;) {
            while (is_plain(*m_pattern) && equal(*m_pattern, *m_s, m_flags)) {
                ++m_pattern;
                ++m_s;
            }
            const Step step = take_element();
            if (step == Step::Succeed)
                return true;
            if (step == Step::Fail && !extend(m_last) && !extend(m_first))
                return false;
        }
    }

private:
    enum class Step { GoOn, Fail, Succeed };

    struct Star
    {
        const char *rest = nullptr; /**< of the pattern; null when there is no such star */
        const char *s = nullptr;    /**< behind what it takes */
        char boundary = '\0';       /**< what it does not take, beside the end */
    };

    static Step succeed_if(bool matches) { return matches ? Step::Succeed : Step::Fail; }

    void set_flags(uint32_t flags)
    {
        m_flags = flags;
        m_boundary = boundary_of(flags);
    }

    [[nodiscard]] bool is_leading_period() const
    {
        return *m_s == '.' && (m_flags & kPeriod) != 0 &&
               (m_s == m_start || ((m_flags & kPathName) != 0 && m_s[-1] == '/'));
    }

    /** Whether wildcards do not take the character. */
    [[nodiscard]] bool is_barred() const
    {
        return *m_s == '\0' || *m_s == m_boundary || is_leading_period();
    }

    Step take_element()
    {
        switch (*m_pattern) {
        case '\0':
            return take_end();
        case '*':
            return take_star();
        case '?':
            return take_character(!is_barred(), m_pattern + 1);
        case '[':
            return take_brackets();
        case '\\':
            if ((m_flags & kNoEscape) == 0 && m_pattern[1] != '\0')
                return take_character(equal(m_pattern[1], *m_s, m_flags), m_pattern + 2);
            [[fallthrough]];
        default:
            return take_character(equal(*m_pattern, *m_s, m_flags), m_pattern + 1);
        }
    }

    Step take_character(bool matches, const char *rest)
    {
        if (!matches)
            return Step::Fail;
        m_pattern = rest;
        ++m_s;
        return Step::GoOn;
    }

    [[nodiscard]] Step take_end() const
    {
        return succeed_if(*m_s == '\0' ||
                          ((m_flags & kLeadingDirectory) != 0 && *m_s == separator(m_flags)));
    }

    Step take_brackets()
    {
        if (is_barred())
            return Step::Fail;
        const char *rest = m_pattern + 1;
        const int32_t result = KOBAString_rangematch(rest, *m_s, m_flags, &rest);
        return take_character(result < 0 ? *m_s == '[' : result > 0, rest);
    }

    Step take_star()
    {
        while (*m_pattern == '*')
            ++m_pattern;
        m_last = {};
        finish_segment(m_first);
        if (is_leading_period())
            return Step::Fail;
        if (*m_pattern == '\0')
            return succeed_if(m_boundary == '\0' || (m_flags & kLeadingDirectory) != 0 ||
                              std::strchr(m_s, m_boundary) == nullptr);
        if (*m_pattern == m_boundary) {
            m_s = std::strchr(m_s, m_boundary);
            return m_s != nullptr ? Step::GoOn : Step::Fail;
        }
        const Star star = {.rest = m_pattern, .s = m_s, .boundary = m_boundary};
        set_flags(m_flags & ~kPeriod);
        Star &saved = m_boundary == star.boundary ? m_last : m_first;
        saved = star;
        go_on_behind(saved);
        return Step::GoOn;
    }

    /** Lets a star take one character more, or tells that it cannot. */
    bool extend(Star &star)
    {
        if (star.rest == nullptr || *star.s == '\0' || *star.s == star.boundary)
            return false;
        ++star.s;
        go_on_behind(star);
        return true;
    }

    /** Lets a star take what the rest of the pattern cannot begin with, and goes on there. */
    void go_on_behind(Star &star)
    {
        const char first = *star.rest;
        const bool is_folded = (m_flags & kCaseFold) != 0;
        if (is_plain(first) && star.boundary == '\0' && !is_folded)
            star.s = strchrnul(star.s, first);
        else if (is_plain(first))
            while (*star.s != '\0' && *star.s != star.boundary && !equal(first, *star.s, m_flags))
                ++star.s;
        m_s = star.s;
        m_pattern = star.rest;
    }

    /** Lets the first star take what is left of the segment: a later star has tried all of it. */
    void finish_segment(Star &star) const
    {
        if (star.rest == nullptr)
            return;
        while (*star.s != '\0' && *star.s != star.boundary && *star.s != m_boundary)
            ++star.s;
    }

    const char *m_pattern;
    const char *m_s;
    const char *m_start;
    uint32_t m_flags = 0;
    char m_boundary = '\0';
    Star m_last;
    // The first star ends PERIOD, and that may turn the separator into a period. Then this star is
    // bounded by `/` and those behind it by `.`: it can reach segments that they cannot.
    Star m_first;
};

int fold(char c, uint32_t flags)
{
    return (flags & kCaseFold) != 0 ? koba::to_lower(c) : static_cast<signed char>(c);
}

/** A member of a bracket expression, or NUL where the text ends in the midst of it. */
struct Member
{
    char c;
    const char *end; /**< behind the member */
};

Member read_member(const char *p, uint32_t flags)
{
    if (*p == '\\' && (flags & kNoEscape) == 0)
        ++p;
    return {.c = *p, .end = p + 1};
}

} // namespace

int32_t KOBAString_fnmatch(const char *pattern, const char *s, uint32_t flags)
{
    return Match(pattern, s, flags).run() ? 0 : 1;
}

int32_t KOBAString_rangematch(const char *p, char c, uint32_t flags, const char **next)
{
    const bool is_negated = *p == '!' || *p == '^';
    if (is_negated)
        ++p;
    const char boundary = boundary_of(flags);
    const int test = fold(c, flags);
    bool is_member = false;
    do {
        const Member lower = read_member(p, flags);
        if (lower.c == '\0')
            return -1;
        if (lower.c == boundary)
            return 0;
        Member upper = lower;
        if (lower.end[0] == '-' && lower.end[1] != ']')
            upper = read_member(lower.end + 1, flags);
        if (upper.c == '\0')
            return -1;
        is_member |= fold(lower.c, flags) <= test && test <= fold(upper.c, flags);
        p = upper.end;
    } while (*p != ']');
    *next = p + 1;
    return is_member != is_negated ? 1 : 0;
}
