/*
 * Reads an XML document into a tree of named objects, and shows what can be done with it.
 *
 *     xmltree FILE                      prints the tree, with the line of each element
 *     xmltree FILE --find NAME [SCOPE]  looks a scoped name up, from the root or from a scope
 *     xmltree FILE --save               writes the document back
 *
 * An element with a name attribute is an object of that name; one with a baseName has that object,
 * looked up from where the element stands, as its base. $(NAME) in attributes and text stands for
 * the value of an environment variable. What is wrong with a document is told with file, line and
 * reason, and the exit status is then 1.
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
#include <stdarg.h>
#include <string.h>

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
    char text[ZOV_XML_EXPANDED_SIZE]; /* of the current element, so far */
    size_t textLength;
    int failed;
};

static void complainAt(struct Reader *reader, int32_t line, const char *format, ...)
{
    va_list arguments;
    if (reader->failed)
        return;
    reader->failed = 1;
    fprintf(stderr, "%s:%d: ", reader->file, (int)line);
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
    XML_StopParser(reader->context.parser, XML_FALSE);
}

static int32_t lineOf(struct Reader *reader)
{
    return ZOVXMLContext_getCurrentLineNumber(&reader->context);
}

static void deleteElement(struct ZOVXMLObject *object)
{
    struct Element *element = (struct Element *)object;
    ZOVXMLObject_finalize(object);
    DDS_StringSeq_finalize(&element->attributes);
    ZOVOsapiHeap_freeString((char *)element->extensionClass.tagName);
    ZOVOsapiHeap_freeString(element->text);
    ZOVOsapiHeap_freeStructure(element);
}

static void saveEscaped(const char *text, struct ZOVXMLSaveContext *context)
{
    for (; *text != '\0'; ++text) {
        const char *entity = *text == '"'   ? "&quot;"
                             : *text == '&' ? "&amp;"
                             : *text == '<' ? "&lt;"
                                            : NULL;
        if (entity != NULL)
            DDS_XMLHelper_save_freeform(context, "%s", entity);
        else
            DDS_XMLHelper_save_freeform(context, "%c", *text);
    }
}

static void saveStart(struct Element *element, struct ZOVXMLSaveContext *context)
{
    const DDS_Long texts = DDS_StringSeq_get_length(&element->attributes);
    ZOVXMLSaveContext_indent(context);
    DDS_XMLHelper_save_freeform(context, "<%s", element->extensionClass.tagName);
    for (DDS_Long i = 0; i + 1 < texts; i += 2) {
        DDS_XMLHelper_save_freeform(context, " %s=\"", DDS_StringSeq_get(&element->attributes, i));
        saveEscaped(DDS_StringSeq_get(&element->attributes, i + 1), context);
        DDS_XMLHelper_save_freeform(context, "\"");
    }
}

static void saveElement(const struct ZOVXMLObject *object, struct ZOVXMLSaveContext *context,
                        void *argument)
{
    struct Element *element = (struct Element *)object;
    (void)argument;
    saveStart(element, context);
    if (object->childCount > 0) {
        DDS_XMLHelper_save_freeform(context, ">\n");
        DDS_XMLObject_save_children(&element->object, context);
        DDS_XMLHelper_save_tag(element->extensionClass.tagName,
                               DDS_XML_TAG_INDENT | DDS_XML_TAG_CLOSE_INLINE, context);
    } else if (element->text != NULL) {
        DDS_XMLHelper_save_freeform(context, ">");
        saveEscaped(element->text, context);
        DDS_XMLHelper_save_tag(element->extensionClass.tagName, DDS_XML_TAG_CLOSE_INLINE, context);
    } else
        DDS_XMLHelper_save_freeform(context, "/>\n");
}

/* The attributes with their references expanded: the element's own copies. */
static int copyAttributes(struct Element *element, const char **list)
{
    struct ZOVXMLAttributeDescriptor descriptor = {0};
    int copied = 0;
    if (!ZOVXMLAttributeDescriptor_initialize(&descriptor, list))
        return 0;
    list = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
    copied = DDS_StringSeq_from_string_array(&element->attributes, list,
                                             2 * ZOVXMLHelper_getAttributeCount(list));
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
    return copied;
}

static const char *attributeOf(struct Element *element, const char *name)
{
    const DDS_Long texts = DDS_StringSeq_get_length(&element->attributes);
    for (DDS_Long i = 0; i + 1 < texts; i += 2)
        if (strcmp(DDS_StringSeq_get(&element->attributes, i), name) == 0)
            return DDS_StringSeq_get(&element->attributes, i + 1);
    return NULL;
}

/* Makes an element of a tag; null after a complaint. */
static struct Element *newElement(struct Reader *reader, const char *tag, const char **list)
{
    struct Element *element = NULL;
    char anonymous[] = "anonymous_element";
    const char *name = NULL;
    ZOVOsapiHeap_allocateStructure(&element, struct Element);
    if (element == NULL)
        return NULL;
    element->extensionClass.tagName = KOBAString_duplicate(tag);
    element->extensionClass.deleteObject = deleteElement;
    element->extensionClass.save = saveElement;
    element->line = lineOf(reader);
    if (element->extensionClass.tagName == NULL || !copyAttributes(element, list)) {
        complainAt(reader, element->line, "the attributes of <%s> cannot be read", tag);
        deleteElement(&element->object);
        return NULL;
    }
    name = attributeOf(element, "name");
    if (!DDS_XMLObject_initialize(&element->object, &element->extensionClass, reader->current,
                                  name != NULL ? name : anonymous,
                                  attributeOf(element, "baseName"))) {
        complainAt(reader, element->line, "<%s> cannot be made", tag);
        deleteElement(&element->object);
        return NULL;
    }
    return element;
}

/* Ends a text, which only an element without others in it may have; null after a complaint. */
static const char *takeText(struct Reader *reader)
{
    struct ZOVXMLObject *element = reader->current;
    reader->textLength = 0;
    if (ZOVXMLHelper_strTrim(reader->text)[0] != '\0' && ZOVXMLObject_getChildCount(element) > 0)
        complainAt(reader, lineOf(reader), "<%s> has both text and elements",
                   ZOVXMLObject_getTagName(element));
    else if (ZOVXMLHelper_expandEnvironmentVariables(reader->text) == NULL)
        complainAt(reader, lineOf(reader), "the text of <%s> is too long",
                   ZOVXMLObject_getTagName(element));
    return reader->failed ? NULL : reader->text;
}

static void XMLCALL onStart(void *userData, const XML_Char *tag, const XML_Char **list)
{
    struct Reader *reader = userData;
    struct Element *element = reader->failed ? NULL : newElement(reader, tag, (const char **)list);
    if (element == NULL) {
        complainAt(reader, lineOf(reader), "no memory for <%s>", tag);
        return;
    }
    if (reader->current != NULL && !ZOVXMLObject_addChild(reader->current, &element->object)) {
        complainAt(reader, element->line, "there are two \"%s\" here",
                   ZOVXMLObject_getName(&element->object));
        deleteElement(&element->object);
        return;
    }
    if (reader->root == NULL)
        reader->root = &element->object;
    else
        takeText(reader);
    reader->current = &element->object;
    reader->text[0] = '\0';
}

static void XMLCALL onEnd(void *userData, const XML_Char *tag)
{
    struct Reader *reader = userData;
    struct Element *element = (struct Element *)reader->current;
    const char *text = reader->failed ? NULL : takeText(reader);
    if (text == NULL)
        return;
    if (text[0] != '\0' && (element->text = KOBAString_duplicate(text)) == NULL)
        complainAt(reader, lineOf(reader), "no memory for the text of <%s>", tag);
    reader->current = ZOVXMLObject_getParent(&element->object);
    reader->text[0] = '\0';
}

static void XMLCALL onText(void *userData, const XML_Char *text, int length)
{
    struct Reader *reader = userData;
    if (reader->textLength + (size_t)length >= sizeof reader->text) {
        complainAt(reader, lineOf(reader), "a text of more than %zu characters",
                   sizeof reader->text - 1);
        return;
    }
    memcpy(reader->text + reader->textLength, text, (size_t)length);
    reader->textLength += (size_t)length;
    reader->text[reader->textLength] = '\0';
}

/* The root of the document; null after a complaint. */
static struct ZOVXMLObject *readDocument(const char *file)
{
    static struct Reader reader;
    int64_t length = 0;
    char *document = ZOVOsapi_fileGetVerbatim(file, &length);
    if (document == NULL) {
        fprintf(stderr, "%s: cannot be read\n", file);
        return NULL;
    }
    reader.file = file;
    reader.context.parser = XML_ParserCreate(NULL);
    XML_SetUserData(reader.context.parser, &reader);
    XML_SetElementHandler(reader.context.parser, onStart, onEnd);
    XML_SetCharacterDataHandler(reader.context.parser, onText);
    if (XML_Parse(reader.context.parser, document, (int)length, 1) != XML_STATUS_OK)
        complainAt(&reader, lineOf(&reader), "%s",
                   XML_ErrorString(XML_GetErrorCode(reader.context.parser)));
    XML_ParserFree(reader.context.parser);
    ZOVOsapiHeap_freeString(document);
    if (reader.failed && reader.root != NULL) {
        deleteElement(reader.root);
        reader.root = NULL;
    }
    return reader.root;
}

static void printTree(struct ZOVXMLObject *object, int depth)
{
    const struct Element *element = (const struct Element *)object;
    const char *name = ZOVXMLObject_getName(object);
    const struct ZOVXMLObject *base = ZOVXMLObject_getBase(object);
    struct ZOVXMLObject *child = ZOVXMLObject_getFirstChild(object);
    printf("%4d %*s%s", (int)element->line, 2 * depth, "", ZOVXMLObject_getTagName(object));
    if (strncmp(name, "anonymous_", 10) != 0)
        printf(" %s", name);
    if (base != NULL)
        printf(" : %s", base->fullyQualifiedName);
    if (element->text != NULL)
        printf(" = %s", element->text);
    putchar('\n');
    for (; child != NULL; child = ZOVXMLObject_getNextSibling(child))
        printTree(child, depth + 1);
}

static int find(struct ZOVXMLObject *root, const char *file, const char *name, const char *scope)
{
    struct ZOVXMLObject *from = scope != NULL ? ZOVXMLObject_lookUp(root, scope) : root;
    struct ZOVXMLObject *found = from != NULL ? ZOVXMLObject_lookUp(from, name) : NULL;
    if (found == NULL) {
        fprintf(stderr, "%s: no %s\n", file, from != NULL ? name : scope);
        return 1;
    }
    printf("%s:%d: %s %s\n", file, (int)((struct Element *)found)->line,
           ZOVXMLObject_getTagName(found), ZOVXMLObject_getFullyQualifiedName(found));
    return 0;
}

static int save(struct ZOVXMLObject *root)
{
    struct ZOVXMLSaveContext context;
    ZOVXMLSaveContext_initialize(&context);
    context.outputFile = stdout;
    DDS_XMLObject_save(root, &context, NULL);
    return context.error || fflush(stdout) != 0;
}

static void logToStandardError(const char *line)
{
    fputs(line, stderr);
}

int main(int argc, char **argv)
{
    const char *action = argc > 2 ? argv[2] : "";
    struct ZOVXMLObject *root = NULL;
    int status = 0;
    if (argc < 2 || (argc > 2 && strcmp(action, "--save") != 0 &&
                     (strcmp(action, "--find") != 0 || argc < 4))) {
        fputs("usage: xmltree FILE [--find NAME [SCOPE] | --save]\n", stderr);
        return 1;
    }
    ZOVLog_registerOnMessageMethod(logToStandardError);
    root = readDocument(argv[1]);
    if (root == NULL)
        return 1;
    if (strcmp(action, "--find") == 0)
        status = find(root, argv[1], argv[3], argc > 4 ? argv[4] : NULL);
    else if (strcmp(action, "--save") == 0)
        status = save(root);
    else
        printTree(root, 0);
    deleteElement(root);
    return status;
}
