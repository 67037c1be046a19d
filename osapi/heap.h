/**
 * The typed heap: each request says what is being allocated, and a block is freed by the free of
 * its own kind. Fresh blocks are zero-filled.
 *
 * An allocation stores the block in the caller's pointer and returns it. When it fails it reports,
 * returns null, and leaves the caller's pointer as it was. Freeing null does nothing.
 *
 *     struct Order *order = NULL;
 *     if (ZOVOsapiHeap_allocateStructure(&order, struct Order) == NULL)
 *         return NULL;
 *     ...
 *     ZOVOsapiHeap_freeStructure(order);
 *
 * Monitoring, when it is switched on before the first allocation, gives every block a header and a
 * record: its kind is checked when it is freed, running statistics are kept, and a snapshot of all
 * live blocks can be written, each with the topic and activity of the thread that allocated it.
 *
 *     ZOVOsapiHeap_enableMonitoring();
 *     ...
 *     ZOVOsapiHeap_snapshot("heap.txt", ZOV_TRUE);
 *
 * Threads: any thread may allocate and free; a block may be freed by another thread. Switch
 * monitoring on and off while no other thread uses the heap.
 */
#ifndef WOLKCORE_OSAPI_HEAP_H
#define WOLKCORE_OSAPI_HEAP_H

#include "osapi/InlineList.h"
#include "osapi/Time.h"

ZOV_BEGIN_DECLARATIONS

/* Kinds of blocks; read as bytes, most significant first, they spell WLKA to WLKF. */
#define ZOV_OSAPI_HEAP_KIND_STRUCTURE 0x574C4B41u      /**< a record */
#define ZOV_OSAPI_HEAP_KIND_STRING 0x574C4B42u         /**< characters and a terminator */
#define ZOV_OSAPI_HEAP_KIND_ARRAY 0x574C4B43u          /**< elements of one type */
#define ZOV_OSAPI_HEAP_KIND_BUFFER 0x574C4B44u         /**< bytes */
#define ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED 0x574C4B45u /**< bytes at a multiple of an alignment */
#define ZOV_OSAPI_HEAP_KIND_MALLOC 0x574C4B46u         /**< of the untyped operations */
/** What a header holds once its block is freed. */
#define ZOV_OSAPI_HEAP_KIND_FREED 0x7B9B9B9Bu

/** The alignment argument that means the platform's own. */
#define ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT (-1)

struct ZOVOsapiHeapStringRef;

/** What a thread is allocating for. */
struct ZOVOsapiHeapContext
{
    uint32_t poolAllocation; /**< non-zero while a buffer pool allocates */
    int32_t poolBufferCount; /**< buffers that the pool will have */
    int32_t poolBufferSize;  /**< the size of each in bytes */
    const char *topic;       /**< the caller's, or null */
    const char *activity;    /**< the caller's, or null */
};
typedef struct ZOVOsapiHeapContext ZOVOsapiHeapContext;

/** The record of a live block under monitoring. */
struct ZOVOsapiHeapBlockInfo
{
    struct ZOVOsapiInlineListNode node;     /**< its place among the live blocks */
    uint64_t size;                          /**< bytes that were asked for */
    uint64_t blockId;                       /**< counted from 1 */
    struct ZOVNtpTime time;                 /**< when it was allocated */
    const char *operation;                  /**< a constant */
    const char *typeName;                   /**< a constant */
    struct ZOVOsapiHeapStringRef *topic;    /**< the thread's topic then, or null */
    struct ZOVOsapiHeapStringRef *activity; /**< the thread's activity then, or null */
    struct ZOVOsapiHeapContext context;     /**< without topic and activity */
};
typedef struct ZOVOsapiHeapBlockInfo ZOVOsapiHeapBlockInfo;

/** Statistics of monitoring; bytes are those asked for. */
struct ZOVOsapiHeapStat
{
    int64_t current;     /**< in live blocks */
    int64_t high;        /**< the most of it */
    int64_t low;         /**< the least of it */
    int64_t allocCount;  /**< blocks that were recorded */
    int64_t freeCount;   /**< a reallocation counts as a free of the old block */
    int64_t nextBlockId; /**< what the next block gets */
};
typedef struct ZOVOsapiHeapStat ZOVOsapiHeapStat;

/** Supplies the activity of a block whose thread has none; called with null under the mutex. */
typedef const char *(*ZOVOsapiHeapGetActivityFunction)(void *unused);

/** TRUE while monitoring is on. */
extern ZOVBool ZOVOsapiHeap_g_isMonitoringEnabled;
/** The activity callback; null at the start. Set by ZOVOsapiHeap_registerGetActivityFcn. */
extern ZOVOsapiHeapGetActivityFunction ZOVOsapiHeap_g_getActivityFcn;
/** Fresh allocations less frees that released memory. */
extern int64_t ZOVOsapiHeap_g_allocCount;
/** The soft RLIMIT_DATA limit in bytes, read at the first allocation; 0 before. */
extern uint64_t ZOVOsapiHeap_MAX_HEAP_SIZE;
/** What the platform's blocks are a multiple of; 0 before the first allocation, which sets 16. */
extern int32_t GLOBAL_MALLOC_ALIGNMENT;

/**
 * The operation under all allocations; the forms below say what they pass.
 *
 * @param pp where the caller's pointer is; a reallocation of null is a fresh allocation.
 * @param size in bytes.
 * @param alignment in bytes, at least 16 and a power of two after rounding up, or -1.
 * @param isReallocation TRUE keeps the old contents; a new tail is not cleared.
 * @param forceHeader TRUE gives the block a header; an explicit alignment needs one.
 * @param operationName context of what is reported; not copied.
 * @param kind ZOV_OSAPI_HEAP_KIND_..., which the free must name too.
 * @param typeName for the record; not copied.
 *
 * Errors: null; the caller's pointer and an old block are as before. Reported as exceptions: "NULL
 * pointer passed as output parameter.", an alignment without a header, a reallocation of another
 * kind of block. Reported as warnings: a size above the data limit, an unreadable limit, and a
 * refusal of the platform ("!malloc %lu bytes\n", then "errno = %d\n"). A block that the platform
 * refused to grow has lost its record: free it before monitoring ends.
 */
void *ZOVOsapiHeap_reallocateMemoryInternal(void **pp, uint64_t size, int32_t alignment,
                                            ZOVBool isReallocation, ZOVBool forceHeader,
                                            const char *operationName, uint32_t kind,
                                            const char *typeName);

/**
 * The operation under all frees. Null is ignored.
 *
 * @param hasHeader TRUE for a block that has one also without monitoring: an aligned one.
 *
 * Errors: a header of another kind is reported as an exception that names both operations, and
 * nothing is freed. Under monitoring a second free is noticed in this way too, for the blocks that
 * were freed last.
 */
void ZOVOsapiHeap_freeMemoryInternal(void *pointer, ZOVBool hasHeader, const char *operationName,
                                     uint32_t kind);

/** The name of the allocating operation for a kind; a constant text. */
const char *ZOVOsapiHeap_allocKind2FcnName(uint32_t kind);

/** count * size, or all ones, which no platform grants, when the product is too large. */
static inline uint64_t ZOVOsapiHeap_productSize(uint64_t count, uint64_t size)
{
    uint64_t product;
    return __builtin_mul_overflow(count, size, &product) ? UINT64_MAX : product;
}

/** Bytes of a string of this many characters, saturated like ZOVOsapiHeap_productSize. */
static inline uint64_t ZOVOsapiHeap_stringSize(uint64_t length)
{
    return length == UINT64_MAX ? length : length + 1;
}

/** ZOVOsapiHeap_reallocateMemoryInternal with a pointer to a pointer of any type. */
#define ZOV_OSAPI_HEAP_ALLOCATE(PP, SIZE, ALIGNMENT, REALLOCATE, HEADER, OPERATION, KIND, TYPE)    \
    ZOVOsapiHeap_reallocateMemoryInternal((void **)(PP), (SIZE), (ALIGNMENT), (REALLOCATE),        \
                                          (HEADER), (OPERATION), (KIND), (TYPE))

/** void *ZOVOsapiHeap_allocateStructure(pp, type): a record of the type. */
#define ZOVOsapiHeap_allocateStructure(PP, TYPE)                                                   \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, sizeof(TYPE), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE,         \
                            ZOV_FALSE, "ZOVOsapiHeap_allocateStructure",                           \
                            ZOV_OSAPI_HEAP_KIND_STRUCTURE, #TYPE)
/** Frees a record of ZOVOsapiHeap_allocateStructure. */
#define ZOVOsapiHeap_freeStructure(POINTER)                                                        \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeStructure",            \
                                    ZOV_OSAPI_HEAP_KIND_STRUCTURE)

/** void *ZOVOsapiHeap_allocateString(pp, length): length characters and a terminator. */
#define ZOVOsapiHeap_allocateString(PP, LENGTH)                                                    \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_stringSize(LENGTH), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, \
                            ZOV_FALSE, ZOV_FALSE, "ZOVOsapiHeap_allocateString",                   \
                            ZOV_OSAPI_HEAP_KIND_STRING, "char")
/** void *ZOVOsapiHeap_reallocateString(pp, length): the same, with the old beginning kept. */
#define ZOVOsapiHeap_reallocateString(PP, LENGTH)                                                  \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_stringSize(LENGTH), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, \
                            ZOV_TRUE, ZOV_FALSE, "ZOVOsapiHeap_reallocateString",                  \
                            ZOV_OSAPI_HEAP_KIND_STRING, "char")
/** Frees a string of ZOVOsapiHeap_allocateString. */
#define ZOVOsapiHeap_freeString(POINTER)                                                           \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeString",               \
                                    ZOV_OSAPI_HEAP_KIND_STRING)

/** void *ZOVOsapiHeap_allocateArray(pp, count, type): count elements of the type. */
#define ZOVOsapiHeap_allocateArray(PP, COUNT, TYPE)                                                \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_productSize((COUNT), sizeof(TYPE)),                   \
                            ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE, ZOV_FALSE,                \
                            "ZOVOsapiHeap_allocateArray", ZOV_OSAPI_HEAP_KIND_ARRAY, #TYPE)
/** void *ZOVOsapiHeap_reallocateArray(pp, count, type): the same, with the first elements kept. */
#define ZOVOsapiHeap_reallocateArray(PP, COUNT, TYPE)                                              \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_productSize((COUNT), sizeof(TYPE)),                   \
                            ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_TRUE, ZOV_FALSE,                 \
                            "ZOVOsapiHeap_reallocateArray", ZOV_OSAPI_HEAP_KIND_ARRAY, #TYPE)
/** Frees an array of ZOVOsapiHeap_allocateArray. */
#define ZOVOsapiHeap_freeArray(POINTER)                                                            \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeArray",                \
                                    ZOV_OSAPI_HEAP_KIND_ARRAY)

/** void *ZOVOsapiHeap_allocateBuffer(pp, size): bytes. */
#define ZOVOsapiHeap_allocateBuffer(PP, SIZE)                                                      \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, (SIZE), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE, ZOV_FALSE,    \
                            "ZOVOsapiHeap_allocateBuffer", ZOV_OSAPI_HEAP_KIND_BUFFER,             \
                            "unsigned char")
/** Frees a buffer of ZOVOsapiHeap_allocateBuffer. */
#define ZOVOsapiHeap_freeBuffer(POINTER)                                                           \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeBuffer",               \
                                    ZOV_OSAPI_HEAP_KIND_BUFFER)

/** void *ZOVOsapiHeap_allocateBufferAligned(pp, size, alignment): bytes at a multiple of it. */
#define ZOVOsapiHeap_allocateBufferAligned(PP, SIZE, ALIGNMENT)                                    \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, (SIZE), (ALIGNMENT), ZOV_FALSE, ZOV_TRUE,                          \
                            "ZOVOsapiHeap_allocateBufferAligned",                                  \
                            ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED, "unsigned char")
/** Frees a buffer of ZOVOsapiHeap_allocateBufferAligned. */
#define ZOVOsapiHeap_freeBufferAligned(POINTER)                                                    \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_TRUE, "ZOVOsapiHeap_freeBufferAligned",         \
                                    ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED)

/** Bytes, or null; zero-filled like all fresh blocks. */
ZOV_MUST_USE void *ZOVOsapiHeap_malloc(uint64_t size);
/** count * size bytes, or null. */
ZOV_MUST_USE void *ZOVOsapiHeap_calloc(uint64_t count, uint64_t size);
/** Frees what ZOVOsapiHeap_malloc and ZOVOsapiHeap_calloc returned. */
#define ZOVOsapiHeap_free(POINTER)                                                                 \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_free",                     \
                                    ZOV_OSAPI_HEAP_KIND_MALLOC)

/**
 * Switches monitoring on.
 *
 * Errors: FALSE, reported, and monitoring stays as it was: blocks are allocated already, which they
 * are too while it is on, no memory, no mutex, no thread-specific storage.
 */
ZOVBool ZOVOsapiHeap_enableMonitoring(void);
/**
 * Switches monitoring off. Free blocks that were allocated during a pause before.
 *
 * Errors: with a recorded block alive it reports so, and monitoring stays on.
 */
void ZOVOsapiHeap_disableMonitoring(void);
/** TRUE while monitoring is on, also during a pause. */
ZOVBool ZOVOsapiHeap_isMonitoringEnabled(void);

/**
 * Stops recording new blocks. Recorded ones are still followed.
 *
 * Errors: FALSE, reported, when monitoring is off or the mutex fails.
 */
ZOVBool ZOVOsapiHeap_pauseMonitoring(void);
/** Records new blocks again; errors as for the pause. */
ZOVBool ZOVOsapiHeap_resumeMonitoring(void);

/**
 * Copies the statistics. With monitoring off it sets nextBlockId to 0 and leaves the rest alone.
 *
 * Errors: FALSE, reported, when the mutex fails.
 */
ZOVBool ZOVOsapiHeap_statGet(struct ZOVOsapiHeapStat *stat) ZOV_NONNULL();
/** Sets all statistics but the next block id to 0; with monitoring off it does nothing. */
void ZOVOsapiHeap_statReset(void);

/**
 * Writes a text file with the memory of the process, the statistics and, when asked for, one line
 * a live block in the order of their records.
 *
 * Errors: FALSE, reported: monitoring is off, the file cannot be opened or closed, the mutex fails.
 */
ZOVBool ZOVOsapiHeap_snapshot(const char *fileName, ZOVBool includeBlocks) ZOV_NONNULL();

/**
 * Tells the id and the size of a recorded block.
 *
 * Errors: FALSE for a block without a record; FALSE, reported, when monitoring is off or the
 * pointer is none of the heap's. The memory before the pointer must be readable.
 */
ZOVBool ZOVOsapiHeap_blockInfoGet(void *userPointer, uint64_t *blockId, uint64_t *size)
    ZOV_NONNULL();

/** Installs the activity callback; FALSE, reported, when monitoring is off or the mutex fails. */
ZOVBool ZOVOsapiHeap_registerGetActivityFcn(ZOVOsapiHeapGetActivityFunction callback);

/**
 * The calling thread's context, made when there is none.
 *
 * Errors: null when monitoring is off or the context could not be made.
 * Ownership: the heap's, until ZOVOsapiHeap_deleteConext or the end of monitoring.
 */
struct ZOVOsapiHeapContext *ZOVOsapiHeap_getContext(void);
/**
 * Saves the calling thread's context and sets its topic and activity; without a context it does
 * nothing. Both texts are the caller's and must live until the context is restored.
 */
void ZOVOsapiHeap_setHeapContext(struct ZOVOsapiHeapContext *savedOut, const char *topic,
                                 const char *activity) ZOV_NONNULL(1);
/** Puts a saved context back; without a context of the thread it does nothing. */
void ZOVOsapiHeap_restoreHeapContext(const struct ZOVOsapiHeapContext *saved) ZOV_NONNULL();
/** Frees the calling thread's context; the thread must not allocate any more. */
void ZOVOsapiHeap_deleteConext(void);

/** Sets all fields to 0 and null. */
void ZOVOsapiHeap_resetContext(struct ZOVOsapiHeapContext *context) ZOV_NONNULL();
/** The same as ZOVOsapiHeap_resetContext. */
void ZOVOsapiHeap_initializeContext(struct ZOVOsapiHeapContext *context) ZOV_NONNULL();
/** Copies all fields. */
void ZOVOsapiHeap_copyContext(struct ZOVOsapiHeapContext *dst,
                              const struct ZOVOsapiHeapContext *src) ZOV_NONNULL();
/** Sets all fields to 0 and null. */
void ZOVOsapiHeapBlockInfo_initialize(struct ZOVOsapiHeapBlockInfo *self) ZOV_NONNULL();

/** Whether all bytes are zero; TRUE for none. */
ZOVBool ZOVOsapiMemory_isZero(const void *buffer, uint32_t length);
/**
 * Writes a hex dump, 16 bytes a line, as debug texts: offset, bytes, printable characters. Each
 * line starts with the label and a colon unless the label is null.
 */
void ZOVOsapiMemory_hexdump(const char *label, const void *buffer, uint32_t length);

ZOV_END_DECLARATIONS

#endif
