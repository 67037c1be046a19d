/**
 * Fixed-size buffers, handed out and taken back in constant time.
 *
 * A pool owns whole blocks of buffers and grows by a block when it runs empty: to twice its last
 * growth, as far as its limits go. It never gives a block back before it is deleted. A set of pools
 * serves a request from the first pool whose buffers are large enough.
 *
 * A pool trusts its user: a buffer that is returned is not checked for where it comes from, nor for
 * being returned twice.
 *
 * Threads: a pool made with multiThreadedAccess may be shared; any other pool belongs to one thread
 * at a time. Create and delete a pool in one thread.
 *
 *     const struct KOBAFastBufferPoolProperty property =
 *         {.growth = {.initial = 64, .maximal = -1, .increment = -1}};
 *     struct KOBAFastBufferPool *pool =
 *         KOBAFastBufferPool_new(sizeof(struct Sample), 8, &property);
 *     struct Sample *sample = KOBAFastBufferPool_getBuffer(pool);
 *     ...
 *     KOBAFastBufferPool_returnBuffer(pool, sample);
 *     KOBAFastBufferPool_delete(pool);
 */
#ifndef WOLKCORE_KOBA_FAST_BUFFER_H
#define WOLKCORE_KOBA_FAST_BUFFER_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** How a pool grows: by 2, 4, 8 ... times its initial size, within these limits. */
struct KOBAFastBufferPoolGrowth
{
    int32_t initial; /**< buffers at creation, at least 1 */
    /** The most buffers that the pool may own; negative: no limit but INT32_MAX. The last growth
     * takes all that is left rather than leave little. */
    int32_t maximal;
    /** The most buffers of one growth but the last; negative: no limit; 0: no growth, and maximal
     * is initial. */
    int32_t increment;
};

/** What a pool is created with. */
struct KOBAFastBufferPoolProperty
{
    struct KOBAFastBufferPoolGrowth growth; /**< its size and its limits */
    int32_t multiThreadedAccess;            /**< not 0: get and return take a mutex */
    int32_t zeroBufferContent;              /**< not 0: a buffer is zeroed when it is handed out */
    int32_t overrideGrowthLimits; /**< not 0: maximal is no limit, an increment of 0 is none */
};
typedef struct KOBAFastBufferPoolProperty KOBAFastBufferPoolProperty;

struct KOBAFastBufferPool;
/** A pool; its contents are its own. */
typedef struct KOBAFastBufferPool KOBAFastBufferPool;

/** What a pool has at a moment. */
struct KOBAFastBufferPoolInfo
{
    struct KOBAFastBufferPool *pool; /**< which one */
    int32_t bufferSize;              /**< in bytes, rounded up to the alignment */
    int32_t alignment;               /**< in bytes */
    int32_t allocated;               /**< buffers that the pool owns */
    int32_t inUse;                   /**< buffers that are handed out */
    int32_t maximal;                 /**< growth.maximal of its property */
};
typedef struct KOBAFastBufferPoolInfo KOBAFastBufferPoolInfo;

/** Makes a new buffer ready; not 0 on success. */
typedef int32_t (*KOBAFastBufferInitializeFcn)(void *buffer, void *parameter);
/** Undoes what was done to make it ready. */
typedef void (*KOBAFastBufferFinalizeFcn)(void *buffer, void *parameter);

/**
 * Creates a pool with its initial buffers.
 *
 * @param bufferSize          in bytes, at least 1; rounded up to a multiple of the alignment.
 * @param bufferAlignment     a power of two.
 * @param bufferInitializeFnc called on every new buffer, in the order of addresses; may be null.
 * Not together with zeroBufferContent.
 * @param bufferFinalizeFnc   called on every buffer in the pool when it is deleted, and, last
 * first, on those that were made ready in a growth in which another one could not be; may be null.
 *
 * Errors: null. "!precondition: ...\n" with the condition and then the log's assertion hook, or
 * "!create fast buffer pool\n", "!create mutex\n", "!create fast buffer pool buffers\n" behind
 * what the growth reports; the last one also for a rounded size above INT32_MAX.
 * Ownership: the caller's; delete it with KOBAFastBufferPool_delete. The property is copied.
 */
ZOV_MUST_USE struct KOBAFastBufferPool *KOBAFastBufferPool_newWithNotification(
    int32_t bufferSize, int32_t bufferAlignment, KOBAFastBufferInitializeFcn bufferInitializeFnc,
    void *initParam, KOBAFastBufferFinalizeFcn bufferFinalizeFnc, void *finalizeParam,
    const struct KOBAFastBufferPoolProperty *propertyIn);

/** KOBAFastBufferPool_newWithNotification without functions, and with its errors. */
ZOV_MUST_USE struct KOBAFastBufferPool *
KOBAFastBufferPool_new(int32_t bufferSize, int32_t bufferAlignment,
                       const struct KOBAFastBufferPoolProperty *propertyIn);

/**
 * Takes a buffer out of the pool, growing the pool when it is empty.
 *
 * Errors: null when the pool may not grow, or when growing fails (the pool is then as before):
 * debug lines of the growth, or "!init newly allocated buffer\n". "!take mutex\n" with null, and
 * "!give mutex\n" with a buffer that is not zeroed.
 * Ownership: the pool's; give it back with KOBAFastBufferPool_returnBuffer.
 */
void *KOBAFastBufferPool_getBuffer(struct KOBAFastBufferPool *pool) ZOV_NONNULL();

/**
 * Takes a buffer if there is one: the pool does not grow, and the buffer is not zeroed.
 *
 * Errors: null when there is none; "!take mutex\n" with null, "!give mutex\n" with a buffer.
 */
void *KOBAFastBufferPool_getBufferNoMalloc(struct KOBAFastBufferPool *pool) ZOV_NONNULL();

/**
 * Gives a buffer back to its pool; null, and one that the pool has no room for, is dropped.
 *
 * Errors: "!take mutex\n", and the buffer stays out; "!give mutex\n".
 */
void KOBAFastBufferPool_returnBuffer(struct KOBAFastBufferPool *pool, void *buffer) ZOV_NONNULL(1);

/**
 * Deletes a pool with all its buffers; null is ignored.
 *
 * Errors: the warning "!all buffers returned\n" for a pool with a finalise function, whose buffers
 * that are still out go without it.
 */
void KOBAFastBufferPool_delete(struct KOBAFastBufferPool *pool);

/** The size of a buffer in bytes, rounded up to the alignment. */
int32_t KOBAFastBufferPool_getBufferSize(const struct KOBAFastBufferPool *pool) ZOV_NONNULL();

/** The pool's own copy of what it was created with. */
const struct KOBAFastBufferPoolProperty *
KOBAFastBufferPool_getProperty(const struct KOBAFastBufferPool *pool) ZOV_NONNULL();

/** Tells what a pool has. Takes no mutex. @return growth.maximal. */
int32_t KOBAFastBufferPool_getInfo(struct KOBAFastBufferPool *pool,
                                   struct KOBAFastBufferPoolInfo *info) ZOV_NONNULL();

/** Prints what a pool has to standard output, six lines. */
void KOBAFastBufferPoolInfo_display(const struct KOBAFastBufferPoolInfo *info) ZOV_NONNULL();

/** Pools in the order in which their sizes were given. */
struct KOBAFastBufferPoolSet
{
    int32_t poolCount;                 /**< pools in the set */
    int32_t largestBufferSize;         /**< the last size given */
    struct KOBAFastBufferPool **pools; /**< one a size, in the order given */
};
typedef struct KOBAFastBufferPoolSet KOBAFastBufferPoolSet;

/**
 * Creates a pool for each size, all with the same alignment and property.
 *
 * @param bufferSizes ascending; the order is not checked.
 *
 * Errors: null. "!precondition: ...\n" and the log's assertion hook, or "!create ...\n" with "fast
 * buffer pool set", "fast buffer pool array" or "fast buffer pool" behind the pool's own report.
 * Ownership: the caller's; delete it with KOBAFastBufferPoolSet_delete.
 */
ZOV_MUST_USE struct KOBAFastBufferPoolSet *
KOBAFastBufferPoolSet_new(int32_t poolCount, const int32_t *bufferSizes, int32_t bufferAlignment,
                          const struct KOBAFastBufferPoolProperty *propertyIn);

/** The first pool whose buffers are large enough; null when there is none. */
struct KOBAFastBufferPool *KOBAFastBufferPoolSet_getPool(struct KOBAFastBufferPoolSet *set,
                                                         int32_t size) ZOV_NONNULL();

/** A buffer of that pool; null when there is none, and with that pool's errors. */
void *KOBAFastBufferPoolSet_getBuffer(struct KOBAFastBufferPoolSet *set, int32_t size)
    ZOV_NONNULL();

/** Gives back a buffer that was asked for with this size; of a size that no pool has it is dropped.
 */
void KOBAFastBufferPoolSet_returnBuffer(struct KOBAFastBufferPoolSet *set, void *buffer,
                                        int32_t size) ZOV_NONNULL(1);

/** Deletes a set with its pools; null is ignored. Errors: those of the pools. */
void KOBAFastBufferPoolSet_delete(struct KOBAFastBufferPoolSet *set);

/** What the process has used: a copy of the counters below. */
struct KOBAFastBufferStat
{
    int64_t heapCurrentUse;      /**< KOBAFastBufferStat_HEAP_MEM_CURRENT_USE */
    int64_t heapHighWatermark;   /**< KOBAFastBufferStat_HEAP_MEM_HIGH_WATERMARK */
    int64_t heapLowWatermark;    /**< KOBAFastBufferStat_HEAP_MEM_LOW_WATERMARK */
    int32_t heapAllocCount;      /**< KOBAFastBufferStat_HEAP_MEM_ALLOC_COUNT */
    int32_t heapFreeCount;       /**< KOBAFastBufferStat_HEAP_MEM_FREE_COUNT */
    int64_t bufferCurrentUse;    /**< KOBAFastBufferStat_FB_MEM_CURRENT_USE */
    int64_t bufferHighWatermark; /**< KOBAFastBufferStat_FB_MEM_HIGH_WATERMARK */
    int64_t bufferLowWatermark;  /**< KOBAFastBufferStat_FB_MEM_LOW_WATERMARK */
    int32_t bufferGetCount;      /**< KOBAFastBufferStat_FB_MEM_GET_COUNT */
    int32_t bufferReturnCount;   /**< KOBAFastBufferStat_FB_MEM_RETURN_COUNT */
};
typedef struct KOBAFastBufferStat KOBAFastBufferStat;

/* For whoever records the use of heap and pools; the pools themselves do not. Without locks. */
extern int64_t KOBAFastBufferStat_HEAP_MEM_CURRENT_USE;    /**< bytes of the heap in use */
extern int64_t KOBAFastBufferStat_HEAP_MEM_HIGH_WATERMARK; /**< the most of them */
extern int64_t KOBAFastBufferStat_HEAP_MEM_LOW_WATERMARK;  /**< the least of them */
extern int32_t KOBAFastBufferStat_HEAP_MEM_ALLOC_COUNT;    /**< allocations */
extern int32_t KOBAFastBufferStat_HEAP_MEM_FREE_COUNT;     /**< frees */
extern int64_t KOBAFastBufferStat_FB_MEM_CURRENT_USE;      /**< bytes of buffers in use */
extern int64_t KOBAFastBufferStat_FB_MEM_HIGH_WATERMARK;   /**< the most of them */
extern int64_t KOBAFastBufferStat_FB_MEM_LOW_WATERMARK;    /**< the least of them */
extern int32_t KOBAFastBufferStat_FB_MEM_GET_COUNT;        /**< buffers handed out */
extern int32_t KOBAFastBufferStat_FB_MEM_RETURN_COUNT;     /**< buffers given back */

/** Copies the counters. */
void KOBAFastBuffer_statGet(struct KOBAFastBufferStat *stat) ZOV_NONNULL();
/** Sets the counters to 0. */
void KOBAFastBuffer_statReset(void);

ZOV_END_DECLARATIONS

#endif
