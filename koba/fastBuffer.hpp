/** What the files of the buffer pools share: the records, how a pool grows, and how both fail. */
#ifndef WOLKCORE_KOBA_FAST_BUFFER_HPP
#define WOLKCORE_KOBA_FAST_BUFFER_HPP

#include "koba/Log.hpp"
#include "koba/fastBuffer.h"
#include "osapi/Semaphore.h"

#include <algorithm>
#include <bit>
#include <cstddef>

/** A block of buffers; the newest is the first of its list. */
struct KOBAFastBufferPoolStorage
{
    KOBAFastBufferPoolStorage *next;
    void *block;
};

struct KOBAFastBufferPool
{
    // What each get and return needs comes first, so that it is in one cache line.
    void **free_end; // behind the buffer that was returned last; the bottom when there is none
    void **bottom;   // of the free stack, which has room for every buffer of the pool
    void **capacity_end;
    ZOVOsapiSemaphore *mutex; // null unless several threads may use the pool
    bool is_plain;            // a get neither takes a mutex nor zeroes
    std::int32_t buffer_size;

    std::int32_t alignment;
    std::int32_t buffer_count;
    std::int32_t growth; // buffers that the next growth adds; 0: it cannot grow
    KOBAFastBufferPoolStorage *storage;
    KOBAFastBufferInitializeFcn initialize;
    void *initialize_parameter;
    KOBAFastBufferFinalizeFcn finalize;
    void *finalize_parameter;
    KOBAFastBufferPoolProperty property;
};

/**
 * Adds the next growth to a pool whose free stack is empty; the mutex, if any, is held.
 *
 * @return 0 with the pool as it was when it may not grow, or when that fails, which is reported.
 */
extern "C" std::int32_t KOBAFastBufferPool_growEmptyPoolEA(struct KOBAFastBufferPool *pool);

namespace koba::fast_buffer {

/** Preconditions of pools and sets, in the words in which their failure is reported. */
inline constexpr char kNoProperty[] = "propertyIn == ((void *)0)";
inline constexpr char kNoAlignment[] = "!( ((bufferAlignment) > 0) && (((bufferAlignment) & "
                                       "(-bufferAlignment)) == (bufferAlignment)) )";

constexpr bool is_alignment(std::int32_t alignment)
{
    return alignment > 0 && std::has_single_bit(static_cast<std::uint32_t>(alignment));
}

/**
 * How many buffers a pool adds when it runs empty again; 0 when it may not grow any more.
 *
 * @param count the buffers of the pool, those of the last growth included.
 * @param grown the buffers of the last growth.
 */
constexpr std::int32_t next_growth(const KOBAFastBufferPoolProperty &property, std::int32_t count,
                                   std::int32_t grown)
{
    const auto &[initial, maximal, increment] = property.growth;
    const bool overrides = property.overrideGrowthLimits != 0;
    if (increment == 0 && !overrides)
        return 0;
    std::int64_t next = std::int64_t{2} * grown;
    if (increment > 0)
        next = std::min<std::int64_t>(next, increment);
    const bool is_limited = maximal >= 0 && !overrides;
    // Without a limit a pool still ends where the info record cannot count its buffers.
    const std::int64_t rest = std::int64_t{is_limited ? maximal : INT32_MAX} - count;
    if (is_limited && rest < 3 * next / 2)
        next = rest;
    return static_cast<std::int32_t>(std::min(next, rest));
}

/** Reports what could not be made. */
[[gnu::cold]] inline std::nullptr_t fail_creation(const char *operation, const char *what)
{
    KOBA_LOG_AS(Exception, kSubmoduleFastBuffer, operation, ZOV_LOG_CREATION_FAILURE_s, what);
    return nullptr;
}

/** Reports the condition that should not have held. */
[[gnu::cold]] inline std::nullptr_t fail_precondition(const char *operation, const char *condition)
{
    KOBA_LOG_AS(Exception, kSubmoduleFastBuffer, operation, ZOV_LOG_PRECONDITION_FAILURE_s,
                condition);
    ZOVLog_onAssert();
    return nullptr;
}

/** For owners of what is not complete yet: std::unique_ptr<T, DeletedBy<T_delete>>. */
template <auto delete_>
struct DeletedBy
{
    template <class T>
    void operator()(T *object) const
    {
        delete_(object);
    }
};

} // namespace koba::fast_buffer

#endif
