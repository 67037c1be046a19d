#include "osapi/Log.h"
#include "osapi/Thread.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <atomic>
#include <deque>
#include <gtest/gtest.h>

using test::Expected;
using test::kOs;
using test::Lines;
using test::no_memory;
using test::os_failure;
using test::Replacement;
using test::said_by;
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
    Gate(ThreadStart start_, void *argument_) : start(start_), argument(argument_) {}

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

/** A thread with everything that can be asked for, to its end, and what is left of it. */
std::string make_run_and_delete()
{
    constexpr uint32_t kOptions =
        ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY | ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS;
    ZOVOsapiCpuBitmap cpus = {};
    cpus.word[0] = 1;
    cpus.count = 1;
    auto *thread = ZOVOsapiJoinableThread_new("worker", 5, kOptions, 20000, &cpus, run, &g_ran);
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

/** A line of the creation about the platform function that failed. */
std::string os_line(const std::string &details = "")
{
    return kInitialize + ":" + kOs + details + "\n";
}

/** The rest of the attribute in such a line. */
const std::string kAttribute = ", inheritsched 1, detach state 1, scope 0, stack size 20480";

class ThreadFaults : public testing::Test
{
private:
    Replacement<decltype(test::instead::pthread_create)> m_create{test::instead::pthread_create,
                                                                  create_behind_gate};
};

TEST_F(ThreadFaults, OfEveryCallFromMakingToDeleting)
{
    const Replacement affinity(test::instead::pthread_setaffinity_np, &grant_affinity);
    const std::string joinable = "ZOVOsapiJoinableThread_";
    const Lines child = {kOnSpawned + ":!unable to set realtime scheduling policy\n",
                         kOnSpawned + ":!unable to set sched_priority\n"};
    const auto is_null = [&](const Lines &lines, const std::string &noun, int leaks = 0) {
        return Expected{"null",
                        lines + Lines{joinable + "new:!create " + noun + "\n",
                                      joinable + "new:!create init failure\n"},
                        leaks};
    };
    const auto fails = [&](const Lines &lines, int leaks = 0) {
        return is_null(lines + Lines{kInitialize + ":!create child\n",
                                     "ZOVOsapiThread_newWithStack:!create initialize\n"},
                       "init _thread", leaks);
    };
    const auto goes_on = [&](const Lines &lines) { return Expected{"ran", lines + child}; };
    const auto ends = [&](const Lines &lines, int leaks = 0, const char *result = "ran") {
        return Expected{result, child + lines, leaks};
    };
    const auto no_block = [](std::size_t size) { return no_memory(kAllocate, size); };
    const auto malloc_line = [](const std::string &operation, std::size_t size) {
        return Lines{operation + ":!malloc " + std::to_string(size) + " bytes\n"};
    };
    const std::string exit_semaphore = "exit semaphore";
    const Expected no_exit = is_null(said_by("ZOVOsapiSemaphore_new"), exit_semaphore, 1);
    const Lines no_start = {"ZOVOsapiThreadChild_new:!create semaphore\n"};
    const Expected no_part = fails(said_by("ZOVOsapiSemaphore_new") + no_start, 1);
    // The thread exists and waits for what it will not be given: it keeps its record.
    const Expected not_given =
        fails(said_by("ZOVOsapiSemaphore_give") + Lines{kInitialize + ":!give semaphore\n"}, 2);
    // Whoever deletes a thread that did not run waits for ever.
    const char *not_run = "not run, nothing to wait for";
    const Lines take = said_by("ZOVOsapiSemaphore_take");
    const Expected not_taken = ends(take + Lines{kOnSpawned + ":!take semaphore\n"}, 2, not_run);
    const Lines no_end = said_by("ZOVOsapiSemaphore_give") +
                         Lines{joinable + "spawnMethodWithTermination:!give mutex\n"};
    const Expected not_awaited = ends(take + Lines{joinable + "finalize:!take mutex\n"});
    const Expected not_deleted = ends({"ZOVOsapiSemaphore_delete:!delete mutex\n"}, 1);
    const Expected no_condition = ends({"ZOVOsapiSemaphore_delete:!delete condition\n"}, 1);
    const std::string priority = ", thread priority 5";
    test::for_each_fault(
        make_run_and_delete, {"ran", child},
        {
            {"calloc 1",
             {{"null", no_block(sizeof(ZOVOsapiJoinableThread)) +
                           malloc_line(joinable + "new", sizeof(ZOVOsapiJoinableThread))}}},
            {"calloc 2", is_null(no_block(sizeof(ZOVOsapiSemaphore)), exit_semaphore)},
            {"pthread_mutex_init 1", no_exit},
            {"pthread_condattr_init 1", no_exit},
            {"pthread_condattr_setclock 1", no_exit},
            {"calloc 3", is_null(no_block(sizeof(ZOVOsapiThread)), "init _thread")},
            {"calloc 4",
             fails(no_block(sizeof(ZOVOsapiThreadChild)) +
                   malloc_line("ZOVOsapiThreadChild_new", sizeof(ZOVOsapiThreadChild)))},
            {"calloc 5", fails(no_block(sizeof(ZOVOsapiSemaphore)) + no_start)},
            {"pthread_mutex_init 2", no_part},
            {"pthread_condattr_init 2", no_part},
            {"pthread_condattr_setclock 2", no_part},
            {"pthread_cond_init", unnoticed},
            {"pthread_attr_init 1", fails({os_line()})},
            {"pthread_attr_getschedpolicy 1", goes_on({os_line()})},
            {"pthread_attr_setschedpolicy 1", goes_on({os_line(", thread policy 0")})},
            {"pthread_attr_getschedparam 1", goes_on({os_line()})},
            {"pthread_attr_setschedparam 1", goes_on({os_line(", thread priority 0")})},
            {"pthread_attr_setinheritsched 1",
             fails({os_line(", thread inherit sched PTHREAD_EXPLICIT_SCHED")})},
            {"pthread_attr_setdetachstate 1", goes_on({os_line()})},
            {"pthread_attr_setscope 1", goes_on({os_line()})},
            // Without the policy the platform has no such priority.
            {"pthread_attr_setschedpolicy 2",
             goes_on({os_line(", thread policy 1"),
                      os_failure(kInitialize, "pthread_attr_setschedparam", EINVAL, priority)})},
            {"pthread_attr_setschedparam 2", goes_on({os_line(priority)})},
            {"pthread_attr_setstacksize 1", goes_on({os_line(", thread stack size 20480")})},
            {"pthread_create 1",
             fails({os_line(", attr sched policy 1, schedparam priority 5" + kAttribute)})},
            {"pthread_setaffinity_np 1", goes_on({os_line(", thread cpuset 0")})},
            {"pthread_mutex_lock 1", not_given},
            {"pthread_cond_signal 1", not_given},
            {"pthread_mutex_unlock 1", not_given},
            {"child pthread_getschedparam 1", {{not_run, said_by(kOnSpawned)}}},
            {"child pthread_setcancelstate", unnoticed},
            {"child pthread_setcanceltype 1", unnoticed},
            {"child pthread_setname_np 1", unnoticed},
            {"child pthread_sigmask 1", ends({warning(kOnSpawned + ":!signal blocking failed\n")})},
            {"child pthread_mutex_lock 1", not_taken},
            {"child pthread_mutex_unlock 1", not_taken},
            {"child pthread_mutex_destroy 1", not_deleted},
            {"child pthread_cond_destroy 1", no_condition},
            {"child pthread_mutex_lock 2", ends(no_end, 0, "ran, nothing to wait for")},
            {"child pthread_cond_signal 1", ends(no_end)},
            {"child pthread_mutex_unlock 2", ends(no_end)},
            {"pthread_mutex_lock 2", not_awaited},
            {"pthread_mutex_unlock 2", not_awaited},
            {"pthread_mutex_destroy 1", not_deleted},
            {"pthread_cond_destroy 1", no_condition},
        });
}

// In place, the creation ends its report itself.
TEST_F(ThreadFaults, OfInitializationInPlace)
{
    ZOVOsapiThread thread = {};
    const Lines lines = {os_line(", attr sched policy 0, schedparam priority 0" + kAttribute),
                         kInitialize + ":!create child\n"};
    test::for_these_faults(
        [&] {
            const ZOVBool is_made = ZOVOsapiThread_initialize(&thread, nullptr, kDefaultPriority, 0,
                                                              20000, nullptr, run, &g_ran);
            return is_made ? let_run() : "false";
        },
        {"ran"}, {{"pthread_create 1", {{"false", lines}}}});
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
