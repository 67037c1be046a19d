/**
 * A tree of named objects, looked up the way scoped identifiers are: here, then further out.
 *
 * An object is the first member of a record of its class, which its extension class knows how to
 * delete and save. Its children have different names, and are kept both by name and in the order in
 * which they were added.
 *
 * Threads: a tree belongs to one thread at a time.
 *
 *     struct Module { struct ZOVXMLObject object; ... };
 *     static const struct ZOVXMLExtensionClass moduleClass = {"module", deleteModule, saveModule};
 *     if (!ZOVXMLObject_initialize(&module->object, &moduleClass, parent, "trading", NULL) ||
 *         !ZOVXMLObject_addChild(parent, &module->object))
 *         return false;
 *     struct ZOVXMLObject *type = ZOVXMLObject_lookUp(&module->object, "common::Price");
 */
#ifndef WOLKCORE_XML_OBJECT_H
#define WOLKCORE_XML_OBJECT_H

#include "koba/Skiplist.h"
#include "osapi/InlineList.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVXMLObject;
struct ZOVXMLSaveContext;

/** What kind of element an object is. */
struct ZOVXMLExtensionClass
{
    const char *tagName; /**< the element's name */
    /** Finalises and frees an object of the class; a parent calls it for its children. */
    void (*deleteObject)(struct ZOVXMLObject *object);
    /** Writes an object of the class; may be null. */
    void (*save)(const struct ZOVXMLObject *object, struct ZOVXMLSaveContext *saveContext,
                 void *argument);
};
typedef struct ZOVXMLExtensionClass ZOVXMLExtensionClass;

/* The values of `state`. */
#define ZOV_XML_OBJECT_INITIALIZED 29508 /**< in use */
#define ZOV_XML_OBJECT_FINALIZED 29509   /**< may be initialised again */

/** Visible for its size; use the operations. All zero before it is initialised. */
struct ZOVXMLObject
{
    struct ZOVXMLObject *siblingOwner;     /**< the parent in whose list of children it is */
    struct ZOVOsapiInlineListNode sibling; /**< its place in that list */
    int32_t state;                         /**< 0 before its first use */
    char *fullyQualifiedName;              /**< the object's own copy */
    char *name;                            /**< the object's own copy */
    ZOVBool isNotSaved;                    /**< DDS_XMLObject_save leaves it out */
    int32_t reserved;                      /**< 0 */
    struct ZOVXMLObject *root;             /**< of its tree; itself for a root */
    struct ZOVXMLObject *parent;           /**< null for a root */
    struct ZOVXMLObject *base;             /**< null without one */
    struct KOBASkiplist childrenByName;    /**< for looking up */
    struct KOBASkiplistDescription childrenDescription; /**< its memory */
    struct ZOVOsapiInlineList children;                /**< in the order in which they were added */
    int32_t childCount;                                /**< how many */
    const struct ZOVXMLExtensionClass *extensionClass; /**< the caller's */
};
typedef struct ZOVXMLObject ZOVXMLObject;

/**
 * Initialises an object; it is not yet a child of its parent. One that is initialised stays as it
 * is.
 *
 * @param parent   null for a root, whose fully qualified name is empty. Those of others are their
 * parents', "::" and their own name.
 * @param name     up to 512 characters. One that begins with "anonymous_" gets "_" and the object's
 * address behind it, so that no two are equal.
 * @param baseName looked up from the parent, or in the object itself; may be null.
 *
 * Errors: FALSE, with nothing left behind: "!object name too long\n", "base '...' not found\n",
 * "!create skiplist description\n", "!init skiplist\n" or "no space on heap for string ...\n".
 * Ownership: names are copied; all else stays the caller's. ZOVXMLObject_finalize gives up the
 * rest.
 */
ZOV_MUST_USE ZOVBool ZOVXMLObject_initialize(struct ZOVXMLObject *object,
                                             const struct ZOVXMLExtensionClass *extensionClass,
                                             struct ZOVXMLObject *parent, const char *name,
                                             const char *baseName) ZOV_NONNULL(1, 2, 4);

/**
 * Frees what the object owns, and deletes its children; one that is not initialised stays.
 *
 * Each level of the tree is deleted within a call for the level above, and takes about a hundred
 * bytes of stack behind what deleteObject itself takes.
 */
void ZOVXMLObject_finalize(struct ZOVXMLObject *object) ZOV_NONNULL();

/**
 * Adds a child, by name and behind the others.
 *
 * Errors: FALSE, with the parent as it was and the child still the caller's: the debug line "...:
 * XML object with name '...' already exists\n", or "!add XML object\n".
 * Ownership: the parent's, which deletes the child when it is finalised.
 */
ZOV_MUST_USE ZOVBool ZOVXMLObject_addChild(struct ZOVXMLObject *parent, struct ZOVXMLObject *child)
    ZOV_NONNULL();

/**
 * Looks a scoped name up: among the children, and then from each parent in turn. "a::b" is b in the
 * child a, or in the object itself when that is a; "::a" starts at the root.
 */
struct ZOVXMLObject *ZOVXMLObject_lookUp(struct ZOVXMLObject *object, const char *name)
    ZOV_NONNULL();
/** The same, from the parents only when asked to. */
struct ZOVXMLObject *ZOVXMLObject_lookUpRef(struct ZOVXMLObject *object, const char *name,
                                            ZOVBool searchParents) ZOV_NONNULL();
/** The child with this name, which is not scoped; null when there is none. */
struct ZOVXMLObject *ZOVXMLObject_lookUpChild(struct ZOVXMLObject *object, const char *name)
    ZOV_NONNULL();

/** The first child with a tag, or null. */
struct ZOVXMLObject *ZOVXMLObject_getFirstChildWithTag(struct ZOVXMLObject *object, const char *tag)
    ZOV_NONNULL();
/** The next sibling with a tag, or null. */
struct ZOVXMLObject *ZOVXMLObject_getNextSiblingWithTag(struct ZOVXMLObject *object,
                                                        const char *tag) ZOV_NONNULL();
/** The previous sibling with a tag, or null. */
struct ZOVXMLObject *ZOVXMLObject_getPrevSiblingWithTag(struct ZOVXMLObject *object,
                                                        const char *tag) ZOV_NONNULL();

/** strcmp of the names of two objects. */
int32_t ZOVXMLObject_compare(const void *a, const void *b) ZOV_NONNULL();

/** The child that was added first; null without children. */
struct ZOVXMLObject *ZOVXMLObject_getFirstChild(struct ZOVXMLObject *object) ZOV_NONNULL();
/** The child that was added last; null without children. */
struct ZOVXMLObject *ZOVXMLObject_getLastChild(struct ZOVXMLObject *object) ZOV_NONNULL();
/** How many children it has. */
int32_t ZOVXMLObject_getChildCount(struct ZOVXMLObject *object) ZOV_NONNULL();
/** The child of its parent that was added next, or null. */
struct ZOVXMLObject *ZOVXMLObject_getNextSibling(struct ZOVXMLObject *object) ZOV_NONNULL();
/** The child of its parent that was added before, or null. */
struct ZOVXMLObject *ZOVXMLObject_getPrevSibling(struct ZOVXMLObject *object) ZOV_NONNULL();
/** The tag of its class; the class's. */
const char *ZOVXMLObject_getTagName(struct ZOVXMLObject *object) ZOV_NONNULL();
/** Its class. */
const struct ZOVXMLExtensionClass *ZOVXMLObject_getExtensionClass(struct ZOVXMLObject *object)
    ZOV_NONNULL();
/** Its name; the object's, until it is finalised. */
const char *ZOVXMLObject_getName(struct ZOVXMLObject *object) ZOV_NONNULL();
/** The root of its tree; itself for a root. */
struct ZOVXMLObject *ZOVXMLObject_getRoot(struct ZOVXMLObject *object) ZOV_NONNULL();
/** Its parent; null for a root. */
struct ZOVXMLObject *ZOVXMLObject_getParent(struct ZOVXMLObject *object) ZOV_NONNULL();
/** Its base; null without one. */
struct ZOVXMLObject *ZOVXMLObject_getBase(struct ZOVXMLObject *object) ZOV_NONNULL();
/** Its scoped name from the root, as in "::a::b"; the object's, until it is finalised. */
const char *ZOVXMLObject_getFullyQualifiedName(struct ZOVXMLObject *object) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
