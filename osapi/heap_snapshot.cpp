#include "osapi/Environment.h"
#include "osapi/Log.hpp"
#include "osapi/Process.h"
#include "osapi/heap.hpp"

#include <cinttypes>
#include <cstdio>

namespace {

void write_summary(std::FILE *file, const ZOVOsapiProcessMemoryInfo &memory)
{
    const ZOVOsapiHeapInfo &monitor = *ZOVOsapiHeap_g_info;
    std::fprintf(file, "Process virtual memory: %" PRIu64 "\n", memory.totalSize);
    std::fprintf(file, "Process physical memory: %" PRIu64 "\n", memory.residentSize);
    std::fprintf(file, "Current heap usage: %" PRId64 "\n", monitor.current);
    std::fprintf(file, "High watermark: %" PRId64 "\n", monitor.high);
    std::fprintf(file, "Alloc count: %" PRId64 "\n", monitor.allocCount);
    std::fprintf(file, "Free count: %" PRId64 "\n", monitor.freeCount);
}

const char *text_of(const ZOVOsapiHeapStringRef *string)
{
    return string != nullptr ? string->text : "n/a";
}

const char *known(const char *name)
{
    return name != nullptr ? name : "unknown";
}

void write_block(std::FILE *file, const ZOVOsapiHeapBlockInfo &info)
{
    std::fprintf(file, "%" PRIu64 ", %d, %" PRIu64 ", %s, %d, %d, %s, %s, %s, %s\n", info.blockId,
                 info.time.sec, info.size, info.context.poolAllocation != 0 ? "POOL" : "MALLOC",
                 info.context.poolBufferSize, info.context.poolBufferCount, text_of(info.topic),
                 text_of(info.activity), known(info.operation), known(info.typeName));
}

void write_blocks(std::FILE *file)
{
    std::fputs("block_id, timestamp, block_size, pool_alloc, pool_buffer_size, pool_buffer_count, "
               "topic_name, activity, alloc_method_name, type_name\n",
               file);
    for (const ZOVOsapiInlineListNode *node = ZOVOsapiHeap_g_info->blocks.first; node != nullptr;
         node = node->next)
        write_block(file, *reinterpret_cast<const ZOVOsapiHeapBlockInfo *>(node));
}

ZOVOsapiProcessMemoryInfo memory_info(const char *operation)
{
    ZOVOsapiProcessMemoryInfo memory = {};
    if (!ZOVOsapiProcess_getMemoryInfo(&memory))
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, operation, ZOV_LOG_GET_FAILURE_s,
                     "process memory info");
    return memory;
}

ZOVBool fail(const char *operation, const char *text)
{
    OSAPI_LOG_AS(Exception, kSubmoduleMemory, operation, ZOV_LOG_ANY_s, text);
    return ZOV_FALSE;
}

} // namespace

ZOVBool ZOVOsapiHeap_snapshot(const char *fileName, ZOVBool includeBlocks)
{
    if (!zov::heap::is_monitoring())
        return fail(__func__, "heap monitoring not enabled");
    std::FILE *file = ZOVOsapi_fileOpen(fileName, "wb");
    if (file == nullptr)
        return fail(__func__, "error opening snapshot file");
    const ZOVOsapiProcessMemoryInfo memory = memory_info(__func__);
    zov::heap::MonitorGuard guard(__func__);
    const bool writes = guard.is_held();
    if (writes) {
        write_summary(file, memory);
        if (includeBlocks)
            write_blocks(file);
    }
    // What could not be written shows when the file is closed, at the latest.
    const bool complete = std::ferror(file) == 0;
    const bool closed = ZOVOsapi_fileClose(file) == 0 && complete;
    if (!closed)
        fail(__func__, "error closing snapshot file");
    const bool given = guard.give();
    return writes && closed && given;
}
