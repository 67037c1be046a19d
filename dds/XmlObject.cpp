#include "dds/XmlObject.h"

#include "dds/Log.hpp"
#include "xml/Infrastructure.h"

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleXml>;

} // namespace

DDS_Boolean DDS_XMLObject_initialize(ZOVXMLObject *self,
                                     const ZOVXMLExtensionClass *extension_class,
                                     ZOVXMLObject *parent, const char *tag, const char *name)
{
    if (!is_given(self, "self", __func__) ||
        !is_given(extension_class, "extension_class", __func__))
        return DDS_BOOLEAN_FALSE;
    if (tag == nullptr || !ZOVXMLObject_initialize(self, extension_class, parent, tag, name)) {
        DDS_LOG(Exception, kSubmoduleXml, ZOV_LOG_INIT_FAILURE_s, "XML object");
        return DDS_BOOLEAN_FALSE;
    }
    return DDS_BOOLEAN_TRUE;
}

void DDS_XMLObject_finalize(ZOVXMLObject *self)
{
    if (is_given(self, "self", __func__))
        ZOVXMLObject_finalize(self);
}

#define GETTER_AS(CONTEXT, RESULT, NAME, OPERATION)                                                \
    RESULT DDS_XMLObject_##NAME(ZOVXMLObject *self)                                                \
    {                                                                                              \
        return is_given(self, "self", CONTEXT) ? ZOVXMLObject_##OPERATION(self) : RESULT{};        \
    }
#define GETTER(RESULT, NAME, OPERATION) GETTER_AS("DDS_XMLObject_" #NAME, RESULT, NAME, OPERATION)

using Text = const char *;
using Object = ZOVXMLObject *;

GETTER(Text, get_name, getName)
GETTER(Text, get_tag_name, getTagName)
GETTER(Text, get_fully_qualified_name, getFullyQualifiedName)
GETTER(Object, get_base, getBase)
GETTER(Object, get_parent, getParent)
GETTER(Object, get_root, getRoot)
GETTER(Object, get_first_child, getFirstChild)
GETTER(Object, get_last_child, getLastChild)
GETTER(Object, get_next_sibling, getNextSibling)
GETTER(Object, get_prev_sibling, getPrevSibling)
GETTER_AS("DDS_XMLObject_get_first_child", DDS_Long, get_child_count, getChildCount)

#define SEARCH(NAME, OPERATION, WORD)                                                              \
    ZOVXMLObject *DDS_XMLObject_##NAME(ZOVXMLObject *self, const char *text)                       \
    {                                                                                              \
        return is_given(self, "self", __func__) && is_given(text, WORD, __func__)                  \
                   ? ZOVXMLObject_##OPERATION(self, text)                                          \
                   : nullptr;                                                                      \
    }

SEARCH(lookup, lookUp, "name")
SEARCH(lookup_child, lookUpChild, "child_name")
SEARCH(get_first_child_with_tag, getFirstChildWithTag, "child_tag_ame")
SEARCH(get_next_sibling_with_tag, getNextSiblingWithTag, "sibling_tag_name")
SEARCH(get_prev_sibling_with_tag, getPrevSiblingWithTag, "sibling_tag_name")

void DDS_XMLObject_save(ZOVXMLObject *self, ZOVXMLSaveContext *save_context, void *arg)
{
    if (!is_given(self, "self", __func__) || !is_given(save_context, "dst", __func__))
        return;
    if (!self->isNotSaved && self->extensionClass->save != nullptr)
        self->extensionClass->save(self, save_context, arg);
}

void DDS_XMLObject_save_children(ZOVXMLObject *self, ZOVXMLSaveContext *save_context)
{
    if (!is_given(self, "self", __func__) || !is_given(save_context, "dst", __func__))
        return;
    ++save_context->depth;
    for (ZOVXMLObject *child = ZOVXMLObject_getFirstChild(self); child != nullptr;
         child = ZOVXMLObject_getNextSibling(child))
        DDS_XMLObject_save(child, save_context, nullptr);
    --save_context->depth;
}
