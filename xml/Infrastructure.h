/**
 * What goes along while a document is read or written: where the parser is, where the output goes,
 * and attributes with their environment references expanded.
 *
 * Threads: each record belongs to one thread at a time.
 *
 *     struct ZOVXMLSaveContext context;
 *     ZOVXMLSaveContext_initialize(&context);
 *     context.outputFile = stdout;
 *     DDS_Duration_save("period", &period, &context);
 *     if (context.error)
 *         complain();
 */
#ifndef WOLKCORE_XML_INFRASTRUCTURE_H
#define WOLKCORE_XML_INFRASTRUCTURE_H

#include "log/Base.h"

#include <stdio.h>

ZOV_BEGIN_DECLARATIONS

struct XML_ParserStruct; /* expat's: an XML_Parser is a pointer to it */

/** Where a document is being read; all zero before its first use. */
struct ZOVXMLContext
{
    struct XML_ParserStruct *parser; /**< null when the text comes from elsewhere */
    int32_t line;                    /**< the line that was set */
    int32_t parserLine;              /**< the parser's line at that moment */
    ZOVBool error;                   /**< set by the readers of DDS_XMLHelper that fail */
};
typedef struct ZOVXMLContext ZOVXMLContext;

/** Makes the parser's current line count as this one: for a text that is part of another. */
void ZOVXMLContext_setContextLineNumber(struct ZOVXMLContext *context, int32_t line) ZOV_NONNULL();
/** The parser's current line, counted from the one that was set. */
int32_t ZOVXMLContext_getCurrentLineNumber(struct ZOVXMLContext *context) ZOV_NONNULL();
/** Makes lines count as the parser counts them. */
void ZOVXMLContext_resetContextLineNumber(struct ZOVXMLContext *context) ZOV_NONNULL();

/** The length of an output that no longer fits its count. */
#define ZOV_XML_SAVE_CONTEXT_LENGTH_OVERFLOW 0xFFFFFFFFu

/**
 * Where a document is written to: a file, or a buffer; without either its length is only measured.
 *
 * What does not fit a buffer is counted, not kept: each piece as a whole, behind the last that fits
 * in part. The buffer always ends with a terminator.
 */
struct ZOVXMLSaveContext
{
    FILE *outputFile;          /**< null for a buffer; the caller's */
    char *outputBuffer;        /**< null to measure alone; the caller's */
    uint32_t outputBufferSize; /**< in bytes */
    uint32_t length;           /**< in bytes so far, or ZOV_XML_SAVE_CONTEXT_LENGTH_OVERFLOW */
    uint32_t depth;            /**< of indentation */
    ZOVBool error;             /**< set by output that failed */
};
typedef struct ZOVXMLSaveContext ZOVXMLSaveContext;

/** Clears the record: no output yet, nothing written. Returns TRUE. */
ZOVBool ZOVXMLSaveContext_initialize(struct ZOVXMLSaveContext *context) ZOV_NONNULL();
/** Does nothing: file and buffer are the caller's. */
void ZOVXMLSaveContext_finalize(struct ZOVXMLSaveContext *context);
/**
 * Writes four blanks a level of depth.
 *
 * Errors: the error flag of the context.
 */
void ZOVXMLSaveContext_indent(struct ZOVXMLSaveContext *context) ZOV_NONNULL();

/** Attributes that a descriptor has room for without the heap. */
#define ZOV_XML_ATTRIBUTE_DESCRIPTOR_INLINE_COUNT 5
/** The value of `state`. */
#define ZOV_XML_ATTRIBUTE_DESCRIPTOR_INITIALIZED 29508

/**
 * A list of attributes, names and values in turn up to a null name, whose values may be expanded.
 * Visible for its size; use the operations. All zero before it is initialised.
 */
struct ZOVXMLAttributeDescriptor
{
    int32_t state;         /**< ZOV_XML_ATTRIBUTE_DESCRIPTOR_INITIALIZED, or another */
    const char **list;     /**< the caller's, the inline one, or the heap's */
    ZOVBool *valueIsOwned; /**< null for the caller's list */
    const char *inlineList[2 * ZOV_XML_ATTRIBUTE_DESCRIPTOR_INLINE_COUNT +
                           1]; /**< room for the first names and values */
    ZOVBool inlineValueIsOwned[ZOV_XML_ATTRIBUTE_DESCRIPTOR_INLINE_COUNT]; /**< whose values are the
                                                                              heap's */
    ZOVBool isInline; /**< TRUE when the list is the inline one */
};
typedef struct ZOVXMLAttributeDescriptor ZOVXMLAttributeDescriptor;

/**
 * Takes a parser's list: the list itself when no value has an environment reference, else a list
 * with the references expanded. An initialised descriptor stays as it is.
 *
 * Errors: FALSE, with nothing left behind: "!initialize attribute list\n" behind its reason, the
 * heap's report, or "!expand environment variables\n" behind its reason.
 * Ownership: names and other values stay the caller's and must outlive the descriptor.
 */
ZOV_MUST_USE ZOVBool ZOVXMLAttributeDescriptor_initialize(
    struct ZOVXMLAttributeDescriptor *descriptor, const char **list) ZOV_NONNULL();

/** Frees what the descriptor owns; one that is not initialised stays as it is. */
void ZOVXMLAttributeDescriptor_finalize(struct ZOVXMLAttributeDescriptor *descriptor) ZOV_NONNULL();

/**
 * Adds an attribute at the end; its texts stay the caller's, and references stay in them.
 *
 * @param pair its name and its value.
 *
 * Errors: FALSE with "!increase attribute list\n" behind its reason; the list stays as it was.
 */
ZOV_MUST_USE ZOVBool ZOVXMLAttributeDescriptor_addAttribute(
    struct ZOVXMLAttributeDescriptor *descriptor, const char **pair) ZOV_NONNULL();

/**
 * Makes room for more attributes, which are null so far.
 *
 * Errors: FALSE with "no space on heap for array ...\n"; the list stays as it was.
 */
ZOV_MUST_USE ZOVBool ZOVXMLAttributeDescriptor_increaseAttributeListSize(
    struct ZOVXMLAttributeDescriptor *descriptor, int32_t extra) ZOV_NONNULL();

/** The list, as ZOVXMLHelper_getAttribute reads it; the descriptor's. */
const char **
ZOVXMLAttributeDescriptor_getAttributeList(struct ZOVXMLAttributeDescriptor *descriptor)
    ZOV_NONNULL();
/** Whether it is the caller's own list. */
ZOVBool
ZOVXMLAttributeDescriptor_isReferencedAttributeList(struct ZOVXMLAttributeDescriptor *descriptor)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
