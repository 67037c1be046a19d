/**
 * The sequence of strings, and its conversions to and from delimited text.
 *
 * It is a sequence as dds/Sequence.h has it, whose elements are heap strings or null: an owned one
 * owns the strings in all its slots up to the maximum, also those past the length. Growing and
 * copying copies every string; a shorter length frees none. Slots that are not the
 * sequence's own, of a loaned buffer or of an array to copy to, must hold null or heap strings.
 *
 * A string that cannot be copied for want of memory fails the operation with the heap's report:
 * growing then leaves the sequence as it was; a copy has set the length, and leaves the elements
 * that it has copied.
 *
 * Threads: a sequence belongs to one thread at a time.
 *
 *     struct DDS_StringSeq names = DDS_STRING_SEQUENCE_EMPTY;
 *     if (DDS_StringSeq_from_delimited_string(&names, "a,b,c", ',') != DDS_RETCODE_OK)
 *         return false;
 *     puts(DDS_StringSeq_get(&names, 1));
 *     DDS_StringSeq_finalize(&names);
 */
#ifndef WOLKCORE_DDS_STRING_SEQ_H
#define WOLKCORE_DDS_STRING_SEQ_H

#include "dds/Sequence.h"

ZOV_BEGIN_DECLARATIONS

/* The record and the operations are those of all sequences: see dds/Sequence.h. */
DDS_SEQUENCE(DDS_StringSeq, char *);
DDS_SEQUENCE_OPERATIONS(DDS_StringSeq, char *);

/** An empty, owned sequence, to begin with a copy of. */
extern const struct DDS_StringSeq DDS_STRING_SEQUENCE_EMPTY;

/**
 * Replaces a slot's string by a copy of another's; a null one frees it and leaves null.
 *
 * @return dst_slot.
 *
 * Errors: the slot keeps its string, with the heap's report.
 */
char **DDS_StringSeq_copy_string(char **dst_slot, char *const *src_slot) ZOV_NONNULL();

/**
 * Tells whether all elements are equal texts; null is equal to null only.
 *
 * Errors, here and in the next two: FALSE with "bad parameter: self\n" for a null sequence.
 */
DDS_Boolean DDS_StringSeq_equals(const struct DDS_StringSeq *left,
                                 const struct DDS_StringSeq *right);

/** Tells whether an element is an empty text; no element may be null. */
DDS_Boolean DDS_StringSeq_contains_empty_strings(const struct DDS_StringSeq *self);
/** Tells whether an element is null. */
DDS_Boolean DDS_StringSeq_contains_null_strings(const struct DDS_StringSeq *self);

/**
 * Fills a fresh sequence with copies of strings; those that it held are not freed. A count of 0
 * changes nothing.
 *
 * Errors: FALSE with "!resize string sequence\n" or "!copy string\n"; what was copied stays.
 */
DDS_Boolean DDS_StringSeq_from_string_array(struct DDS_StringSeq *self, const char *const *strings,
                                            DDS_Long count);

/**
 * Splits a text: "a,b," has three elements, the last one empty; a null or an empty text has none.
 *
 * A loaned sequence gets the tokens written over the strings that its slots hold, which the lender
 * has made large enough.
 *
 * Errors: DDS_RETCODE_BAD_PARAMETER with "bad parameter: self\n"; DDS_RETCODE_OUT_OF_RESOURCES with
 * "!set length of sequence for ...\n", with "out of resources: heapToken\n" when a token of 4096
 * characters or more finds no memory, or with "!copy string\n"; what was converted stays.
 */
DDS_ReturnCode_t DDS_StringSeq_from_delimited_string(struct DDS_StringSeq *self, const char *text,
                                                     char delimiter);

/**
 * Splits the value of an environment variable, or where it is not set the text of a file, as
 * ZOVOsapi_envVarOrFileGet reads it: at most 4095 characters.
 *
 * @param name       the variable's name; may be null.
 * @param second_arg the file's name; may be null, but not both.
 * @param flag       the file's comment character.
 *
 * Errors: DDS_RETCODE_NO_DATA when there is neither; also, with the warning "!copy ...\n", when the
 * text cannot be split.
 */
DDS_ReturnCode_t DDS_StringSeq_from_environment_variable_or_file(struct DDS_StringSeq *self,
                                                                 const char *name,
                                                                 const char *second_arg,
                                                                 char delimiter, char flag);

/**
 * Joins the elements into a buffer of a size in bytes: that of the text and its terminator, and one
 * more. The text of no elements is empty, and one byte is enough for it.
 *
 * Errors, with an empty text in the buffer: DDS_RETCODE_BAD_PARAMETER with "bad parameter: self\n",
 * or with "bad parameter: NULL string\n" for a null element; DDS_RETCODE_OUT_OF_RESOURCES with
 * "insufficient space: ...\n".
 */
DDS_ReturnCode_t DDS_StringSeq_to_delimited_string(const struct DDS_StringSeq *self, char *buffer,
                                                   DDS_Long buffer_size, char delimiter);

/**
 * Joins the elements into new memory.
 *
 * @param size_out the bytes that were allocated.
 *
 * Errors, with a null text: those of DDS_StringSeq_to_delimited_string, then "!set string value\n";
 * DDS_RETCODE_OUT_OF_RESOURCES with "no space on heap for array ...\n".
 * Ownership: the caller's; free the text with ZOVOsapiHeap_freeArray.
 */
DDS_ReturnCode_t DDS_StringSeq_to_delimited_string_w_alloc(const struct DDS_StringSeq *self,
                                                           char **text_out, DDS_Long *size_out,
                                                           char delimiter) ZOV_NONNULL(2, 3);

ZOV_END_DECLARATIONS

#endif
