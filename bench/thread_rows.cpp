/** Threads on a supplied stack, from their creation to their end, against pthread's own. */
#include "bench/Rows.hpp"
#include "dds/Thread.h"

#include <atomic>
#include <cstdlib>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using bench::Measure;
using bench::Row;

constexpr DDS_Long kStackSize = 65536;

alignas(64) char g_stack[kStackSize];
WOLK_StackManagedThreadFactory *g_factory;
DDS_ThreadSettings_t g_settings;
pthread_attr_t g_attributes;
std::atomic<int> g_is_there;

void *hand_out(void *, DDS_UnsignedLong *)
{
    return g_stack;
}

void *do_nothing(void *)
{
    return nullptr;
}

/** The kernel clears the word, and wakes who waits for it, when the thread has left its stack. */
void *announce_end(void *)
{
    syscall(SYS_set_tid_address, &g_is_there);
    return nullptr;
}

void wait_for_end()
{
    while (const int word = g_is_there)
        syscall(SYS_futex, &g_is_there, FUTEX_WAIT, word, nullptr, nullptr, 0);
}

void factory_thread(int count)
{
    for (int i = 0; i < count; ++i) {
        g_is_there = 1;
        WOLK_StackManagedThread *thread = WOLK_StackManagedThreadFactory_createThread(
            g_factory, "worker", &g_settings, announce_end, nullptr);
        if (thread == nullptr)
            std::abort();
        wait_for_end();
        WOLK_StackManagedThreadFactory_deleteThread(g_factory, thread);
    }
}

void platform_thread(int count)
{
    for (int i = 0; i < count; ++i) {
        pthread_t thread;
        if (pthread_create(&thread, &g_attributes, do_nothing, nullptr) != 0)
            std::abort();
        pthread_join(thread, nullptr);
    }
}

void prepare()
{
    const WOLK_ThreadStackAllocator allocator = {nullptr, hand_out};
    g_factory = WOLK_StackManagedThreadFactory_new(&allocator);
    DDS_ThreadSettings_t_initialize(&g_settings);
    g_settings.stack_size = kStackSize;
    pthread_attr_init(&g_attributes);
    pthread_attr_setstack(&g_attributes, g_stack, kStackSize);
}

void clean_up()
{
    pthread_attr_destroy(&g_attributes);
    DDS_ThreadSettings_t_finalize(&g_settings);
    WOLK_StackManagedThreadFactory_delete(g_factory);
}

const Row kRows[] = {
    {{"thread on a painted stack", "pthread_create, join", 1.30, Measure::Cost},
     200,
     factory_thread,
     platform_thread,
     prepare,
     clean_up},
};

} // namespace

std::span<const Row> bench::thread_rows()
{
    return kRows;
}
