/**
 * Memory for the nodes of skiplists: a pool of buffers for each level.
 *
 * Threads: the plain allocator serves the lists of one thread at a time, the Safe one those of any.
 *
 *     struct KOBASkiplistDescription description;
 *     if (!KOBASkiplist_newDefaultAllocator(&description, 8, 256))
 *         return false;
 */
#ifndef WOLKCORE_KOBA_SKIPLIST_DEFAULT_ALLOCATOR_H
#define WOLKCORE_KOBA_SKIPLIST_DEFAULT_ALLOCATOR_H

#include "koba/SkiplistDescription.h"

ZOV_BEGIN_DECLARATIONS

struct KOBAFastBufferPool;
struct ZOVOsapiSemaphore;

/** What the Safe allocator hands its node functions. */
struct KOBASkiplistDefaultAllocatorParameter
{
    struct KOBAFastBufferPool **poolArray; /**< one for each level, 0 to the maximum level */
    struct ZOVOsapiSemaphore *mutex;       /**< around each use of the pools */
};
typedef struct KOBASkiplistDefaultAllocatorParameter KOBASkiplistDefaultAllocatorParameter;

/**
 * Creates the allocator, and fills the description with it and with binary distribution.
 *
 * @param maxLevel      0 to 31.
 * @param expectedCount how many nodes to have room for at first; half of them on each next level.
 *
 * Errors: FALSE with the description as it was: "!create fast buffer pool\n" or the heap's report;
 * a level out of range is not reported.
 * Ownership: the description's; give it back with KOBASkiplist_deleteDefaultAllocator, behind its
 * lists.
 */
ZOV_MUST_USE ZOVBool KOBASkiplist_newDefaultAllocator(struct KOBASkiplistDescription *desc,
                                                      int8_t maxLevel, int32_t expectedCount)
    ZOV_NONNULL();

/** Deletes it; a description of another allocator, or one whose own is deleted, stays as it is. */
void KOBASkiplist_deleteDefaultAllocator(struct KOBASkiplistDescription *desc) ZOV_NONNULL();

/**
 * The same with a mutex around each use of the pools.
 *
 * Errors: FALSE with the description as it was: "!create ...\n" with "allocatorParameter", "mutex",
 * "poolArray" or "fast buffer pool". Later, in the lists' operations, "!take mutex\n" (no node, or
 * one that is not taken back) and "!give mutex\n".
 */
ZOV_MUST_USE ZOVBool KOBASkiplist_newDefaultAllocatorSafe(struct KOBASkiplistDescription *desc,
                                                          int8_t maxLevel, int32_t expectedCount)
    ZOV_NONNULL();

/** Deletes it, as KOBASkiplist_deleteDefaultAllocator does the plain one; its lists go first. */
void KOBASkiplist_deleteDefaultAllocatorSafe(struct KOBASkiplistDescription *desc) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
