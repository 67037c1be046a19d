#include "tests/osapi/heap_monitor.hpp"
#include "tests/support/Faults.hpp"
#include "tests/support/LogCapture.hpp"
#include "tests/support/Process.hpp"

#include <array>
#include <cstring>
#include <ctime>
#include <sstream>
#include <sys/time.h>
#include <thread>

using test::Lines;

namespace {

struct Thing
{
    int64_t words[3];
};

char *new_text(uint64_t size)
{
    char *text = nullptr;
    EXPECT_NE(ZOVOsapiHeap_allocateString(&text, size - 1), nullptr);
    return text;
}

class Monitor : public test::HeapMonitor
{
protected:
    Monitor() { EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring()); }

    Lines take_lines() { return m_capture.take(); }

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

    Lines snapshot(ZOVBool includeBlocks)
    {
        const std::string file = m_directory.path() + "/heap.txt";
        EXPECT_TRUE(ZOVOsapiHeap_snapshot(file.c_str(), includeBlocks));
        std::istringstream text(test::read_file(file));
        Lines lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

private:
    test::LogCapture m_capture;
    test::TemporaryDirectory m_directory;
};

TEST_F(Monitor, StatisticsCountRequestedBytes)
{
    EXPECT_TRUE(ZOVOsapiHeap_isMonitoringEnabled());
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
    EXPECT_EQ(take_lines(), Lines());
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
    EXPECT_EQ(take_lines(), Lines());
}

std::string inconsistent(const char *what, void *block, const char *operation,
                         const char *allocated)
{
    char id[16];
    std::snprintf(
        id, sizeof id, "%#X",
        static_cast<unsigned>(reinterpret_cast<uintptr_t>(zov::heap::header_of(block)->raw)));
    const bool frees = std::strcmp(what, "free") == 0;
    return std::string(operation) + ":inconsistent " + what + "/alloc: block id " + id + " being " +
           (frees ? "freed" : "realloced") + " with \"" + operation +
           "\" and was allocated with \"" + allocated + "\"\n";
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
    EXPECT_EQ(take_lines(), Lines({inconsistent("free", thing, "ZOVOsapiHeap_freeString",
                                                "ZOVOsapiHeap_allocateStructure"),
                                   inconsistent("realloc", thing, "ZOVOsapiHeap_reallocateArray",
                                                "ZOVOsapiHeap_allocateStructure")}));
    ZOVOsapiHeap_freeStructure(thing);
    for (int again = 0; again < 2; ++again)
        ZOVOsapiHeap_freeStructure(thing);
    EXPECT_EQ(statistics(), "0 24 0 1 1 2");
    EXPECT_EQ(take_lines(), Lines(2, inconsistent("free", thing, "ZOVOsapiHeap_freeStructure",
                                                  "ZOVOsapiHeap_freeXXX")));
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
        for (auto block = blocks.end() - static_cast<std::ptrdiff_t>(kept); block != blocks.end();
             ++block) {
            ZOVOsapiHeap_freeString(*block);
            EXPECT_EQ(take_lines(), Lines({inconsistent("free", *block, "ZOVOsapiHeap_freeString",
                                                        "ZOVOsapiHeap_freeXXX")}));
        }
    }
}

TEST_F(Monitor, SnapshotsAreTextFiles)
{
    const auto now = [] { // not time(), which lags behind the clock that the blocks are stamped by
        timeval value = {};
        gettimeofday(&value, nullptr);
        return value.tv_sec;
    };
    const time_t before = now();
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

    Lines lines = snapshot(ZOV_FALSE);
    ASSERT_EQ(lines.size(), 6u);
    unsigned long bytes[2] = {};
    EXPECT_EQ(std::sscanf(lines[0].c_str(), "Process virtual memory: %lu", &bytes[0]), 1);
    EXPECT_EQ(std::sscanf(lines[1].c_str(), "Process physical memory: %lu", &bytes[1]), 1);
    EXPECT_GT(bytes[0], bytes[1]);
    EXPECT_GT(bytes[1], 0u);
    const Lines counters = {"Current heap usage: 79", "High watermark: 79", "Alloc count: 3",
                            "Free count: 0"};
    EXPECT_EQ(Lines(lines.begin() + 2, lines.end()), counters);

    lines = snapshot(ZOV_TRUE);
    ASSERT_EQ(lines.size(), 10u);
    EXPECT_EQ(Lines(lines.begin() + 2, lines.begin() + 6), counters);
    for (auto line = lines.begin() + 7; line != lines.end(); ++line) {
        const std::size_t begin = line->find(", ") + 2;
        const std::size_t end = line->find(", ", begin);
        const time_t seconds = std::stol(line->substr(begin, end - begin));
        EXPECT_TRUE(seconds >= before && seconds <= now()) << *line;
        line->replace(begin, end - begin, "now");
    }
    EXPECT_EQ(Lines(lines.begin() + 6, lines.end()),
              Lines({"block_id, timestamp, block_size, pool_alloc, pool_buffer_size, "
                     "pool_buffer_count, topic_name, activity, alloc_method_name, type_name",
                     "1, now, 48, POOL, -9, 7, orders, reading, ZOVOsapiHeap_allocateArray, Thing",
                     "2, now, 30, MALLOC, 0, 0, n/a, n/a, ZOVOsapiHeap_allocateBufferAligned, "
                     "unsigned char",
                     "3, now, 1, MALLOC, 0, 0, n/a, n/a, unknown, unknown"}));
    ZOVOsapiHeap_freeArray(things);
    ZOVOsapiHeap_freeBufferAligned(buffer);
    ZOVOsapiHeap_freeString(nameless);
}

TEST_F(Monitor, EachThreadHasItsContext)
{
    ZOVOsapiHeapContext saved = {};
    ZOVOsapiHeap_setHeapContext(&saved, "main", nullptr);
    std::vector<char *> texts(4);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < texts.size(); ++i)
        names.push_back("thread " + std::to_string(i));
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < texts.size(); ++i)
            threads.emplace_back([&, i] {
                ZOVOsapiHeapContext before = {};
                ZOVOsapiHeap_setHeapContext(&before, names[i].c_str(), "inner");
                texts[i] = new_text(8);
                EXPECT_STREQ(ZOVOsapiHeap_getContext()->topic, names[i].c_str());
                ZOVOsapiHeap_deleteConext();
            });
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string record = record_of(texts[i]);
        EXPECT_EQ(record.substr(record.find(':')), ": 8 bytes, " + names[i] + ", inner");
        ZOVOsapiHeap_freeString(texts[i]);
    }
    EXPECT_EQ(statistics().substr(0, 2), "0 ");
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
    EXPECT_EQ(take_lines(), Lines({"ZOVOsapiHeap_blockInfoGet:invalid address\n"}));
    none.header.kind = ZOV_OSAPI_HEAP_KIND_FREED;
    EXPECT_FALSE(ZOVOsapiHeap_blockInfoGet(none.user, &id, &size));
    EXPECT_EQ(id, 77u);
    EXPECT_EQ(size, 88u);
    EXPECT_EQ(take_lines(), Lines());
}

TEST_F(Monitor, IsSwitchedOffOnlyWithoutBlocks)
{
    char *text = new_text(4);
    ZOVOsapiHeap_disableMonitoring();
    EXPECT_TRUE(ZOVOsapiHeap_isMonitoringEnabled());
    EXPECT_EQ(take_lines(), Lines({kDisableRefused}));
    ZOVOsapiHeap_freeString(text);
    ZOVOsapiHeap_disableMonitoring();
    EXPECT_FALSE(ZOVOsapiHeap_isMonitoringEnabled());
    ZOVOsapiHeap_disableMonitoring();
    EXPECT_EQ(take_lines(), Lines());

    // And on again only without blocks of any sort.
    text = new_text(4);
    EXPECT_FALSE(ZOVOsapiHeap_enableMonitoring());
    EXPECT_EQ(take_lines(), Lines({"ZOVOsapiHeap_enableMonitoring:enableMonitoring must be called "
                                   "before the middleware allocates any memory\n"}));
    ZOVOsapiHeap_freeString(text);
    EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring());
    EXPECT_EQ(statistics(), "0 0 0 0 0 1");
}

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
    EXPECT_EQ(take_lines(), Lines());
    EXPECT_FALSE(ZOVOsapiHeap_pauseMonitoring());
    EXPECT_FALSE(ZOVOsapiHeap_resumeMonitoring());
    EXPECT_FALSE(ZOVOsapiHeap_snapshot("/dev/null", ZOV_TRUE));
    EXPECT_FALSE(ZOVOsapiHeap_registerGetActivityFcn(activity_of_application));
    uint64_t id = 0;
    EXPECT_FALSE(ZOVOsapiHeap_blockInfoGet(&stat, &id, &id));
    Lines expected;
    for (const char *name : {"pauseMonitoring", "resumeMonitoring", "snapshot",
                             "registerGetActivityFcn", "blockInfoGet"})
        expected.push_back(std::string("ZOVOsapiHeap_") + name + ":heap monitoring not enabled\n");
    EXPECT_EQ(take_lines(), expected);
}

} // namespace
