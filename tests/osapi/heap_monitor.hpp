/** What the tests of heap monitoring share: its state is the process's, and starts without blocks.
 */
#ifndef TESTS_OSAPI_HEAP_MONITOR_HPP
#define TESTS_OSAPI_HEAP_MONITOR_HPP

#include "osapi/heap.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace test {

class HeapMonitor : public testing::Test
{
protected:
    static constexpr char kDisableRefused[] =
        "ZOVOsapiHeap_disableMonitoring:disableMonitoring must be called after all the memory has "
        "been freed\n";

    HeapMonitor()
    {
        EXPECT_EQ(ZOVOsapiHeap_g_allocCount, 0) << "blocks of an earlier test are left";
        ZOVOsapiHeap_g_getActivityFcn = nullptr;
    }
    ~HeapMonitor() override
    {
        EXPECT_EQ(end_monitoring(), "");
        EXPECT_EQ(ZOVOsapiHeap_g_allocCount, 0);
    }

    /** Switches monitoring off. Records that are left are dropped first, and told as ", stuck". */
    static std::string end_monitoring()
    {
        ZOVOsapiHeap_disableMonitoring();
        if (!ZOVOsapiHeap_isMonitoringEnabled())
            return "";
        while (ZOVOsapiInlineListNode *node = ZOVOsapiHeap_g_info->blocks.first) {
            auto *info = reinterpret_cast<ZOVOsapiHeapBlockInfo *>(node);
            ZOVOsapiInlineList_removeNode(&ZOVOsapiHeap_g_info->blocks, node);
            zov::heap::remove_string(info->topic);
            zov::heap::remove_string(info->activity);
            std::free(info);
        }
        ZOVOsapiHeap_disableMonitoring();
        return ", stuck";
    }

    /** Current, high, low, allocations, frees, next block id. */
    static std::string statistics()
    {
        ZOVOsapiHeapStat s = {-1, -1, -1, -1, -1, -1};
        EXPECT_TRUE(ZOVOsapiHeap_statGet(&s));
        std::string text;
        for (const int64_t value :
             {s.current, s.high, s.low, s.allocCount, s.freeCount, s.nextBlockId})
            text.append(text.empty() ? "" : " ").append(std::to_string(value));
        return text;
    }

    /** "id: size bytes, topic, activity" of a block, or "unrecorded". */
    static std::string record_of(void *block)
    {
        uint64_t id = 0;
        uint64_t size = 0;
        if (!ZOVOsapiHeap_blockInfoGet(block, &id, &size))
            return "unrecorded";
        const ZOVOsapiHeapBlockInfo *info = zov::heap::header_of(block)->info;
        const auto text = [](const ZOVOsapiHeapStringRef *string) {
            return std::string(string != nullptr ? string->text : "n/a");
        };
        return std::to_string(id) + ": " + std::to_string(size) + " bytes, " + text(info->topic) +
               ", " + text(info->activity);
    }
};

} // namespace test

#endif
