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
        if (member == '\0')
            return -1;
        if (member == separator(flags) && (flags & 0x02) != 0)
            return 0;
        if (p[0] == '-' && p[1] != ']' && p[1] != '\0') {
            ++p;
            const char upper = read();
            if (upper == '\0')
                return -1;
            if (fold(member, flags) <= fold(c, flags) && fold(c, flags) <= fold(upper, flags))
                matched = true;
        } else if (fold(member, flags) == fold(c, flags)) {
            matched = true;
        }
    } while (*p != ']');
    *next = p + 1;
    return matched != negated ? 1 : 0;
}

inline int32_t fnmatch(const char *pattern, const char *s, uint32_t flags)
{
    const char *const start = s;
    const char sep = separator(flags);
    const bool is_path = (flags & 0x02) != 0;
    const auto leading_period = [&] {
        return (flags & 0x04) != 0 && *s == '.' && (s == start || (is_path && s[-1] == '/'));
    };
    const auto barred = [&] { return *s == '\0' || (is_path && *s == sep) || leading_period(); };
    for (;; ++s) {
        char c = *pattern++;
        if (c == '\0')
            return *s == '\0' || ((flags & 0x08) != 0 && *s == sep) ? 0 : 1;
        if (c == '*') {
            while (*pattern == '*')
                ++pattern;
            if (leading_period())
                return 1;
            if (*pattern == '\0')
                return !is_path || (flags & 0x08) != 0 || std::strchr(s, sep) == nullptr ? 0 : 1;
            while (*pattern != sep || !is_path) {
                if (fnmatch(pattern, s, flags & ~0x04u) == 0)
                    return 0;
                if (*s == '\0' || (is_path && *s == sep))
                    return 1;
                ++s;
            }
            s = std::strchr(s, sep);
            if (s == nullptr)
                return 1;
            c = *pattern++;
        } else if (c == '?' || c == '[') {
            if (barred())
                return 1;
            const int32_t result = c == '?' ? 1 : rangematch(pattern, *s, flags, &pattern);
            if (result == 0)
                return 1;
            if (result == 1)
                continue;
        } else if (c == '\\' && (flags & 0x01) == 0 && *pattern != '\0') {
            c = *pattern++;
        }
        if (fold(c, flags) != fold(*s, flags))
            return 1;
    }
}

} // namespace test::reference

#endif
