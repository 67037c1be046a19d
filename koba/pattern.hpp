/** What the operations on patterns share. */
#ifndef WOLKCORE_KOBA_PATTERN_HPP
#define WOLKCORE_KOBA_PATTERN_HPP

#include "koba/String.h"
#include "koba/fold.hpp"

#include <cstdint>

extern "C" {

/** The loop of the operations on two lists; TRUE as soon as the comparison gives 0. */
ZOVBool KOBAString_hasMatchingElementInternal(const char *list1, const char *list2, char delim,
                                              const std::uint32_t *flags,
                                              std::int32_t (*compare)(const char *, const char *,
                                                                      const std::uint32_t *));

/** Compares how the current segments of two patterns end: 0 when they can end alike, else 1. */
std::int32_t KOBAString_matchTokenSuffix(const char *p1, const char *p2, std::uint32_t flags);

/**
 * Tells whether two bracket expressions, given behind their `[`, share a character: positive when
 * they do, 0 when not, negative when one has no end.
 */
std::int32_t KOBAString_rangeIntersect(const char *p1, const char *p2, std::uint32_t flags);
}

namespace koba::pattern {

inline constexpr std::uint32_t kNoEscape = KOBA_STRING_FNMATCH_NOESCAPE;
inline constexpr std::uint32_t kPathName = KOBA_STRING_FNMATCH_PATHNAME;
inline constexpr std::uint32_t kPeriod = KOBA_STRING_FNMATCH_PERIOD;
inline constexpr std::uint32_t kLeadingDirectory = KOBA_STRING_FNMATCH_LEADING_DIR;
inline constexpr std::uint32_t kCaseFold = KOBA_STRING_FNMATCH_CASEFOLD;
inline constexpr std::uint32_t kDotSeparator = KOBA_STRING_FNMATCH_DOT_SEPARATOR;

/** The character that PATHNAME keeps wildcards from matching. */
constexpr char separator(std::uint32_t flags)
{
    return (flags & (kPathName | kPeriod | kDotSeparator)) == (kPathName | kDotSeparator) ? '.'
                                                                                          : '/';
}

/** Equal, also after folding when the flags say so. */
constexpr bool equal(char a, char b, std::uint32_t flags)
{
    return a == b || ((flags & kCaseFold) != 0 && to_lower(a) == to_lower(b));
}

} // namespace koba::pattern

#endif
