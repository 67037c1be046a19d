/**
 * An ordered map: nodes with a pointer to a user record, whose leading bytes are the key.
 *
 * On level 0 all nodes form one list in ascending order; each further level holds about half of the
 * nodes of the one below. A node's backward pointer is its predecessor on level 0, the head for the
 * first. Keys are unique, and must not change while their record is in a list.
 *
 * Threads: none of the operations takes a lock. EA in a name reminds of it: "exclusive area", the
 * caller holds whatever guards the list.
 *
 * Walk through a list from the head along forward[0]:
 *
 *     struct KOBASkiplist list;
 *     if (!KOBASkiplist_init(&list, &description, KOBAOrderedDataType_compareUInt, NULL, 0, 0))
 *         return false;
 *     if (KOBASkiplist_assertNodeEA(&list, NULL, sample, 0, 0) == NULL)
 *         return false;
 *     for (struct KOBASkiplistNode *node = list.head->forward[0]; node; node = node->forward[0])
 *         use(node->userData);
 */
#ifndef WOLKCORE_KOBA_SKIPLIST_H
#define WOLKCORE_KOBA_SKIPLIST_H

#include "koba/SkiplistDefaultAllocator.h"
#include "koba/SkiplistDescription.h"

ZOV_BEGIN_DECLARATIONS

/** Compares the user data of a node with a key: negative, 0, positive. */
typedef int32_t (*KOBASkiplistCompareFcn)(const void *userData, const void *key);
/** The same with a parameter of the list. */
typedef int32_t (*KOBASkiplistCompareWithParamFcn)(const void *userData, const void *key,
                                                   void *parameter);

/** Level + 1 forward pointers follow in one piece of memory. */
struct KOBASkiplistNode
{
    void *userData;     /**< the record; its leading bytes are the key */
    int8_t level;       /**< its highest level */
    uint8_t userFlag;   /**< the caller's, like the value: the list only keeps them */
    uint32_t userValue; /**< the caller's */
    struct KOBASkiplistNode *backward;   /**< null in the head */
    struct KOBASkiplistNode *forward[1]; /**< on each of its levels; null at the end */
};
typedef struct KOBASkiplistNode KOBASkiplistNode;

/** The bytes of a node of a level. */
#define KOBA_SKIPLIST_NODE_SIZE(LEVEL) (sizeof(struct KOBASkiplistNode) + 8u * (size_t)(LEVEL))

/** The value of `magic` while a list is initialised. */
#define KOBA_SKIPLIST_MAGIC 29508

/** Visible for its size and for walking through it; use the operations. */
struct KOBASkiplist
{
    int32_t magic;                 /**< KOBA_SKIPLIST_MAGIC, or 0 */
    uint32_t nodeCount;            /**< without the head */
    struct KOBASkiplistNode *head; /**< before the first node; of the maximum level */
    /** The last node. Null in a new or cleared list; the head once the last node was removed. */
    struct KOBASkiplistNode *tail;
    struct KOBASkiplistDescription *description; /**< shared; outlives the list */
    KOBASkiplistCompareFcn compare;              /**< null when there is one with a parameter */
    int8_t topLevel;                             /**< the highest level in use */
    KOBASkiplistCompareWithParamFcn compareWithParam; /**< null when there is one without */
    void *compareParam;                               /**< what it is called with */
    uint32_t appendCount; /**< nodes that were appended by KOBASkiplist_addNonExistingNodeAtEndEA */
    /** 1 when the keys are compared without a call: some comparisons of ordered data types. */
    ZOVBool fastCompare;
};
typedef struct KOBASkiplist KOBASkiplist;

/** A maximum level for a number of nodes: its logarithm, rounded up, at least 1; 31 for none. */
int32_t KOBASkiplist_getOptimumMaximumLevel(int32_t expectedCount);

/**
 * Initialises a list in the caller's record; the head gets the user data, value and flag.
 *
 * Errors: FALSE with "!create node\n" and "!create head\n", the list not initialised; FALSE without
 * a report for a description whose maximum level is out of range.
 * Ownership: the list's nodes are its own until KOBASkiplist_finalize; the description and all user
 * data stay the caller's.
 */
ZOV_MUST_USE ZOVBool KOBASkiplist_init(struct KOBASkiplist *list,
                                       struct KOBASkiplistDescription *desc,
                                       KOBASkiplistCompareFcn compare, void *userData,
                                       uint32_t userValue, uint8_t userFlag) ZOV_NONNULL(1, 2, 3);
/** The same with a comparison that gets a parameter. */
ZOV_MUST_USE ZOVBool KOBASkiplist_init_ex(struct KOBASkiplist *list,
                                          struct KOBASkiplistDescription *desc,
                                          KOBASkiplistCompareWithParamFcn compareWithParam,
                                          void *compareParam, void *userData, uint32_t userValue,
                                          uint8_t userFlag) ZOV_NONNULL(1, 2, 3);

/**
 * Creates a list on the heap.
 *
 * Errors: null, with the heap's report, or behind those of the initialisation "!init list\n".
 * Ownership: the caller's; delete it with KOBASkiplist_delete.
 */
ZOV_MUST_USE struct KOBASkiplist *KOBASkiplist_new(struct KOBASkiplistDescription *desc,
                                                   KOBASkiplistCompareFcn compare, void *userData,
                                                   uint32_t userValue, uint8_t userFlag)
    ZOV_NONNULL(1, 2);
/** The same with a comparison that gets a parameter. */
ZOV_MUST_USE struct KOBASkiplist *
KOBASkiplist_new_ex(struct KOBASkiplistDescription *desc,
                    KOBASkiplistCompareWithParamFcn compareWithParam, void *compareParam,
                    void *userData, uint32_t userValue, uint8_t userFlag) ZOV_NONNULL(1, 2);

/** Gives all nodes back and clears the record; one that is not initialised stays as it is. */
void KOBASkiplist_finalize(struct KOBASkiplist *list) ZOV_NONNULL();

/** Finalises a list of KOBASkiplist_new and frees it; null is ignored. */
void KOBASkiplist_delete(struct KOBASkiplist *list);

/** Gives all nodes but the head back. */
void KOBASkiplist_clearEA(struct KOBASkiplist *list) ZOV_NONNULL();

/**
 * Finds the node with the key of a record, or inserts one for the record.
 *
 * @param existed may be null; TRUE when it was found, FALSE when it is new.
 *
 * @return the node; the list's until it is removed.
 *
 * Errors: null with "!create node\n" twice, of the node and of the insertion; the list and
 * `existed` stay as they were.
 */
struct KOBASkiplistNode *KOBASkiplist_assertNodeEA(struct KOBASkiplist *list, ZOVBool *existed,
                                                   void *userData, uint32_t userValue,
                                                   uint8_t userFlag) ZOV_NONNULL(1, 3);

/**
 * Appends a record whose key is greater than all in the list, which is not checked: no comparison
 * is made.
 *
 * Errors: as KOBASkiplist_assertNodeEA.
 */
struct KOBASkiplistNode *KOBASkiplist_addNonExistingNodeAtEndEA(struct KOBASkiplist *list,
                                                                void *userData, uint32_t userValue,
                                                                uint8_t userFlag) ZOV_NONNULL(1);

/**
 * Takes the node with a key out of the list.
 *
 * @return the node, or null when there is none.
 *
 * Ownership: the caller's; give it back with KOBASkiplist_deleteNode.
 */
struct KOBASkiplistNode *KOBASkiplist_removeNodeEA(struct KOBASkiplist *list, const void *key)
    ZOV_NONNULL();

/** Gives the memory of a node that is in no list back; null is ignored. */
void KOBASkiplist_deleteNode(struct KOBASkiplist *list, struct KOBASkiplistNode *node)
    ZOV_NONNULL(1);

/**
 * Obtains a node of a level, with all its pointers null; it is in no list.
 *
 * Errors: null with "!create node\n".
 * Ownership: the caller's; KOBASkiplist_deleteNode.
 */
ZOV_MUST_USE struct KOBASkiplistNode *KOBASkiplistNode_new(struct KOBASkiplist *list, int8_t level,
                                                           void *userData, uint32_t userValue,
                                                           uint8_t userFlag) ZOV_NONNULL(1);

/**
 * Chooses a level by one random number, each with half the probability of the one below.
 *
 * @return at most maxLevel and the logarithm of the number of nodes; 0 for less than two nodes.
 */
int32_t KOBASkiplist_binaryDistribution(void *levelParam, int32_t maxLevel, uint32_t nodeCount);

ZOV_END_DECLARATIONS

#endif
