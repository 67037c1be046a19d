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
 * Threads: any thread may allocate and free; a block may be freed by another thread.
 */
#ifndef WOLKCORE_OSAPI_HEAP_H
#define WOLKCORE_OSAPI_HEAP_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** Kinds of blocks; read as bytes, most significant first, they spell WLKA to WLKF. */
#define ZOV_OSAPI_HEAP_KIND_STRUCTURE 0x574C4B41u
#define ZOV_OSAPI_HEAP_KIND_STRING 0x574C4B42u
#define ZOV_OSAPI_HEAP_KIND_ARRAY 0x574C4B43u
#define ZOV_OSAPI_HEAP_KIND_BUFFER 0x574C4B44u
#define ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED 0x574C4B45u
#define ZOV_OSAPI_HEAP_KIND_MALLOC 0x574C4B46u
/** What a header holds once its block is freed. */
#define ZOV_OSAPI_HEAP_KIND_FREED 0x7B9B9B9Bu

/** The alignment argument that means the platform's own. */
#define ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT (-1)

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
 *
 * Errors: null; the caller's pointer and an old block are as before. Reported as exceptions: "NULL
 * pointer passed as output parameter.", an alignment without a header, a reallocation of another
 * kind of block. Reported as warnings: a size above the data limit, an unreadable limit, and a
 * refusal of the platform ("!malloc %lu bytes\n", then "errno = %d\n").
 */
void *ZOVOsapiHeap_reallocateMemoryInternal(void **pp, uint64_t size, int32_t alignment,
                                            ZOVBool isReallocation, ZOVBool forceHeader,
                                            const char *operationName, uint32_t kind,
                                            const char *typeName);

/**
 * The operation under all frees.
 *
 * Errors: a header of another kind, which a block has after its free too, is reported as an
 * exception that names both operations, and nothing is freed.
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

#define ZOV_OSAPI_HEAP_ALLOCATE(PP, SIZE, ALIGNMENT, REALLOCATE, HEADER, OPERATION, KIND, TYPE)    \
    ZOVOsapiHeap_reallocateMemoryInternal((void **)(PP), (SIZE), (ALIGNMENT), (REALLOCATE),        \
                                          (HEADER), (OPERATION), (KIND), (TYPE))

/** void *ZOVOsapiHeap_allocateStructure(pp, type): a record of the type. */
#define ZOVOsapiHeap_allocateStructure(PP, TYPE)                                                   \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, sizeof(TYPE), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE,         \
                            ZOV_FALSE, "ZOVOsapiHeap_allocateStructure",                           \
                            ZOV_OSAPI_HEAP_KIND_STRUCTURE, #TYPE)
#define ZOVOsapiHeap_freeStructure(POINTER)                                                        \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeStructure",            \
                                    ZOV_OSAPI_HEAP_KIND_STRUCTURE)

/** void *ZOVOsapiHeap_allocateString(pp, length): length characters and a terminator. */
#define ZOVOsapiHeap_allocateString(PP, LENGTH)                                                    \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_stringSize(LENGTH), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, \
                            ZOV_FALSE, ZOV_FALSE, "ZOVOsapiHeap_allocateString",                   \
                            ZOV_OSAPI_HEAP_KIND_STRING, "char")
/** The same that keeps the beginning of the old string. */
#define ZOVOsapiHeap_reallocateString(PP, LENGTH)                                                  \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_stringSize(LENGTH), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, \
                            ZOV_TRUE, ZOV_FALSE, "ZOVOsapiHeap_reallocateString",                  \
                            ZOV_OSAPI_HEAP_KIND_STRING, "char")
#define ZOVOsapiHeap_freeString(POINTER)                                                           \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeString",               \
                                    ZOV_OSAPI_HEAP_KIND_STRING)

/** void *ZOVOsapiHeap_allocateArray(pp, count, type): count elements of the type. */
#define ZOVOsapiHeap_allocateArray(PP, COUNT, TYPE)                                                \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_productSize((COUNT), sizeof(TYPE)),                   \
                            ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE, ZOV_FALSE,                \
                            "ZOVOsapiHeap_allocateArray", ZOV_OSAPI_HEAP_KIND_ARRAY, #TYPE)
/** The same that keeps the first elements of the old array. */
#define ZOVOsapiHeap_reallocateArray(PP, COUNT, TYPE)                                              \
    ZOV_OSAPI_HEAP_ALLOCATE(PP, ZOVOsapiHeap_productSize((COUNT), sizeof(TYPE)),                   \
                            ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_TRUE, ZOV_FALSE,                 \
                            "ZOVOsapiHeap_reallocateArray", ZOV_OSAPI_HEAP_KIND_ARRAY, #TYPE)
#define ZOVOsapiHeap_freeArray(POINTER)                                                            \
    ZOVOsapiHeap_freeMemoryInternal((POINTER), ZOV_FALSE, "ZOVOsapiHeap_freeArray",                \
                                    ZOV_OSAPI_HEAP_KIND_ARRAY)

ZOV_END_DECLARATIONS

#endif
