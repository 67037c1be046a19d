#include "osapi/heap.hpp"

#include <array>
#include <cstdlib>
#include <malloc.h>

// A freed block's header must stay what it is for a second free to be noticed, so the platform gets
// the block only when as many others, or as many bytes, were freed after it.

namespace {

constexpr std::size_t kMostBlocks = 64;
constexpr std::size_t kMostBytes = 256 * std::size_t{1024};

class Queue
{
public:
    void add(void *raw)
    {
        const std::size_t size = malloc_usable_size(raw);
        if (size > kMostBytes) {
            std::free(raw);
            return;
        }
        while (m_count == kMostBlocks || m_bytes + size > kMostBytes)
            drop_oldest();
        m_blocks[(m_first + m_count) % kMostBlocks] = {.raw = raw, .size = size};
        m_count += 1;
        m_bytes += size;
    }

    void empty()
    {
        while (m_count > 0)
            drop_oldest();
    }

private:
    void drop_oldest()
    {
        m_bytes -= m_blocks[m_first].size;
        std::free(m_blocks[m_first].raw);
        m_first = (m_first + 1) % kMostBlocks;
        m_count -= 1;
    }

    struct Block
    {
        void *raw;
        std::size_t size;
    };

    std::array<Block, kMostBlocks> m_blocks = {};
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::size_t m_bytes = 0;
};

constinit Queue g_queue;

} // namespace

void zov::heap::quarantine(void *raw)
{
    g_queue.add(raw);
}

void zov::heap::empty_quarantine()
{
    g_queue.empty();
}
