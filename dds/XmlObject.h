/**
 * The objects of xml/Object.h with their arguments checked, and how they are saved.
 *
 * Errors of all: null, 0 or FALSE with "bad parameter: self\n" for a null object, and with the
 * word named for a null second argument.
 *
 * Threads: a tree belongs to one thread at a time.
 */
#ifndef WOLKCORE_DDS_XML_OBJECT_H
#define WOLKCORE_DDS_XML_OBJECT_H

#include "dds/Types.h"
#include "xml/Object.h"

ZOV_BEGIN_DECLARATIONS

/**
 * ZOVXMLObject_initialize.
 *
 * @param tag  the object's name.
 * @param name the name of its base; may be null.
 *
 * Errors: "extension_class"; FALSE with "!init XML object\n", behind the reason, or for a null tag.
 */
DDS_Boolean DDS_XMLObject_initialize(struct ZOVXMLObject *self,
                                     const struct ZOVXMLExtensionClass *extension_class,
                                     struct ZOVXMLObject *parent, const char *tag,
                                     const char *name);
/** ZOVXMLObject_finalize. */
void DDS_XMLObject_finalize(struct ZOVXMLObject *self);

/** ZOVXMLObject_getName. */
const char *DDS_XMLObject_get_name(struct ZOVXMLObject *self);
/** ZOVXMLObject_getTagName. */
const char *DDS_XMLObject_get_tag_name(struct ZOVXMLObject *self);
/** ZOVXMLObject_getFullyQualifiedName. */
const char *DDS_XMLObject_get_fully_qualified_name(struct ZOVXMLObject *self);
/** ZOVXMLObject_getBase. */
struct ZOVXMLObject *DDS_XMLObject_get_base(struct ZOVXMLObject *self);
/** ZOVXMLObject_getParent. */
struct ZOVXMLObject *DDS_XMLObject_get_parent(struct ZOVXMLObject *self);
/** ZOVXMLObject_getRoot. */
struct ZOVXMLObject *DDS_XMLObject_get_root(struct ZOVXMLObject *self);
/** ZOVXMLObject_getFirstChild. */
struct ZOVXMLObject *DDS_XMLObject_get_first_child(struct ZOVXMLObject *self);
/** ZOVXMLObject_getLastChild. */
struct ZOVXMLObject *DDS_XMLObject_get_last_child(struct ZOVXMLObject *self);
/** ZOVXMLObject_getNextSibling. */
struct ZOVXMLObject *DDS_XMLObject_get_next_sibling(struct ZOVXMLObject *self);
/** ZOVXMLObject_getPrevSibling. */
struct ZOVXMLObject *DDS_XMLObject_get_prev_sibling(struct ZOVXMLObject *self);
/** ZOVXMLObject_getChildCount. Errors: under the name of DDS_XMLObject_get_first_child. */
DDS_Long DDS_XMLObject_get_child_count(struct ZOVXMLObject *self);

/** ZOVXMLObject_lookUp. Errors: "name". */
struct ZOVXMLObject *DDS_XMLObject_lookup(struct ZOVXMLObject *self, const char *name);
/** ZOVXMLObject_lookUpChild. Errors: "child_name". */
struct ZOVXMLObject *DDS_XMLObject_lookup_child(struct ZOVXMLObject *self, const char *name);
/** The first child with a tag. Errors: "child_tag_ame". */
struct ZOVXMLObject *DDS_XMLObject_get_first_child_with_tag(struct ZOVXMLObject *self,
                                                            const char *tag);
/** The next sibling with a tag. Errors: "sibling_tag_name". */
struct ZOVXMLObject *DDS_XMLObject_get_next_sibling_with_tag(struct ZOVXMLObject *self,
                                                             const char *tag);
/** The previous sibling with a tag. Errors: "sibling_tag_name". */
struct ZOVXMLObject *DDS_XMLObject_get_prev_sibling_with_tag(struct ZOVXMLObject *self,
                                                             const char *tag);

/**
 * Writes an object as its class does; nothing when it is not to be saved or its class cannot.
 *
 * Errors: "dst".
 */
void DDS_XMLObject_save(struct ZOVXMLObject *self, struct ZOVXMLSaveContext *save_context,
                        void *arg);
/** Writes the children, one level deeper, without an argument. Errors: "dst". */
void DDS_XMLObject_save_children(struct ZOVXMLObject *self, struct ZOVXMLSaveContext *save_context);

ZOV_END_DECLARATIONS

#endif
