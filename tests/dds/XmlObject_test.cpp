#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "tests/support/LogCapture.hpp"

#include <gtest/gtest.h>
#include <vector>

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
    XmlTree()
        : root(make(nullptr, "root", kModule)), module(make(root, "m", kModule)),
          base(make(module, "Base", kStruct)), derived(make(module, "Derived", kStruct, "Base")),
          last(make(root, "last", kNotSaved))
    {
    }
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
    ZOVXMLObject *root;
    ZOVXMLObject *module;
    ZOVXMLObject *base;
    ZOVXMLObject *derived;
    ZOVXMLObject *last;
};

TEST_F(XmlTree, IsReadThroughTheChecks)
{
    EXPECT_STREQ(DDS_XMLObject_get_name(base), "Base");
    EXPECT_STREQ(DDS_XMLObject_get_tag_name(base), "struct");
    EXPECT_STREQ(DDS_XMLObject_get_fully_qualified_name(base), "::m::Base");
    EXPECT_EQ(DDS_XMLObject_get_base(derived), base);
    EXPECT_EQ(DDS_XMLObject_get_parent(base), module);
    EXPECT_EQ(DDS_XMLObject_get_root(base), root);
    EXPECT_EQ(DDS_XMLObject_get_first_child(root), module);
    EXPECT_EQ(DDS_XMLObject_get_last_child(root), last);
    EXPECT_EQ(DDS_XMLObject_get_next_sibling(module), last);
    EXPECT_EQ(DDS_XMLObject_get_prev_sibling(last), module);
    EXPECT_EQ(DDS_XMLObject_get_child_count(module), 2);
    EXPECT_EQ(DDS_XMLObject_lookup(base, "last"), last);
    EXPECT_EQ(DDS_XMLObject_lookup_child(root, "last"), last);
    EXPECT_EQ(DDS_XMLObject_lookup_child(base, "last"), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_first_child_with_tag(root, "struct"), last);
    EXPECT_EQ(DDS_XMLObject_get_next_sibling_with_tag(base, "struct"), derived);
    EXPECT_EQ(DDS_XMLObject_get_prev_sibling_with_tag(derived, "struct"), base);
    EXPECT_EQ(log.lines(), Lines());
}

TEST_F(XmlTree, TellsWhatIsMissing)
{
    ZOVXMLObject object = {};
    ZOVXMLSaveContext context = {};
    EXPECT_FALSE(DDS_XMLObject_initialize(nullptr, &kModule, nullptr, "a", nullptr));
    EXPECT_FALSE(DDS_XMLObject_initialize(&object, nullptr, nullptr, "a", nullptr));
    EXPECT_FALSE(DDS_XMLObject_initialize(&object, &kModule, nullptr, "a", "nowhere"));
    DDS_XMLObject_finalize(nullptr);
    EXPECT_EQ(DDS_XMLObject_get_name(nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_root(nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_child_count(nullptr), 0);
    EXPECT_EQ(DDS_XMLObject_lookup(nullptr, "a"), nullptr);
    EXPECT_EQ(DDS_XMLObject_lookup(root, nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_lookup_child(root, nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_first_child_with_tag(root, nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_next_sibling_with_tag(root, nullptr), nullptr);
    EXPECT_EQ(DDS_XMLObject_get_prev_sibling_with_tag(root, nullptr), nullptr);
    DDS_XMLObject_save(root, nullptr, nullptr);
    DDS_XMLObject_save_children(nullptr, &context);
    DDS_XMLObject_save_children(root, nullptr);
    const Lines reports = {
        "initialize:bad parameter: self",
        "initialize:bad parameter: extension_class",
        "ZOVXMLObject_initialize:base 'nowhere' not found",
        "initialize:!init XML object",
        "finalize:bad parameter: self",
        "get_name:bad parameter: self",
        "get_root:bad parameter: self",
        "get_first_child:bad parameter: self",
        "lookup:bad parameter: self",
        "lookup:bad parameter: name",
        "lookup_child:bad parameter: child_name",
        "get_first_child_with_tag:bad parameter: child_tag_ame",
        "get_next_sibling_with_tag:bad parameter: sibling_tag_name",
        "get_prev_sibling_with_tag:bad parameter: sibling_tag_name",
        "save:bad parameter: dst",
        "save_children:bad parameter: self",
        "save_children:bad parameter: dst",
    };
    Lines expected;
    for (const std::string &report : reports)
        expected.push_back((report[0] == 'Z' ? "" : "DDS_XMLObject_") + report + "\n");
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(XmlTree, IsSavedByItsClasses)
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
    EXPECT_EQ(DDS_XMLHelper_get_qualified_base_name(base), nullptr);
    static const ZOVXMLExtensionClass tags[] = {{"struct", delete_object, nullptr},
                                                {"union", delete_object, nullptr},
                                                {"enum", delete_object, nullptr},
                                                {"valuetype", delete_object, nullptr},
                                                {"sparse_valuetype", delete_object, nullptr}};
    for (const ZOVXMLExtensionClass &tag : tags) {
        ZOVXMLObject *type = make(module, tag.tagName, tag);
        EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, tag.tagName), type);
        EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, ("m::" + std::string(tag.tagName)).c_str()),
                  type);
    }
    EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, nullptr), nullptr);
    EXPECT_EQ(log.lines(), Lines());
    EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, "Nobody"), nullptr);
    EXPECT_EQ(DDS_XMLHelper_lookupXmlTypeCode(root, "m"), nullptr);
    EXPECT_EQ(log.lines(), Lines({"DDS_XMLHelper_lookupXmlTypeCode:!get XMLTypeCode\n",
                                  "DDS_XMLHelper_lookupXmlTypeCode: Type element with name \"m\" "
                                  "is not a type definition"}));
}

TEST_F(XmlTree, IsPrinted)
{
    testing::internal::CaptureStdout();
    DDS_XMLHelper_print_xml_tree(root, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "  <module name=\"root\">\n"
                                                      "    <module name=\"m\">\n"
                                                      "      <struct name=\"Base\">\n"
                                                      "      </struct>\n"
                                                      "      <struct name=\"Derived\">\n"
                                                      "      </struct>\n"
                                                      "    </module>\n"
                                                      "    <struct name=\"last\">\n"
                                                      "    </struct>\n"
                                                      "  </module>\n");
}

} // namespace
