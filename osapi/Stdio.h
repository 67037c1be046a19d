/**
 * Texts: bounded formatting, bounded copies, tokens, UTF-8 and UTF-16, numbers, error texts.
 *
 * Operations that can fail say so in their result and report nothing. Which characters are blanks,
 * digits and letters never depends on the locale.
 *
 * Threads: all operations are reentrant.
 *
 *     char line[64];
 *     if (ZOVOsapiUtility_snprintf(line, sizeof line, "%s:%d", host, port) < 0)
 *         return tooLong(line);   // line holds the terminated beginning
 */
#ifndef WOLKCORE_OSAPI_STDIO_H
#define WOLKCORE_OSAPI_STDIO_H

#include "log/Base.h"

#include <stdarg.h>
#include <stdio.h>

ZOV_BEGIN_DECLARATIONS

/**
 * Formats into a buffer of `size` bytes.
 *
 * @return the number of characters written when all of them fit, else -1 (the buffer then holds
 * the terminated beginning). With a null buffer the length that the full text would have.
 */
int ZOVOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...) ZOV_PRINTF(3, 4);
/** The same with an argument list. */
int ZOVOsapiUtility_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
    ZOV_PRINTF(3, 0);
/** The same; `unused` is accepted and ignored. */
int ZOVOsapiUtility_snprintfAdv(char *buffer, size_t size, int unused, const char *format, ...)
    ZOV_PRINTF(4, 5);
/** The same with an argument list. */
int ZOVOsapiUtility_vsnprintfAdv(char *buffer, size_t size, int unused, const char *format,
                                 va_list arguments) ZOV_PRINTF(4, 0);

/** Writes a decimal number to a stream; the number of characters, or a negative value on error. */
int ZOVOsapiUtility_fprintf_ll(FILE *stream, int64_t value) ZOV_NONNULL();
/** The same for a number without sign. */
int ZOVOsapiUtility_fprintf_llu(FILE *stream, uint64_t value) ZOV_NONNULL();

/**
 * The C library's text for an error number.
 *
 * The buffer and its size are accepted and not used.
 *
 * Ownership: the C library's; copy it to keep it.
 * Threads: as safe as the platform makes strerror.
 */
const char *ZOVOsapiUtility_getErrorString(char *buffer, size_t size, int errorNumber);

/**
 * Copies a text to a destination of capacity + 1 bytes. The two must not overlap.
 *
 * @return the destination; null when the text is longer than the capacity: the destination then
 * holds its first `capacity` characters and a terminator.
 */
char *ZOVOsapiUtility_strcpy(char *destination, size_t capacity, const char *source) ZOV_NONNULL();
/** The same of at most `count` characters of the source, which needs no terminator behind them. */
char *ZOVOsapiUtility_strncpy(char *destination, size_t capacity, const char *source, size_t count)
    ZOV_NONNULL();
/**
 * Appends a text to the one in a destination of capacity + 1 bytes. The two must not overlap.
 *
 * @return the destination; null when both together are longer than the capacity: the destination
 * then holds their first `capacity` characters and a terminator.
 */
char *ZOVOsapiUtility_strcat(char *destination, size_t capacity, const char *source) ZOV_NONNULL();
/** The same of at most `count` characters of the source, which needs no terminator behind them. */
char *ZOVOsapiUtility_strncat(char *destination, size_t capacity, const char *source, size_t count)
    ZOV_NONNULL();

/**
 * Takes the next token off a text. Tokens are what stands between delimiter characters; none is
 * empty. The delimiter behind the token is overwritten with a terminator.
 *
 * @param string where to begin; null continues at the saved position.
 * @return the token, or null when there is none left.
 *
 *     char *rest;
 *     for (char *word = ZOVOsapiUtility_strToken(line, " \t", &rest); word != NULL;
 *          word = ZOVOsapiUtility_strToken(NULL, " \t", &rest))
 *         use(word);
 */
char *ZOVOsapiUtility_strToken(char *string, const char *delimiters, char **savePointer)
    ZOV_NONNULL(2, 3);

/** Removes blanks (a space, and bytes 9 to 13) from both ends, in place. Returns the text. */
char *ZOVOsapiUtility_strTrim(char *text) ZOV_NONNULL();

/**
 * Joins texts with a delimiter character between each two of them. A count of 0 or less gives the
 * empty text.
 *
 * @return the length of the joined text, also with a null buffer, to which nothing is written; -1
 * when it does not fit into `size` bytes with its terminator, and the buffer is left alone.
 */
int ZOVOsapiUtility_stringArrayToDelimitedString(char *buffer, size_t size,
                                                 const char *const *strings, int count,
                                                 char delimiter);

/**
 * The length (1 to 4) of the UTF-8 sequence at the beginning of a text, or -1 when it is not well
 * formed: wrong or missing continuation, overlong form, surrogate, beyond U+10FFFF. Reads no byte
 * behind the first wrong one, so that a terminator ends it.
 */
int ZOVOsapiUtility_stringUtf8ValidateChar(const char *text) ZOV_NONNULL();
/** Whether a whole text is well-formed UTF-8; the empty one is. */
ZOVBool ZOVOsapiUtility_stringUtf8ValidateString(const char *text) ZOV_NONNULL();
/** Decodes one sequence; its length, or -1 when it is not well formed (nothing is stored). */
int ZOVOsapiUtility_stringUtf8ToCodepoint(uint32_t *codepoint, const char *text) ZOV_NONNULL();
/**
 * Encodes one code point, without a terminator.
 *
 * @return the length of the sequence (1 to 4), also with a null buffer, to which nothing is
 * written; minus that length when the buffer of `size` bytes is too small; -5 for a surrogate or a
 * value above 0x10FFFF. A failure leaves the buffer alone.
 */
int ZOVOsapiUtility_stringUtf8FromCodepoint(char *buffer, size_t size, uint32_t codepoint);
/** Splits a code point from 0x10000 to 0x10FFFF; FALSE, and nothing stored, for any other. */
ZOVBool ZOVOsapiUtility_stringUtf16ToSurrogatePair(uint16_t *high, uint16_t *low,
                                                   uint32_t codepoint) ZOV_NONNULL();
/** Joins a pair; FALSE, and nothing stored, unless it is a high and a low surrogate. */
ZOVBool ZOVOsapiUtility_stringUtf16FromSurrogatePair(uint32_t *codepoint, uint16_t high,
                                                     uint16_t low) ZOV_NONNULL();
/**
 * Converts a terminated text of UTF-16 to terminated UTF-8.
 *
 * @return the length without terminator when the text fits into `size` bytes with its terminator;
 * minus the size needed with the terminator when it does not; with a null buffer the size needed
 * with the terminator; INT_MIN when a surrogate stands alone or the result is too long for an int.
 * A failure leaves the buffer alone.
 */
int ZOVOsapiUtility_stringUtf16ToUtf8(char *buffer, size_t size, const uint16_t *text)
    ZOV_NONNULL(3);
/**
 * Converts a terminated text of UTF-8 to terminated UTF-16. Results are those of
 * ZOVOsapiUtility_stringUtf16ToUtf8, with lengths and `count` in 16-bit units and INT_MIN for text
 * that is not well-formed UTF-8.
 */
int ZOVOsapiUtility_stringUtf8ToUtf16(uint16_t *buffer, size_t count, const char *text)
    ZOV_NONNULL(3);

/**
 * Reads a number at the beginning of a text: blanks, a sign, a prefix, digits.
 *
 * @param end where the first character behind the last digit is stored; may be null.
 * @param base 2 to 36 (16 takes "0x" before the digits), or 0 for the base that the digits begin
 * with: "0x" hexadecimal, "0" octal, else decimal.
 *
 * Errors: FALSE, and nothing is stored: no digit, a value out of range, a base that is none.
 */
ZOVBool ZOVOsapiUtility_strtoll(int64_t *out, const char *text, char **end, int base)
    ZOV_NONNULL(1, 2);
/** The same for a number without sign; a minus is an error. */
ZOVBool ZOVOsapiUtility_strtoull(uint64_t *out, const char *text, char **end, int base)
    ZOV_NONNULL(1, 2);
/**
 * Reads a pointer: hexadecimal digits with or without "0x" before them, and nothing else.
 *
 * Errors: FALSE, and nothing is stored.
 */
ZOVBool ZOVOsapiUtility_strtoptr(void **out, const char *text) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
