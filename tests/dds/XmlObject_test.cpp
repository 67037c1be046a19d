#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "tests/support/LogCapture.hpp"

#include <gtest/gtest.h>

using test::Lines;
using test::LogCapture;

namespace {

void delete_object(ZOVXMLObject *object)
{
    DDS_XMLObject_finalize(object);
    delete object;
}

void save_object(const ZOVXMLObject *object, ZOVXMLSaveContext *context, void *argument)
{
    DDS_XMLHelper_save_freeform(context, "%u%s%s ", context->depth, object->name,
                                argument != nullptr ? "!" : "");
    DDS_XMLObject_save_children(const_cast<ZOVXMLObject *>(object), context);
}

const ZOVXMLExtensionClass kModule = {"module", delete_object, save_object};
const ZOVXMLExtensionClass kStruct = {"struct", delete_object, save_object};
const ZOVXMLExtensionClass kNotSaved = {"struct", delete_object, nullptr};

class XmlTree : public testing::Test
{
protected:
    ~XmlTree() override { delete_object(root); }

    static ZOVXMLObject *make(ZOVXMLObject *parent, const char *name,
                              const ZOVXMLExtensionClass &tag, const char *base = nullptr)
    {
        auto *object = new ZOVXMLObject();
        EXPECT_TRUE(DDS_XMLObject_initialize(object, &tag, parent, name, base));
        EXPECT_TRUE(parent == nullptr || ZOVXMLObject_addChild(parent, object));
        return object;
    }

    LogCapture log;
    ZOVXMLObject *root = make(nullptr, "root", kModule);
    ZOVXMLObject *module = make(root, "m", kModule);
    ZOVXMLObject *base = make(module, "Base", kStruct);
    ZOVXMLObject *derived = make(module, "Derived", kStruct, "Base");
    ZOVXMLObject *last = make(root, "last", kNotSaved);
};

/**
 * What an object is, the names of its parent, root, base, first and last child, previous and next
 * sibling, and of the first child, the next and the previous sibling that is a module or a struct.
 */
std::string place_of(ZOVXMLObject *object)
{
    std::string text = std::string(DDS_XMLObject_get_tag_name(object)) + " " +
                       DDS_XMLObject_get_fully_qualified_name(object) + " of " +
                       std::to_string(DDS_XMLObject_get_child_count(object)) + ":";
    const auto add = [&text](ZOVXMLObject *other) {
        text += std::string(" ") + (other == nullptr ? "-" : DDS_XMLObject_get_name(other));
    };
    for (const auto get : {DDS_XMLObject_get_parent, DDS_XMLObject_get_root, DDS_XMLObject_get_base,
                           DDS_XMLObject_get_first_child, DDS_XMLObject_get_last_child,
                           DDS_XMLObject_get_prev_sibling, DDS_XMLObject_get_next_sibling})
        add(get(object));
    for (const auto get :
         {DDS_XMLObject_get_first_child_with_tag, DDS_XMLObject_get_next_sibling_with_tag,
          DDS_XMLObject_get_prev_sibling_with_tag})
        for (const char *tag : {"module", "struct"})
            add(get(object, tag));
    return text;
}

TEST_F(XmlTree, KnowsThePlaceOfEachObject)
{
    ZOVXMLObject *archive = make(module, "archive", kModule);
    const std::pair<ZOVXMLObject *, const char *> places[] = {
        {root, "module  of 2: - root - m last - - m last - - - -"},
        {module, "module ::m of 3: root root - Base archive - last archive Base - last - -"},
        {base, "struct ::m::Base of 0: m root - - - - Derived - - archive Derived - -"},
        {derived, "struct ::m::Derived of 0: m root Base - - Base archive - - archive - - Base"},
        {archive, "module ::m::archive of 0: m root - - - Derived - - - - - - Derived"},
        {last, "struct ::last of 0: root root - - - m - - - - - m -"},
    };
    EXPECT_TRUE(DDS_XMLObject_initialize(derived, &kModule, nullptr, "only once", nullptr));
    for (const auto &[object, place] : places)
        EXPECT_EQ(place_of(object), place);
    EXPECT_EQ(ZOVXMLObject_getExtensionClass(derived), &kStruct);
    EXPECT_EQ(DDS_XMLObject_lookup(base, "last"), last);
    EXPECT_EQ(DDS_XMLObject_lookup_child(root, "last"), last);
    EXPECT_EQ(DDS_XMLObject_lookup_child(base, "last"), nullptr);
    EXPECT_EQ(log.lines(), Lines());
}

TEST_F(XmlTree, TellsWhatIsMissing)
{
    ZOVXMLObject object = {};
    ZOVXMLSaveContext context = {};
    Lines expected;
#define LACKS_AS(CONTEXT, WORD, RESULT)                                                            \
    EXPECT_FALSE(RESULT);                                                                          \
    expected.push_back("DDS_XMLObject_" #CONTEXT ":bad parameter: " WORD "\n");
#define LACKS(WORD, OPERATION, ...)                                                                \
    LACKS_AS(OPERATION, WORD, DDS_XMLObject_##OPERATION(__VA_ARGS__))
#define IGNORES(WORD, OPERATION, ...)                                                              \
    LACKS_AS(OPERATION, WORD, (DDS_XMLObject_##OPERATION(__VA_ARGS__), false))
#define SEARCH(OPERATION, WORD)                                                                    \
    LACKS("self", OPERATION, nullptr, "m") LACKS(WORD, OPERATION, root, nullptr)
    LACKS("self", get_name, nullptr)
    LACKS("self", get_tag_name, nullptr)
    LACKS("self", get_fully_qualified_name, nullptr)
    LACKS("self", get_base, nullptr)
    LACKS("self", get_parent, nullptr)
    LACKS("self", get_root, nullptr)
    LACKS("self", get_first_child, nullptr)
    LACKS("self", get_last_child, nullptr)
    LACKS("self", get_next_sibling, nullptr)
    LACKS("self", get_prev_sibling, nullptr)
    LACKS_AS(get_first_child, "self", DDS_XMLObject_get_child_count(nullptr))
    SEARCH(lookup, "name")
    SEARCH(lookup_child, "child_name")
    SEARCH(get_first_child_with_tag, "child_tag_ame")
    SEARCH(get_next_sibling_with_tag, "sibling_tag_name")
    SEARCH(get_prev_sibling_with_tag, "sibling_tag_name")
    LACKS("self", initialize, nullptr, &kModule, nullptr, "a", nullptr)
    LACKS("extension_class", initialize, &object, nullptr, nullptr, "a", nullptr)
    IGNORES("self", finalize, nullptr)
    IGNORES("self", save, nullptr, &context, nullptr)
    IGNORES("dst", save, root, nullptr, nullptr)
    IGNORES("self", save_children, nullptr, &context)
    IGNORES("dst", save_children, root, nullptr)
    EXPECT_EQ(log.take(), expected);
    EXPECT_FALSE(DDS_XMLObject_initialize(&object, &kModule, nullptr, nullptr, nullptr));
    EXPECT_FALSE(DDS_XMLObject_initialize(&object, &kModule, nullptr, "a", "nowhere"));
    EXPECT_EQ(log.take(), Lines({"DDS_XMLObject_initialize:!init XML object\n",
                                 "ZOVXMLObject_initialize:base 'nowhere' not found\n",
                                 "DDS_XMLObject_initialize:!init XML object\n"}));
}

TEST_F(XmlTree, IsSavedByItsClassesAndPrinted)
{
    char text[100];
    ZOVXMLSaveContext context = {};
    context.outputBuffer = text;
    context.outputBufferSize = sizeof text;
    DDS_XMLObject_save(root, &context, &context);
    EXPECT_STREQ(text, "0root! 1m 2Base 2Derived ");
    EXPECT_EQ(context.depth, 0u);
    context.length = 0;
    base->isNotSaved = ZOV_TRUE;
    DDS_XMLObject_save(root, &context, nullptr);
    EXPECT_STREQ(text, "0root 1m 2Derived ");
    testing::internal::CaptureStdout();
    DDS_XMLHelper_print_xml_tree(root, 1);
    EXPECT_EQ("\n" + testing::internal::GetCapturedStdout(), R"(
  <module name="root">
    <module name="m">
      <struct name="Base">
      </struct>
      <struct name="Derived">
      </struct>
    </module>
    <struct name="last">
    </struct>
  </module>
)");
}

TEST_F(XmlTree, FindsChildrenBasesAndTypes)
{
    EXPECT_EQ(DDS_XMLHelper_get_child_by_name(module, "Base"), base);
    EXPECT_EQ(DDS_XMLHelper_get_child_by_name_and_tag(module, "Base", "struct"), base);
    EXPECT_EQ(DDS_XMLHelper_get_child_by_name_and_tag(module, "Base", "enum"), nullptr);
    EXPECT_EQ(DDS_XMLHelper_get_child_by_name_and_tag(module, "Nobody", "struct"), nullptr);
    EXPECT_TRUE(DDS_XMLHelper_is_parent_and_child(module, base));
    EXPECT_FALSE(DDS_XMLHelper_is_parent_and_child(root, base));
    EXPECT_FALSE(DDS_XMLHelper_is_parent_and_child(module, root));
    EXPECT_STREQ(DDS_XMLHelper_get_qualified_base_name(derived), "m::Base");
    EXPECT_STREQ(DDS_XMLHelper_get_qualified_base_name(make(base, "Inner", kStruct, "::root")), "");
    EXPECT_EQ(DDS_XMLHelper_get_qualified_base_name(base), nullptr);
    for (const char *name : {"struct", "union", "enum", "valuetype", "sparse_valuetype"}) {
        const ZOVXMLExtensionClass tag = {name, delete_object, nullptr};
        ZOVXMLObject *type = make(module, name, tag);
        EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, name), type);
        EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, ("m::" + std::string(name)).c_str()), type);
        type->extensionClass = &kNotSaved;
    }
    for (const char *name : {static_cast<const char *>(nullptr), "Nobody", "m"})
        EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, name), nullptr);
    EXPECT_EQ(log.lines(), Lines({"DDS_XMLHelper_lookupXmlTypeCode:!get XMLTypeCode\n",
                                  "DDS_XMLHelper_lookupXmlTypeCode: Type element with name \"m\" "
                                  "is not a type definition"}));
}

} // namespace
