// Any document: what can be read becomes a tree in which each object is found, and which is written
// as a document again, whole or cut off.
#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "fuzz/fuzz.hpp"
#include "xml/Utils.h"

#include <cstring>
#include <expat.h>
#include <memory>
#include <vector>

using fuzz::require;

namespace {

constexpr int kMaximumDepth = 50;

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

/** Looks a name up from an object downwards, child by child. */
ZOVXMLObject *meant_below(ZOVXMLObject *object, std::string name)
{
    if (name.starts_with("::"))
        return meant_below(object->root, name.substr(2));
    if (object->parent == nullptr && name == object->name)
        return object;
    if (name.starts_with(object->name + std::string("::")))
        name.erase(0, std::strlen(object->name) + 2);
    const std::size_t end = name.find("::");
    ZOVXMLObject *child = ZOVXMLObject_getFirstChild(object);
    while (child != nullptr && name.substr(0, end) != child->name)
        child = ZOVXMLObject_getNextSibling(child);
    return child == nullptr || end == name.npos ? child : meant_below(child, name.substr(end + 2));
}

ZOVXMLObject *meant(ZOVXMLObject *object, const std::string &name)
{
    ZOVXMLObject *found = meant_below(object, name);
    const bool goes_up = found == nullptr && object->parent != nullptr && !name.starts_with("::");
    return goes_up ? meant(object->parent, name) : found;
}

void check_look_up(const Reader &reader)
{
    for (ZOVXMLObject *object : reader.objects) {
        ZOVXMLObject *parent = object->parent;
        require(object->root == reader.root);
        if (parent != nullptr)
            require(ZOVXMLObject_lookUpChild(parent, object->name) == object);
        for (ZOVXMLObject *from : {reader.root, reader.objects.back()})
            for (const std::string name : {object->fullyQualifiedName, object->name})
                require(ZOVXMLObject_lookUp(from, name.c_str()) == meant(from, name));
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
std::string made_document(fuzz::Input input)
{
    constexpr const char *kNames[] = {"a", "b", "a::b", "::a", "$(A)", "$(B)", "$()", "anonymous_"};
    std::string text = "<o n='a'>";
    int depth = 1;
    for (int i = 0; i < 200 && !input.empty(); ++i) {
        const unsigned choice = input.byte();
        const bool closes = choice % 4 == 3 && depth > 1;
        const std::string name = kNames[choice / 4 % 8];
        const std::string base = kNames[choice / 32];
        if (closes)
            text += "</o>";
        else
            text += "<o n='" + name + "'" + (choice % 2 != 0 ? " b='" + base + "'>" : ">");
        depth += closes ? -1 : 1;
    }
    for (; depth > 0; --depth)
        text += "</o>";
    return text;
}

} // namespace

void fuzz::test(Input input)
{
    static const bool are_set = setenv("A", "value", 1) == 0 && setenv("B", "$(A)::<&>", 1) == 0;
    require(are_set);
    check_document(made_document(Input(input)));
    check_document(input.rest());
}
