#include "tests/osapi/heap_monitor.hpp"
#include "tests/support/Faults.hpp"
#include "tests/support/Process.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <sstream>
#include <thread>
#include <tuple>

using test::Expected;
using test::kOs;
using test::Lines;
using test::no_memory;
using test::text_of;
using test::unnoticed;
using test::operator+;

namespace {

struct Thing
{
    int64_t words[3];
};

char *new_text(uint64_t size)
{
    char *text = nullptr;
    ZOVOsapiHeap_allocateString(&text, size - 1);
    return text;
}

class Monitor : public test::HeapMonitor
{
protected:
    Monitor() { EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring()); }

    /** The lines since the last call. */
    void expect_reported(const Lines &lines) { EXPECT_EQ(m_capture.take(), lines); }

    /** "text: references" of every interned text, in order. */
    static Lines strings()
    {
        Lines texts;
        for (auto *node = ZOVOsapiHeap_g_info->strings.first; node != nullptr; node = node->next) {
            const auto *string = reinterpret_cast<ZOVOsapiHeapStringRef *>(node);
            texts.push_back(std::string(string->text) + ": " + std::to_string(string->count));
        }
        return texts;
    }

private:
    test::LogCapture m_capture;
};

TEST_F(Monitor, StatisticsCountRequestedBytes)
{
    EXPECT_EQ(statistics(), "0 0 0 0 0 1");
    char *ten = new_text(10);
    char *twenty = new_text(20);
    ZOVOsapiHeap_freeString(ten);
    EXPECT_EQ(statistics(), "20 30 0 2 1 3");
    // After a reset the end of an older block counts below zero; block ids run on.
    ZOVOsapiHeap_statReset();
    EXPECT_EQ(statistics(), "0 0 0 0 0 3");
    ZOVOsapiHeap_freeString(twenty);
    EXPECT_EQ(statistics(), "-20 0 -20 0 1 3");
    ten = new_text(10);
    EXPECT_EQ(statistics(), "-10 0 -20 1 1 4");
    ZOVOsapiHeap_freeString(ten);
    expect_reported({});
}

TEST_F(Monitor, PausedItRecordsNothingNewAndFollowsWhatItKnows)
{
    char *known = new_text(10);
    char *grown = new_text(10);
    ASSERT_TRUE(ZOVOsapiHeap_pauseMonitoring());
    char *unknown = new_text(30);
    EXPECT_EQ(record_of(unknown), "unrecorded");
    ZOVOsapiHeap_freeString(known);
    ASSERT_NE(ZOVOsapiHeap_reallocateString(&grown, 99), nullptr);
    EXPECT_EQ(statistics(), "0 20 0 2 2 3");
    ASSERT_TRUE(ZOVOsapiHeap_resumeMonitoring());
    ZOVOsapiHeap_freeString(unknown);
    ASSERT_NE(ZOVOsapiHeap_reallocateString(&grown, 49), nullptr);
    EXPECT_EQ(statistics(), "50 50 0 3 2 4");
    ZOVOsapiHeap_freeString(grown);
    expect_reported({});
}

std::string inconsistent(const std::string &what, void *block, const std::string &operation,
                         const std::string &allocated)
{
    const auto raw = reinterpret_cast<uintptr_t>(zov::heap::header_of(block)->raw);
    std::ostringstream line;
    line << "ZOVOsapiHeap_" << operation << ":inconsistent " << what << "/alloc: block id 0X"
         << std::hex << std::uppercase << static_cast<unsigned>(raw) << " being "
         << (what == "free" ? "freed" : "realloced") << " with \"ZOVOsapiHeap_" << operation
         << "\" and was allocated with \"ZOVOsapiHeap_" << allocated << "\"\n";
    return line.str();
}

TEST_F(Monitor, WrongAndSecondFreesAreReportedAndFreeNothing)
{
    Thing *thing = nullptr;
    ASSERT_NE(ZOVOsapiHeap_allocateStructure(&thing, Thing), nullptr);
    ZOVOsapiHeap_freeString(thing);
    void *array = thing;
    EXPECT_EQ(ZOVOsapiHeap_reallocateArray(&array, 100, Thing), nullptr);
    EXPECT_EQ(array, thing);
    EXPECT_EQ(statistics(), "24 24 0 1 0 2");
    expect_reported({inconsistent("free", thing, "freeString", "allocateStructure"),
                     inconsistent("realloc", thing, "reallocateArray", "allocateStructure")});
    for (int again = 0; again <= 2; ++again)
        ZOVOsapiHeap_freeStructure(thing);
    EXPECT_EQ(statistics(), "0 24 0 1 1 2");
    expect_reported(Lines(2, inconsistent("free", thing, "freeStructure", "freeXXX")));
}

// What was freed last stays readable: 64 blocks, but no more than 256 KiB.
TEST_F(Monitor, QuarantineHasBounds)
{
    const std::pair<std::size_t, std::size_t> cases[] = {
        {10, 64}, {60 * 1024, 4}, {120 * 1024, 2}, {300 * 1024, 0}};
    for (const auto &[size, kept] : cases) {
        ZOVOsapiHeap_freeString(new_text(size)); // its record stays in reserve
        const test::Fault counting;
        std::vector<char *> blocks(kept + 3);
        for (char *&block : blocks)
            block = new_text(size);
        ASSERT_EQ(test::live_blocks(), 2 * blocks.size() - 1) << "a block and its record each";
        for (char *block : blocks)
            ZOVOsapiHeap_freeString(block);
        EXPECT_EQ(test::live_blocks(), kept + 1) << "of size " << size;
        for (std::size_t i = blocks.size() - kept; i < blocks.size(); ++i) {
            ZOVOsapiHeap_freeString(blocks[i]);
            expect_reported({inconsistent("free", blocks[i], "freeString", "freeXXX")});
        }
    }
}

TEST_F(Monitor, SnapshotsAreTextFiles)
{
    const test::Replacement clock(
        test::instead::gettimeofday, +[](timeval *now, void *) {
            *now = {1234, 999999};
            return 0;
        });
    const test::TemporaryDirectory directory;
    const std::string file = directory.path() + "/heap.txt";
    ZOVOsapiHeapContext saved = {};
    ZOVOsapiHeap_setHeapContext(&saved, "orders", "reading");
    ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext();
    ASSERT_NE(context, nullptr);
    context->poolAllocation = 1;
    context->poolBufferCount = 7;
    context->poolBufferSize = -9;
    Thing *things = nullptr;
    ASSERT_NE(ZOVOsapiHeap_allocateArray(&things, 2, Thing), nullptr);
    ZOVOsapiHeap_restoreHeapContext(&saved);
    void *buffer = nullptr;
    ASSERT_NE(ZOVOsapiHeap_allocateBufferAligned(&buffer, 30, 64), nullptr);
    void *nameless = nullptr;
    ASSERT_NE(ZOVOsapiHeap_reallocateMemoryInternal(&nameless, 1, -1, ZOV_FALSE, ZOV_FALSE, nullptr,
                                                    ZOV_OSAPI_HEAP_KIND_STRING, nullptr),
              nullptr);

    const std::string counters = "Current heap usage: 79\nHigh watermark: 79\nAlloc count: 3\n"
                                 "Free count: 0\n";
    const std::string blocks =
        "block_id, timestamp, block_size, pool_alloc, pool_buffer_size, pool_buffer_count, "
        "topic_name, activity, alloc_method_name, type_name\n"
        "1, 1234, 48, POOL, -9, 7, orders, reading, ZOVOsapiHeap_allocateArray, Thing\n"
        "2, 1234, 30, MALLOC, 0, 0, n/a, n/a, ZOVOsapiHeap_allocateBufferAligned, unsigned char\n"
        "3, 1234, 1, MALLOC, 0, 0, n/a, n/a, unknown, unknown\n";
    for (const ZOVBool includes_blocks : {ZOV_FALSE, ZOV_TRUE}) {
        EXPECT_TRUE(ZOVOsapiHeap_snapshot(file.c_str(), includes_blocks));
        const std::string text = test::read_file(file);
        unsigned long total = 0;
        unsigned long resident = 0;
        int end = 0;
        std::sscanf(text.c_str(), "Process virtual memory: %lu\nProcess physical memory: %lu %n",
                    &total, &resident, &end);
        EXPECT_GT(total, resident);
        EXPECT_GT(resident, 0u);
        EXPECT_EQ(text.substr(static_cast<std::size_t>(end)),
                  includes_blocks ? counters + blocks : counters);
    }
    ZOVOsapiHeap_freeArray(things);
    ZOVOsapiHeap_freeBufferAligned(buffer);
    ZOVOsapiHeap_freeString(nameless);
}

TEST_F(Monitor, EachThreadHasItsContext)
{
    ZOVOsapiHeapContext saved = {};
    ZOVOsapiHeap_setHeapContext(&saved, "main", nullptr);
    const char *const names[] = {"a", "b", "c", "d"};
    std::array<char *, std::size(names)> texts;
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < texts.size(); ++i)
            threads.emplace_back([&, i] {
                ZOVOsapiHeapContext before = {};
                ZOVOsapiHeap_setHeapContext(&before, names[i], "inner");
                texts[i] = new_text(8);
                EXPECT_EQ(ZOVOsapiHeap_getContext()->topic, names[i]);
                ZOVOsapiHeap_deleteConext();
            });
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(record_of(texts[i]).substr(1), std::string(": 8 bytes, ") + names[i] + ", inner");
        ZOVOsapiHeap_freeString(texts[i]);
    }
    // Those of the threads are gone; the one that is left is this thread's.
    const ZOVOsapiInlineListNode *only = ZOVOsapiHeap_g_info->contexts.first;
    ASSERT_NE(only, nullptr);
    EXPECT_EQ(only->next, nullptr);
    EXPECT_EQ(reinterpret_cast<const ZOVOsapiHeapThreadContextEntry *>(only)->context,
              ZOVOsapiHeap_getContext());
}

const char *activity_of_application(void *unused)
{
    EXPECT_EQ(unused, nullptr);
    return "idle";
}

TEST_F(Monitor, TextsAreSharedMostRecentlyUsedFirst)
{
    EXPECT_TRUE(ZOVOsapiHeap_registerGetActivityFcn(activity_of_application));
    ZOVOsapiHeapContext saved = {};
    char topic[] = "first";
    ZOVOsapiHeap_setHeapContext(&saved, topic, nullptr);
    char *a = new_text(1);
    EXPECT_EQ(strings(), Lines({"idle: 1", "first: 1"}));
    ZOVOsapiHeap_setHeapContext(&saved, "second", "busy");
    char *b = new_text(1);
    EXPECT_EQ(strings(), Lines({"busy: 1", "second: 1", "idle: 1", "first: 1"}));
    ZOVOsapiHeap_setHeapContext(&saved, topic, "first");
    char *c = new_text(1);
    std::strcpy(topic, "other"); // the texts are copies
    EXPECT_EQ(strings(), Lines({"first: 3", "busy: 1", "second: 1", "idle: 1"}));
    EXPECT_EQ(record_of(a), "1: 1 bytes, first, idle");
    ZOVOsapiHeap_freeString(b);
    ZOVOsapiHeap_freeString(c);
    EXPECT_EQ(strings(), Lines({"first: 1", "idle: 1"}));
    ZOVOsapiHeap_freeString(a);
    EXPECT_EQ(strings(), Lines());
}

TEST_F(Monitor, BlocksAreAskedAboutByTheirPointer)
{
    uint64_t id = 77;
    uint64_t size = 88;
    struct
    {
        ZOVOsapiHeapHeader header;
        char user[8];
    } none = {};
    EXPECT_FALSE(ZOVOsapiHeap_blockInfoGet(none.user, &id, &size));
    expect_reported({"ZOVOsapiHeap_blockInfoGet:invalid address\n"});
    none.header.kind = ZOV_OSAPI_HEAP_KIND_FREED;
    EXPECT_FALSE(ZOVOsapiHeap_blockInfoGet(none.user, &id, &size));
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(size, 88u);
    expect_reported({});
}

TEST_F(Monitor, IsSwitchedOffAndOnOnlyWithoutBlocks)
{
    for (const bool is_on : {true, false}) {
        char *text = new_text(4);
        if (is_on)
            ZOVOsapiHeap_disableMonitoring();
        else
            EXPECT_FALSE(ZOVOsapiHeap_enableMonitoring());
        EXPECT_EQ(ZOVOsapiHeap_isMonitoringEnabled(), is_on);
        expect_reported({is_on ? kDisableRefused
                               : "ZOVOsapiHeap_enableMonitoring:enableMonitoring must be called "
                                 "before the middleware allocates any memory\n"});
        ZOVOsapiHeap_freeString(text);
        for (int again = 0; again < 2; ++again)
            ZOVOsapiHeap_disableMonitoring();
        EXPECT_FALSE(ZOVOsapiHeap_isMonitoringEnabled());
    }
    EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring());
    EXPECT_EQ(statistics(), "0 0 0 0 0 1");
    expect_reported({});
}

/** What needs monitoring. The first three take its mutex, and say whether they had it. */
const std::pair<const char *, ZOVBool (*)()> kOperations[] = {
    {"ZOVOsapiHeap_pauseMonitoring", ZOVOsapiHeap_pauseMonitoring},
    {"ZOVOsapiHeap_resumeMonitoring", ZOVOsapiHeap_resumeMonitoring},
    {"ZOVOsapiHeap_registerGetActivityFcn",
     [] { return ZOVOsapiHeap_registerGetActivityFcn(activity_of_application); }},
    {"ZOVOsapiHeap_snapshot", [] { return ZOVOsapiHeap_snapshot("/dev/null", ZOV_TRUE); }},
    {"ZOVOsapiHeap_blockInfoGet",
     [] {
         uint64_t id = 0;
         return ZOVOsapiHeap_blockInfoGet(&id, &id, &id);
     }},
};

TEST_F(Monitor, SwitchedOffItSaysSo)
{
    ZOVOsapiHeap_disableMonitoring();
    ZOVOsapiHeapStat stat = {1, 2, 3, 4, 5, 6};
    EXPECT_TRUE(ZOVOsapiHeap_statGet(&stat));
    EXPECT_EQ(std::memcmp(&stat, std::array<int64_t, 6>{1, 2, 3, 4, 5, 0}.data(), sizeof stat), 0);
    ZOVOsapiHeap_statReset();
    ZOVOsapiHeap_deleteConext();
    ZOVOsapiHeapContext context = {1, 2, 3, "topic", "activity"};
    ZOVOsapiHeap_setHeapContext(&context, nullptr, nullptr);
    EXPECT_EQ(context.poolBufferSize, 3) << "without a context nothing is saved";
    EXPECT_EQ(ZOVOsapiHeap_getContext(), nullptr);
    for (const auto clear : {ZOVOsapiHeap_resetContext, ZOVOsapiHeap_initializeContext}) {
        context = {1, 2, 3, "topic", "activity"};
        clear(&context);
        EXPECT_EQ(
            std::tuple(context.poolAllocation, context.poolBufferCount, context.poolBufferSize),
            std::tuple(0, 0, 0));
        EXPECT_TRUE(context.topic == nullptr && context.activity == nullptr);
    }
    expect_reported({});
    for (const auto &[name, operation] : kOperations) {
        EXPECT_FALSE(operation());
        expect_reported({std::string(name) + ":heap monitoring not enabled\n"});
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
    static std::function<std::string()> monitored(const std::function<std::string()> &steps)
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
    const auto off = [](const Lines &lines, const std::string &line, int leaks = 0) {
        return Expected{"off", lines + Lines{line}, leaks};
    };
    const std::string no_mutex = context + "!create heap monitoring mutex\n";
    const std::string storage = "ZOVOsapiHeap_initializeTss:!create Heap TSS context ";
    const std::string no_storage = context + "!create Heap TSS factory\n";
    test::for_each_fault(
        [] {
            if (ZOVOsapiHeap_enableMonitoring())
                return "on" + end_monitoring();
            return std::string(ZOVOsapiHeap_g_info == nullptr ? "off" : "half on");
        },
        {"on"},
        {
            {"calloc 1", off({}, context + "no space on heap for structure of size " +
                                     std::to_string(sizeof(ZOVOsapiHeapInfo)) + " bytes\n")},
            {"calloc 2",
             off(no_memory("ZOVOsapiHeap_allocateStructure", sizeof(ZOVOsapiSemaphore)), no_mutex)},
            {"pthread_mutex_init 1", off({"ZOVOsapiSemaphore_new:" + kOs + "\n"}, no_mutex, 1)},
            {"pthread_key_create 1", off({storage + "key\n"}, no_storage)},
            {"pthread_key_create 2", off({storage + "set key\n"}, no_storage)},
            {"pthread_key_delete", unnoticed},
            {"pthread_mutex_destroy 1", {{"on", {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
        });
}

TEST_F(MonitorFaults, OfRecordsAndContexts)
{
    const std::string allocate = "ZOVOsapiHeap_allocateString";
    const std::string release = "ZOVOsapiHeap_freeString";
    const char *clean = "1: 10 bytes, topic, activity | 0 10 0 1 1 2";
    const Expected without_context = {"1: 10 bytes, n/a, n/a | 0 10 0 1 1 2"};
    const Expected without_topic = {"1: 10 bytes, n/a, activity | 0 10 0 1 1 2"};
    const Expected without_activity = {"1: 10 bytes, topic, n/a | 0 10 0 1 1 2"};
    test::for_each_fault(
        monitored([] {
            ZOVOsapiHeapContext saved = {};
            ZOVOsapiHeap_setHeapContext(&saved, "topic", "activity");
            return recorded(new_text(10));
        }),
        {clean},
        {
            // A context that fails once is made again, unless its mark is set.
            {"pthread_setspecific", without_context},
            {"malloc", without_context},
            {"pthread_mutex_lock 1", test::infallible},
            {"pthread_mutex_unlock 1", unnoticed},
            {"calloc 1", {{"null | 0 0 0 0 0 1", no_memory(allocate, 10)}}},
            {"pthread_mutex_lock 2", {{"unrecorded | 0 0 0 0 0 1", take_failure(allocate)}}},
            // The block is counted, though it has no record that would count its end.
            {"malloc 3", {{"unrecorded | 10 10 0 1 0 2"}}},
            {"gettimeofday 1", unnoticed},
            {"calloc 2", without_topic},
            {"strdup 1", without_topic},
            {"calloc 3", without_activity},
            {"strdup 2", without_activity},
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
    const char *old = "unrecorded | 10 10 0 1 0 2";
    test::for_each_fault(monitored([] {
                             char *text = nullptr;
                             {
                                 const test::Aside aside;
                                 text = new_text(10);
                             }
                             ZOVOsapiHeap_reallocateString(&text, 19);
                             const test::Aside aside;
                             return recorded(text);
                         }),
                         {clean},
                         {{"pthread_mutex_lock 1", {{clean, take_failure(grow)}}},
                          {"pthread_mutex_unlock 1", {{clean, give_failure(grow)}}},
                          {"realloc 1", {{old, no_memory(grow, 20)}}},
                          {"pthread_mutex_lock 2", {{old, take_failure(grow)}}},
                          {"gettimeofday 1", unnoticed},
                          {"pthread_mutex_unlock 2", {{clean, give_failure(grow)}}}});
}

TEST_F(MonitorFaults, OfTheMutexInEveryOperation)
{
    const auto expect_faults = [](const std::string &operation, const char *clean, auto steps) {
        test::for_each_fault(monitored(steps), {clean},
                             {{"pthread_mutex_lock 1", {{"false", take_failure(operation)}}},
                              {"pthread_mutex_unlock 1", {{"false", give_failure(operation)}}}});
    };
    for (const auto &[name, operation] : std::span(kOperations).first(3))
        expect_faults(name, "true", [run = operation] { return text_of(run()); });
    expect_faults("ZOVOsapiHeap_statGet", "true", [] {
        ZOVOsapiHeapStat stat;
        return text_of(ZOVOsapiHeap_statGet(&stat));
    });
    expect_faults("ZOVOsapiHeap_statReset", "false", [] {
        ZOVOsapiHeap_statReset();
        return "false"; // which it does not say
    });
}

TEST_F(MonitorFaults, OfSnapshots)
{
    const test::TemporaryDirectory directory;
    const std::string file = directory.path() + "/heap.txt";
    const std::string context = "ZOVOsapiHeap_snapshot";
    const auto without_info = [&](const std::string &line) {
        return Expected{
            "true, 7 lines",
            {"ZOVOsapiProcess_getMemoryInfo:" + line, context + ":!get process memory info\n"}};
    };
    test::for_each_fault(
        monitored([&] {
            test::write_file(file, "");
            const std::string result = text_of(ZOVOsapiHeap_snapshot(file.c_str(), ZOV_TRUE));
            return result + ", " + std::to_string(test::count(test::read_file(file), "\n")) +
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
