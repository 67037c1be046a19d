/**
 * How settings are read from XML text and written as XML.
 *
 * Readers take the text of an element, keywords in any case. A reader that fails reports the line
 * when the context has a parser, sets the context's error flag and leaves the output as it was.
 *
 * Writers take the element's name first and the save context last. They do not fail one by one:
 * what goes wrong gathers in the context's error flag.
 *
 * Threads: a context belongs to one thread at a time.
 *
 *     DDS_XMLHelper_save_tag("limits", DDS_XML_TAG_OPEN_BLOCK, &context);
 *     DDS_XMLHelper_save_length("max_samples", limits->max_samples, &context);
 *     DDS_XMLHelper_save_tag("limits", DDS_XML_TAG_CLOSE_BLOCK, &context);
 */
#ifndef WOLKCORE_DDS_XML_HELPER_H
#define WOLKCORE_DDS_XML_HELPER_H

#include "dds/PrimitiveSeq.h"
#include "dds/StringSeq.h"
#include "dds/Types.h"
#include "xml/Infrastructure.h"
#include "xml/Object.h"

#include <stdarg.h>

ZOV_BEGIN_DECLARATIONS

/** A number of 64 bits in two halves. */
struct DDS_SequenceNumber_t
{
    DDS_Long high;        /**< the upper half */
    DDS_UnsignedLong low; /**< the lower half */
};
typedef struct DDS_SequenceNumber_t DDS_SequenceNumber_t;

/** ZOVXMLObject_lookUpChild: the child with a name, or null. */
struct ZOVXMLObject *DDS_XMLHelper_get_child_by_name(struct ZOVXMLObject *object, const char *name)
    ZOV_NONNULL();
/** That child when its tag is this one, else null. */
struct ZOVXMLObject *DDS_XMLHelper_get_child_by_name_and_tag(struct ZOVXMLObject *object,
                                                             const char *name, const char *tag)
    ZOV_NONNULL();
/** Tells whether an object is the parent of another one. */
DDS_Boolean DDS_XMLHelper_is_parent_and_child(struct ZOVXMLObject *parent,
                                              struct ZOVXMLObject *child) ZOV_NONNULL();
/** The fully qualified name of an object's base, without "::" at its start; null without a base. */
const char *DDS_XMLHelper_get_qualified_base_name(struct ZOVXMLObject *object) ZOV_NONNULL();

/**
 * Finds the definition of a type: an object with the tag struct, union, enum, valuetype or
 * sparse_valuetype, looked up from each child of the root in turn.
 *
 * Errors: null. "!get XMLTypeCode\n" when there is no such name; the debug line "...: Type element
 * with name "..." is not a type definition" for another tag. Unreported for a null name.
 */
struct ZOVXMLObject *DDS_XMLHelper_lookupXmlTypeCode(struct ZOVXMLObject *root, const char *name)
    ZOV_NONNULL(1);

/** Prints a tree to standard output: tags and names, two blanks a level. */
void DDS_XMLHelper_print_xml_tree(struct ZOVXMLObject *object, DDS_Long depth) ZOV_NONNULL();

/**
 * ZOVXMLHelper_getAttribute.
 *
 * Errors: null with "bad parameter: attr_list\n" or "bad parameter: name\n".
 */
const char *DDS_XMLHelper_get_attribute_value(const char **attribute_list, const char *name);

/** Cuts a text at its first "|". Returns the text behind it, or null when there is none. */
char *DDS_XMLHelper_separateFirstElementFromMask(char *text) ZOV_NONNULL();
/** The same at the first comma. */
char *DDS_XMLHelper_separateFirstElementFromCommaSeparatedList(char *text) ZOV_NONNULL();

/*
 * Readers. Errors: FALSE with "line ...: parse failure: ...\n", or "parse failure: ...\n" without a
 * parser; "bad parameter: ...\n" with "context", "value" or "str".
 *
 * Numbers are hexadecimal behind 0x, else decimal; what follows a number is ignored.
 */

/** true, yes, 1, DDS_BOOLEAN_TRUE, BOOLEAN_TRUE, and their opposites. */
DDS_Boolean DDS_XMLHelper_str_to_boolean(DDS_Boolean *value_out, const char *text,
                                         struct ZOVXMLContext *context);
/**
 * A number, or one of DURATION_INFINITE_NSEC, DURATION_AUTO_NSEC, DURATION_ZERO_NSEC and
 * RTPS_AUTO_ID; each also behind DDS_.
 */
DDS_Boolean DDS_XMLHelper_str_to_unsigned_int(DDS_UnsignedLong *value_out, const char *text,
                                              struct ZOVXMLContext *context);
/**
 * A number, or one of LENGTH_UNLIMITED, LENGTH_AUTO, AUTO_MAX_TOTAL_INSTANCES,
 * DURATION_INFINITE_SEC, DURATION_AUTO_SEC, DURATION_ZERO_SEC, THREAD_STACK_SIZE_DEFAULT and
 * THREAD_PRIORITY_ with DEFAULT, HIGH, ABOVE_NORMAL, NORMAL, BELOW_NORMAL or LOW, each also behind
 * DDS_; or MAX_PRIORITY, NORM_PRIORITY, MIN_PRIORITY. All priorities are the default one.
 */
DDS_Boolean DDS_XMLHelper_str_to_int(DDS_Long *value_out, const char *text,
                                     struct ZOVXMLContext *context);
/** A number, or LENGTH_UNLIMITED, which is -1; from min to max, both included. */
DDS_Boolean DDS_XMLHelper_str_to_int_with_interval(DDS_Long *value_out, const char *text,
                                                   DDS_Long min, DDS_Long max,
                                                   struct ZOVXMLContext *context);
/**
 * The bits of words separated by "|"; 0 for a blank text. The words are those of the bits in
 * dds/ThreadSettings.h, also without THREAD_SETTINGS_ or behind DDS_, and MASK_DEFAULT and
 * THREAD_SETTINGS_KIND_MASK_DEFAULT, which are 0.
 *
 * Errors: also "...internal failure: thread settings kind too long\n" for more than 2047
 * characters, which are read none the less.
 */
DDS_Boolean DDS_XMLHelper_str_to_thread_settings_kind_mask(DDS_UnsignedLong *value_out,
                                                           const char *text,
                                                           struct ZOVXMLContext *context);

/* The flags of DDS_XMLHelper_save_tag. */
#define DDS_XML_TAG_INDENT 1u    /**< indentation before the tag */
#define DDS_XML_TAG_NEWLINE 2u   /**< behind the tag */
#define DDS_XML_TAG_DEEPER 4u    /**< one level more behind the tag */
#define DDS_XML_TAG_SHALLOWER 8u /**< one level less before the tag */
#define DDS_XML_TAG_CLOSING 16u  /**< a closing tag */
/* Their combinations. */
#define DDS_XML_TAG_OPEN_BLOCK 7u    /**< begins an element over several lines */
#define DDS_XML_TAG_CLOSE_BLOCK 27u  /**< ends it */
#define DDS_XML_TAG_OPEN_INLINE 1u   /**< begins an element within a line */
#define DDS_XML_TAG_CLOSE_INLINE 18u /**< ends it, and the line */

/** Writes a tag, with what the flags add: DDS_XML_TAG_.... */
void DDS_XMLHelper_save_tag(const char *name, DDS_UnsignedLong flags, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL();

/** Writes a formatted text as one piece. */
void DDS_XMLHelper_save_freeform(struct ZOVXMLSaveContext *ctx, const char *format, ...)
    ZOV_NONNULL(1, 2) ZOV_PRINTF(2, 3);
/** The same for an argument list, and a copy of it for a second pass. */
void DDS_XMLHelper_save_freeform_w_argsI(struct ZOVXMLSaveContext *ctx, const char *format,
                                         va_list args, va_list args_copy) ZOV_NONNULL(1, 2)
    ZOV_PRINTF(2, 0);

/* Each of these writes one element with a value. */

/** A decimal number. */
void DDS_XMLHelper_save_long(const char *name, DDS_Long value, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL();
/** A decimal number. */
void DDS_XMLHelper_save_unsigned_long(const char *name, DDS_UnsignedLong value,
                                      struct ZOVXMLSaveContext *ctx) ZOV_NONNULL();
/** A decimal number. */
void DDS_XMLHelper_save_int(const char *name, int value, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL();
/** "true" or "false". */
void DDS_XMLHelper_save_bool(const char *name, DDS_Boolean value, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL();
/** The five special characters as entities; nothing at all for a null text. */
void DDS_XMLHelper_save_string(const char *name, const char *text, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL(1, 3);
/** A decimal number, or "LENGTH_UNLIMITED" for DDS_LENGTH_UNLIMITED. */
void DDS_XMLHelper_save_length(const char *name, DDS_Long value, struct ZOVXMLSaveContext *ctx)
    ZOV_NONNULL();
/** With the elements high and low. */
void DDS_XMLHelper_save_sequence_number(const char *name, const struct DDS_SequenceNumber_t *value,
                                        struct ZOVXMLSaveContext *ctx) ZOV_NONNULL();
/** A block with an "element" for each number. */
void DDS_XMLHelper_save_long_seq(const char *name, struct DDS_LongSeq *value,
                                 struct ZOVXMLSaveContext *ctx) ZOV_NONNULL();
/** A block with an "element" for each text but null. */
void DDS_XMLHelper_save_string_seq(const char *name, struct DDS_StringSeq *value,
                                   struct ZOVXMLSaveContext *ctx) ZOV_NONNULL();
/** Decimal numbers joined by commas. */
void DDS_XMLHelper_save_octet_array(const char *name, const DDS_Octet *bytes, DDS_Long count,
                                    struct ZOVXMLSaveContext *ctx) ZOV_NONNULL(1, 4);
/** The same; nothing at all for an empty sequence. */
void DDS_XMLHelper_save_octet_seq(const char *name, struct DDS_OctetSeq *value,
                                  struct ZOVXMLSaveContext *ctx) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
