/**
 * Operations on NUL-terminated byte strings: comparison, parsing, copies on the heap, tokens,
 * lists of patterns, the closest name, and whether two filters can both be true.
 *
 * Characters are folded by the C locale's table and compared as signed bytes: a byte of 0x80 or
 * above sorts below every ASCII character.
 *
 * A list has at least one element, which may be empty; a delimiter at its end starts no further
 * one. Elements are looked at in scratch buffers of 256 bytes on the stack: one of 256 characters
 * or more matches nothing, and is no pattern.
 *
 * Threads: no operation keeps state between calls.
 *
 *     uint16_t port = 0;
 *     if (!KOBAString_strToUnsignedShort(text, &port))
 *         usage();
 */
#ifndef WOLKCORE_KOBA_STRING_H
#define WOLKCORE_KOBA_STRING_H

#include "koba/fnmatch.h"
#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** The blanks of one level of indentation: 3. */
extern const int32_t KOBA_STRING_INDENT_AMOUNT;

/** strcmp, which takes bytes as unsigned: one of 0x80 or above sorts behind ASCII here. */
int32_t KOBAString_compare(const char *a, const char *b) ZOV_NONNULL();

/**
 * Compares without regard to case.
 *
 * @return the difference of the upper-case characters where the texts first differ or one ends.
 */
int32_t KOBAString_iCompare(const char *a, const char *b) ZOV_NONNULL();

/**
 * Compares at most n characters without regard to case.
 *
 * With the length of `a` as the bound it tells whether `a` is a prefix of `b`. A bound of 0 is no
 * bound at all; an empty `a` differs from every other text, whatever the bound.
 *
 * @return the difference of the upper-case characters at the place where the comparison ended: 0
 * when equal, negative when `a` sorts first.
 */
int32_t KOBAString_inCompare(const char *a, const char *b, uint32_t n) ZOV_NONNULL();

/**
 * Finds a text in another without regard to case.
 *
 * @return the first place in `s`, or null; `s` for a null or empty `sub`; null for a null `s`.
 */
const char *KOBAString_iFindSubString(const char *s, const char *sub);

/**
 * Reads a decimal number at the start of a text; what follows it is ignored. Only its low 32 bits
 * are looked at: 4294967297 gives 1.
 *
 * @return TRUE, or FALSE with the output as it was: no digit, or a value that does not fit.
 */
ZOVBool KOBAString_strToUnsignedShort(const char *s, uint16_t *out) ZOV_NONNULL();
/** The same for 32 bits, all of the number looked at; a minus is an error. */
ZOVBool KOBAString_strToUnsignedLong(const char *s, uint32_t *out) ZOV_NONNULL();
/**
 * Reads a number at the start of a text, hexadecimal behind 0x and octal behind 0; what follows it
 * is ignored. It is cut to 32 bits, which are -1 or 0 for a number beyond 64 bits.
 *
 * @return TRUE, or FALSE with the output as it was: no digit, or a null text.
 */
ZOVBool KOBAString_strToLong(const char *s, int32_t *out) ZOV_NONNULL(2);
/** Reads a truth value, the whole text in any case: 1, yes, true; 0, no, false. FALSE for another.
 */
ZOVBool KOBAString_strToBoolean(const char *s, ZOVBool *out) ZOV_NONNULL();

/**
 * Tells whether a text has only what numbers are made of: digits, at most one sign, period and
 * exponent letter, anywhere. An empty text has. "-1e-5" has not: it has two signs.
 *
 * @param outIsReal may be null; 1 is joined to it by OR when there is a period or an exponent.
 */
ZOVBool KOBAString_isNumeric(const char *s, ZOVBool *outIsReal) ZOV_NONNULL(1);

/** Tells whether a character is white space in the C locale. */
ZOVBool KOBAString_isspace(int c);

/** Cuts white space off the end; the first character stays, whatever it is. */
void KOBAString_trimEnd(char *s) ZOV_NONNULL();

/**
 * Copies a text.
 *
 * Errors: null, with the heap's report.
 * Ownership: the caller's; free it with ZOVOsapiHeap_freeString.
 */
ZOV_MUST_USE char *KOBAString_duplicate(const char *s) ZOV_NONNULL();

/**
 * Makes a heap string a copy of a text that is no part of it; a null text frees it, and makes it
 * null.
 *
 * @return the new string. Null for a null `dst` or `src`.
 *
 * Errors: null, with the heap's report; the old string stays.
 */
char *KOBAString_replace(char **dst, const char *src);

/**
 * Finds the end of the first token.
 *
 * @return the place behind the delimiter; null when the token is the last one.
 */
const char *KOBAString_getToken(int32_t *len, const char *s, char delim) ZOV_NONNULL();

/** The place behind the last delimiter, or null when there is none. */
const char *KOBAString_getLastToken(const char *s, char delim) ZOV_NONNULL();

/** Counts tokens; a delimiter at the end starts no further one. 0 for a null or empty text. */
int32_t KOBAString_getTokenCount(const char *s, char delim);

/** Prints blanks through the log's debug output. */
void KOBAString_printSpace(int32_t n);
/** Prints levels of three blanks through the log's debug output. */
void KOBAString_printIndent(int32_t level);
/** Prints bytes through the log's debug output, as "0x0a0b". */
void KOBAString_printBytes(const void *bytes, int32_t n);

/**
 * Tells whether a text has one of `[`, `*`, `?`, `!` without a backslash that escapes it.
 *
 * Errors: FALSE with "null object\n" for null.
 */
ZOVBool KOBAString_isPattern(const char *s);

/** Tells whether each element of a list is a pattern; a null list has no other. */
ZOVBool KOBAString_hasPatternsOnly(const char *list, char delim);

/**
 * Matches two texts of which one may be a pattern.
 *
 * @return 0 when they match. Two texts give what KOBAString_compare gives; two patterns never match
 * and give -1.
 */
int32_t KOBAString_matchPattern(const char *a, const char *b) ZOV_NONNULL();

/** Matches a text against what may be a pattern: KOBAString_fnmatch, or KOBAString_compare. */
int32_t KOBAString_matchPattern_withFlags(const char *s, const char *pattern, const uint32_t *flags)
    ZOV_NONNULL();

/**
 * Tells whether some text could match both patterns.
 *
 * A test of limited depth: segment by segment, and around stars only by how the segments end.
 * Segments are separated with or without PATHNAME, and LEADING_DIR is ignored. Beside that, when it
 * finds no common text there is none, but for two oddities: several stars left over at the end meet
 * nothing, and `?` meets no bracket expression that names `[`, `*`, `?` or the separator.
 *
 * @return 0 when there may be one, else 1.
 */
int32_t KOBAString_isCommonPattern(const char *p1, const char *p2, const uint32_t *flags)
    ZOV_NONNULL();

/**
 * Tells whether an element of one list matches an element of the other: KOBAString_matchPattern
 * gives 0 for them.
 *
 * A single quote at the start of a list and at the end of an element is left out.
 */
ZOVBool KOBAString_hasMatchingElement(const char *list1, const char *list2, char delim)
    ZOV_NONNULL();
/** The same by KOBAString_matchPattern_withFlags: texts in the first list, patterns in the second.
 */
ZOVBool KOBAString_hasMatchingElementX(const char *list1, const char *list2, char delim,
                                       const uint32_t *flags) ZOV_NONNULL();
/** The same by KOBAString_compare: whether the lists have an element in common. */
ZOVBool KOBAString_hasCommonElement(const char *list1, const char *list2, char delim) ZOV_NONNULL();
/** The same by KOBAString_isCommonPattern: whether some text could match an element of each list.
 */
ZOVBool KOBAString_hasIntersectingPattern(const char *list1, const char *list2, char delim,
                                          const uint32_t *flags) ZOV_NONNULL();

/**
 * Finds the candidate with the least edit distance from a name; the first of equals.
 *
 * @param bestIndex    may be null.
 * @param bestDistance may be null.
 * @param candidates   ends with an empty text. Without any the outputs stay as they are.
 *
 * @return TRUE when a candidate equals the name.
 *
 * Errors: FALSE with "!error allocating memory\n"; the outputs then tell the best so far.
 */
ZOVBool KOBAString_validateName(int32_t *bestIndex, int32_t *bestDistance, const char *name,
                                const char *const *candidates, ZOVBool caseSensitive)
    ZOV_NONNULL(3, 4);

/* The operators of a filter. */
#define KOBA_SQL_OPERATOR_EQUAL 0            /**< = */
#define KOBA_SQL_OPERATOR_NOT_EQUAL 1        /**< <> */
#define KOBA_SQL_OPERATOR_GREATER 2          /**< > */
#define KOBA_SQL_OPERATOR_LESS 3             /**< < */
#define KOBA_SQL_OPERATOR_GREATER_OR_EQUAL 4 /**< >= */
#define KOBA_SQL_OPERATOR_LESS_OR_EQUAL 5    /**< <= */
#define KOBA_SQL_OPERATOR_BETWEEN 6          /**< BETWEEN low AND high, both included */
#define KOBA_SQL_OPERATOR_MATCH 7            /**< MATCH, a list of patterns */

/** One comparison of a filter. A filter is branches joined by OR, a branch terms joined by AND. */
struct KOBASQLExpressionTerm
{
    char *field;            /**< its name */
    int32_t operatorCode;   /**< KOBA_SQL_OPERATOR_... */
    char *value;            /**< of BETWEEN the lower bound */
    char *upperValue;       /**< of BETWEEN, else null */
    ZOVBool textIsBorrowed; /**< the texts belong to the term that this one is a copy of */
    struct KOBASQLExpressionTerm *nextTerm;   /**< of the same branch */
    struct KOBASQLExpressionTerm *nextBranch; /**< set in the first term of a branch */
};
typedef struct KOBASQLExpressionTerm KOBASQLExpressionTerm;

/**
 * Reads a filter: terms `field operator value` joined by AND, OR and parentheses, for example
 * "(price > 10 OR price <= 2) AND name MATCH 'a*,b*'".
 *
 * Operators are `= <> > < >= <=`, BETWEEN (low AND high) and MATCH (a list of patterns), words in
 * any case. White space between tokens is free; AND, OR and MATCH need some behind them, or, of AND
 * and OR, a parenthesis.
 *
 * A value reaches up to white space, a parenthesis, a single quote or one of `= < >`. In single
 * quotes it may have all of them, and a quote when it is doubled. MATCH gets its list without the
 * quotes; another value keeps them, as it is a text, and no number. The value `%n` stands for the
 * n-th parameter, from 0, as it is in the list.
 *
 * Parentheses nest 32 deep, and a filter has at most 4096 terms once AND is distributed over OR.
 *
 * @param tree   receives the first term of the first branch.
 * @param delim  separates the parameters.
 * @param params a list of parameters; null when the filter may have none.
 *
 * Errors: FALSE with an exception that says what is wrong with the text, or with the heap's report;
 * the output stays as it was.
 * Ownership: the caller's; free the tree with KOBAString_freeSQLExpressionTree.
 */
ZOVBool KOBAString_parseSQLExpression(struct KOBASQLExpressionTerm **tree, const char *text,
                                      char delim, const char *params) ZOV_NONNULL(1, 2);

/** Frees a filter; null is ignored. */
void KOBAString_freeSQLExpressionTree(struct KOBASQLExpressionTerm *tree);

/**
 * Tells whether a number could satisfy two terms.
 *
 * Whole numbers are treated as others are: `> 5` and `< 6` meet. With a period or an exponent in
 * any value all are compared as doubles, else as 64-bit integers. A value that is out of range
 * counts as the nearest one, and then equality excludes nothing: `<` is `<=`, and `<>` anything.
 *
 * TRUE when a value is not numeric.
 *
 * Errors: TRUE, with an exception, for a term that is a MATCH.
 */
ZOVBool KOBAString_isSQLNumericRelationshipIntersect(const struct KOBASQLExpressionTerm *t1,
                                                     const struct KOBASQLExpressionTerm *t2)
    ZOV_NONNULL();

/**
 * Tells whether two filters could both be true.
 *
 * Only terms on one field, whose name may be in any case, are held against each other: numbers as
 * KOBAString_isSQLNumericRelationshipIntersect does, and MATCH lists, separated by commas, as
 * KOBAString_hasIntersectingPattern does, without escapes and with `/` as separator. A list with an
 * element that is too long for it excludes nothing.
 *
 * @param params parameters of the second filter; the first has none.
 *
 * @return FALSE only when they provably cannot, but for the oddities of KOBAString_isCommonPattern.
 * TRUE, after its report, for a filter that cannot be read.
 */
ZOVBool KOBAString_hasIntersectingFilter(const char *f1, const char *f2, char delim,
                                         const char *params) ZOV_NONNULL(1, 2);

ZOV_END_DECLARATIONS

#endif
