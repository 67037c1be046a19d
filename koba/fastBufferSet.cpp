#include "koba/fastBuffer.hpp"
#include "log/Relaxed.hpp"
#include "osapi/heap.h"

#include <memory>
#include <span>

static_assert(offsetof(KOBAFastBufferPoolSet, pools) == 8);
static_assert(offsetof(KOBAFastBufferStat, bufferCurrentUse) == 32);
static_assert(sizeof(KOBAFastBufferStat) == 64);

// COUNTER(type, name, field of the record)
#define COUNTERS                                                                                   \
    COUNTER(int64_t, HEAP_MEM_CURRENT_USE, heapCurrentUse)                                         \
    COUNTER(int64_t, HEAP_MEM_HIGH_WATERMARK, heapHighWatermark)                                   \
    COUNTER(int64_t, HEAP_MEM_LOW_WATERMARK, heapLowWatermark)                                     \
    COUNTER(int32_t, HEAP_MEM_ALLOC_COUNT, heapAllocCount)                                         \
    COUNTER(int32_t, HEAP_MEM_FREE_COUNT, heapFreeCount)                                           \
    COUNTER(int64_t, FB_MEM_CURRENT_USE, bufferCurrentUse)                                         \
    COUNTER(int64_t, FB_MEM_HIGH_WATERMARK, bufferHighWatermark)                                   \
    COUNTER(int64_t, FB_MEM_LOW_WATERMARK, bufferLowWatermark)                                     \
    COUNTER(int32_t, FB_MEM_GET_COUNT, bufferGetCount)                                             \
    COUNTER(int32_t, FB_MEM_RETURN_COUNT, bufferReturnCount)

#define COUNTER(TYPE, NAME, FIELD) constinit TYPE KOBAFastBufferStat_##NAME = 0;
COUNTERS
#undef COUNTER

void KOBAFastBuffer_statGet(KOBAFastBufferStat *stat)
{
#define COUNTER(TYPE, NAME, FIELD) stat->FIELD = zov::relaxed_load(KOBAFastBufferStat_##NAME);
    COUNTERS
#undef COUNTER
}

void KOBAFastBuffer_statReset(void)
{
#define COUNTER(TYPE, NAME, FIELD) zov::relaxed_store(KOBAFastBufferStat_##NAME, TYPE{0});
    COUNTERS
#undef COUNTER
}

namespace {

using koba::fast_buffer::DeletedBy;
using koba::fast_buffer::fail_creation;
using koba::fast_buffer::fail_precondition;

using SetOwner = std::unique_ptr<KOBAFastBufferPoolSet, DeletedBy<KOBAFastBufferPoolSet_delete>>;

/** The precondition that does not hold; null when all do. */
const char *failed_precondition(std::int32_t count, const std::int32_t *sizes,
                                std::int32_t alignment, const KOBAFastBufferPoolProperty *property)
{
    if (count < 1)
        return "poolCount < 1";
    if (property == nullptr)
        return koba::fast_buffer::kNoProperty;
    if (std::any_of(sizes, sizes + count, [](std::int32_t size) { return size < 1; }))
        return "bufferSizes[i] < 1";
    if (!koba::fast_buffer::is_alignment(alignment))
        return koba::fast_buffer::kNoAlignment;
    return nullptr;
}

} // namespace

KOBAFastBufferPoolSet *KOBAFastBufferPoolSet_new(int32_t poolCount, const int32_t *bufferSizes,
                                                 int32_t bufferAlignment,
                                                 const KOBAFastBufferPoolProperty *propertyIn)
{
    if (const char *condition =
            failed_precondition(poolCount, bufferSizes, bufferAlignment, propertyIn))
        return fail_precondition(__func__, condition);
    const auto count = static_cast<std::uint32_t>(poolCount);
    KOBAFastBufferPoolSet *record = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&record, struct KOBAFastBufferPoolSet) == nullptr)
        return fail_creation(__func__, "fast buffer pool set");
    SetOwner set(record);
    if (ZOVOsapiHeap_allocateArray(&set->pools, count, struct KOBAFastBufferPool *) == nullptr)
        return fail_creation(__func__, "fast buffer pool array");
    set->poolCount = poolCount;
    set->largestBufferSize = bufferSizes[count - 1];
    for (std::uint32_t i = 0; i < count; ++i) {
        set->pools[i] = KOBAFastBufferPool_new(bufferSizes[i], bufferAlignment, propertyIn);
        if (set->pools[i] == nullptr)
            return fail_creation(__func__, "fast buffer pool");
    }
    return set.release();
}

KOBAFastBufferPool *KOBAFastBufferPoolSet_getPool(KOBAFastBufferPoolSet *set, int32_t size)
{
    for (KOBAFastBufferPool *pool : std::span(set->pools, static_cast<std::size_t>(set->poolCount)))
        if (KOBAFastBufferPool_getBufferSize(pool) >= size)
            return pool;
    return nullptr;
}

void *KOBAFastBufferPoolSet_getBuffer(KOBAFastBufferPoolSet *set, int32_t size)
{
    KOBAFastBufferPool *pool = KOBAFastBufferPoolSet_getPool(set, size);
    return pool != nullptr ? KOBAFastBufferPool_getBuffer(pool) : nullptr;
}

void KOBAFastBufferPoolSet_returnBuffer(KOBAFastBufferPoolSet *set, void *buffer, int32_t size)
{
    if (KOBAFastBufferPool *pool = KOBAFastBufferPoolSet_getPool(set, size))
        KOBAFastBufferPool_returnBuffer(pool, buffer);
}

void KOBAFastBufferPoolSet_delete(KOBAFastBufferPoolSet *set)
{
    if (set == nullptr)
        return;
    for (KOBAFastBufferPool *pool : std::span(set->pools, static_cast<std::size_t>(set->poolCount)))
        KOBAFastBufferPool_delete(pool);
    ZOVOsapiHeap_freeArray(set->pools);
    ZOVOsapiHeap_freeStructure(set);
}
