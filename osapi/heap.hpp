/** What the files of the heap share: the block header and the records of monitoring. */
#ifndef WOLKCORE_OSAPI_HEAP_HPP
#define WOLKCORE_OSAPI_HEAP_HPP

#include "osapi/Semaphore.h"
#include "osapi/SemaphoreGuard.hpp"
#include "osapi/heap.h"

#include <pthread.h>

/** Stands right before the user memory of a headed block. */
struct ZOVOsapiHeapHeader
{
    std::uint32_t kind;
    std::uint32_t pad;
    void *raw; /**< the platform's block, which holds padding, header and user memory */
    ZOVOsapiHeapBlockInfo *info; /**< null for a block that is not recorded */
};

/** A text that blocks share. */
struct ZOVOsapiHeapStringRef
{
    ZOVOsapiInlineListNode node;
    std::uint64_t count;
    char *text;
};

struct ZOVOsapiHeapThreadContextEntry
{
    ZOVOsapiInlineListNode node;
    ZOVOsapiHeapContext *context;
};

/** All that monitoring knows; everything behind the mutex is guarded by it. */
struct ZOVOsapiHeapInfo
{
    ZOVBool paused;
    ZOVOsapiSemaphore *mutex;
    std::int64_t low;
    std::int64_t high;
    std::int64_t current;
    std::int64_t allocCount;
    std::int64_t freeCount;
    std::uint64_t nextBlockId;
    ZOVOsapiInlineList blocks;   /**< in the order of recording */
    ZOVOsapiInlineList contexts; /**< one entry a thread */
    ZOVOsapiInlineList strings;  /**< most recently used first */
};

extern "C" {
extern ZOVOsapiHeapInfo *ZOVOsapiHeap_g_info;
extern void *ZOVOsapiHeapContext_g_TssFactory;
extern pthread_key_t ZOVOsapiHeapContext_g_TssContextKey;
extern pthread_key_t ZOVOsapiHeapContext_g_TssContextSetKey;
}

namespace zov::heap {

inline ZOVOsapiHeapHeader *header_of(void *user)
{
    return static_cast<ZOVOsapiHeapHeader *>(user) - 1;
}

inline bool is_monitoring()
{
    return relaxed_load(ZOVOsapiHeap_g_isMonitoringEnabled) != 0;
}

/** Holds the monitoring mutex; failures are reported under the operation's name. */
class MonitorGuard : public SemaphoreGuard
{
public:
    explicit MonitorGuard(const char *operation);
};

/** The size that a block was recorded with; nothing for one without a record. */
struct RecordedSize
{
    bool known = false;
    std::int64_t bytes = 0;
};

/** Takes away the record of a block that is about to be reallocated. */
RecordedSize forget(ZOVOsapiHeapHeader *header, const char *operation);
/** Records a new block, and the end of the one that it replaces. */
void record(ZOVOsapiHeapHeader *header, const RecordedSize &replaced, std::uint64_t size,
            const char *operation, const char *type_name);
/** Records the end of a block, takes its record away, and puts it into the quarantine. */
void retire(ZOVOsapiHeapHeader *header, const char *operation);

/**
 * Keeps a freed block for a while, so that a second free of it still finds its header. Under the
 * mutex.
 */
void quarantine(void *raw);
/** Gives all blocks of the quarantine to the platform. */
void empty_quarantine();

/** Interns a text; null when there is no memory. Under the mutex. */
ZOVOsapiHeapStringRef *assert_string(const char *text);
/** Releases an interned text; null is ignored. Under the mutex. */
void remove_string(ZOVOsapiHeapStringRef *string);

bool initialize_contexts();
void finalize_contexts();

} // namespace zov::heap

#endif
