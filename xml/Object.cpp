#include "xml/Object.h"

#include "osapi/Owned.hpp"
#include "osapi/Stdio.h"
#include "xml/Log.hpp"

#include <cstddef>
#include <cstring>

static_assert(offsetof(ZOVXMLObject, siblingOwner) == 0 && offsetof(ZOVXMLObject, sibling) == 8);
static_assert(offsetof(ZOVXMLObject, state) == 24 && offsetof(ZOVXMLObject, name) == 40);
static_assert(offsetof(ZOVXMLObject, isNotSaved) == 48 && offsetof(ZOVXMLObject, root) == 56);
static_assert(offsetof(ZOVXMLObject, base) == 72);
static_assert(offsetof(ZOVXMLObject, childrenByName) == 80);

namespace {

using String = zov::heap::Owned<char, zov::heap::Kind::String>;

constexpr std::size_t kNameSize = 513; // with the terminator
constexpr char kAnonymous[] = "anonymous_";
constexpr std::size_t kAddressRoom = 36; // behind an anonymous name, for "_" and an address
constexpr int8_t kMaximumLevel = 4;
constexpr char kInitialize[] = "ZOVXMLObject_initialize";

bool allocate(String &string, std::size_t length)
{
    if (ZOVOsapiHeap_allocateString(string.address(), length) != nullptr)
        return true;
    XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRING_d,
               static_cast<int>(length));
    return false;
}

bool make_name(String &stored, const ZOVXMLObject *object, const char *name)
{
    const std::size_t length = strnlen(name, kNameSize);
    if (length == kNameSize) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_LOG_ANY_FAILURE_s,
                   "object name too long");
        return false;
    }
    const bool is_anonymous = std::strncmp(name, kAnonymous, std::strlen(kAnonymous)) == 0;
    const std::size_t room = length + (is_anonymous ? kAddressRoom : 0);
    if (!allocate(stored, room))
        return false;
    if (is_anonymous)
        ZOVOsapiUtility_snprintf(stored.get(), room + 1, "%s_%p", name,
                                 static_cast<const void *>(object));
    else
        std::memcpy(stored.get(), name, length);
    return true;
}

bool make_fully_qualified_name(String &stored, const ZOVXMLObject *object, const char *name)
{
    const ZOVXMLObject *parent = object->parent;
    if (object->root == object || object->root == nullptr) // null: its parent has been finalised
        return allocate(stored, 0);
    const std::size_t room = std::strlen(parent->fullyQualifiedName) + 2 + std::strlen(name);
    if (!allocate(stored, room))
        return false;
    ZOVOsapiUtility_snprintf(stored.get(), room + 1, "%s::%s", parent->fullyQualifiedName, name);
    return true;
}

bool make_children(ZOVXMLObject *object)
{
    if (!KOBASkiplist_newDefaultAllocator(&object->childrenDescription, kMaximumLevel, 1)) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_LOG_CREATION_FAILURE_s,
                   "skiplist description");
        return false;
    }
    const bool is_ready = KOBASkiplist_init(&object->childrenByName, &object->childrenDescription,
                                            ZOVXMLObject_compare, nullptr, 0, 0);
    if (!is_ready) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_LOG_INIT_FAILURE_s, "skiplist");
        KOBASkiplist_deleteDefaultAllocator(&object->childrenDescription);
    }
    return is_ready;
}

void delete_children(ZOVXMLObject *object)
{
    KOBASkiplist_finalize(&object->childrenByName);
    KOBASkiplist_deleteDefaultAllocator(&object->childrenDescription);
}

/** Fills in names and base; what was made goes when it fails. */
bool make_names(ZOVXMLObject *object, const char *name, const char *base_name)
{
    String own;
    String fully_qualified;
    if (!make_name(own, object, name) ||
        !make_fully_qualified_name(fully_qualified, object, own.get()))
        return false;
    object->name = own.get(); // the look-up below may begin at this object
    ZOVXMLObject *scope = object->parent != nullptr ? object->parent : object;
    object->base = base_name != nullptr ? ZOVXMLObject_lookUp(scope, base_name) : nullptr;
    if (base_name != nullptr && object->base == nullptr) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOVXML_LOG_PARSER_BASE_NOT_FOUND_s,
                   base_name);
        object->name = nullptr;
        return false;
    }
    object->name = own.release();
    object->fullyQualifiedName = fully_qualified.release();
    return true;
}

ZOVXMLObject *object_of(ZOVOsapiInlineListNode *node)
{
    constexpr std::size_t kOffset = offsetof(ZOVXMLObject, sibling);
    return node == nullptr
               ? nullptr
               : reinterpret_cast<ZOVXMLObject *>(reinterpret_cast<char *>(node) - kOffset);
}

/** The first of the objects, from this one on in a direction, with a tag. */
ZOVXMLObject *find_tag(ZOVXMLObject *object, const char *tag, ZOVXMLObject *(*next)(ZOVXMLObject *))
{
    while (object != nullptr && std::strcmp(object->extensionClass->tagName, tag) != 0)
        object = next(object);
    return object;
}

} // namespace

ZOVBool ZOVXMLObject_initialize(ZOVXMLObject *object, const ZOVXMLExtensionClass *extensionClass,
                                ZOVXMLObject *parent, const char *name, const char *baseName)
{
    if (object->state == ZOV_XML_OBJECT_INITIALIZED)
        return ZOV_TRUE;
    *object = {};
    object->extensionClass = extensionClass;
    object->parent = parent;
    object->root = parent != nullptr ? parent->root : object;
    if (!make_children(object))
        return ZOV_FALSE;
    if (!make_names(object, name, baseName)) {
        delete_children(object);
        return ZOV_FALSE;
    }
    object->state = ZOV_XML_OBJECT_INITIALIZED;
    return ZOV_TRUE;
}

void ZOVXMLObject_finalize(ZOVXMLObject *object)
{
    if (object->state != ZOV_XML_OBJECT_INITIALIZED)
        return;
    ZOVOsapiHeap_freeString(object->fullyQualifiedName);
    ZOVOsapiHeap_freeString(object->name);
    object->fullyQualifiedName = nullptr;
    object->name = nullptr;
    for (ZOVOsapiInlineListNode *node = object->children.first; node != nullptr;) {
        ZOVXMLObject *child = object_of(node);
        node = node->next;
        child->extensionClass->deleteObject(child);
    }
    ZOVOsapiInlineList_initialize(&object->children);
    object->childCount = 0;
    delete_children(object);
    object->root = nullptr;
    object->parent = nullptr;
    object->state = ZOV_XML_OBJECT_FINALIZED;
}

ZOVBool ZOVXMLObject_addChild(ZOVXMLObject *parent, ZOVXMLObject *child)
{
    ZOVBool existed = ZOV_FALSE;
    if (KOBASkiplist_assertNodeEA(&parent->childrenByName, &existed, child, 0, 0) == nullptr) {
        XML_LOG(Exception, kSubmoduleObject, ZOV_LOG_ADD_FAILURE_s, "XML object");
        return ZOV_FALSE;
    }
    if (existed) {
        if (ZOV_LOG_IS_ON(ZOVXMLLog, Exception, zov::xml::kSubmoduleObject))
            ZOVLog_debug("%s: XML object with name '%s' already exists\n", __func__, child->name);
        return ZOV_FALSE;
    }
    child->siblingOwner = parent;
    ZOVOsapiInlineList_addNodeToBack(&parent->children, &child->sibling);
    ++parent->childCount;
    return ZOV_TRUE;
}

int32_t ZOVXMLObject_compare(const void *a, const void *b)
{
    return std::strcmp(static_cast<const ZOVXMLObject *>(a)->name,
                       static_cast<const ZOVXMLObject *>(b)->name);
}

ZOVXMLObject *ZOVXMLObject_getFirstChildWithTag(ZOVXMLObject *object, const char *tag)
{
    return find_tag(ZOVXMLObject_getFirstChild(object), tag, ZOVXMLObject_getNextSibling);
}

ZOVXMLObject *ZOVXMLObject_getNextSiblingWithTag(ZOVXMLObject *object, const char *tag)
{
    return find_tag(ZOVXMLObject_getNextSibling(object), tag, ZOVXMLObject_getNextSibling);
}

ZOVXMLObject *ZOVXMLObject_getPrevSiblingWithTag(ZOVXMLObject *object, const char *tag)
{
    return find_tag(ZOVXMLObject_getPrevSibling(object), tag, ZOVXMLObject_getPrevSibling);
}

ZOVXMLObject *ZOVXMLObject_getFirstChild(ZOVXMLObject *object)
{
    return object_of(object->children.first);
}

ZOVXMLObject *ZOVXMLObject_getLastChild(ZOVXMLObject *object)
{
    return object_of(object->children.last);
}

int32_t ZOVXMLObject_getChildCount(ZOVXMLObject *object)
{
    return object->childCount;
}

ZOVXMLObject *ZOVXMLObject_getNextSibling(ZOVXMLObject *object)
{
    return object_of(object->sibling.next);
}

ZOVXMLObject *ZOVXMLObject_getPrevSibling(ZOVXMLObject *object)
{
    return object_of(object->sibling.previous);
}

const char *ZOVXMLObject_getTagName(ZOVXMLObject *object)
{
    return object->extensionClass->tagName;
}

const ZOVXMLExtensionClass *ZOVXMLObject_getExtensionClass(ZOVXMLObject *object)
{
    return object->extensionClass;
}

const char *ZOVXMLObject_getName(ZOVXMLObject *object)
{
    return object->name;
}

ZOVXMLObject *ZOVXMLObject_getRoot(ZOVXMLObject *object)
{
    return object->root;
}

ZOVXMLObject *ZOVXMLObject_getParent(ZOVXMLObject *object)
{
    return object->parent;
}

ZOVXMLObject *ZOVXMLObject_getBase(ZOVXMLObject *object)
{
    return object->base;
}

const char *ZOVXMLObject_getFullyQualifiedName(ZOVXMLObject *object)
{
    return object->fullyQualifiedName;
}
