/**
 * Operations on NUL-terminated byte strings.
 *
 * Characters are folded by the C locale's table and compared as signed bytes: a byte of 0x80 or
 * above sorts below every ASCII character. No operation keeps state between calls.
 */
#ifndef WOLKCORE_KOBA_STRING_H
#define WOLKCORE_KOBA_STRING_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

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

ZOV_END_DECLARATIONS

#endif
