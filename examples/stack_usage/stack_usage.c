/*
 * Threads on stacks of our own, and how much of them the threads have used.
 *
 * Run a thread with its real work, read the summary, and give it a stack that fits.
 */
#include "dds/Thread.h"
#include "osapi/Semaphore.h"

#include <stdalign.h>
#include <stdio.h>

#define STACK_SIZE (2 * 1024 * 1024)
#define DEEP_BYTES (STACK_SIZE / 2)

/*
 * The source of the stacks. They are static: nobody is told when a thread is really off its stack,
 * so its memory has to last as long as the process.
 */
struct Arena
{
    alignas(4096) unsigned char memory[2 * STACK_SIZE];
    DDS_UnsignedLong used;
};

static struct Arena arena;

static void *arena_createStack(void *allocatorData, DDS_UnsignedLong *requestedSize)
{
    struct Arena *self = allocatorData;
    void *stack = self->memory + self->used;
    if (*requestedSize > sizeof self->memory - self->used)
        return NULL;
    self->used += *requestedSize;
    return stack;
}

/* The threads tell that their work is done with a semaphore, since they cannot be joined. */

static void *workFlat(void *done)
{
    ZOVOsapiSemaphore_give(done);
    return NULL;
}

static void *workDeep(void *done)
{
    volatile unsigned char buffer[DEEP_BYTES]; /* volatile: or a compiler would leave it out */
    for (size_t i = 0; i < sizeof buffer; ++i)
        buffer[i] = 0;
    ZOVOsapiSemaphore_give(done);
    return NULL;
}

static const struct
{
    const char *name;
    WOLK_ThreadFunction work;
} jobs[] = {{"flat", workFlat}, {"deep", workDeep}};

#define JOB_COUNT ((int)(sizeof jobs / sizeof *jobs))

/* Runs all jobs to their ends; 0 when one of them was not started. */
static int runJobs(struct WOLK_StackManagedThreadFactory *factory, struct ZOVOsapiSemaphore *done)
{
    struct WOLK_StackManagedThread *threads[JOB_COUNT];
    struct DDS_ThreadSettings_t settings;
    int count = 0;
    int waited = 0;
    DDS_ThreadSettings_t_initialize(&settings);
    settings.stack_size = STACK_SIZE;
    while (count < JOB_COUNT &&
           (threads[count] = WOLK_StackManagedThreadFactory_createThread(
                factory, jobs[count].name, &settings, jobs[count].work, done)) != NULL)
        ++count;
    DDS_ThreadSettings_t_finalize(&settings);

    for (int i = 0; i < count; ++i)
        waited += ZOVOsapiSemaphore_take(done, NULL) == ZOV_OSAPI_SEMAPHORE_STATUS_OK;
    WOLK_StackManagedThreadFactory_print_threads_stack_summary(factory);
    for (int i = 0; i < count; ++i) {
        const DDS_Long used = WOLK_StackManagedThread_get_stack_usage_max(threads[i]);
        printf("%s has used %s than half\n", jobs[i].name, used > STACK_SIZE / 2 ? "more" : "less");
        WOLK_StackManagedThreadFactory_deleteThread(factory, threads[i]);
    }
    return count == JOB_COUNT && waited == count;
}

int main(void)
{
    const struct WOLK_ThreadStackAllocator allocator = {&arena, arena_createStack};
    struct WOLK_StackManagedThreadFactory *factory = WOLK_StackManagedThreadFactory_new(&allocator);
    struct ZOVOsapiSemaphore *done = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_COUNTING, NULL);
    const int succeeded = factory != NULL && done != NULL && runJobs(factory, done);
    ZOVOsapiSemaphore_delete(done);
    WOLK_StackManagedThreadFactory_delete(factory);
    return succeeded && fflush(stdout) == 0 ? 0 : 1;
}
