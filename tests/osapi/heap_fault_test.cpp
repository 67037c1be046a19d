#include "osapi/Process.h"
#include "osapi/heap.hpp"
#include "tests/osapi/heap_monitor.hpp"
#include "tests/support/Faults.hpp"
#include "tests/support/Process.hpp"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

using test::Faults;
using test::kOs;
using test::Lines;
using test::no_memory;
using test::text_of;
using test::unnoticed;
using test::warning;
using test::operator+;

namespace {

struct Record
{
    int64_t words[5];
};

char g_marker = 0;

/** A way to allocate: returns what the operation returned. */
struct Form
{
    const char *operation;
    std::size_t size;
    void *(*allocate)(char **pp);
    void (*release)(char *block);
};

#define FORM(OPERATION, SIZE, ALLOCATE, RELEASE)                                                   \
    {                                                                                              \
        OPERATION, SIZE, []([[maybe_unused]] char **pp) -> void * { return ALLOCATE; },            \
            [](char *block) { RELEASE(block); }                                                    \
    }

const Form kForms[] = {
    FORM("ZOVOsapiHeap_allocateStructure", 40, ZOVOsapiHeap_allocateStructure(pp, Record),
         ZOVOsapiHeap_freeStructure),
    FORM("ZOVOsapiHeap_allocateString", 10, ZOVOsapiHeap_allocateString(pp, 9),
         ZOVOsapiHeap_freeString),
    FORM("ZOVOsapiHeap_reallocateString", 10, (*pp = nullptr, ZOVOsapiHeap_reallocateString(pp, 9)),
         ZOVOsapiHeap_freeString),
    FORM("ZOVOsapiHeap_allocateArray", 120, ZOVOsapiHeap_allocateArray(pp, 3, Record),
         ZOVOsapiHeap_freeArray),
    FORM("ZOVOsapiHeap_reallocateArray", 120,
         (*pp = nullptr, ZOVOsapiHeap_reallocateArray(pp, 3, Record)), ZOVOsapiHeap_freeArray),
    FORM("ZOVOsapiHeap_allocateBuffer", 7, ZOVOsapiHeap_allocateBuffer(pp, 7),
         ZOVOsapiHeap_freeBuffer),
    FORM("ZOVOsapiHeap_allocateBufferAligned", 7, ZOVOsapiHeap_allocateBufferAligned(pp, 7, 64),
         ZOVOsapiHeap_freeBufferAligned),
    FORM("ZOVOsapiHeap_malloc", 5, ZOVOsapiHeap_malloc(5), ZOVOsapiHeap_free),
    FORM("ZOVOsapiHeap_calloc", 15, ZOVOsapiHeap_calloc(5, 3), ZOVOsapiHeap_free),
};

/** One allocation, with a limit that is known or still has to be read. */
std::string allocate_and_free(const Form &form, uint64_t limit)
{
    ZOVOsapiHeap_MAX_HEAP_SIZE = limit;
    char *block = &g_marker;
    char *const result = static_cast<char *>(form.allocate(&block));
    if (result == nullptr)
        return block == &g_marker || block == nullptr ? "null" : "null, and the pointer is changed";
    form.release(result);
    return "block";
}

class HeapFaults : public testing::Test
{
protected:
    ~HeapFaults() override { GLOBAL_MALLOC_ALIGNMENT = 16; }
};

TEST_F(HeapFaults, OfEveryAllocation)
{
    for (const Form &form : kForms) {
        SCOPED_TRACE(form.operation);
        const Faults out_of_memory = {
            {"calloc 1", {{"null", no_memory(form.operation, form.size)}}}};
        Faults all = out_of_memory;
        all["getrlimit 1"] = {"null", {warning(std::string(form.operation) + ":!getrlimit\n")}};
        test::for_each_fault([&] { return allocate_and_free(form, 0); }, {"block"}, all);
        test::for_each_fault([&] { return allocate_and_free(form, 1 << 20); }, {"block"},
                             out_of_memory);
    }
}

std::string misaligned(int expected)
{
    return warning("grow:system alignment does not match expected value of " +
                   std::to_string(expected) + ", changing expected alignment to " +
                   std::to_string(expected / 2) + "\n");
}

/** Grows a block with contents, on a platform whose blocks are off by some bytes. */
std::string grow(bool headed, std::size_t shift)
{
    constexpr char kText[] = "contents of the block";
    const auto allocate = [headed](char **pp, uint64_t size, ZOVBool again) {
        return ZOVOsapiHeap_reallocateMemoryInternal(
            reinterpret_cast<void **>(pp), size, headed ? 64 : ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT,
            again, headed ? ZOV_TRUE : ZOV_FALSE, "grow", ZOV_OSAPI_HEAP_KIND_STRING, "char");
    };
    GLOBAL_MALLOC_ALIGNMENT = 16;
    char *block = nullptr;
    {
        const test::Aside aside;
        allocate(&block, sizeof kText, ZOV_FALSE);
        std::memcpy(block, kText, sizeof kText);
    }
    std::string result;
    {
        const test::Replacement shifted(test::block_shift, std::size_t{shift});
        result = allocate(&block, 1000, ZOV_TRUE) != nullptr ? "grown" : "null";
        result += std::strcmp(block, kText) == 0 ? " with contents" : " without contents";
        if (headed && result[0] == 'g')
            result += reinterpret_cast<uintptr_t>(block) % 64 == 0 ? ", aligned" : ", not aligned";
        ZOVOsapiHeap_freeMemoryInternal(block, headed ? ZOV_TRUE : ZOV_FALSE, "drop",
                                        ZOV_OSAPI_HEAP_KIND_STRING);
    }
    return result;
}

TEST_F(HeapFaults, OfReallocationsLeaveTheBlock)
{
    const Lines memory = no_memory("grow", 1000);
    const Lines learned = {misaligned(16)};
    const Faults once = {{"realloc 1", {{"null with contents", memory}}}};
    const Faults twice = {{"realloc 1", {{"null with contents", memory}}},
                          {"realloc 2", {{"null with contents", learned + memory}}}};
    for (const bool headed : {false, true}) {
        const std::string grown = headed ? "grown with contents, aligned" : "grown with contents";
        test::for_each_fault([=] { return grow(headed, 0); }, {grown}, once);
        test::for_each_fault([=] { return grow(headed, 8); }, {grown, learned}, twice);
    }
}

TEST_F(HeapFaults, AlignmentIsLearnedForGood)
{
    test::LogCapture capture;
    capture.set_levels(0x3);
    const std::pair<std::size_t, Lines> shifts[] = {
        {8, {misaligned(16)}}, {4, {misaligned(16), misaligned(8)}}, {16, {}}};
    for (const auto &[shift, warnings] : shifts) {
        for (const auto &[alignment, headed] :
             {std::pair{ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE}, std::pair{64, ZOV_TRUE}}) {
            GLOBAL_MALLOC_ALIGNMENT = 0;
            const test::Replacement shifted(test::block_shift, std::size_t{shift});
            for (int round = 0; round < 2; ++round) {
                void *block = nullptr;
                ASSERT_NE(ZOVOsapiHeap_reallocateMemoryInternal(&block, 33, alignment, ZOV_FALSE,
                                                                headed, "grow",
                                                                ZOV_OSAPI_HEAP_KIND_BUFFER, "char"),
                          nullptr);
                EXPECT_TRUE(ZOVOsapiMemory_isZero(block, 33));
                EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % (headed ? 64 : 4), 0u);
                std::memset(block, 0xEE, 33);
                ZOVOsapiHeap_freeMemoryInternal(block, headed, "drop", ZOV_OSAPI_HEAP_KIND_BUFFER);
            }
            EXPECT_EQ(capture.take(), warnings) << "shifted by " << shift;
            EXPECT_EQ(GLOBAL_MALLOC_ALIGNMENT, 16 >> warnings.size());
        }
    }
}

/** Failures of the mutex of monitoring, as an operation reports them. */
Lines take_failure(const std::string &operation)
{
    return {"ZOVOsapiSemaphore_take:" + kOs + "\n", operation + ":!take mutex\n"};
}
Lines give_failure(const std::string &operation)
{
    return {"ZOVOsapiSemaphore_give:" + kOs + "\n", operation + ":!give mutex\n"};
}

class MonitorFaults : public test::HeapMonitor
{
protected:
    /** The steps under monitoring, which is switched on and off aside. */
    static std::function<std::string()> monitored(std::string (*steps)())
    {
        return [steps] {
            {
                const test::Aside aside;
                EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring());
            }
            std::string result = steps();
            const test::Aside aside;
            return result + end_monitoring();
        };
    }

    /** What monitoring knows of a block, and the statistics once it is freed. */
    static std::string recorded(char *text)
    {
        std::string result;
        {
            const test::Aside aside;
            result = text == nullptr ? "null" : record_of(text);
        }
        ZOVOsapiHeap_freeString(text);
        const test::Aside aside;
        return result + " | " + statistics();
    }
};

TEST_F(MonitorFaults, OfSwitchingOnAndOff)
{
    const std::string context = "ZOVOsapiHeap_enableMonitoring:";
    const std::string no_monitor = context + "no space on heap for structure of size " +
                                   std::to_string(sizeof(ZOVOsapiHeapInfo)) + " bytes\n";
    const Lines no_mutex = {context + "!create heap monitoring mutex\n"};
    const Lines no_memory_for_mutex =
        no_memory("ZOVOsapiHeap_allocateStructure", sizeof(ZOVOsapiSemaphore));
    const std::string storage = "ZOVOsapiHeap_initializeTss:!create Heap TSS context ";
    const Lines no_storage = {context + "!create Heap TSS factory\n"};
    test::for_each_fault(
        [] {
            if (ZOVOsapiHeap_enableMonitoring())
                return "on" + end_monitoring();
            return std::string(ZOVOsapiHeap_g_info == nullptr ? "off" : "half on");
        },
        {"on"},
        {
            {"calloc 1", {{"off", {no_monitor}}}},
            {"calloc 2", {{"off", no_memory_for_mutex + no_mutex}}},
            {"pthread_mutex_init 1",
             {{"off", Lines{"ZOVOsapiSemaphore_new:" + kOs + "\n"} + no_mutex, 1}}},
            {"pthread_key_create 1", {{"off", Lines{storage + "key\n"} + no_storage}}},
            {"pthread_key_create 2", {{"off", Lines{storage + "set key\n"} + no_storage}}},
            {"pthread_key_delete", unnoticed},
            {"pthread_mutex_destroy 1", {{"on", {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
        });
}

TEST_F(MonitorFaults, OfRecordsAndContexts)
{
    const std::string allocate = "ZOVOsapiHeap_allocateString";
    const std::string release = "ZOVOsapiHeap_freeString";
    const char *clean = "1: 10 bytes, topic, activity | 0 10 0 1 1 2";
    const char *without_context = "1: 10 bytes, n/a, n/a | 0 10 0 1 1 2";
    test::for_each_fault(
        monitored([] {
            ZOVOsapiHeapContext saved = {};
            ZOVOsapiHeap_setHeapContext(&saved, "topic", "activity");
            char *text = nullptr;
            ZOVOsapiHeap_allocateString(&text, 9);
            return recorded(text);
        }),
        {clean},
        {
            // A context that fails once is made again, unless its mark is set.
            {"pthread_setspecific 1", {{without_context}}},
            {"malloc 1", {{without_context}}},
            {"malloc 2", {{without_context}}},
            {"pthread_setspecific 2", {{without_context}}},
            {"pthread_mutex_lock 1", test::infallible},
            {"pthread_mutex_unlock 1", unnoticed},
            {"calloc 1", {{"null | 0 0 0 0 0 1", no_memory(allocate, 10)}}},
            {"pthread_mutex_lock 2", {{"unrecorded | 0 0 0 0 0 1", take_failure(allocate)}}},
            // The block is counted, though it has no record that would count its end.
            {"malloc 3", {{"unrecorded | 10 10 0 1 0 2"}}},
            {"gettimeofday 1", unnoticed},
            {"calloc 2", {{"1: 10 bytes, n/a, activity | 0 10 0 1 1 2"}}},
            {"strdup 1", {{"1: 10 bytes, n/a, activity | 0 10 0 1 1 2"}}},
            {"calloc 3", {{"1: 10 bytes, topic, n/a | 0 10 0 1 1 2"}}},
            {"strdup 2", {{"1: 10 bytes, topic, n/a | 0 10 0 1 1 2"}}},
            {"pthread_mutex_unlock 2", {{clean, give_failure(allocate)}}},
            {"pthread_mutex_lock 3",
             {{"1: 10 bytes, topic, activity | 10 10 0 1 0 2, stuck",
               take_failure(release) + Lines{kDisableRefused}}}},
            {"pthread_mutex_unlock 3", {{clean, give_failure(release)}}},
        });
}

TEST_F(MonitorFaults, OfReallocatedRecords)
{
    const std::string grow = "ZOVOsapiHeap_reallocateString";
    const char *clean = "2: 20 bytes, n/a, n/a | 0 20 0 2 2 3";
    test::for_each_fault(
        monitored([] {
            char *text = nullptr;
            {
                const test::Aside aside;
                ZOVOsapiHeap_allocateString(&text, 9);
            }
            ZOVOsapiHeap_reallocateString(&text, 19);
            const test::Aside aside;
            return recorded(text);
        }),
        {clean},
        {
            {"pthread_mutex_lock 1", {{clean, take_failure(grow)}}},
            {"pthread_mutex_unlock 1", {{clean, give_failure(grow)}}},
            {"realloc 1", {{"unrecorded | 10 10 0 1 0 2", no_memory(grow, 20)}}},
            {"pthread_mutex_lock 2", {{"unrecorded | 10 10 0 1 0 2", take_failure(grow)}}},
            {"gettimeofday 1", unnoticed},
            {"pthread_mutex_unlock 2", {{clean, give_failure(grow)}}},
        });
}

TEST_F(MonitorFaults, OfTheMutexInEveryOperation)
{
    const std::pair<const char *, std::string (*)()> operations[] = {
        {"pauseMonitoring", [] { return text_of(ZOVOsapiHeap_pauseMonitoring()); }},
        {"resumeMonitoring", [] { return text_of(ZOVOsapiHeap_resumeMonitoring()); }},
        {"registerGetActivityFcn",
         [] { return text_of(ZOVOsapiHeap_registerGetActivityFcn(nullptr)); }},
        {"statGet",
         [] {
             ZOVOsapiHeapStat stat;
             return text_of(ZOVOsapiHeap_statGet(&stat));
         }},
        {"statReset",
         []() -> std::string {
             ZOVOsapiHeap_statReset();
             return "false"; // which it does not say
         }},
    };
    for (const auto &[name, operation] : operations) {
        const std::string context = std::string("ZOVOsapiHeap_") + name;
        const char *clean = std::strcmp(name, "statReset") == 0 ? "false" : "true";
        test::for_each_fault(monitored(operation), {clean},
                             {{"pthread_mutex_lock 1", {{"false", take_failure(context)}}},
                              {"pthread_mutex_unlock 1", {{"false", give_failure(context)}}}});
    }
}

const char *g_snapshot = nullptr;

TEST_F(MonitorFaults, OfSnapshots)
{
    const test::TemporaryDirectory directory;
    const std::string file = directory.path() + "/heap.txt";
    g_snapshot = file.c_str();
    const std::string context = "ZOVOsapiHeap_snapshot";
    const auto without_info = [&](const std::string &line) {
        return test::Expected{
            "true, 7 lines",
            {"ZOVOsapiProcess_getMemoryInfo:" + line, context + ":!get process memory info\n"}};
    };
    test::for_each_fault(
        monitored([] {
            test::write_file(g_snapshot, "");
            const std::string result = text_of(ZOVOsapiHeap_snapshot(g_snapshot, ZOV_TRUE));
            const std::string text = test::read_file(g_snapshot);
            return result + ", " + std::to_string(std::count(text.begin(), text.end(), '\n')) +
                   " lines";
        }),
        {"true, 7 lines"},
        {
            {"fopen 1", {{"false, 0 lines", {context + ":error opening snapshot file\n"}}}},
            {"fopen 2", without_info("!open /proc/<pid>/statm\n")},
            {"fscanf 1", without_info("!get process memory info\n")},
            {"fclose 1", unnoticed},
            {"pthread_mutex_lock 1", {{"false, 0 lines", take_failure(context)}}},
            {"fclose 2", {{"false, 7 lines", {context + ":error closing snapshot file\n"}}}},
            {"pthread_mutex_unlock 1", {{"false, 7 lines", give_failure(context)}}},
        });
}

} // namespace
