/** An owner for one typed heap block, so that no failure path frees by hand. */
#ifndef WOLKCORE_OSAPI_OWNED_HPP
#define WOLKCORE_OSAPI_OWNED_HPP

#include "osapi/heap.h"

#include <cstdint>
#include <utility>

namespace zov::heap {

enum class Kind : std::uint32_t {
    Structure = ZOV_OSAPI_HEAP_KIND_STRUCTURE,
    String = ZOV_OSAPI_HEAP_KIND_STRING,
    Array = ZOV_OSAPI_HEAP_KIND_ARRAY,
};

/** Frees its block with the free of its kind. Allocate into address(); release() hands it on. */
template <class T, Kind kind>
class Owned
{
public:
    Owned() = default;
    explicit Owned(T *block) : m_block(block) {}
    ~Owned() { reset(); }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;

    [[nodiscard]] T *get() const { return m_block; }
    [[nodiscard]] T **address() { return &m_block; }
    [[nodiscard]] T *release() { return std::exchange(m_block, nullptr); }
    T *operator->() const { return m_block; }
    T &operator*() const { return *m_block; }

    void reset()
    {
        T *block = release();
        if constexpr (kind == Kind::Structure)
            ZOVOsapiHeap_freeStructure(block);
        else if constexpr (kind == Kind::String)
            ZOVOsapiHeap_freeString(block);
        else
            ZOVOsapiHeap_freeArray(block);
    }

private:
    T *m_block = nullptr;
};

} // namespace zov::heap

#endif
