/** Heap, semaphores and log against the platform's own. */
#include "bench/Rows.hpp"
#include "log/Log.h"
#include "osapi/Log.hpp"
#include "osapi/Semaphore.h"
#include "osapi/heap.h"

#include <cstdlib>
#include <mutex>
#include <semaphore.h>
#include <thread>
#include <vector>

namespace {

using bench::keep;
using bench::Measure;
using bench::nothing;
using bench::Row;

constexpr std::size_t kBlockSize = 64;
constexpr std::size_t kLiveBlocks = 100'000;

void heap_block(int count)
{
    for (int i = 0; i < count; ++i) {
        char *block = nullptr;
        ZOVOsapiHeap_allocateBuffer(&block, kBlockSize);
        keep(block);
        ZOVOsapiHeap_freeBuffer(block);
    }
}

void platform_block(int count)
{
    for (int i = 0; i < count; ++i) {
        void *block = std::calloc(1, kBlockSize);
        keep(block);
        std::free(block);
    }
}

// Among many live blocks each is replaced in turn.
std::vector<char *> g_live;

void heap_replace(int count)
{
    static std::size_t at = 0;
    for (int i = 0; i < count; ++i, at = (at + 7919) % g_live.size()) {
        ZOVOsapiHeap_freeBuffer(g_live[at]);
        ZOVOsapiHeap_allocateBuffer(&g_live[at], kBlockSize);
    }
}

std::vector<void *> g_platform_live;

void platform_replace(int count)
{
    static std::size_t at = 0;
    for (int i = 0; i < count; ++i, at = (at + 7919) % g_platform_live.size()) {
        std::free(g_platform_live[at]);
        g_platform_live[at] = std::calloc(1, kBlockSize);
    }
}

void fill_live()
{
    g_live.assign(kLiveBlocks, nullptr);
    g_platform_live.assign(kLiveBlocks, nullptr);
    for (std::size_t i = 0; i < kLiveBlocks; ++i) {
        ZOVOsapiHeap_allocateBuffer(&g_live[i], kBlockSize);
        g_platform_live[i] = std::calloc(1, kBlockSize);
    }
}

void free_live()
{
    for (char *block : g_live)
        ZOVOsapiHeap_freeBuffer(block);
    for (void *block : g_platform_live)
        std::free(block);
    g_live.clear();
    g_platform_live.clear();
}

void monitor()
{
    if (!ZOVOsapiHeap_enableMonitoring())
        std::abort();
}

void monitor_live()
{
    monitor();
    fill_live();
}

void free_monitored_live()
{
    free_live();
    ZOVOsapiHeap_disableMonitoring();
}

ZOVOsapiSemaphore *g_semaphore;
ZOVOsapiSemaphore *g_answer;
sem_t g_platform_semaphore;
sem_t g_platform_answer;
std::mutex g_mutex;

template <std::uint32_t kind>
void make_semaphores()
{
    g_semaphore = ZOVOsapiSemaphore_new(kind, nullptr);
    g_answer = ZOVOsapiSemaphore_new(kind, nullptr);
    sem_init(&g_platform_semaphore, 0, 0);
    sem_init(&g_platform_answer, 0, 0);
}

void delete_semaphores()
{
    ZOVOsapiSemaphore_delete(g_semaphore);
    ZOVOsapiSemaphore_delete(g_answer);
    sem_destroy(&g_platform_semaphore);
    sem_destroy(&g_platform_answer);
}

void take_give_mutex(int count)
{
    for (int i = 0; i < count; ++i) {
        ZOVOsapiSemaphore_take(g_semaphore, nullptr);
        ZOVOsapiSemaphore_give(g_semaphore);
    }
}

void lock_unlock(int count)
{
    for (int i = 0; i < count; ++i) {
        g_mutex.lock();
        g_mutex.unlock();
    }
}

void give_take(int count)
{
    for (int i = 0; i < count; ++i) {
        ZOVOsapiSemaphore_give(g_semaphore);
        ZOVOsapiSemaphore_take(g_semaphore, nullptr);
    }
}

void give_take_without_waiting(int count)
{
    constexpr ZOVNtpTime kZero = {0, 0};
    for (int i = 0; i < count; ++i) {
        ZOVOsapiSemaphore_give(g_semaphore);
        ZOVOsapiSemaphore_take(g_semaphore, &kZero);
    }
}

void post_wait(int count)
{
    for (int i = 0; i < count; ++i) {
        sem_post(&g_platform_semaphore);
        sem_wait(&g_platform_semaphore);
    }
}

void ping_pong(int count)
{
    std::thread other([count] {
        for (int i = 0; i < count; ++i) {
            ZOVOsapiSemaphore_take(g_semaphore, nullptr);
            ZOVOsapiSemaphore_give(g_answer);
        }
    });
    for (int i = 0; i < count; ++i) {
        ZOVOsapiSemaphore_give(g_semaphore);
        ZOVOsapiSemaphore_take(g_answer, nullptr);
    }
    other.join();
}

void platform_ping_pong(int count)
{
    std::thread other([count] {
        for (int i = 0; i < count; ++i) {
            sem_wait(&g_platform_semaphore);
            sem_post(&g_platform_answer);
        }
    });
    for (int i = 0; i < count; ++i) {
        sem_post(&g_platform_semaphore);
        sem_wait(&g_platform_answer);
    }
    other.join();
}

void masked_statement(int count)
{
    for (int i = 0; i < count; ++i) {
        keep(i);
        OSAPI_LOG(Local, kSubmoduleThread, ZOV_LOG_ERRNO_d, i);
    }
}

void empty_loop(int count)
{
    for (int i = 0; i < count; ++i)
        keep(i);
}

void printed_line(int count)
{
    for (int i = 0; i < count; ++i)
        ZOVLog_printContextAndMsg("ZOVOsapiSemaphore_take", &ZOV_LOG_OS_FAILURE_sXs,
                                  "pthread_mutex_lock", 22, "Invalid argument");
}

void fprintf_line(int count)
{
    for (int i = 0; i < count; ++i)
        std::fprintf(stdout, "%s:OS %s() failure, error %#X: %s\n", "ZOVOsapiSemaphore_take",
                     "pthread_mutex_lock", 22, "Invalid argument");
}

constexpr auto make_mutex = make_semaphores<ZOV_OSAPI_SEMAPHORE_KIND_MUTEX>;
constexpr auto make_binary = make_semaphores<ZOV_OSAPI_SEMAPHORE_KIND_BINARY>;
constexpr auto make_counting = make_semaphores<ZOV_OSAPI_SEMAPHORE_KIND_COUNTING>;

const Row kRows[] = {
    {{"allocate + free 64 bytes", "calloc/free", 1.25, Measure::Cost},
     200'000,
     heap_block,
     platform_block,
     nothing,
     nothing},
    {{"same, 100 000 live blocks", "calloc/free", 1.15, Measure::Cost},
     200'000,
     heap_replace,
     platform_replace,
     fill_live,
     free_live},
    {{"same, monitored", "calloc/free", 5, Measure::Cost},
     100'000,
     heap_block,
     platform_block,
     monitor,
     ZOVOsapiHeap_disableMonitoring},
    {{"same, monitored, 100 000 live", "calloc/free", 4, Measure::Cost},
     100'000,
     heap_replace,
     platform_replace,
     monitor_live,
     free_monitored_live},
    {{"mutex take + give", "std::mutex", 1.3, Measure::Cost},
     500'000,
     take_give_mutex,
     lock_unlock,
     make_mutex,
     delete_semaphores},
    {{"binary give + take", "sem_t", 2.6, Measure::Cost},
     500'000,
     give_take,
     post_wait,
     make_binary,
     delete_semaphores},
    {{"counting give + take", "sem_t", 2.6, Measure::Cost},
     500'000,
     give_take,
     post_wait,
     make_counting,
     delete_semaphores},
    {{"give + take, zero timeout", "the same, untimed", 1.1, Measure::Cost},
     500'000,
     give_take_without_waiting,
     give_take,
     make_counting,
     delete_semaphores},
    {{"ping-pong of two threads", "sem_t", 2.3, Measure::Cost},
     5'000,
     ping_pong,
     platform_ping_pong,
     make_binary,
     delete_semaphores},
    {{"printed log line", "fprintf", 1.3, Measure::Cost},
     50'000,
     printed_line,
     fprintf_line,
     nothing,
     nothing},
};

} // namespace

std::span<const Row> bench::osapi_rows()
{
    return kRows;
}

void bench::print_masked_statement(std::FILE *report, int rounds)
{
    std::vector<double> differences;
    for (int i = 0; i < rounds; ++i)
        differences.push_back(time_of(masked_statement, 5'000'000) -
                              time_of(empty_loop, 5'000'000));
    const double median = bench::median(differences);
    std::fprintf(report,
                 "   a masked-off log statement adds %.2f ns to an empty loop; goal 1: %s\n",
                 median, median <= 1 ? "met" : "MISSED");
}
