/**
 * Shell-style wildcard patterns: `*`, `?`, bracket expressions and backslash escapes.
 *
 * Characters are signed bytes, folded by the C locale's table. No operation allocates, keeps state
 * or calls itself: where all brackets are closed, a match takes time in proportion to the pattern
 * times the text, at worst.
 *
 *     if (KOBAString_fnmatch("src/[a-m]*.idl", path, KOBA_STRING_FNMATCH_PATHNAME) == 0)
 *         generate(path);
 */
#ifndef WOLKCORE_KOBA_FNMATCH_H
#define WOLKCORE_KOBA_FNMATCH_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** A backslash is an ordinary character. */
#define KOBA_STRING_FNMATCH_NOESCAPE 0x01u
/** Stars, question marks and brackets never match the separator, a slash. */
#define KOBA_STRING_FNMATCH_PATHNAME 0x02u
/** A leading period (of the text, or with PATHNAME of a segment) is matched by a period only. */
#define KOBA_STRING_FNMATCH_PERIOD 0x04u
/** A pattern that ends where the text goes on with the separator has matched. */
#define KOBA_STRING_FNMATCH_LEADING_DIR 0x08u
/** Characters that fold to the same lower-case character are equal. */
#define KOBA_STRING_FNMATCH_CASEFOLD 0x10u
/** With PATHNAME and without PERIOD: the separator is a period, not a slash. */
#define KOBA_STRING_FNMATCH_DOT_SEPARATOR 0x20u

/**
 * Matches a whole text against a pattern.
 *
 * Behind the first `*` that does not end its segment, PERIOD no longer holds. A bracket expression
 * without its `]` is ordinary text.
 *
 * @return 0 when it matches, else 1.
 */
int32_t KOBAString_fnmatch(const char *pattern, const char *s, uint32_t flags) ZOV_NONNULL();

/**
 * Matches a character against a bracket expression.
 *
 * @param p    the text just behind the `[`. A first `!` or `^` negates; a first `]` is a member.
 * @param next set behind the `]` when the expression was read to its end.
 *
 * @return 1 when the character matches, 0 when it does not or when PATHNAME finds the separator
 * among the members, -1 for an expression without an end.
 */
int32_t KOBAString_rangematch(const char *p, char c, uint32_t flags, const char **next)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
