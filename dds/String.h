/**
 * Strings on the heap: NUL-terminated, owned by whoever holds the pointer.
 *
 * Threads: the operations touch only their arguments and the heap.
 *
 *     char *topic = DDS_String_dup("prices");
 *     if (DDS_String_replace(&topic, "orders") == NULL)
 *         report(topic);
 *     DDS_String_free(topic);
 */
#ifndef WOLKCORE_DDS_STRING_H
#define WOLKCORE_DDS_STRING_H

#include "dds/Types.h"

#include <stddef.h>

ZOV_BEGIN_DECLARATIONS

/**
 * Obtains room for a string of a length in bytes, and its terminator; the contents are as the heap
 * leaves them.
 *
 * Errors: null, with the heap's report.
 * Ownership: the caller's; free it with DDS_String_free.
 */
ZOV_MUST_USE char *DDS_String_alloc(size_t length);

/**
 * Obtains a string where there is none yet; one that is there stays, whatever its size.
 *
 * Errors: FALSE, with the heap's report and "!create ...\n" with `what` under the caller's context;
 * the string stays null.
 */
DDS_Boolean DDS_String_alloc_if_necessary(char **string_ptr, size_t length, const char *context,
                                          const char *what) ZOV_NONNULL();

/** Copies a string; null for null. Errors and ownership as with DDS_String_alloc. */
ZOV_MUST_USE char *DDS_String_dup(const char *src);

/** Frees a string; null is for the heap to ignore. */
void DDS_String_free(char *string);

/**
 * Makes a string a copy of another one, of which it may be a part; a null one frees it and makes it
 * null.
 *
 * @return the new string. Null for a null pointer to a string, and for a null `src`.
 *
 * Errors: null, with the heap's report; the old string stays.
 */
char *DDS_String_replace(char **string_ptr, const char *src);

/**
 * Writes a string over another one, whose buffer the caller knows to be large enough; duplicates it
 * where there is none.
 *
 * A null `src` makes the string null without freeing its buffer, which need not be the heap's; the
 * debug line "...: potentially leaking ... (... bytes)\n" tells of it when warnings are on.
 *
 * Errors: the string stays null, with the heap's report, when there is no memory for the duplicate.
 */
void DDS_String_safe_replace(char **string_ptr, const char *src, const char *context,
                             const char *what) ZOV_NONNULL(1, 3, 4);

ZOV_END_DECLARATIONS

#endif
