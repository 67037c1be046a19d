#include "osapi/heap.hpp"

#include "osapi/Log.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

// A headed block as the platform sees it:
//
//     raw            user - 24      user                    user + size
//      |  (padding)    |  header     |  what the caller sees  |
//                      | kind        |
//                      | raw pointer |
//                      | block info  |
//
// The padding makes user a multiple of the alignment; a block without header is the platform's own.

constinit int64_t ZOVOsapiHeap_g_allocCount = 0;
constinit uint64_t ZOVOsapiHeap_MAX_HEAP_SIZE = 0;
constinit int32_t GLOBAL_MALLOC_ALIGNMENT = 0;

namespace {

using zov::relaxed_load;
using zov::relaxed_store;

using Header = ZOVOsapiHeapHeader;
static_assert(sizeof(Header) == 24);

using zov::heap::header_of;
using zov::heap::is_monitoring;

constexpr std::int32_t kMallocAlignment = 16;

// What the platform is asked for: it takes a reallocation to nothing for a free, and knows no
// larger block than the largest difference of pointers, which it refuses.
constexpr std::uint64_t kSmallestBlock = 1;
constexpr std::uint64_t kLargestBlock = PTRDIFF_MAX;

/** What one call asks for. */
struct Request
{
    void **pp;
    std::uint64_t size;
    std::uint64_t alignment;
    bool headed;
    const char *operation;
    std::uint32_t kind;
    const char *type_name;
};

constexpr std::uint64_t add_saturated(std::uint64_t a, std::uint64_t b)
{
    return a + b < a ? UINT64_MAX : a + b;
}

constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t alignment)
{
    return (value + alignment - 1) & ~(alignment - 1);
}

std::uint64_t effective_alignment(std::int32_t alignment)
{
    return std::bit_ceil(static_cast<std::uint32_t>(std::max(alignment, kMallocAlignment)));
}

std::ptrdiff_t distance(const void *from, const void *to)
{
    return static_cast<const char *>(to) - static_cast<const char *>(from);
}

void *behind(void *raw, std::ptrdiff_t bytes)
{
    return static_cast<char *>(raw) + bytes;
}

/** The callers' pointers have their own types: only their bytes are read and written here. */
void *load_pointer(void **pp)
{
    void *pointer;
    std::memcpy(&pointer, pp, sizeof pointer);
    return pointer;
}

void store_pointer(void **pp, void *pointer)
{
    std::memcpy(pp, &pointer, sizeof pointer);
}

void count_allocations(std::int64_t change)
{
    relaxed_store(ZOVOsapiHeap_g_allocCount, relaxed_load(ZOVOsapiHeap_g_allocCount) + change);
}

bool is_within_limit(const Request &request, std::uint64_t total)
{
    std::uint64_t limit = relaxed_load(ZOVOsapiHeap_MAX_HEAP_SIZE);
    if (limit == 0) {
        rlimit data = {};
        if (getrlimit(RLIMIT_DATA, &data) != 0) {
            OSAPI_LOG_AS(Warning, kSubmoduleMemory, request.operation, ZOV_LOG_GETRLIMIT_FAILURE);
            return false;
        }
        limit = data.rlim_cur;
        relaxed_store(ZOVOsapiHeap_MAX_HEAP_SIZE, limit);
    }
    if (total <= limit)
        return true;
    OSAPI_LOG_AS(Warning, kSubmoduleMemory, request.operation, ZOV_LOG_MALLOC_EXCEEDS_HEAP_lulu,
                 static_cast<unsigned long>(total), static_cast<unsigned long>(limit));
    return false;
}

void report_refusal(const Request &request)
{
    const int error = errno;
    OSAPI_LOG_AS(Warning, kSubmoduleMemory, request.operation, ZOV_LOG_MALLOC_FAILURE_d,
                 static_cast<unsigned long>(request.size));
    OSAPI_LOG_AS(Warning, kSubmoduleMemory, request.operation, ZOV_LOG_ERRNO_d, error);
}

bool is_aligned(const void *block, std::int32_t alignment)
{
    return reinterpret_cast<std::uintptr_t>(block) % static_cast<std::uint32_t>(alignment) == 0;
}

/** The platform's blocks are less aligned than expected: believed for good. */
[[gnu::cold]] void expect_less_alignment(const Request &request, std::int32_t expected)
{
    OSAPI_LOG_AS(Warning, kSubmoduleMemory, request.operation,
                 ZOV_OSAPI_MEMORY_LOG_ALIGNMENT_MISMATCH_dd, expected, expected / 2);
    relaxed_store(GLOBAL_MALLOC_ALIGNMENT, expected / 2);
}

std::uint64_t padding_for(std::uint64_t alignment, std::uint64_t expected)
{
    if (alignment <= expected)
        return 0;
    return alignment % expected != 0 ? alignment - 1 : alignment - expected;
}

/**
 * The platform's block. A platform whose blocks are less aligned than expected is believed: the
 * expectation is halved for good, and every retry asks for a little more.
 *
 * @param old the platform's old block of a reallocation, or null.
 * @param old_distance from the old block to what its caller sees.
 */
void *obtain(const Request &request, std::uint64_t total, void *old, std::ptrdiff_t old_distance)
{
    for (;;) {
        const std::int32_t expected = relaxed_load(GLOBAL_MALLOC_ALIGNMENT);
        total = add_saturated(total,
                              padding_for(request.alignment, static_cast<std::uint64_t>(expected)));
        const std::uint64_t bytes = std::clamp(total, kSmallestBlock, kLargestBlock);
        void *raw = old == nullptr ? std::calloc(1, bytes) : std::realloc(old, bytes);
        if (raw == nullptr) {
            report_refusal(request);
            return nullptr;
        }
        if (is_aligned(raw, expected))
            return raw;
        if (old == nullptr) {
            std::free(raw);
        } else {
            old = raw;
            void *user = behind(raw, old_distance);
            store_pointer(request.pp, user);
            if (request.headed)
                header_of(user)->raw = raw;
        }
        expect_less_alignment(request, expected);
    }
}

bool is_request_valid(const Request &request, std::int32_t alignment, bool forced)
{
    if (request.pp == nullptr) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, request.operation, ZOV_LOG_ANY_s,
                     "NULL pointer passed as output parameter.");
        return false;
    }
    if (alignment != ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT && !forced) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, request.operation, ZOV_LOG_ANY_s,
                     "Invalid memory request: aligned allocation also requires a header.");
        return false;
    }
    return true;
}

/** Whether a headed block may be treated as one of this kind. */
bool is_of_kind(const Header *header, const Request &request)
{
    if (header->kind == request.kind)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleMemory, request.operation,
                 ZOV_OSAPI_MEMORY_LOG_INCONSISTENT_REALLOC_Xss,
                 static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(header->raw)),
                 request.operation, ZOVOsapiHeap_allocKind2FcnName(header->kind));
    return false;
}

/** Puts the header in place; after a reallocation the contents follow the new alignment. */
void *place_header(const Request &request, void *raw, bool moved, std::ptrdiff_t old_distance)
{
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    const auto new_distance = static_cast<std::ptrdiff_t>(
        round_up(address + sizeof(Header), request.alignment) - address);
    void *user = behind(raw, new_distance);
    if (moved && new_distance != old_distance)
        std::memmove(header_of(user), header_of(behind(raw, old_distance)),
                     request.size + sizeof(Header));
    *header_of(user) = {.kind = request.kind, .pad = 0, .raw = raw, .info = nullptr};
    return user;
}

void *allocate(const Request &request, void *old_user)
{
    const std::uint64_t header_room =
        request.headed ? round_up(sizeof(Header), request.alignment) : 0;
    const std::uint64_t total = add_saturated(request.size, header_room);
    if (!is_within_limit(request, total))
        return nullptr;
    void *old = old_user;
    zov::heap::RecordedSize replaced;
    if (old_user != nullptr && request.headed) {
        Header *header = header_of(old_user);
        if (!is_of_kind(header, request))
            return nullptr;
        replaced = zov::heap::forget(header, request.operation);
        old = header->raw;
    }
    const std::ptrdiff_t old_distance = old_user == nullptr ? 0 : distance(old, old_user);
    // The contents start where they are before they can follow another alignment.
    const std::uint64_t kept =
        old_user == nullptr ? 0
                            : add_saturated(static_cast<std::uint64_t>(old_distance), request.size);
    void *raw = obtain(request, std::max(total, kept), old, old_distance);
    if (raw == nullptr)
        return nullptr;
    void *user =
        request.headed ? place_header(request, raw, old_user != nullptr, old_distance) : raw;
    if (request.headed && is_monitoring())
        zov::heap::record(header_of(user), replaced, request.size, request.operation,
                          request.type_name);
    store_pointer(request.pp, user);
    if (old_user == nullptr)
        count_allocations(1);
    return user;
}

[[gnu::cold]] bool is_free_consistent(const Header *header, const char *operation,
                                      std::uint32_t kind)
{
    if (header->kind == kind)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleMemory, operation, ZOV_OSAPI_MEMORY_LOG_INCONSISTENT_FREE_Xss,
                 static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(header->raw)), operation,
                 ZOVOsapiHeap_allocKind2FcnName(header->kind));
    return false;
}

[[gnu::noinline]] void free_headed(void *user, const char *operation, std::uint32_t kind)
{
    Header *header = header_of(user);
    if (!is_free_consistent(header, operation, kind))
        return;
    // Volatile, or the compiler drops a store into memory that is about to be freed.
    const_cast<volatile std::uint32_t &>(header->kind) = ZOV_OSAPI_HEAP_KIND_FREED;
    if (header->raw != nullptr)
        count_allocations(-1);
    if (is_monitoring())
        zov::heap::retire(header, operation);
    else
        std::free(header->raw);
}

/** Everything but the common case. */
[[gnu::noinline]] void *allocate_checked(void **pp, std::uint64_t size, std::int32_t alignment,
                                         bool is_reallocation, bool force_header,
                                         const char *operation, std::uint32_t kind,
                                         const char *type_name)
{
    if (relaxed_load(GLOBAL_MALLOC_ALIGNMENT) == 0)
        relaxed_store(GLOBAL_MALLOC_ALIGNMENT, kMallocAlignment);
    const Request request = {.pp = pp,
                             .size = size,
                             .alignment = effective_alignment(alignment),
                             .headed = force_header || is_monitoring(),
                             .operation = operation,
                             .kind = kind,
                             .type_name = type_name};
    if (!is_request_valid(request, alignment, force_header))
        return nullptr;
    return allocate(request, is_reallocation ? load_pointer(pp) : nullptr);
}

/** What the platform gave for a plain request is nothing, or less aligned than expected. */
[[gnu::noinline, gnu::cold]] void *allocate_after(void *misaligned, void **pp, std::uint64_t size,
                                                  const char *operation)
{
    // Without a header nobody asks for the kind and the type.
    const Request request = {.pp = pp,
                             .size = size,
                             .alignment = kMallocAlignment,
                             .headed = false,
                             .operation = operation,
                             .kind = 0,
                             .type_name = nullptr};
    if (misaligned == nullptr) {
        report_refusal(request);
        return nullptr;
    }
    std::free(misaligned);
    expect_less_alignment(request, kMallocAlignment);
    return allocate(request, nullptr);
}

/** Nothing to record, nothing to align, nothing to keep, and everything about the heap known. */
bool is_plain(void **pp, std::uint64_t size, std::int32_t alignment, ZOVBool is_reallocation,
              ZOVBool force_header)
{
    return (is_reallocation | force_header | relaxed_load(ZOVOsapiHeap_g_isMonitoringEnabled)) ==
               0 &&
           alignment == ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT && pp != nullptr &&
           size <= relaxed_load(ZOVOsapiHeap_MAX_HEAP_SIZE) &&
           relaxed_load(GLOBAL_MALLOC_ALIGNMENT) == kMallocAlignment;
}

} // namespace

void *ZOVOsapiHeap_reallocateMemoryInternal(void **pp, uint64_t size, int32_t alignment,
                                            ZOVBool isReallocation, ZOVBool forceHeader,
                                            const char *operationName, uint32_t kind,
                                            const char *typeName)
{
    if (!is_plain(pp, size, alignment, isReallocation, forceHeader)) [[unlikely]]
        return allocate_checked(pp, size, alignment, isReallocation != 0, forceHeader != 0,
                                operationName, kind, typeName);
    void *block = std::calloc(1, size);
    if (block == nullptr || !is_aligned(block, kMallocAlignment)) [[unlikely]]
        return allocate_after(block, pp, size, operationName);
    store_pointer(pp, block);
    count_allocations(1);
    return block;
}

void ZOVOsapiHeap_freeMemoryInternal(void *pointer, ZOVBool hasHeader, const char *operationName,
                                     uint32_t kind)
{
    if (pointer == nullptr)
        return;
    if (hasHeader != 0 || is_monitoring()) [[unlikely]] {
        free_headed(pointer, operationName, kind);
        return;
    }
    count_allocations(-1);
    std::free(pointer);
}

void *ZOVOsapiHeap_malloc(uint64_t size)
{
    void *block = nullptr;
    return ZOV_OSAPI_HEAP_ALLOCATE(&block, size, ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE,
                                   ZOV_FALSE, "ZOVOsapiHeap_malloc", ZOV_OSAPI_HEAP_KIND_MALLOC,
                                   "unsigned char");
}

void *ZOVOsapiHeap_calloc(uint64_t count, uint64_t size)
{
    void *block = nullptr;
    return ZOV_OSAPI_HEAP_ALLOCATE(
        &block, ZOVOsapiHeap_productSize(count, size), ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE,
        ZOV_FALSE, "ZOVOsapiHeap_calloc", ZOV_OSAPI_HEAP_KIND_MALLOC, "unsigned char");
}

const char *ZOVOsapiHeap_allocKind2FcnName(uint32_t kind)
{
    switch (kind) {
    case ZOV_OSAPI_HEAP_KIND_STRUCTURE:
        return "ZOVOsapiHeap_allocateStructure";
    case ZOV_OSAPI_HEAP_KIND_STRING:
        return "ZOVOsapiHeap_allocateString";
    case ZOV_OSAPI_HEAP_KIND_ARRAY:
        return "ZOVOsapiHeap_allocateArray";
    case ZOV_OSAPI_HEAP_KIND_BUFFER:
        return "ZOVOsapiHeap_allocateBuffer";
    case ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED:
        return "ZOVOsapiHeap_allocateBufferAligned";
    case ZOV_OSAPI_HEAP_KIND_MALLOC:
        return "ZOVOsapiHeap_malloc";
    case ZOV_OSAPI_HEAP_KIND_FREED:
        return "ZOVOsapiHeap_freeXXX";
    default:
        return "ZOVOsapiHeap_unknownFunction";
    }
}
