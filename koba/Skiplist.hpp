/** What skiplists and the allocators of their nodes agree on. */
#ifndef WOLKCORE_KOBA_SKIPLIST_HPP
#define WOLKCORE_KOBA_SKIPLIST_HPP

#include "koba/Skiplist.h"

#include <cstdint>

namespace koba::skiplist {

inline constexpr std::int32_t kHighestLevel = 31;

constexpr bool is_level(std::int32_t level)
{
    return level >= 0 && level <= kHighestLevel;
}

} // namespace koba::skiplist

#endif
