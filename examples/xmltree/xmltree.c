/*
 * Reads an XML document into a tree of named objects, and shows what can be done with it.
 *
 *     xmltree FILE                      prints the tree, with the line of each element
 *     xmltree FILE --find NAME [SCOPE]  looks a scoped name up, from the root or from a scope
 *     xmltree FILE --save               writes the document back, with references expanded
 *
 * An element with a name attribute is an object of that name; one with a baseName has that object,
 * looked up from where the element stands, as its base. $(NAME) in attributes and text stands for
 * the value of an environment variable. An element holds either text or other elements. What is
 * wrong with a document is told with file, line and reason, and the exit status is then 1.
 */
#include "dds/StringSeq.h"
#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "koba/String.h"
#include "log/Log.h"
#include "osapi/Environment.h"
#include "osapi/heap.h"
#include "xml/Infrastructure.h"
#include "xml/Utils.h"

#include <expat.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

/* A tree is saved, printed and deleted level within level, and a name holds all those above it. */
#define MAXIMUM_DEPTH 200

/* An element of the document. Its tag is its own, and so is therefore its class. */
struct Element
{
    struct ZOVXMLObject object; /* comes first: the tree hands it out */
    struct ZOVXMLExtensionClass extensionClass;
    struct DDS_StringSeq attributes; /* names and values in turn */
    char *text;                      /* between its tags; null without any */
    int32_t line;
};

/* A document being read. */
struct Reader
{
    const char *file;
    struct ZOVXMLContext context;
    struct ZOVXMLObject *root;
    struct ZOVXMLObject *current;
    int depth;
    char text[ZOV_XML_EXPANDED_SIZE]; /* of the current element, so far */
    size_t textLength;
    int failed;
};

static struct Reader *reading; /* whose line goes in front of what the library reports */

static void report(const char *text)
{
    if (reading != NULL)
        fprintf(stderr, "%s:%d: ", reading->file,
                (int)ZOVXMLContext_getCurrentLineNumber(&reading->context));
    fputs(text, stderr);
}

/* Ends the reading: an operation of the library has failed, and has reported why. */
static void giveUp(struct Reader *reader)
{
    reader->failed = 1;
    XML_StopParser(reader->context.parser, XML_FALSE);
}

/* Ends the reading for a reason of our own. */
static void refuse(struct Reader *reader, const char *format, ...)
{
    char reason[200];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(reason, sizeof reason - 1, format, arguments);
    va_end(arguments);
    report(strcat(reason, "\n"));
    giveUp(reader);
}

static void deleteElement(struct ZOVXMLObject *object)
{
    struct Element *element = (struct Element *)object;
    DDS_XMLObject_finalize(object);
    DDS_StringSeq_finalize(&element->attributes);
    ZOVOsapiHeap_freeString((char *)element->extensionClass.tagName);
    ZOVOsapiHeap_freeString(element->text);
    ZOVOsapiHeap_freeStructure(element);
}

/* What a parser would take for markup, or for blanks, goes out as references. */
static void saveEscaped(const char *text, const char *special, struct ZOVXMLSaveContext *context)
{
    static const char characters[] = "\"&<>\t\n\r";
    static const char *const names[] = {"quot", "amp", "lt", "gt", "#9", "#10", "#13"};
    for (;;) {
        const size_t plain = strcspn(text, special);
        DDS_XMLHelper_save_freeform(context, "%.*s", (int)plain, text);
        text += plain;
        if (*text == '\0')
            return;
        DDS_XMLHelper_save_freeform(context, "&%s;", names[strchr(characters, *text) - characters]);
        ++text;
    }
}

static void saveElement(const struct ZOVXMLObject *object, struct ZOVXMLSaveContext *context,
                        void *argument)
{
    struct Element *element = (struct Element *)object;
    const char *tag = element->extensionClass.tagName;
    const DDS_Long texts = DDS_StringSeq_get_length(&element->attributes);
    (void)argument;
    ZOVXMLSaveContext_indent(context);
    DDS_XMLHelper_save_freeform(context, "<%s", tag);
    for (DDS_Long i = 0; i < texts; i += 2) {
        DDS_XMLHelper_save_freeform(context, " %s=\"", DDS_StringSeq_get(&element->attributes, i));
        saveEscaped(DDS_StringSeq_get(&element->attributes, i + 1), "\"&<\t\n\r", context);
        DDS_XMLHelper_save_freeform(context, "\"");
    }
    if (object->childCount > 0) {
        DDS_XMLHelper_save_freeform(context, ">\n");
        DDS_XMLObject_save_children(&element->object, context);
        ZOVXMLSaveContext_indent(context);
        DDS_XMLHelper_save_tag(tag, DDS_XML_TAG_CLOSE_INLINE, context);
    } else if (element->text != NULL) {
        DDS_XMLHelper_save_freeform(context, ">");
        saveEscaped(element->text, "&<>\r", context);
        DDS_XMLHelper_save_tag(tag, DDS_XML_TAG_CLOSE_INLINE, context);
    } else
        DDS_XMLHelper_save_freeform(context, "/>\n");
}

/* Makes an element an object under a parent, with the references in its attributes expanded. */
static int initializeElement(struct Element *element, struct ZOVXMLObject *parent,
                             const char **list)
{
    struct ZOVXMLAttributeDescriptor descriptor = {0};
    const char *name = NULL;
    int done = 0;
    if (!ZOVXMLAttributeDescriptor_initialize(&descriptor, list))
        return 0;
    list = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
    name = DDS_XMLHelper_get_attribute_value(list, "name");
    done = DDS_StringSeq_from_string_array(&element->attributes, list,
                                           2 * ZOVXMLHelper_getAttributeCount(list)) &&
           DDS_XMLObject_initialize(&element->object, &element->extensionClass, parent,
                                    name != NULL ? name : "anonymous_element",
                                    DDS_XMLHelper_get_attribute_value(list, "baseName")) &&
           (parent == NULL || ZOVXMLObject_addChild(parent, &element->object));
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
    return done;
}

/* The element of a tag, in the tree; null, reported, when it cannot be. */
static struct Element *newElement(struct Reader *reader, const char *tag, const char **list)
{
    struct Element *element = NULL;
    ZOVOsapiHeap_allocateStructure(&element, struct Element);
    if (element == NULL)
        return NULL;
    element->extensionClass.tagName = KOBAString_duplicate(tag);
    element->extensionClass.deleteObject = deleteElement;
    element->extensionClass.save = saveElement;
    element->line = ZOVXMLContext_getCurrentLineNumber(&reader->context);
    if (element->extensionClass.tagName == NULL ||
        !initializeElement(element, reader->current, list)) {
        deleteElement(&element->object);
        return NULL;
    }
    return element;
}

/* The text since the last tag, without white space at its ends. */
static char *takeText(struct Reader *reader)
{
    reader->text[reader->textLength] = '\0';
    reader->textLength = 0;
    return ZOVXMLHelper_strTrim(reader->text);
}

/* False, and refused, when there is text between elements. */
static int isBlank(struct Reader *reader)
{
    if (takeText(reader)[0] == '\0')
        return 1;
    refuse(reader, "<%s> has both text and elements", ZOVXMLObject_getTagName(reader->current));
    return 0;
}

/* Gives the current element its text. */
static int setText(struct Reader *reader)
{
    struct Element *element = (struct Element *)reader->current;
    char *text = ZOVXMLHelper_expandEnvironmentVariables(takeText(reader));
    if (text != NULL && ZOVXMLHelper_strTrim(text)[0] == '\0')
        return 1;
    element->text = text != NULL ? KOBAString_duplicate(text) : NULL;
    if (element->text == NULL)
        giveUp(reader);
    return element->text != NULL;
}

static void XMLCALL onStart(void *userData, const XML_Char *tag, const XML_Char **list)
{
    struct Reader *reader = userData;
    struct Element *element = NULL;
    if (reader->failed || !isBlank(reader))
        return;
    if (reader->depth == MAXIMUM_DEPTH) {
        refuse(reader, "more than %d elements within each other", MAXIMUM_DEPTH);
        return;
    }
    element = newElement(reader, tag, list);
    if (element == NULL) {
        giveUp(reader);
        return;
    }
    if (reader->root == NULL)
        reader->root = &element->object;
    reader->current = &element->object;
    ++reader->depth;
}

static void XMLCALL onText(void *userData, const XML_Char *text, int length)
{
    struct Reader *reader = userData;
    if (reader->failed)
        return;
    if (reader->textLength + (size_t)length >= sizeof reader->text) {
        refuse(reader, "a text of more than %zu characters", sizeof reader->text - 1);
        return;
    }
    memcpy(reader->text + reader->textLength, text, (size_t)length);
    reader->textLength += (size_t)length;
}

static void XMLCALL onEnd(void *userData, const XML_Char *tag)
{
    struct Reader *reader = userData;
    (void)tag;
    if (reader->failed)
        return;
    if (ZOVXMLObject_getChildCount(reader->current) > 0 ? isBlank(reader) : setText(reader)) {
        reader->current = ZOVXMLObject_getParent(reader->current);
        --reader->depth;
    }
}

/* Reads a text as a document; false, reported, when it is none. */
static int parse(struct Reader *reader, const char *document, int64_t length)
{
    XML_Parser parser = reader->context.parser;
    if (parser == NULL) {
        report("no memory for a parser\n");
        return 0;
    }
    XML_SetUserData(parser, reader);
    XML_SetElementHandler(parser, onStart, onEnd);
    XML_SetCharacterDataHandler(parser, onText);
    if (length > INT_MAX)
        refuse(reader, "more than %d bytes", INT_MAX);
    else if (XML_Parse(parser, document, (int)length, 1) != XML_STATUS_OK && !reader->failed)
        refuse(reader, "%s", XML_ErrorString(XML_GetErrorCode(parser)));
    return !reader->failed;
}

/* The root of the document in a file; null, reported, when it cannot be read. */
static struct ZOVXMLObject *readDocument(const char *file)
{
    static struct Reader reader;
    int64_t length = 0;
    char *document = ZOVOsapi_fileGetVerbatim(file, &length);
    if (document == NULL)
        return NULL;
    reader.file = file;
    reader.context.parser = XML_ParserCreate(NULL);
    reading = &reader;
    if (!parse(&reader, document, length) && reader.root != NULL) {
        deleteElement(reader.root);
        reader.root = NULL;
    }
    reading = NULL;
    XML_ParserFree(reader.context.parser);
    ZOVOsapiHeap_freeString(document);
    return reader.root;
}

static void printTree(struct ZOVXMLObject *object, int depth)
{
    const struct Element *element = (const struct Element *)object;
    const char *name = ZOVXMLObject_getName(object);
    struct ZOVXMLObject *base = ZOVXMLObject_getBase(object);
    printf("%4d %*s%s", (int)element->line, 2 * depth, "", ZOVXMLObject_getTagName(object));
    if (strncmp(name, "anonymous_", strlen("anonymous_")) != 0)
        printf(" %s", name);
    if (base != NULL)
        printf(" : %s", ZOVXMLObject_getFullyQualifiedName(base));
    if (element->text != NULL)
        printf(" = %s", element->text);
    putchar('\n');
    for (struct ZOVXMLObject *child = ZOVXMLObject_getFirstChild(object); child != NULL;
         child = ZOVXMLObject_getNextSibling(child))
        printTree(child, depth + 1);
}

static int find(struct ZOVXMLObject *root, const char *name, const char *scope)
{
    struct ZOVXMLObject *from = scope != NULL ? ZOVXMLObject_lookUp(root, scope) : root;
    struct ZOVXMLObject *found = from != NULL ? ZOVXMLObject_lookUp(from, name) : NULL;
    if (found == NULL) {
        fprintf(stderr, "no %s\n", from != NULL ? name : scope);
        return 0;
    }
    printf("%d %s %s\n", (int)((struct Element *)found)->line, ZOVXMLObject_getTagName(found),
           ZOVXMLObject_getFullyQualifiedName(found));
    return 1;
}

static int save(struct ZOVXMLObject *root)
{
    struct ZOVXMLSaveContext context;
    ZOVXMLSaveContext_initialize(&context);
    context.outputFile = stdout;
    DDS_XMLObject_save(root, &context, NULL);
    return !context.error;
}

int main(int argc, char **argv)
{
    const char *action = argc > 2 ? argv[2] : "";
    const int finds = argc > 3 && argc < 6 && strcmp(action, "--find") == 0;
    const int saves = argc == 3 && strcmp(action, "--save") == 0;
    struct ZOVXMLObject *root = NULL;
    int done = 1;
    if (argc != 2 && !finds && !saves) {
        fputs("usage: xmltree FILE [--find NAME [SCOPE] | --save]\n", stderr);
        return 1;
    }
    ZOVLog_registerOnMessageMethod(report);
    root = readDocument(argv[1]);
    if (root == NULL)
        return 1;
    if (finds)
        done = find(root, argv[3], argc > 4 ? argv[4] : NULL);
    else if (saves)
        done = save(root);
    else
        printTree(root, 0);
    deleteElement(root);
    return done && fflush(stdout) == 0 ? 0 : 1;
}
