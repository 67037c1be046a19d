/** Pools of buffers against allocators. */
#include "bench/Rows.hpp"
#include "koba/fastBuffer.h"

#include <boost/pool/pool.hpp>
#include <cstdlib>
#include <memory_resource>
#include <optional>

namespace {

using bench::keep;
using bench::Measure;
using bench::nothing;
using bench::Row;

constexpr int kSize = 64;
constexpr int kInitial = 256;

KOBAFastBufferPool *g_pool;
std::optional<boost::pool<>> g_peer;
std::optional<std::pmr::synchronized_pool_resource> g_resource;

void make_pool(bool guarded, bool zeroed)
{
    const KOBAFastBufferPoolProperty property = {
        .growth = {.initial = kInitial, .maximal = -1, .increment = -1},
        .multiThreadedAccess = guarded,
        .zeroBufferContent = zeroed,
        .overrideGrowthLimits = 0};
    // Aligned to their size: a buffer across two pages would be zeroed at a quarter of the speed.
    g_pool = KOBAFastBufferPool_new(kSize, kSize, &property);
    if (g_pool == nullptr)
        std::abort();
}

void make_plain()
{
    make_pool(false, false);
    g_peer.emplace(kSize, kInitial);
}

void make_zeroed()
{
    make_pool(false, true);
}

void make_guarded()
{
    make_pool(true, false);
    g_resource.emplace();
}

void delete_pool()
{
    KOBAFastBufferPool_delete(g_pool);
    g_peer.reset();
    g_resource.reset();
}

void pool_buffer(int count)
{
    for (int i = 0; i < count; ++i) {
        void *buffer = KOBAFastBufferPool_getBuffer(g_pool);
        keep(buffer);
        KOBAFastBufferPool_returnBuffer(g_pool, buffer);
    }
}

void platform_block(int count)
{
    for (int i = 0; i < count; ++i) {
        void *block = std::malloc(kSize);
        keep(block);
        std::free(block);
    }
}

void platform_zeroed_block(int count)
{
    for (int i = 0; i < count; ++i) {
        void *block = std::calloc(1, kSize);
        keep(block);
        std::free(block);
    }
}

// Behind calls and in cache lines of their own, as the operations of the library are.
[[gnu::noipa, gnu::aligned(64)]] void *peer_get(boost::pool<> *pool)
{
    return pool->malloc();
}

[[gnu::noipa, gnu::aligned(64)]] void peer_return(boost::pool<> *pool, void *chunk)
{
    pool->free(chunk);
}

void peer_chunk(int count)
{
    for (int i = 0; i < count; ++i) {
        void *chunk = peer_get(&*g_peer);
        keep(chunk);
        peer_return(&*g_peer, chunk);
    }
}

void resource_block(int count)
{
    std::pmr::memory_resource &resource = *g_resource;
    for (int i = 0; i < count; ++i) {
        void *block = resource.allocate(kSize, 8);
        keep(block);
        resource.deallocate(block, kSize, 8);
    }
}

const Row kRows[] = {
    {{"get + return 64 bytes", "malloc/free", 0.27, Measure::Cost},
     100'000,
     pool_buffer,
     platform_block,
     make_plain,
     delete_pool},
    {{"get + return 64 bytes", "boost::pool", 1.05, Measure::Cost},
     100'000,
     pool_buffer,
     peer_chunk,
     make_plain,
     delete_pool},
    {{"same, zeroed", "calloc/free", 0.4, Measure::Cost},
     100'000,
     pool_buffer,
     platform_zeroed_block,
     make_zeroed,
     delete_pool},
    {{"same, with mutex", "synchronized_pool_resource", 0.7, Measure::Cost},
     50'000,
     pool_buffer,
     resource_block,
     make_guarded,
     delete_pool},
};

} // namespace

std::span<const Row> bench::pool_rows()
{
    return kRows;
}
