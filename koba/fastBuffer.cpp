#include "koba/fastBuffer.hpp"

#include "osapi/Owned.hpp"
#include "osapi/SemaphoreGuard.hpp"

#include <cstdio>
#include <cstring>
#include <memory>

static_assert(sizeof(KOBAFastBufferPoolProperty) == 24);
static_assert(offsetof(KOBAFastBufferPoolProperty, multiThreadedAccess) == 12);
static_assert(offsetof(KOBAFastBufferPoolInfo, maximal) == 24);

namespace {

using koba::fast_buffer::DeletedBy;
using koba::fast_buffer::fail_creation;
using koba::fast_buffer::fail_precondition;

constexpr char kGrow[] = "KOBAFastBufferPool_growEmptyPoolEA";

class PoolGuard : public zov::SemaphoreGuard
{
public:
    PoolGuard(KOBAFastBufferPool *pool, const char *operation)
        : SemaphoreGuard(pool->mutex, operation, koba::report_mutex<koba::kSubmoduleFastBuffer>)
    {
    }
};

void delete_storage(KOBAFastBufferPoolStorage *storage)
{
    ZOVOsapiHeap_freeBufferAligned(storage->block);
    ZOVOsapiHeap_freeStructure(storage);
}

using StorageOwner = std::unique_ptr<KOBAFastBufferPoolStorage, DeletedBy<delete_storage>>;
using PoolOwner = std::unique_ptr<KOBAFastBufferPool, DeletedBy<KOBAFastBufferPool_delete>>;
using StackOwner = zov::heap::Owned<void *, zov::heap::Kind::Array>;

/** What the heap notes down with the blocks of this thread; null when it notes nothing. */
ZOVOsapiHeapContext *heap_context()
{
    if (!ZOVOsapiHeap_isMonitoringEnabled())
        return nullptr;
    ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext();
    if (context == nullptr)
        KOBA_LOG_AS(Exception, kSubmoduleFastBuffer, kGrow, ZOV_LOG_GET_FAILURE_s, "heap context");
    return context;
}

void set_pool(ZOVOsapiHeapContext *context, std::uint32_t is_pool, std::int32_t buffer_count,
              std::int32_t buffer_size)
{
    if (context == nullptr)
        return;
    context->poolAllocation = is_pool;
    context->poolBufferCount = buffer_count;
    context->poolBufferSize = buffer_size;
}

/** Null, reported, without memory. */
StorageOwner allocate_storage(const KOBAFastBufferPool *pool, ZOVOsapiHeapContext *context)
{
    const unsigned long size =
        static_cast<unsigned long>(pool->buffer_size) * static_cast<unsigned long>(pool->growth);
    KOBAFastBufferPoolStorage *storage = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&storage, struct KOBAFastBufferPoolStorage) == nullptr) {
        ZOVLog_debug("%s: !allocate container for buffer for %lu bytes\n", kGrow, size);
        return nullptr;
    }
    StorageOwner owner(storage);
    set_pool(context, 1, pool->buffer_count + pool->growth, pool->buffer_size);
    ZOVOsapiHeap_allocateBufferAligned(&storage->block, size, pool->alignment);
    set_pool(context, 0, 0, 0);
    if (storage->block == nullptr) {
        ZOVLog_debug("%s: !allocate buffer of %lu bytes\n", kGrow, size);
        return nullptr;
    }
    return owner;
}

void *buffer_at(const KOBAFastBufferPool *pool, void *block, std::int32_t index)
{
    const std::int64_t offset = std::int64_t{pool->buffer_size} * index;
    return static_cast<char *>(block) + offset;
}

/** Makes new buffers ready. False, reported, with all of them undone, when one fails. */
bool initialize_buffers(const KOBAFastBufferPool *pool, void *block)
{
    if (pool->initialize == nullptr)
        return true;
    for (std::int32_t i = 0; i < pool->growth; ++i) {
        if (pool->initialize(buffer_at(pool, block, i), pool->initialize_parameter) != 0)
            continue;
        KOBA_LOG_AS(Exception, kSubmoduleFastBuffer, kGrow, ZOV_LOG_INIT_FAILURE_s,
                    "newly allocated buffer");
        while (pool->finalize != nullptr && i-- > 0)
            pool->finalize(buffer_at(pool, block, i), pool->finalize_parameter);
        return false;
    }
    return true;
}

/** Takes over what a growth has made. The old stack goes: a pool that grows has none on it. */
void adopt(KOBAFastBufferPool *pool, KOBAFastBufferPoolStorage *storage, void **stack)
{
    storage->next = pool->storage;
    pool->storage = storage;
    pool->buffer_count += pool->growth;
    ZOVOsapiHeap_freeArray(pool->bottom);
    pool->bottom = stack;
    pool->capacity_end = stack + pool->buffer_count;
    pool->free_end = stack;
    for (std::int32_t i = pool->growth; i-- > 0;) // the first of the block is the first to go out
        *pool->free_end++ = buffer_at(pool, storage->block, i);
    pool->growth = koba::fast_buffer::next_growth(pool->property, pool->buffer_count, pool->growth);
}

void *pop(KOBAFastBufferPool *pool)
{
    return pool->free_end != pool->bottom ? *--pool->free_end : nullptr;
}

[[gnu::cold, gnu::noinline]] void *grow_and_pop(KOBAFastBufferPool *pool)
{
    return KOBAFastBufferPool_growEmptyPoolEA(pool) != 0 ? pop(pool) : nullptr;
}

void *pop_or_grow(KOBAFastBufferPool *pool)
{
    if (pool->free_end == pool->bottom) [[unlikely]]
        return grow_and_pop(pool);
    return *--pool->free_end;
}

void push(KOBAFastBufferPool *pool, void *buffer)
{
    if (buffer != nullptr && pool->free_end != pool->capacity_end) [[likely]]
        *pool->free_end++ = buffer;
}

void *zero(const KOBAFastBufferPool *pool, void *buffer)
{
    return std::memset(buffer, 0, static_cast<std::size_t>(pool->buffer_size));
}

// What a growth adds is zero already: the heap's blocks are, and a pool that zeroes has no
// initialise function.
[[gnu::noinline]] void *get_zeroed(KOBAFastBufferPool *pool)
{
    if (void *buffer = pop(pool)) [[likely]]
        return zero(pool, buffer);
    return grow_and_pop(pool);
}

[[gnu::noinline]] void *get_guarded(KOBAFastBufferPool *pool)
{
    PoolGuard guard(pool, "KOBAFastBufferPool_getBuffer");
    if (!guard.is_held())
        return nullptr;
    void *buffer = pop_or_grow(pool);
    if (!guard.give() || buffer == nullptr || pool->property.zeroBufferContent == 0)
        return buffer;
    return zero(pool, buffer); // outside the mutex: nobody waits for it
}

[[gnu::noinline]] void *get_guarded_without_growth(KOBAFastBufferPool *pool)
{
    const PoolGuard guard(pool, "KOBAFastBufferPool_getBufferNoMalloc");
    return guard.is_held() ? pop(pool) : nullptr;
}

[[gnu::noinline]] void return_guarded(KOBAFastBufferPool *pool, void *buffer)
{
    const PoolGuard guard(pool, "KOBAFastBufferPool_returnBuffer");
    if (guard.is_held())
        push(pool, buffer);
}

std::int32_t free_count(const KOBAFastBufferPool *pool)
{
    return static_cast<std::int32_t>(pool->free_end - pool->bottom);
}

void finalize_buffers(const KOBAFastBufferPool *pool)
{
    if (pool->finalize == nullptr)
        return;
    for (void **buffer = pool->bottom; buffer != pool->free_end; ++buffer)
        pool->finalize(*buffer, pool->finalize_parameter);
    if (free_count(pool) != pool->buffer_count)
        KOBA_LOG_AS(Warning, kSubmoduleFastBuffer, "KOBAFastBufferPool_delete",
                    ZOV_LOG_ANY_FAILURE_s, "all buffers returned");
}

/** The precondition that does not hold; null when all do. */
const char *failed_precondition(std::int32_t size, std::int32_t alignment, bool initializes,
                                const KOBAFastBufferPoolProperty *property)
{
    if (property == nullptr)
        return koba::fast_buffer::kNoProperty;
    const auto &[initial, maximal, increment] = property->growth;
    if (initial < 1)
        return "propertyIn->growth.initial < 1";
    if (maximal >= 0 && initial > maximal)
        return "(((&propertyIn->growth)->maximal >= 0) && ((propertyIn->growth.initial) > "
               "(&propertyIn->growth)->maximal))";
    if (size < 1)
        return "bufferSize < 1";
    if (!koba::fast_buffer::is_alignment(alignment))
        return koba::fast_buffer::kNoAlignment;
    if (increment == 0 && maximal != initial)
        return "propertyIn->growth.increment == 0 && propertyIn->growth.maximal != "
               "propertyIn->growth.initial";
    if (initializes && property->zeroBufferContent != 0)
        return "bufferInitializeFnc != ((void *)0) && propertyIn->zeroBufferContent != 0";
    return nullptr;
}

constexpr std::int64_t round_up(std::int64_t size, std::int64_t alignment)
{
    return (size + alignment - 1) & -alignment;
}

} // namespace

int32_t KOBAFastBufferPool_growEmptyPoolEA(KOBAFastBufferPool *pool)
{
    ZOVOsapiHeapContext *context = heap_context();
    if (pool->growth == 0)
        return 0;
    StorageOwner storage = allocate_storage(pool, context);
    if (storage == nullptr)
        return 0;
    const auto capacity = static_cast<std::uint32_t>(pool->buffer_count + pool->growth);
    StackOwner stack;
    if (ZOVOsapiHeap_allocateArray(stack.address(), capacity, void *) == nullptr) {
        ZOVLog_debug("%s: !allocate stack of %u buffers\n", kGrow, capacity);
        return 0;
    }
    if (!initialize_buffers(pool, storage->block))
        return 0;
    adopt(pool, storage.release(), stack.release());
    return 1;
}

KOBAFastBufferPool *KOBAFastBufferPool_newWithNotification(
    int32_t bufferSize, int32_t bufferAlignment, KOBAFastBufferInitializeFcn bufferInitializeFnc,
    void *initParam, KOBAFastBufferFinalizeFcn bufferFinalizeFnc, void *finalizeParam,
    const KOBAFastBufferPoolProperty *propertyIn)
{
    if (const char *condition = failed_precondition(bufferSize, bufferAlignment,
                                                    bufferInitializeFnc != nullptr, propertyIn))
        return fail_precondition(__func__, condition);
    const std::int64_t size = round_up(bufferSize, bufferAlignment);
    if (size > INT32_MAX)
        return fail_creation(__func__, "fast buffer pool buffers");
    KOBAFastBufferPool *record = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&record, struct KOBAFastBufferPool) == nullptr)
        return fail_creation(__func__, "fast buffer pool");
    PoolOwner pool(record);
    pool->is_plain = propertyIn->multiThreadedAccess == 0 && propertyIn->zeroBufferContent == 0;
    pool->buffer_size = static_cast<std::int32_t>(size);
    pool->alignment = bufferAlignment;
    pool->growth = propertyIn->growth.initial;
    pool->initialize = bufferInitializeFnc;
    pool->initialize_parameter = initParam;
    pool->finalize = bufferFinalizeFnc;
    pool->finalize_parameter = finalizeParam;
    pool->property = *propertyIn;
    if (propertyIn->multiThreadedAccess != 0) {
        pool->mutex = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
        if (pool->mutex == nullptr)
            return fail_creation(__func__, "mutex");
    }
    if (KOBAFastBufferPool_growEmptyPoolEA(record) == 0)
        return fail_creation(__func__, "fast buffer pool buffers");
    return pool.release();
}

KOBAFastBufferPool *KOBAFastBufferPool_new(int32_t bufferSize, int32_t bufferAlignment,
                                           const KOBAFastBufferPoolProperty *propertyIn)
{
    return KOBAFastBufferPool_newWithNotification(bufferSize, bufferAlignment, nullptr, nullptr,
                                                  nullptr, nullptr, propertyIn);
}

// Each of the next two begins a cache line of code, which holds all of its common case.

[[gnu::aligned(64)]] void *KOBAFastBufferPool_getBuffer(KOBAFastBufferPool *pool)
{
    if (pool->is_plain) [[likely]]
        return pop_or_grow(pool);
    return pool->mutex == nullptr ? get_zeroed(pool) : get_guarded(pool);
}

[[gnu::aligned(64)]] void KOBAFastBufferPool_returnBuffer(KOBAFastBufferPool *pool, void *buffer)
{
    if (pool->mutex == nullptr) [[likely]]
        push(pool, buffer);
    else
        return_guarded(pool, buffer);
}

void *KOBAFastBufferPool_getBufferNoMalloc(KOBAFastBufferPool *pool)
{
    return pool->mutex == nullptr ? pop(pool) : get_guarded_without_growth(pool);
}

void KOBAFastBufferPool_delete(KOBAFastBufferPool *pool)
{
    if (pool == nullptr)
        return;
    finalize_buffers(pool);
    ZOVOsapiHeap_freeArray(pool->bottom);
    while (KOBAFastBufferPoolStorage *storage = pool->storage) {
        pool->storage = storage->next;
        delete_storage(storage);
    }
    ZOVOsapiSemaphore_delete(pool->mutex);
    ZOVOsapiHeap_freeStructure(pool);
}

int32_t KOBAFastBufferPool_getBufferSize(const KOBAFastBufferPool *pool)
{
    return pool->buffer_size;
}

const KOBAFastBufferPoolProperty *KOBAFastBufferPool_getProperty(const KOBAFastBufferPool *pool)
{
    return &pool->property;
}

int32_t KOBAFastBufferPool_getInfo(KOBAFastBufferPool *pool, KOBAFastBufferPoolInfo *info)
{
    *info = {.pool = pool,
             .bufferSize = pool->buffer_size,
             .alignment = pool->alignment,
             .allocated = pool->buffer_count,
             .inUse = pool->buffer_count - free_count(pool),
             .maximal = pool->property.growth.maximal};
    return info->maximal;
}

void KOBAFastBufferPoolInfo_display(const KOBAFastBufferPoolInfo *info)
{
    // Kept: the platform's form of a pointer begins with 0x itself.
    std::printf("FastBuffer at 0x%p\n", static_cast<const void *>(info->pool));
    std::printf("  Buffer Size: %d bytes\n", info->bufferSize);
    std::printf("  Buffer Alignment: %d bytes\n", info->alignment);
    std::printf("  Number of Buffers currently allocated by pool: %d buffers\n", info->allocated);
    std::printf("  Number of buffers currently in use by application: %d buffers\n", info->inUse);
    std::printf("  Number of Buffers the pool can grow to: ");
    if (info->maximal < 0)
        std::printf("unlimited\n");
    else
        std::printf("%d buffers\n", info->maximal);
}
