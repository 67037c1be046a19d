#include "dds/Thread.h"
#include "dds/Utility.h"
#include "osapi/Thread.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <algorithm>
#include <alloca.h>
#include <atomic>
#include <deque>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

using test::kBelow;
using test::Lines;
using test::LogCapture;
using test::os_failure;
using test::operator+;

namespace {

using Factory = WOLK_StackManagedThreadFactory;
using Thread = WOLK_StackManagedThread;

#if defined(__SANITIZE_THREAD__)
constexpr DDS_Long kSanitizer = 1 << 20; // it keeps 785 KiB for itself on every stack
#else
constexpr DDS_Long kSanitizer = 0;
#endif
const std::string kFactory = "WOLK_StackManagedThreadFactory_";
const std::string kThread = "WOLK_StackManagedThread_";
const std::string kOsThread = "ZOVOsapiThread_initializeWithStack";
const std::string kNoStack =
    kFactory + "createThread:!!create stack from WOLK_ThreadStackAllocator\n";
const Lines kClosing = {kThread + "new:!init WOLK_StackManagedThread object\n",
                        kFactory + "createThread:!initialize WOLK_StackManagedThread\n"};
/** Work for a thread, which has left its stack for good when wait() returns. */
struct Task
{
    std::function<void()> work = [] {};
    std::atomic<int> is_there = 0;

    ~Task() { wait(); }
    void wait() const
    {
        while (is_there != 0)
            sched_yield();
    }
    static void *run(void *self)
    {
        auto *task = static_cast<Task *>(self);
        task->work();
        task->is_there = 2;                            // the work is seen by who waits
        syscall(SYS_set_tid_address, &task->is_there); // which the kernel clears at the very end
        return nullptr;
    }
};

/** Through the interface. */
Thread *start(Factory *factory, Task &task, const DDS_ThreadSettings_t &settings, const char *name)
{
    WOLK_ThreadFactory *creator = WOLK_StackManagedThreadFactory_as_thread_factory(factory);
    task.is_there = 1;
    Thread *thread =
        creator->create_thread(creator->factory_data, name, &settings, Task::run, &task);
    if (thread == nullptr)
        task.is_there = 0;
    return thread;
}

/** A factory whose stacks stay until the end, each between bytes of the test's. */
class ThreadFactory : public testing::Test
{
protected:
    ThreadFactory() { DDS_ThreadSettings_t_initialize(&m_settings); }
    ~ThreadFactory() override
    {
        while (m_factory->thread_count > 0)
            m_factory->interface.delete_thread(
                m_factory, WOLK_StackManagedThreadFactory_get_thread_at(m_factory, 0));
        WOLK_StackManagedThreadFactory_delete(m_factory);
        DDS_ThreadSettings_t_finalize(&m_settings);
    }
    static void *create_stack(void *self, DDS_UnsignedLong *size)
    {
        auto &stacks = static_cast<ThreadFactory *>(self)->m_stacks;
        return stacks.emplace_back(*size + kMargin + 1, '#').data() + kMargin;
    }
    Thread *run(Task &task, DDS_Long size = 65536, const std::string &name = "worker")
    {
        m_settings.stack_size = kSanitizer + size;
        return start(m_factory, task, m_settings, name.c_str());
    }

    static constexpr std::size_t kMargin = 8; // a sanitizer wants a multiple of 8
    std::deque<std::string> m_stacks;
    DDS_ThreadSettings_t m_settings;
    WOLK_ThreadStackAllocator m_allocator = {this, create_stack};
    Factory *m_factory = WOLK_StackManagedThreadFactory_new(&m_allocator);
};

[[gnu::noinline]] void use_stack(DDS_Long depth)
{
    auto *bytes = static_cast<volatile char *>(alloca(static_cast<std::size_t>(depth)));
    for (DDS_Long i = 0; i < depth; ++i)
        bytes[i] = 1;
}

TEST_F(ThreadFactory, MeasuresThreadsOnStacksOfAnySize)
{
    for (const DDS_Long size : {32771, 49999, 65536, 100001, 1 << 20}) {
        std::atomic<DDS_Long> depth = 0;
        pthread_attr_t attributes;
        Task task = {[&] {
            pthread_getattr_np(pthread_self(), &attributes);
            for (int step = 1; step <= 50; ++step) {
                use_stack(size / 100 * step);
                depth = size / 100 * step;
            }
        }};
        Thread *thread = run(task, size);
        ASSERT_NE(thread, nullptr);
        DDS_Long usage = 0;
        for (bool is_there = true; is_there;) {
            is_there = task.is_there != 0;
            const DDS_Long least = std::max<DDS_Long>(usage, depth);
            usage = WOLK_StackManagedThread_get_stack_usage_max(thread);
            EXPECT_GE(usage, least);
            EXPECT_LT(usage, kSanitizer + size);
        }
        void *lowest = nullptr;
        std::size_t actual = 0;
        pthread_attr_getstack(&attributes, &lowest, &actual);
        pthread_attr_destroy(&attributes);
        const std::string &stack = m_stacks.back();
        EXPECT_EQ(lowest, stack.data() + kMargin);
        EXPECT_EQ(actual, static_cast<std::size_t>(kSanitizer + size));
        EXPECT_EQ(WOLK_StackManagedThread_get_stack_size(thread), kSanitizer + size);
        EXPECT_EQ(stack.size() - 1 - stack.find_first_not_of(':', kMargin), usage);
        EXPECT_TRUE(stack[kMargin - 1] == '#' && stack.back() == '#');
    }
}

TEST(StackUsage, EndsAtTheFirstByteThatIsNoLongerPainted)
{
    std::string stack(100, ':');
    Thread thread = {};
    thread.stack = stack.data();
    EXPECT_EQ(WOLK_StackManagedThread_get_stack_usage_max(&thread), 0);
    thread.stack_size = 100;
    for (std::size_t untouched = 100; untouched > 0; stack[--untouched] = '\0')
        EXPECT_EQ(WOLK_StackManagedThread_get_stack_usage_max(&thread), 100 - untouched);
    EXPECT_EQ(WOLK_StackManagedThread_get_stack_usage_max(&thread), 100);
}

TEST_F(ThreadFactory, KeepsItsThreadsInOrder)
{
    std::map<char, Task> tasks;
    std::map<char, Thread *> threads;
    std::string summary;
    for (const char step : std::string("ABCDEecaF")) { // a small letter deletes the thread
        const auto name = static_cast<char>(std::toupper(step));
        if (step == name)
            threads[name] = run(tasks[name], 65536, {name});
        else {
            WOLK_StackManagedThreadFactory_deleteThread(m_factory, threads[name]);
            threads.erase(name);
        }
        ASSERT_EQ(WOLK_StackManagedThreadFactory_get_thread_count(m_factory), threads.size());
        DDS_Long i = 0;
        summary = "WOLK_StackManagedThreadFactory: stack summary of created threads shown below:\n";
        for (const auto &[key, thread] : threads) {
            EXPECT_EQ(WOLK_StackManagedThreadFactory_get_thread_at(m_factory, i++), thread);
            EXPECT_EQ(WOLK_StackManagedThread_get_name(thread), std::string{key});
            tasks[key].wait();
            summary +=
                std::string("thread: ") + key +
                ", stack size: " + std::to_string(m_settings.stack_size) + " bytes, stack usage: " +
                std::to_string(WOLK_StackManagedThread_get_stack_usage_max(thread)) + " bytes\n";
        }
    }
    WOLK_StackManagedThread_setUserObjectI(threads['F'], this);
    EXPECT_EQ(WOLK_StackManagedThread_getUserObjectI(threads['F']), this);
    EXPECT_EQ(WOLK_StackManagedThread_getUserObjectI(threads['B']), nullptr);
    testing::internal::CaptureStdout();
    WOLK_StackManagedThreadFactory_print_threads_stack_summary(m_factory);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), summary);
}

TEST_F(ThreadFactory, PassesTheSettingsOn)
{
    LogCapture capture;
    const DDS_Long cpu = 1023;
    int cancel_type = PTHREAD_CANCEL_DEFERRED;
    Task task = {[&] { pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &cancel_type); }};
    ASSERT_TRUE(DDS_LongSeq_from_array(&m_settings.cpu_list, &cpu, 1));
    m_settings.cpu_rotation = 2;
    m_settings.priority = 7; // which the usual policy does not have
    m_settings.mask = ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS;
    ASSERT_NE(run(task), nullptr);
    task.wait();
    EXPECT_EQ(cancel_type, PTHREAD_CANCEL_ASYNCHRONOUS);
    Lines lines = capture.lines();
    std::ranges::sort(lines); // those of both threads
    EXPECT_EQ(
        lines,
        Lines({"DDS_ThreadSettings_CpuListToBitmap:bad parameter: rotation\n",
               "ZOVOsapiThreadChild_onSpawned:!unable to set sched_priority\n",
               os_failure(kOsThread, "pthread_attr_setschedparam", EINVAL, ", thread priority 7"),
               os_failure(kOsThread, "pthread_setaffinity_np", EINVAL, ", thread cpuset 1023")}));
}

TEST_F(ThreadFactory, RefusesWhatCannotBe)
{
    LogCapture capture;
    Task task = {[] { ADD_FAILURE(); }};
    m_allocator.create_stack = nullptr;
    EXPECT_EQ(WOLK_StackManagedThreadFactory_new(&m_allocator), nullptr);
    EXPECT_EQ(run(task, -kSanitizer - 2), nullptr);
    EXPECT_TRUE(m_stacks.empty());
    EXPECT_EQ(run(task, -kSanitizer + 100), nullptr);
    EXPECT_EQ(m_stacks[0], "########" + std::string(100, ':') + "#"); // painted first
    m_factory->allocator.create_stack = [](void *, DDS_UnsignedLong *size) -> void * {
        EXPECT_EQ(*size, 65536u);
        return nullptr;
    };
    EXPECT_EQ(run(task, -kSanitizer - 1), nullptr);
    Lines lines = capture.lines();
    std::erase_if(lines, [](const std::string &line) { return !line.starts_with("WOLK_"); });
    EXPECT_EQ(lines, Lines({kFactory + "initialize:bad parameter: allocator\n",
                            kFactory + "new:!initialize WOLK_StackManagedThreadFactory object\n",
                            kFactory + "createThread:bad parameter: stack_size\n",
                            kThread + "initialize:!create thread\n"}) +
                         kClosing + Lines({kNoStack}));
}

TEST_F(ThreadFactory, ReportsNullsAndIndexes)
{
    LogCapture capture;
    WOLK_StackManagedThread thread = {};
    Lines expected;
#define LACKS(CONTEXT, WORD)                                                                       \
    expected.push_back("WOLK_StackManagedThread" #CONTEXT ":bad parameter: " WORD "\n");
#define FAILS_AS(CONTEXT, WORD, RESULT, OPERATION, ...)                                            \
    EXPECT_EQ(WOLK_StackManagedThread##OPERATION(__VA_ARGS__), RESULT);                            \
    LACKS(CONTEXT, WORD)
#define FAILS(WORD, RESULT, OPERATION, ...)                                                        \
    FAILS_AS(OPERATION, WORD, RESULT, OPERATION, __VA_ARGS__)
#define NOTHING(OPERATION, ...)                                                                    \
    WOLK_StackManagedThread##OPERATION(__VA_ARGS__);                                               \
    LACKS(OPERATION, "self")
    FAILS("self", nullptr, Factory_as_thread_factory, nullptr)
    FAILS("self", 0, Factory_get_thread_count, nullptr)
    FAILS("self", nullptr, Factory_get_thread_at, nullptr, 0)
    FAILS("index", nullptr, Factory_get_thread_at, m_factory, 0)
    FAILS("index", nullptr, Factory_get_thread_at, m_factory, -1)
    FAILS("self", nullptr, Factory_createThread, nullptr, "a", &m_settings, Task::run, nullptr)
    FAILS("self", nullptr, _get_name, nullptr)
    FAILS("self", -1, _get_stack_size, nullptr)
    FAILS("self", -1, _get_stack_usage_max, nullptr)
    FAILS_AS(_setUserObjectI, "self", nullptr, _getUserObjectI, nullptr)
    NOTHING(_setUserObjectI, nullptr, this)
    NOTHING(Factory_deleteThread, nullptr, &thread)
    NOTHING(Factory_deleteThread, m_factory, nullptr)
    NOTHING(Factory_print_threads_stack_summary, nullptr)
    WOLK_StackManagedThreadFactory_delete(nullptr);
    WOLK_StackManagedThreadFactory_finalize();
    EXPECT_EQ(capture.lines(), expected);
}

/** What is reported without memory for a record or a stack. */
Lines no_room(const std::string &operation, std::size_t size)
{
    return {kBelow, operation + ":no space on heap for structure of size " + std::to_string(size) +
                        " bytes\n"};
}

TEST_F(ThreadFactory, FaultsLeaveNothingButTheStack)
{
    constexpr DDS_Long kSize = kSanitizer + 70000;
    m_settings.stack_size = kSize;
    const auto scenario = [&] {
        Factory *factory = WOLK_StackManagedThreadFactory_new(nullptr);
        if (factory == nullptr)
            return "no factory";
        Task task;
        Thread *thread = start(factory, task, m_settings, "worker");
        task.wait();
        if (thread != nullptr) {
            ZOVOsapiHeap_free(thread->stack);
            WOLK_StackManagedThreadFactory_deleteThread(factory, thread);
        }
        WOLK_StackManagedThreadFactory_delete(factory);
        return thread != nullptr ? "ran" : "no thread";
    };
    const auto fails = [](const Lines &lines, int leaks = 1) {
        return test::Expected{"no thread", lines, leaks};
    };
    const Lines not_created = {kBelow, kThread + "initialize:!create thread\n"};
    const Lines no_stack =
        no_room("WOLK_HeapBasedStackAllocator_createHeapBasedStack", kSize) + Lines{kNoStack};
    test::for_these_faults(
        scenario, {"ran"},
        {{"calloc 1", {{"no factory", no_room(kFactory + "new", sizeof(Factory))}}},
         {"calloc 2", fails(no_stack, 0)},
         {"calloc 3", fails(no_room(kThread + "new", sizeof(Thread)))},
         {"calloc 4", fails(Lines{kBelow, kThread + "initialize:!copy thread name\n"} + kClosing)},
         {"calloc 5", fails(not_created + kClosing)},
         {"pthread_create 1", fails(not_created + kClosing)},
         // The thread is there, and waits for ever.
         {"pthread_mutex_lock 1", fails(not_created + kClosing, 3)}});
}

TEST(Utility, SpinKeepsTheThreadBusy)
{
    const auto busy_time = [] {
        timespec time;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return time.tv_sec * 1'000'000'000 + time.tv_nsec;
    };
    const int64_t begin = busy_time();
    WOLK_Utility_spin(10'000'000);
    EXPECT_GE(busy_time() - begin, 1'000'000);
    const auto fails = [](const std::string &report) {
        return test::Expected{"none",
                              {kBelow, "WOLK_Utility_get_spin_per_microsecond:" + report + "\n"}};
    };
    test::for_these_faults(
        [] { return WOLK_Utility_get_spin_per_microsecond() > 0 ? "rounds" : "none"; }, {"rounds"},
        {{"calloc 1", fails("!create clock")},
         {"gettimeofday 1", fails("error calculating spin per microsecond")}});
}

} // namespace
