#include "koba/SkiplistDefaultAllocator.h"

#include "koba/Log.hpp"
#include "koba/Skiplist.hpp"
#include "koba/fastBuffer.h"
#include "osapi/SemaphoreGuard.hpp"
#include "osapi/heap.h"

#include <algorithm>

namespace {

using koba::skiplist::is_level;
using Node = KOBASkiplistNode;
using Safe = KOBASkiplistDefaultAllocatorParameter;
using Pool = KOBAFastBufferPool;

Pool **new_array(std::int32_t maximum_level)
{
    Pool **pools = nullptr;
    ZOVOsapiHeap_allocateArray(&pools, static_cast<std::uint64_t>(maximum_level) + 1, Pool *);
    return pools;
}

/** Fills the array; false when a pool is missing, and null in its place. */
bool create_pools(Pool **pools, std::int32_t maximum_level, std::int32_t expected_count)
{
    for (std::int32_t level = 0; level <= maximum_level; ++level) {
        KOBAFastBufferPoolProperty property = {};
        property.growth = {
            .initial = std::max(expected_count >> level, 1), .maximal = -1, .increment = -1};
        const auto size = static_cast<std::int32_t>(KOBA_SKIPLIST_NODE_SIZE(level));
        pools[level] = KOBAFastBufferPool_new(size, alignof(Node), &property);
        if (pools[level] == nullptr)
            return false;
    }
    return true;
}

/** Deletes the array and the pools that it has; null is ignored. */
void delete_pools(Pool **pools, std::int32_t maximum_level)
{
    if (pools == nullptr)
        return;
    std::for_each_n(pools, maximum_level + 1, KOBAFastBufferPool_delete);
    ZOVOsapiHeap_freeArray(pools);
}

Node *create_node(std::int32_t level, void *parameter)
{
    Pool **pools = static_cast<Pool **>(parameter);
    return static_cast<Node *>(KOBAFastBufferPool_getBuffer(pools[level]));
}

void destroy_node(void *parameter, Node *node)
{
    Pool **pools = static_cast<Pool **>(parameter);
    KOBAFastBufferPool_returnBuffer(pools[node->level], node);
}

void report_creation(const char *context, const char *what)
{
    KOBA_LOG_AS(Exception, kSubmoduleSkiplist, context, ZOV_LOG_CREATION_FAILURE_s, what);
}

constexpr auto report_mutex = koba::report_mutex<koba::kSubmoduleSkiplist>;

Node *create_node_safe(std::int32_t level, void *parameter)
{
    const Safe *safe = static_cast<Safe *>(parameter);
    const zov::SemaphoreGuard guard(safe->mutex, "KOBASkiplistDefaultAllocator_createNodeSafe",
                                    report_mutex);
    return guard.is_held() ? create_node(level, safe->poolArray) : nullptr;
}

void destroy_node_safe(void *parameter, Node *node)
{
    const Safe *safe = static_cast<Safe *>(parameter);
    const zov::SemaphoreGuard guard(safe->mutex, "KOBASkiplistDefaultAllocator_destroyNodeSafe",
                                    report_mutex);
    if (guard.is_held())
        destroy_node(safe->poolArray, node);
}

/** Makes what the allocator consists of. Returns the name of what is missing, or null. */
const char *create_parts(Safe *safe, std::int32_t maximum_level, std::int32_t expected_count)
{
    safe->mutex = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (safe->mutex == nullptr)
        return "mutex";
    safe->poolArray = new_array(maximum_level);
    if (safe->poolArray == nullptr)
        return "poolArray";
    return create_pools(safe->poolArray, maximum_level, expected_count) ? nullptr
                                                                        : "fast buffer pool";
}

void delete_safe(Safe *safe, std::int32_t maximum_level)
{
    ZOVOsapiSemaphore_delete(safe->mutex);
    delete_pools(safe->poolArray, maximum_level);
    ZOVOsapiHeap_freeStructure(safe);
}

} // namespace

ZOVBool KOBASkiplist_newDefaultAllocator(KOBASkiplistDescription *desc, int8_t maxLevel,
                                         int32_t expectedCount)
{
    Pool **pools = is_level(maxLevel) ? new_array(maxLevel) : nullptr;
    if (pools == nullptr)
        return ZOV_FALSE;
    if (!create_pools(pools, maxLevel, expectedCount)) {
        report_creation(__func__, "fast buffer pool");
        delete_pools(pools, maxLevel);
        return ZOV_FALSE;
    }
    KOBASkiplistDescription_init(desc, maxLevel, create_node, pools, destroy_node, pools, nullptr,
                                 nullptr);
    return ZOV_TRUE;
}

void KOBASkiplist_deleteDefaultAllocator(KOBASkiplistDescription *desc)
{
    if (desc->createNode != create_node)
        return;
    delete_pools(static_cast<Pool **>(desc->createParameter), desc->maximumLevel);
    desc->createNode = nullptr;
}

ZOVBool KOBASkiplist_newDefaultAllocatorSafe(KOBASkiplistDescription *desc, int8_t maxLevel,
                                             int32_t expectedCount)
{
    if (!is_level(maxLevel))
        return ZOV_FALSE;
    Safe *safe = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&safe, struct KOBASkiplistDefaultAllocatorParameter) ==
        nullptr) {
        report_creation(__func__, "allocatorParameter");
        return ZOV_FALSE;
    }
    if (const char *missing = create_parts(safe, maxLevel, expectedCount)) {
        report_creation(__func__, missing);
        delete_safe(safe, maxLevel);
        return ZOV_FALSE;
    }
    KOBASkiplistDescription_init(desc, maxLevel, create_node_safe, safe, destroy_node_safe, safe,
                                 nullptr, nullptr);
    return ZOV_TRUE;
}

void KOBASkiplist_deleteDefaultAllocatorSafe(KOBASkiplistDescription *desc)
{
    if (desc->createNode != create_node_safe)
        return;
    delete_safe(static_cast<Safe *>(desc->createParameter), desc->maximumLevel);
    desc->createNode = nullptr;
}
