#include "dds/Log.hpp"
#include "dds/XmlHelper.h"
#include "dds/XmlObject.h"
#include "xml/Utils.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleXml>;

/** Cuts a text at a character; the rest, or null. */
char *cut_at(char *text, char separator)
{
    char *end = std::strchr(text, separator);
    if (end == nullptr)
        return nullptr;
    *end = '\0';
    return end + 1;
}

bool is_type_definition(const char *tag)
{
    constexpr std::string_view kTags[] = {"struct", "union", "enum", "valuetype",
                                          "sparse_valuetype"};
    return tag != nullptr && std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

} // namespace

ZOVXMLObject *DDS_XMLHelper_get_child_by_name(ZOVXMLObject *object, const char *name)
{
    return ZOVXMLObject_lookUpChild(object, name);
}

ZOVXMLObject *DDS_XMLHelper_get_child_by_name_and_tag(ZOVXMLObject *object, const char *name,
                                                      const char *tag)
{
    ZOVXMLObject *child = ZOVXMLObject_lookUpChild(object, name);
    return child != nullptr && std::strcmp(ZOVXMLObject_getTagName(child), tag) == 0 ? child
                                                                                     : nullptr;
}

DDS_Boolean DDS_XMLHelper_is_parent_and_child(ZOVXMLObject *parent, ZOVXMLObject *child)
{
    const ZOVXMLObject *own = ZOVXMLObject_getParent(child);
    return own != nullptr && own == parent; // the very same has the same name
}

const char *DDS_XMLHelper_get_qualified_base_name(ZOVXMLObject *object)
{
    ZOVXMLObject *base = ZOVXMLObject_getBase(object);
    if (base == nullptr)
        return nullptr;
    const char *name = ZOVXMLObject_getFullyQualifiedName(base);
    return std::strncmp(name, "::", 2) == 0 ? name + 2 : name;
}

ZOVXMLObject *DDS_XMLHelper_lookupXmlTypeCode(ZOVXMLObject *root, const char *name)
{
    if (name == nullptr)
        return nullptr;
    ZOVXMLObject *found = nullptr;
    for (ZOVXMLObject *child = ZOVXMLObject_getFirstChild(root);
         child != nullptr && found == nullptr; child = ZOVXMLObject_getNextSibling(child))
        found = DDS_XMLObject_lookup(child, name);
    if (found == nullptr) {
        DDS_LOG(Exception, kSubmoduleXml, ZOV_LOG_GET_FAILURE_s, "XMLTypeCode");
        return nullptr;
    }
    if (!is_type_definition(ZOVXMLObject_getTagName(found))) {
        if (ZOV_LOG_IS_ON(DDSLog, Exception, dds::kSubmoduleXml))
            ZOVLog_debug("%s: Type element with name \"%s\" is not a type definition", __func__,
                         name);
        return nullptr;
    }
    return found;
}

void DDS_XMLHelper_print_xml_tree(ZOVXMLObject *object, DDS_Long depth)
{
    const char *tag = ZOVXMLObject_getTagName(object);
    std::printf("%*s<%s name=\"%s\">\n", 2 * depth, "", tag, ZOVXMLObject_getName(object));
    for (ZOVXMLObject *child = ZOVXMLObject_getFirstChild(object); child != nullptr;
         child = ZOVXMLObject_getNextSibling(child))
        DDS_XMLHelper_print_xml_tree(child, depth + 1);
    std::printf("%*s</%s>\n", 2 * depth, "", tag);
}

const char *DDS_XMLHelper_get_attribute_value(const char **attribute_list, const char *name)
{
    if (!is_given(attribute_list, "attr_list", __func__) || !is_given(name, "name", __func__))
        return nullptr;
    return ZOVXMLHelper_getAttribute(attribute_list, name);
}

char *DDS_XMLHelper_separateFirstElementFromMask(char *text)
{
    return cut_at(text, '|');
}

char *DDS_XMLHelper_separateFirstElementFromCommaSeparatedList(char *text)
{
    return cut_at(text, ',');
}
