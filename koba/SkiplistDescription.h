/** What skiplists that share their nodes' memory have in common: allocator, levels. */
#ifndef WOLKCORE_KOBA_SKIPLIST_DESCRIPTION_H
#define WOLKCORE_KOBA_SKIPLIST_DESCRIPTION_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

struct KOBASkiplistNode;

/** Memory for a node of a level, KOBA_SKIPLIST_NODE_SIZE(level) bytes, aligned to 8; null if none.
 */
typedef struct KOBASkiplistNode *(*KOBASkiplistCreateNodeFcn)(int32_t level, void *parameter);
/** Takes a node's memory back. */
typedef void (*KOBASkiplistDestroyNodeFcn)(void *parameter, struct KOBASkiplistNode *node);
/** Chooses the level of a new node, 0 to maximumLevel; what is out of range is cut to it. */
typedef int32_t (*KOBASkiplistLevelFcn)(void *parameter, int32_t maximumLevel, uint32_t nodeCount);

/** Shared by its lists, and outlives them. */
struct KOBASkiplistDescription
{
    KOBASkiplistCreateNodeFcn createNode;   /**< obtains memory for a node */
    void *createParameter;                  /**< what it is called with */
    KOBASkiplistDestroyNodeFcn destroyNode; /**< takes it back */
    void *destroyParameter;                 /**< what it is called with */
    KOBASkiplistLevelFcn level;             /**< null: KOBASkiplist_binaryDistribution */
    void *levelParameter;                   /**< what the level function is called with */
    int8_t maximumLevel;                    /**< the highest level that a node may have */
};
typedef struct KOBASkiplistDescription KOBASkiplistDescription;

/**
 * Fills a description; it owns nothing.
 *
 * @param maxLevel 0 to 31, which the initialisation of a list checks.
 */
void KOBASkiplistDescription_init(struct KOBASkiplistDescription *desc, int8_t maxLevel,
                                  KOBASkiplistCreateNodeFcn create, void *createParam,
                                  KOBASkiplistDestroyNodeFcn destroy, void *destroyParam,
                                  KOBASkiplistLevelFcn levelFn, void *levelParam) ZOV_NONNULL(1);

/** The highest level that a node may have. */
int32_t KOBASkiplistDescription_getMaximumLevel(const struct KOBASkiplistDescription *desc)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
