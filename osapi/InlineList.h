/**
 * An intrusive doubly linked list: an element starts with its node, and the list allocates
 * nothing. There is no count and no owner pointer.
 *
 * A node is in at most one list at a time.
 *
 * Threads: a list belongs to one thread at a time.
 *
 *     struct Job { struct ZOVOsapiInlineListNode node; int number; };
 *     ZOVOsapiInlineList_addNodeToBack(&jobs, &job->node);
 *     for (struct ZOVOsapiInlineListNode *n = jobs.first; n != NULL; n = n->next)
 *         run((struct Job *)n);
 */
#ifndef WOLKCORE_OSAPI_INLINE_LIST_H
#define WOLKCORE_OSAPI_INLINE_LIST_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** What an element of a list starts with. */
struct ZOVOsapiInlineListNode
{
    struct ZOVOsapiInlineListNode *next;     /**< null in the last node */
    struct ZOVOsapiInlineListNode *previous; /**< null in the first node */
};
typedef struct ZOVOsapiInlineListNode ZOVOsapiInlineListNode;

/** A list; all zero is an empty one. */
struct ZOVOsapiInlineList
{
    struct ZOVOsapiInlineListNode *first; /**< null in an empty list */
    struct ZOVOsapiInlineListNode *last;  /**< null in an empty list */
};
typedef struct ZOVOsapiInlineList ZOVOsapiInlineList;

/** Makes the list empty, without a look at what it held. */
void ZOVOsapiInlineList_initialize(struct ZOVOsapiInlineList *list) ZOV_NONNULL();
/** Clears the links. */
void ZOVOsapiInlineListNode_initialize(struct ZOVOsapiInlineListNode *node) ZOV_NONNULL();
/** Appends a node that is in no list; its links need no initialisation. */
void ZOVOsapiInlineList_addNodeToBack(struct ZOVOsapiInlineList *list,
                                      struct ZOVOsapiInlineListNode *node) ZOV_NONNULL();
/** Prepends a node that is in no list; its links need no initialisation. */
void ZOVOsapiInlineList_addNodeToFront(struct ZOVOsapiInlineList *list,
                                       struct ZOVOsapiInlineListNode *node) ZOV_NONNULL();
/** Takes the node out of this list, which it must be in, and clears its links. */
void ZOVOsapiInlineList_removeNode(struct ZOVOsapiInlineList *list,
                                   struct ZOVOsapiInlineListNode *node) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
