#include "osapi/Log.h"
#include "osapi/Thread.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <atomic>
#include <deque>
#include <gtest/gtest.h>

using test::Expected;
using test::Faults;
using test::Lines;
using test::no_memory;
using test::os_failure;
using test::Replacement;
using test::unnoticed;
using test::warning;
using test::operator+;

namespace {

const std::string kInitialize = "ZOVOsapiThread_initializeWithStack";
const std::string kOnSpawned = "ZOVOsapiThreadChild_onSpawned";
const std::string kAllocate = "ZOVOsapiHeap_allocateStructure";
constexpr int32_t kDefaultPriority = ZOV_OSAPI_THREAD_PRIORITY_DEFAULT;

/**
 * A thread that begins when its gate is opened, so that lines and calls of creator and child come
 * in one order. Gates of threads that never begin stay shut.
 */
struct Gate
{
    ThreadStart start;
    void *argument;
    std::atomic<bool> is_open = false;
    std::atomic<bool> is_done = false;
};

std::deque<Gate> &g_gates = *new std::deque<Gate>;
std::atomic<bool> g_ran = false;

void *pass_gate(void *argument)
{
    Gate &gate = *static_cast<Gate *>(argument);
    gate.is_open.wait(false);
    void *const result = gate.start(gate.argument);
    gate.is_done = true;
    gate.is_done.notify_one();
    return result;
}

/** The platform's own settings: whether it grants what the attribute asks for does not matter. */
int create_behind_gate(pthread_t *thread, const pthread_attr_t *, ThreadStart start, void *argument)
{
    const test::Aside aside;
    Gate &gate = g_gates.emplace_back(start, argument);
    pthread_attr_t detached;
    pthread_attr_init(&detached);
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    const int error = __real_pthread_create(thread, &detached, pass_gate, &gate);
    pthread_attr_destroy(&detached);
    return error;
}

int grant_affinity(pthread_t, std::size_t, const cpu_set_t *)
{
    return 0;
}

void *run(void *argument)
{
    g_ran = argument == &g_ran;
    return nullptr;
}

/** Lets the thread that was created last run to its end. */
std::string let_run()
{
    Gate &gate = g_gates.back();
    gate.is_open = true;
    gate.is_open.notify_one();
    gate.is_done.wait(false);
    return g_ran.exchange(false) ? "ran" : "not run";
}

/** The end of every scenario: lets the thread run and deletes its record. */
std::string run_and_delete(ZOVOsapiThread *thread)
{
    if (thread == nullptr)
        return "null";
    const std::string result = let_run();
    ZOVOsapiThread_delete(thread);
    return result;
}

std::string with_defaults()
{
    return run_and_delete(
        ZOVOsapiThread_new(nullptr, kDefaultPriority, 0, -1, nullptr, run, &g_ran));
}

std::string with_everything()
{
    ZOVOsapiCpuBitmap first_cpu = {};
    first_cpu.word[0] = 1;
    first_cpu.count = 1;
    return run_and_delete(ZOVOsapiThread_new("worker", 5,
                                             ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY |
                                                 ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS,
                                             20000, &first_cpu, run, &g_ran));
}

alignas(16) char g_stack[65536];

std::string with_stack()
{
    return run_and_delete(ZOVOsapiThread_newWithStack(nullptr, kDefaultPriority, 0, g_stack,
                                                      sizeof g_stack, nullptr, run, &g_ran));
}

std::string joinable()
{
    ZOVOsapiJoinableThread *thread =
        ZOVOsapiJoinableThread_new(nullptr, kDefaultPriority, 0, -1, nullptr, run, &g_ran);
    if (thread == nullptr)
        return "null";
    std::string result = let_run();
    if (thread->exit->count == 0) {
        result += ", nothing to wait for";
        thread->exit->count = 1;
    }
    ZOVOsapiJoinableThread_delete(thread);
    return result;
}

std::string os_failure_of(const char *function, const std::string &details = "")
{
    return os_failure(kInitialize, function, EPERM, details);
}

Lines give_failure(const char *function)
{
    return {os_failure("ZOVOsapiSemaphore_give", function), kInitialize + ":!give semaphore\n"};
}

/** What a caller of the creation under test adds to a report. */
struct Caller
{
    Lines closing = {}; /**< when nothing is created */
    Lines child = {};   /**< what the child reports in any case */
    int blocks = 0;     /**< blocks that it has obtained itself, and semaphores among them */
    int semaphores = 0;
    std::string attributes; /**< as a failed pthread_create tells them */
    const char *not_run = "not run";
};

std::string call(const char *function, int number)
{
    return std::string(function) + " " + std::to_string(number);
}

/** Every step of the creation of a thread. */
Faults creation_faults(const Caller &caller, Faults faults)
{
    const Lines closing = Lines{kInitialize + ":!create child\n",
                                "ZOVOsapiThread_newWithStack:!create initialize\n"} +
                          caller.closing;
    const auto fails = [&](const Lines &lines, int leaks = 0) {
        return Expected{"null", lines + closing, leaks};
    };
    const auto goes_on = [&](const std::string &line) {
        return Expected{"ran", Lines{line} + caller.child};
    };
    const auto without_semaphore = [&](const Lines &lines, int leaks) {
        return fails(lines + Lines{"ZOVOsapiThreadChild_new:!create semaphore\n"}, leaks);
    };
    const auto without_part = [&](const char *function) {
        return without_semaphore({os_failure("ZOVOsapiSemaphore_new", function)}, 1);
    };
    const int block = caller.blocks;
    const int semaphore = caller.semaphores + 1;
    const std::size_t child_size = sizeof(ZOVOsapiThreadChild);
    faults.insert({
        {call("calloc", block + 1),
         {{"null", no_memory(kAllocate, sizeof(ZOVOsapiThread)) + caller.closing}}},
        {call("calloc", block + 2),
         fails(no_memory(kAllocate, child_size) + Lines{"ZOVOsapiThreadChild_new:!malloc " +
                                                        std::to_string(child_size) + " bytes\n"})},
        {call("calloc", block + 3),
         without_semaphore(no_memory(kAllocate, sizeof(ZOVOsapiSemaphore)), 0)},
        {call("pthread_mutex_init", semaphore), without_part("pthread_mutex_init")},
        {call("pthread_condattr_init", semaphore), without_part("pthread_condattr_init")},
        {call("pthread_condattr_setclock", semaphore), without_part("pthread_condattr_setclock")},
        {"pthread_cond_init", unnoticed},
        {"pthread_attr_init 1", fails({os_failure_of("pthread_attr_init")})},
        {"pthread_attr_getschedpolicy 1", goes_on(os_failure_of("pthread_attr_getschedpolicy"))},
        {"pthread_attr_setschedpolicy 1",
         goes_on(os_failure_of("pthread_attr_setschedpolicy", ", thread policy 0"))},
        {"pthread_attr_getschedparam 1", goes_on(os_failure_of("pthread_attr_getschedparam"))},
        {"pthread_attr_setschedparam 1",
         goes_on(os_failure_of("pthread_attr_setschedparam", ", thread priority 0"))},
        {"pthread_attr_setinheritsched 1",
         fails({os_failure_of("pthread_attr_setinheritsched",
                              ", thread inherit sched PTHREAD_EXPLICIT_SCHED")})},
        {"pthread_attr_setdetachstate 1", goes_on(os_failure_of("pthread_attr_setdetachstate"))},
        {"pthread_create 1", fails({os_failure_of("pthread_create", caller.attributes)})},
        // The thread exists and waits for what it will not be given: it keeps its record.
        {"pthread_mutex_lock 1", fails(give_failure("pthread_mutex_lock"), 2)},
        {"pthread_cond_signal 1", fails(give_failure("pthread_cond_signal"), 2)},
        {"pthread_mutex_unlock 1", fails(give_failure("pthread_mutex_unlock"), 2)},
        {"child pthread_getschedparam 1",
         {{caller.not_run, {os_failure(kOnSpawned, "pthread_getschedparam")}}}},
        {"child pthread_setcancelstate", unnoticed},
        {"child pthread_sigmask 1",
         {{"ran", caller.child + Lines{warning(kOnSpawned + ":!signal blocking failed\n")}}}},
        {"child pthread_mutex_destroy 1",
         {{"ran", caller.child + Lines{"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
        {"child pthread_cond_destroy 1",
         {{"ran", caller.child + Lines{"ZOVOsapiSemaphore_delete:!delete condition\n"}, 1}}},
    });
    for (const char *function : {"pthread_mutex_lock", "pthread_mutex_unlock"})
        faults["child " + std::string(function) + " 1"] =
            Expected{caller.not_run,
                     caller.child + Lines{os_failure("ZOVOsapiSemaphore_take", function),
                                          kOnSpawned + ":!take semaphore\n"},
                     2};
    return faults;
}

class ThreadFaults : public testing::Test
{
protected:
    ThreadFaults() { ZOVOsapiHeap_free(ZOVOsapiHeap_malloc(1)); } // reads the limit

    /** The attribute of default threads, as a report tells it. */
    static std::string attributes()
    {
        pthread_attr_t defaults;
        std::size_t size = 0;
        pthread_attr_init(&defaults);
        pthread_attr_getstacksize(&defaults, &size);
        pthread_attr_destroy(&defaults);
        return attributes(0, 0, size);
    }
    static std::string attributes(int policy, int priority, std::size_t stack_size)
    {
        return ", attr sched policy " + std::to_string(policy) + ", schedparam priority " +
               std::to_string(priority) + ", inheritsched 1, detach state 1, scope 0, stack size " +
               std::to_string(stack_size);
    }

private:
    Replacement<decltype(test::instead::pthread_create)> m_create{test::instead::pthread_create,
                                                                  create_behind_gate};
};

TEST_F(ThreadFaults, OfCreationWithDefaults)
{
    test::for_each_fault(with_defaults, {"ran"}, creation_faults({.attributes = attributes()}, {}));
}

TEST_F(ThreadFaults, OfCreationWithEverything)
{
    const Replacement affinity(test::instead::pthread_setaffinity_np, &grant_affinity);
    const Lines child = {kOnSpawned + ":!unable to set realtime scheduling policy\n",
                         kOnSpawned + ":!unable to set sched_priority\n"};
    const auto goes_on = [&](const Lines &lines) { return Expected{"ran", lines + child}; };
    const std::string no_policy = os_failure_of("pthread_attr_setschedpolicy", ", thread policy 1");
    test::for_each_fault(
        with_everything, {"ran", child},
        creation_faults(
            {.child = child, .attributes = attributes(1, 5, 20480)},
            {
                {"pthread_attr_setscope 1", goes_on({os_failure_of("pthread_attr_setscope")})},
                // Without the policy the platform has no such priority.
                {"pthread_attr_setschedpolicy 2",
                 goes_on({no_policy, os_failure(kInitialize, "pthread_attr_setschedparam", EINVAL,
                                                ", thread priority 5")})},
                {"pthread_attr_setschedparam 2",
                 goes_on({os_failure_of("pthread_attr_setschedparam", ", thread priority 5")})},
                {"pthread_attr_setstacksize 1",
                 goes_on(
                     {os_failure_of("pthread_attr_setstacksize", ", thread stack size 20480")})},
                {"pthread_setaffinity_np 1",
                 goes_on({os_failure_of("pthread_setaffinity_np", ", thread cpuset 0")})},
                {"pthread_setname_np 1", unnoticed},
                {"child pthread_setcanceltype 1", unnoticed},
            }));
}

TEST_F(ThreadFaults, OfCreationOnASuppliedStack)
{
    char details[64];
    std::snprintf(details, sizeof details, ", thread stack %p of size %zu",
                  static_cast<void *>(g_stack), sizeof g_stack);
    test::for_each_fault(
        with_stack, {"ran"},
        creation_faults(
            {.attributes = attributes(0, 0, sizeof g_stack)},
            {{"pthread_attr_setstack 1",
              {{"null",
                {os_failure_of("pthread_attr_setstack", details), kInitialize + ":!create child\n",
                 "ZOVOsapiThread_newWithStack:!create initialize\n"}}}}}));
}

TEST_F(ThreadFaults, OfJoinableThreads)
{
    const std::string context = "ZOVOsapiJoinableThread_";
    const Lines closing = {context + "new:!create init failure\n"};
    const auto without_semaphore = [&](const Lines &lines, int leaks) {
        return Expected{"null", lines + Lines{context + "new:!create exit semaphore\n"} + closing,
                        leaks};
    };
    const auto without_part = [&](const char *function) {
        return without_semaphore({os_failure("ZOVOsapiSemaphore_new", function)}, 1);
    };
    const auto without_give = [&](const char *function, const char *result) {
        return Expected{result,
                        {os_failure("ZOVOsapiSemaphore_give", function),
                         context + "spawnMethodWithTermination:!give mutex\n"}};
    };
    const auto without_take = [&](const char *function) {
        return Expected{
            "ran",
            {os_failure("ZOVOsapiSemaphore_take", function), context + "finalize:!take mutex\n"}};
    };
    const std::size_t size = sizeof(ZOVOsapiJoinableThread);
    test::for_each_fault(
        joinable, {"ran"},
        creation_faults(
            {.closing = Lines{context + "new:!create init _thread\n"} + closing,
             .blocks = 2,
             .semaphores = 1,
             .attributes = attributes(),
             // Whoever deletes such a thread waits for ever.
             .not_run = "not run, nothing to wait for"},
            {
                {"calloc 1",
                 {{"null", no_memory(kAllocate, size) + Lines{context + "new:!malloc " +
                                                              std::to_string(size) + " bytes\n"}}}},
                {"calloc 2", without_semaphore(no_memory(kAllocate, sizeof(ZOVOsapiSemaphore)), 0)},
                {"pthread_mutex_init 1", without_part("pthread_mutex_init")},
                {"pthread_condattr_init 1", without_part("pthread_condattr_init")},
                {"pthread_condattr_setclock 1", without_part("pthread_condattr_setclock")},
                {"child pthread_mutex_lock 2",
                 without_give("pthread_mutex_lock", "ran, nothing to wait for")},
                {"child pthread_cond_signal 1", without_give("pthread_cond_signal", "ran")},
                {"child pthread_mutex_unlock 2", without_give("pthread_mutex_unlock", "ran")},
                {"pthread_mutex_lock 2", without_take("pthread_mutex_lock")},
                {"pthread_mutex_unlock 2", without_take("pthread_mutex_unlock")},
                {"pthread_mutex_destroy 1",
                 {{"ran", {"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1}}},
                {"pthread_cond_destroy 1",
                 {{"ran", {"ZOVOsapiSemaphore_delete:!delete condition\n"}, 1}}},
            }));
}

// In place, the creation ends its report itself.
TEST_F(ThreadFaults, OfInitializationInPlace)
{
    test::LogCapture capture;
    const test::Fault fault("pthread_create 1");
    ZOVOsapiThread thread = {};
    EXPECT_FALSE(
        ZOVOsapiThread_initialize(&thread, nullptr, kDefaultPriority, 0, -1, nullptr, run, &g_ran));
    EXPECT_EQ(capture.lines(), Lines({os_failure_of("pthread_create", attributes()),
                                      kInitialize + ":!create child\n"}));
    EXPECT_EQ(test::live_blocks(), 0u);
}

TEST_F(ThreadFaults, OfQuestionsAboutTheCallingThread)
{
    test::for_each_fault(
        [] {
            ZOVOsapiThread *thread = ZOVOsapiThread_getCurrentThread();
            const std::string result = thread != nullptr ? "record" : "null";
            ZOVOsapiThread_delete(thread);
            return result;
        },
        {"record"},
        {{"calloc 1",
          {{"null", no_memory(kAllocate, sizeof(ZOVOsapiThread)) +
                        Lines{"ZOVOsapiThread_getCurrentThread:!get current thread\n"}}}}});
    test::LogCapture capture;
    capture.set_levels(0x5);
    const test::Fault fault("pthread_getaffinity_np 1");
    ZOVOsapiThread_logCpuAffinity("main");
    EXPECT_EQ(capture.lines(),
              Lines({os_failure("ZOVOsapiThread_logCpuAffinity", "pthread_getaffinity_np")}));
}

TEST_F(ThreadFaults, OfThreadSpecificStorage)
{
    test::for_each_fault(
        [] {
            void *factory = ZOVOsapiThread_createTssFactory();
            pthread_key_t key = 0;
            if (!ZOVOsapiThread_createKey(&key, factory))
                return "no key";
            const bool is_set = ZOVOsapiThread_setTss(key, factory) != 0;
            const bool is_there = ZOVOsapiThread_getTss(key) == factory;
            const bool is_deleted = ZOVOsapiThread_deleteKey(factory, key) != 0;
            return is_set != is_there ? "wrong" : !is_set ? "not set" : is_deleted ? "all" : "kept";
        },
        {"all"},
        {{"pthread_key_create 1", {{"no key"}}},
         {"pthread_setspecific 1", {{"not set"}}},
         {"pthread_key_delete 1", {{"kept"}}}});
}

} // namespace
