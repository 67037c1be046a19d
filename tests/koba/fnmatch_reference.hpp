/** Wildcard matching as its definition reads: the rest behind a star is a match of its own. */
#ifndef TESTS_KOBA_FNMATCH_REFERENCE_HPP
#define TESTS_KOBA_FNMATCH_REFERENCE_HPP

#include <cctype>
#include <cstdint>
#include <cstring>

namespace test::reference {

inline char separator(uint32_t flags)
{
    return (flags & 0x26) == 0x22 ? '.' : '/';
}

/** Signed, and folded as in the C locale, in which tests run. */
inline int fold(char c, uint32_t flags)
{
    const int value = static_cast<signed char>(c);
    return (flags & 0x10) != 0 && value >= 0 ? std::tolower(value) : value;
}

inline int32_t rangematch(const char *p, char c, uint32_t flags, const char **next)
{
    const auto read = [&] {
        p += *p == '\\' && (flags & 0x01) == 0 ? 1 : 0;
        return *p == '\0' ? '\0' : *p++;
    };
    const bool negated = *p == '!' || *p == '^';
    p += negated ? 1 : 0;
    bool matched = false;
    do {
        const char member = read();
        if (member == separator(flags) && (flags & 0x02) != 0)
            return 0;
        const bool is_range = p[0] == '-' && p[1] != ']' && p[1] != '\0';
        p += is_range ? 1 : 0;
        const char upper = is_range ? read() : member;
        if (member == '\0' || upper == '\0')
            return -1;
        matched |= fold(member, flags) <= fold(c, flags) && fold(c, flags) <= fold(upper, flags);
    } while (*p != ']');
    *next = p + 1;
    return matched != negated ? 1 : 0;
}

/** Whether they match, at the start of the text or behind it. */
inline bool matches(const char *p, const char *s, uint32_t flags, const char *start)
{
    const char sep = separator(flags);
    const bool is_path = (flags & 0x02) != 0;
    const bool is_directory = (flags & 0x08) != 0;
    const bool is_leading_period =
        (flags & 0x04) != 0 && *s == '.' && (s == start || (is_path && s[-1] == '/'));
    const bool is_barred = *s == '\0' || (is_path && *s == sep) || is_leading_period;
    if (*p == '\0')
        return *s == '\0' || (is_directory && *s == sep);
    if (*p == '*') {
        p += std::strspn(p, "*");
        if (is_leading_period)
            return false;
        const char *const segment_end = std::strchr(s, sep);
        if (*p == '\0')
            return !is_path || is_directory || segment_end == nullptr;
        if (*p == sep && is_path)
            return segment_end != nullptr && matches(p, segment_end, flags, start);
        while (!matches(p, s, flags & ~0x04u, s)) {
            if (*s == '\0' || (is_path && *s == sep))
                return false;
            ++s;
        }
        return true;
    }
    if (*p == '?')
        return !is_barred && matches(p + 1, s + 1, flags, start);
    if (*p == '[') {
        const char *next = nullptr;
        const int32_t result = is_barred ? 0 : rangematch(p + 1, *s, flags, &next);
        if (result >= 0)
            return result == 1 && matches(next, s + 1, flags, start);
    }
    p += *p == '\\' && (flags & 0x01) == 0 && p[1] != '\0' ? 1 : 0;
    return fold(*p, flags) == fold(*s, flags) && matches(p + 1, s + 1, flags, start);
}

inline int32_t fnmatch(const char *pattern, const char *s, uint32_t flags)
{
    return matches(pattern, s, flags, s) ? 0 : 1;
}

} // namespace test::reference

#endif
