#include "osapi/Log.hpp"
#include "osapi/heap.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

// The records of monitoring come from the platform's allocator: monitoring never monitors itself.

constinit ZOVBool ZOVOsapiHeap_g_isMonitoringEnabled = ZOV_FALSE;
constinit ZOVOsapiHeapGetActivityFunction ZOVOsapiHeap_g_getActivityFcn = nullptr;
constinit ZOVOsapiHeapInfo *ZOVOsapiHeap_g_info = nullptr;

namespace {

using zov::heap::is_monitoring;
using zov::heap::MonitorGuard;

void report_mutex(const char *context, const ZOVLogMessage &message)
{
    if (!ZOV_LOG_IS_ON(ZOVOsapiLog, Exception, zov::osapi::kSubmoduleMemory))
        return;
    zov::log::announce(zov::log::Level::Exception);
    ZOVLog_printContextAndMsg(context, &message);
}

ZOVBool fail(const char *operation, const char *text)
{
    OSAPI_LOG_AS(Exception, kSubmoduleMemory, operation, ZOV_LOG_ANY_s, text);
    return ZOV_FALSE;
}

bool is_on(const char *operation)
{
    return is_monitoring() || fail(operation, "heap monitoring not enabled");
}

void release(ZOVOsapiHeapInfo &monitor, std::int64_t bytes)
{
    monitor.freeCount += 1;
    monitor.current -= bytes;
    monitor.low = std::min(monitor.low, monitor.current);
}

void add(ZOVOsapiHeapInfo &monitor, std::int64_t bytes)
{
    monitor.current += bytes;
    monitor.allocCount += 1;
    monitor.low = std::min(monitor.low, monitor.current);
    monitor.high = std::max(monitor.high, monitor.current);
}

// The record that was dropped last serves the next block: most frees make room for one.
constinit ZOVOsapiHeapBlockInfo *g_spare_info = nullptr;

ZOVOsapiHeapBlockInfo *new_info()
{
    if (g_spare_info != nullptr)
        return std::exchange(g_spare_info, nullptr);
    return static_cast<ZOVOsapiHeapBlockInfo *>(std::malloc(sizeof(ZOVOsapiHeapBlockInfo)));
}

void drop_info(ZOVOsapiHeapBlockInfo *info)
{
    std::free(std::exchange(g_spare_info, info));
}

void remove_info(ZOVOsapiHeapHeader *header)
{
    ZOVOsapiHeapBlockInfo *info = header->info;
    ZOVOsapiInlineList_removeNode(&ZOVOsapiHeap_g_info->blocks, &info->node);
    zov::heap::remove_string(info->topic);
    zov::heap::remove_string(info->activity);
    drop_info(info);
    header->info = nullptr;
}

/** Copies the thread's context into the record; texts are interned, since the caller's go away. */
void note_context(ZOVOsapiHeapBlockInfo *info)
{
    const ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext();
    if (context == nullptr)
        return;
    ZOVOsapiHeap_copyContext(&info->context, context);
    info->context.topic = nullptr;
    info->context.activity = nullptr;
    if (context->topic != nullptr)
        info->topic = zov::heap::assert_string(context->topic);
    const char *activity = context->activity;
    if (activity == nullptr && ZOVOsapiHeap_g_getActivityFcn != nullptr)
        activity = ZOVOsapiHeap_g_getActivityFcn(nullptr);
    if (activity != nullptr)
        info->activity = zov::heap::assert_string(activity);
}

/** A block whose record cannot be made stays without one. */
void add_info(ZOVOsapiHeapHeader *header, std::uint64_t size, const char *operation,
              const char *type_name)
{
    ZOVOsapiHeapBlockInfo *info = new_info();
    if (info == nullptr)
        return;
    ZOVOsapiHeapBlockInfo_initialize(info);
    info->size = size;
    info->blockId = ZOVOsapiHeap_g_info->nextBlockId;
    info->operation = operation;
    info->typeName = type_name;
    ZOVOsapiUtility_getTimeAdv(&info->time, ZOV_FALSE);
    ZOVOsapiInlineList_addNodeToBack(&ZOVOsapiHeap_g_info->blocks, &info->node);
    note_context(info);
    header->info = info;
}

bool make_monitor()
{
    constexpr char kEnable[] = "ZOVOsapiHeap_enableMonitoring";
    auto *monitor = static_cast<ZOVOsapiHeapInfo *>(std::calloc(1, sizeof(ZOVOsapiHeapInfo)));
    ZOVOsapiHeap_g_info = monitor;
    if (monitor == nullptr) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, kEnable,
                     ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d, static_cast<int>(sizeof *monitor));
        return false;
    }
    monitor->mutex = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (monitor->mutex == nullptr) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, kEnable, ZOV_LOG_CREATION_FAILURE_s,
                     "heap monitoring mutex");
        return false;
    }
    if (!zov::heap::initialize_contexts()) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, kEnable, ZOV_LOG_CREATION_FAILURE_s,
                     "Heap TSS factory");
        return false;
    }
    return true;
}

ZOVBool set_paused(ZOVBool paused, const char *operation)
{
    if (!is_on(operation))
        return ZOV_FALSE;
    MonitorGuard guard(operation);
    if (!guard.is_held())
        return ZOV_FALSE;
    ZOVOsapiHeap_g_info->paused = paused;
    return guard.give();
}

} // namespace

zov::heap::MonitorGuard::MonitorGuard(const char *operation)
    : SemaphoreGuard(ZOVOsapiHeap_g_info->mutex, operation, report_mutex)
{
}

zov::heap::RecordedSize zov::heap::forget(ZOVOsapiHeapHeader *header, const char *operation)
{
    if (header->info == nullptr)
        return {};
    // A mutex that fails is reported, and the reallocation goes on.
    const MonitorGuard guard(operation);
    const RecordedSize size = {.known = true,
                               .bytes = static_cast<std::int64_t>(header->info->size)};
    remove_info(header);
    return size;
}

void zov::heap::record(ZOVOsapiHeapHeader *header, const RecordedSize &replaced, std::uint64_t size,
                       const char *operation, const char *type_name)
{
    const MonitorGuard guard(operation);
    if (!guard.is_held())
        return;
    ZOVOsapiHeapInfo &monitor = *ZOVOsapiHeap_g_info;
    if (replaced.known)
        release(monitor, replaced.bytes);
    if (monitor.paused)
        return;
    add(monitor, static_cast<std::int64_t>(size));
    add_info(header, size, operation, type_name);
    monitor.nextBlockId += 1;
}

void zov::heap::retire(ZOVOsapiHeapHeader *header, const char *operation)
{
    const MonitorGuard guard(operation);
    if (!guard.is_held()) {
        std::free(header->raw); // without the lock there is no waiting
        return;
    }
    if (header->info != nullptr) {
        release(*ZOVOsapiHeap_g_info, static_cast<std::int64_t>(header->info->size));
        remove_info(header);
    }
    quarantine(header->raw);
}

ZOVBool ZOVOsapiHeap_enableMonitoring(void)
{
    if (zov::relaxed_load(ZOVOsapiHeap_g_allocCount) != 0)
        return fail(__func__,
                    "enableMonitoring must be called before the middleware allocates any memory");
    if (!make_monitor()) {
        ZOVOsapiHeap_disableMonitoring();
        return ZOV_FALSE;
    }
    ZOVOsapiHeap_g_info->nextBlockId = 1;
    zov::relaxed_store(ZOVOsapiHeap_g_isMonitoringEnabled, ZOV_TRUE);
    return ZOV_TRUE;
}

void ZOVOsapiHeap_disableMonitoring(void)
{
    ZOVOsapiHeapInfo *monitor = ZOVOsapiHeap_g_info;
    if (monitor == nullptr)
        return;
    if (monitor->blocks.first != nullptr) {
        fail(__func__, "disableMonitoring must be called after all the memory has been freed");
        return;
    }
    zov::relaxed_store(ZOVOsapiHeap_g_isMonitoringEnabled, ZOV_FALSE);
    zov::heap::empty_quarantine();
    drop_info(nullptr);
    zov::heap::finalize_contexts();
    ZOVOsapiSemaphore_delete(monitor->mutex);
    std::free(monitor);
    ZOVOsapiHeap_g_info = nullptr;
}

ZOVBool ZOVOsapiHeap_isMonitoringEnabled(void)
{
    return is_monitoring();
}

ZOVBool ZOVOsapiHeap_pauseMonitoring(void)
{
    return set_paused(ZOV_TRUE, __func__);
}

ZOVBool ZOVOsapiHeap_resumeMonitoring(void)
{
    return set_paused(ZOV_FALSE, __func__);
}

ZOVBool ZOVOsapiHeap_statGet(ZOVOsapiHeapStat *stat)
{
    if (!is_monitoring()) {
        stat->nextBlockId = 0; // Kept: the other fields stay the caller's.
        return ZOV_TRUE;
    }
    MonitorGuard guard(__func__);
    if (!guard.is_held())
        return ZOV_FALSE;
    const ZOVOsapiHeapInfo &monitor = *ZOVOsapiHeap_g_info;
    *stat = {.current = monitor.current,
             .high = monitor.high,
             .low = monitor.low,
             .allocCount = monitor.allocCount,
             .freeCount = monitor.freeCount,
             .nextBlockId = static_cast<std::int64_t>(monitor.nextBlockId)};
    return guard.give();
}

void ZOVOsapiHeap_statReset(void)
{
    if (!is_monitoring())
        return;
    const MonitorGuard guard(__func__);
    if (!guard.is_held())
        return;
    ZOVOsapiHeapInfo &monitor = *ZOVOsapiHeap_g_info;
    monitor.low = monitor.high = monitor.current = monitor.allocCount = monitor.freeCount = 0;
}

ZOVBool ZOVOsapiHeap_blockInfoGet(void *userPointer, uint64_t *blockId, uint64_t *size)
{
    if (!is_on(__func__))
        return ZOV_FALSE;
    const ZOVOsapiHeapHeader *header = zov::heap::header_of(userPointer);
    const char *name = ZOVOsapiHeap_allocKind2FcnName(header->kind);
    if (std::strcmp(name, "ZOVOsapiHeap_unknownFunction") == 0) {
        OSAPI_LOG(Exception, kSubmoduleMemory, ZOV_LOG_INVALID_s, "address");
        return ZOV_FALSE;
    }
    if (header->info == nullptr)
        return ZOV_FALSE;
    *blockId = header->info->blockId;
    *size = header->info->size;
    return ZOV_TRUE;
}

ZOVBool ZOVOsapiHeap_registerGetActivityFcn(ZOVOsapiHeapGetActivityFunction callback)
{
    if (!is_on(__func__))
        return ZOV_FALSE;
    MonitorGuard guard(__func__);
    if (!guard.is_held())
        return ZOV_FALSE;
    ZOVOsapiHeap_g_getActivityFcn = callback;
    return guard.give();
}

void ZOVOsapiHeapBlockInfo_initialize(ZOVOsapiHeapBlockInfo *self)
{
    *self = {};
}
