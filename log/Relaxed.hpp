/**
 * Plain globals that several threads touch by contract. The accesses compile to the same
 * instructions as plain ones, and no two of them are a data race.
 */
#ifndef WOLKCORE_LOG_RELAXED_HPP
#define WOLKCORE_LOG_RELAXED_HPP

#include <atomic>

namespace zov {

template <class T>
T relaxed_load(T &word)
{
    return std::atomic_ref<T>(word).load(std::memory_order_relaxed);
}

template <class T>
void relaxed_store(T &word, T value)
{
    std::atomic_ref<T>(word).store(value, std::memory_order_relaxed);
}

} // namespace zov

#endif
