// Any document: what can be read becomes a tree in which each object is found, and which is written
// as a document again, whole or cut off. Any text: references, keywords and numbers in it.
#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "log/Log.h"
#include "xml/Utils.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kMaximumDepth = 50;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void delete_object(ZOVXMLObject *object)
{
    DDS_XMLObject_finalize(object);
    delete object;
}

void save_object(const ZOVXMLObject *object, ZOVXMLSaveContext *context, void *)
{
    DDS_XMLHelper_save_tag("object", DDS_XML_TAG_OPEN_BLOCK, context);
    DDS_XMLHelper_save_string("name", object->name, context);
    DDS_XMLObject_save_children(const_cast<ZOVXMLObject *>(object), context);
    DDS_XMLHelper_save_tag("object", DDS_XML_TAG_CLOSE_BLOCK, context);
}

const ZOVXMLExtensionClass kClass = {"object", delete_object, save_object};

struct Reader
{
    XML_Parser parser = nullptr;
    ZOVXMLObject *root = nullptr;
    ZOVXMLObject *current = nullptr;
    int depth = 0;
    std::vector<ZOVXMLObject *> objects;
};

ZOVXMLObject *make_object(ZOVXMLObject *parent, const char **list)
{
    const char *name = ZOVXMLHelper_getAttribute(list, "n");
    auto object = std::make_unique<ZOVXMLObject>();
    if (!DDS_XMLObject_initialize(object.get(), &kClass, parent,
                                  name != nullptr ? name : "anonymous_",
                                  ZOVXMLHelper_getAttribute(list, "b")))
        return nullptr;
    if (parent != nullptr && !ZOVXMLObject_addChild(parent, object.get())) {
        require(ZOVXMLObject_lookUpChild(parent, object->name) != nullptr);
        ZOVXMLObject_finalize(object.get());
        return nullptr;
    }
    return object.release();
}

void start(void *user, const XML_Char *, const XML_Char **list)
{
    auto &reader = *static_cast<Reader *>(user);
    ZOVXMLAttributeDescriptor descriptor = {};
    ZOVXMLObject *object = nullptr;
    if (reader.depth < kMaximumDepth && ZOVXMLAttributeDescriptor_initialize(&descriptor, list)) {
        const char *added[] = {"added", "$(A)"};
        const char **expanded = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
        require(ZOVXMLHelper_getAttributeCount(expanded) == ZOVXMLHelper_getAttributeCount(list));
        object = make_object(reader.current, expanded);
        require(ZOVXMLAttributeDescriptor_addAttribute(&descriptor, added));
        ZOVXMLAttributeDescriptor_finalize(&descriptor);
    }
    if (object == nullptr) {
        XML_StopParser(reader.parser, XML_FALSE);
        return;
    }
    reader.objects.push_back(object);
    reader.root = object->root;
    reader.current = object;
    ++reader.depth;
}

void end(void *user, const XML_Char *)
{
    auto &reader = *static_cast<Reader *>(user);
    if (reader.current != nullptr) // else the reading was stopped at the root
        reader.current = reader.current->parent;
    --reader.depth;
}

bool is_document(const std::string &text, Reader *reader)
{
    const XML_Parser parser = XML_ParserCreate(nullptr);
    if (reader != nullptr) {
        reader->parser = parser;
        XML_SetUserData(parser, reader);
        XML_SetElementHandler(parser, start, end);
    }
    const bool done =
        XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
    XML_ParserFree(parser);
    return done;
}

void check_look_up(const Reader &reader)
{
    for (ZOVXMLObject *object : reader.objects) {
        ZOVXMLObject *parent = object->parent;
        require(object->root == reader.root);
        if (parent != nullptr)
            require(ZOVXMLObject_lookUpChild(parent, object->name) == object);
        for (ZOVXMLObject *from : {reader.root, reader.objects.back()}) {
            const ZOVXMLObject *found = ZOVXMLObject_lookUp(from, object->fullyQualifiedName);
            const ZOVXMLObject *other = ZOVXMLObject_lookUp(from, object->name);
            require(found == nullptr || found->root == reader.root);
            require(other == nullptr || other->root == reader.root);
        }
    }
}

std::string saved(ZOVXMLObject *root, std::uint32_t size)
{
    std::string text(size, '\0');
    ZOVXMLSaveContext context = {};
    context.outputBuffer = text.data();
    context.outputBufferSize = size;
    DDS_XMLObject_save(root, &context, nullptr);
    require(!context.error && context.depth == 0);
    text.resize(std::min<std::size_t>(context.length, size - 1));
    return text;
}

void check_save(ZOVXMLObject *root)
{
    ZOVXMLSaveContext measured = {};
    DDS_XMLObject_save(root, &measured, nullptr);
    const std::string all = saved(root, measured.length + 1);
    require(all.size() == measured.length && is_document(all, nullptr));
    const std::uint32_t cut = measured.length * 2 / 3;
    require(saved(root, cut + 1) == all.substr(0, cut));
}

void check_document(const std::string &text)
{
    Reader reader;
    is_document(text, &reader);
    if (reader.root == nullptr)
        return;
    check_look_up(reader);
    check_save(reader.root);
    delete_object(reader.root);
}

/** A document that is well-formed, with names that mean something to each other. */
std::string document_of(const uint8_t *data, std::size_t size)
{
    constexpr const char *kNames[] = {"a", "b", "a::b", "::a", "$(A)", "$(B)", "$()", "anonymous_"};
    std::string text = "<o n='a'>";
    int depth = 1;
    for (std::size_t i = 0; i < size; ++i) {
        const bool closes = data[i] % 4 == 3 && depth > 1;
        const std::string name = kNames[data[i] / 4 % 8];
        const std::string base = kNames[data[i] / 32];
        if (closes)
            text += "</o>";
        else
            text += "<o n='" + name + "'" + (data[i] % 2 != 0 ? " b='" + base + "'>" : ">");
        depth += closes ? -1 : 1;
    }
    for (; depth > 0; --depth)
        text += "</o>";
    return text;
}

template <class Value, class Read>
void check_reader(Read read, const std::string &text)
{
    ZOVXMLContext context = {};
    Value value = 77;
    const bool done = read(&value, text.c_str(), &context);
    require(context.error == !done && (done || value == 77));
}

void check_text(const std::string &text)
{
    check_reader<DDS_Boolean>(DDS_XMLHelper_str_to_boolean, text);
    check_reader<DDS_Long>(DDS_XMLHelper_str_to_int, text);
    check_reader<DDS_UnsignedLong>(DDS_XMLHelper_str_to_unsigned_int, text);
    check_reader<DDS_UnsignedLong>(DDS_XMLHelper_str_to_thread_settings_kind_mask, text);
    check_reader<DDS_Long>(
        [](DDS_Long *value, const char *digits, ZOVXMLContext *context) {
            const DDS_Boolean done =
                DDS_XMLHelper_str_to_int_with_interval(value, digits, -5, 100, context);
            require(!done || (*value >= -5 && *value <= 100));
            return done;
        },
        text);
    if (text.size() >= ZOV_XML_EXPANDED_SIZE)
        return;
    std::vector<char> buffer(ZOV_XML_EXPANDED_SIZE); // as large as asked for, and no larger
    std::memcpy(buffer.data(), text.c_str(), text.size() + 1);
    ZOVXMLHelper_expandEnvironmentVariables(buffer.data());
    const std::string trimmed = ZOVXMLHelper_strTrim(buffer.data());
    require(trimmed == ZOVXMLHelper_strTrim(buffer.data()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    ZOVLog_registerOnMessageMethod([](const char *) {});
    setenv("A", "value", 1);
    setenv("B", "$(A)::<&>", 1);
    setenv("C", std::string(4095, 'c').c_str(), 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const auto *bytes = reinterpret_cast<const char *>(data);
    check_document(std::string(bytes, size));
    check_document(document_of(data, std::min<std::size_t>(size, 200)));
    check_text(std::string(bytes, size > 0 ? strnlen(bytes, size) : 0));
    return 0;
}
