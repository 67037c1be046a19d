/**
 * A factory of threads on stacks that are supplied, and whose use is measured.
 *
 * A stack is filled with one byte value before its thread starts; the most that the thread ever
 * used of it ends at the first byte that is no longer that. Stacks are never given back: they are
 * the allocator's, who must keep them for as long as their threads run.
 *
 * Threads: create and delete threads from one thread. How much of a stack is used may be read while
 * its thread runs.
 *
 *     struct WOLK_StackManagedThreadFactory *factory = WOLK_StackManagedThreadFactory_new(NULL);
 *     struct WOLK_StackManagedThread *thread = WOLK_StackManagedThreadFactory_createThread(
 *         factory, "receiver", &settings, receive, NULL);
 *     ...
 *     WOLK_StackManagedThreadFactory_print_threads_stack_summary(factory);
 */
#ifndef WOLKCORE_DDS_THREAD_H
#define WOLKCORE_DDS_THREAD_H

#include "dds/ThreadSettings.h"
#include "osapi/InlineList.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVOsapiThread;
struct WOLK_StackManagedThread;

/** What a thread runs; nobody reads its result. */
typedef void *(*WOLK_ThreadFunction)(void *parameter);

/** Where stacks come from. */
struct WOLK_ThreadStackAllocator
{
    void *allocator_data; /**< what the function is called with */
    /** A stack of the size in bytes, or null. May store the size that it gives instead, up to
     * 0x7FFFFFFF. */
    void *(*create_stack)(void *allocator_data, DDS_UnsignedLong *requested_size);
};
typedef struct WOLK_ThreadStackAllocator WOLK_ThreadStackAllocator;

/** What a component creates its threads through. */
struct WOLK_ThreadFactory
{
    void *factory_data; /**< what the functions are called with */
    /** Creates and starts a thread; null on failure. */
    struct WOLK_StackManagedThread *(*create_thread)(
        void *factory_data, const char *name, const struct DDS_ThreadSettings_t *threadSettings,
        WOLK_ThreadFunction function, void *parameter);
    /** Deletes the record of a thread. */
    void (*delete_thread)(void *factory_data, struct WOLK_StackManagedThread *thread);
};
typedef struct WOLK_ThreadFactory WOLK_ThreadFactory;

/** Visible for its size; use the operations. */
struct WOLK_StackManagedThreadFactory
{
    struct WOLK_ThreadFactory interface;        /**< what components see of it */
    struct ZOVOsapiInlineList threads;          /**< in the order of creation */
    DDS_Long thread_count;                      /**< how many */
    struct WOLK_ThreadStackAllocator allocator; /**< where stacks come from */
};
typedef struct WOLK_StackManagedThreadFactory WOLK_StackManagedThreadFactory;

/** Visible for its size; use the operations. */
struct WOLK_StackManagedThread
{
    struct WOLK_StackManagedThreadFactory *owner; /**< the factory that created it */
    struct ZOVOsapiInlineListNode link;           /**< its place in the factory's list */
    struct ZOVOsapiThread *os_thread;             /**< the platform's */
    char *name;                                   /**< its own copy */
    void *stack;                                  /**< its lowest address */
    DDS_UnsignedLong stack_size;                  /**< in bytes */
    void *user_object;                            /**< the application's */
};
typedef struct WOLK_StackManagedThread WOLK_StackManagedThread;

/**
 * The default source of stacks: the heap.
 *
 * Errors: null with "no space on heap for structure of size ... bytes\n".
 * Ownership: the caller's; ZOVOsapiHeap_free, when the thread on it has ended.
 */
void *WOLK_HeapBasedStackAllocator_createHeapBasedStack(void *allocator_data,
                                                        DDS_UnsignedLong *requested_size)
    ZOV_NONNULL(2);

/**
 * Creates a factory.
 *
 * @param allocator copied; null means stacks from the heap.
 *
 * Errors: null with "unsupported ...\n", "no space on heap for structure of size ... bytes\n", or,
 * for an allocator without its function, "bad parameter: allocator\n" and "!initialize
 * WOLK_StackManagedThreadFactory object\n".
 * Ownership: the caller's; delete it with WOLK_StackManagedThreadFactory_delete.
 */
ZOV_MUST_USE struct WOLK_StackManagedThreadFactory *
WOLK_StackManagedThreadFactory_new(const struct WOLK_ThreadStackAllocator *allocator);
/** Deletes a factory, but not its threads: delete these first. Null is ignored. */
void WOLK_StackManagedThreadFactory_delete(struct WOLK_StackManagedThreadFactory *factory);
/** Does nothing. */
void WOLK_StackManagedThreadFactory_finalize(void);

/* Errors of all accessors: "bad parameter: self\n" for null, with null or 0 unless said otherwise.
 */

/** The interface of the factory, for as long as the factory lives. */
struct WOLK_ThreadFactory *
WOLK_StackManagedThreadFactory_as_thread_factory(struct WOLK_StackManagedThreadFactory *factory);
/** How many threads it has. */
DDS_Long
WOLK_StackManagedThreadFactory_get_thread_count(struct WOLK_StackManagedThreadFactory *factory);
/** The thread that was created as number index, from 0. Errors: "bad parameter: index\n". */
struct WOLK_StackManagedThread *
WOLK_StackManagedThreadFactory_get_thread_at(struct WOLK_StackManagedThreadFactory *factory,
                                             DDS_Long index);
/** Prints name, stack size and use of each thread to standard output. */
void WOLK_StackManagedThreadFactory_print_threads_stack_summary(
    struct WOLK_StackManagedThreadFactory *factory);

/**
 * Creates and starts a thread.
 *
 * @param name copied; the platform shows its first 15 characters.
 * @param factory a WOLK_StackManagedThreadFactory.
 * @param threadSettings a stack size of -1 means 65536 bytes. A priority outside
 * its policy's range, an affinity or a rotation that cannot be is reported, and the thread is
 * started without it; with the realtime option it does not start without a priority, or without
 * the privilege for one.
 *
 * Errors: null with "bad parameter: self\n"; with "bad parameter: stack_size\n" for any other
 * negative one; with "!!create stack from WOLK_ThreadStackAllocator\n"; with "no space on heap for
 * structure of size ... bytes\n"; or with what failed, "!init WOLK_StackManagedThread object\n" and
 * "!initialize WOLK_StackManagedThread\n". A stack that was obtained is not given back. Ownership:
 * the factory's until WOLK_StackManagedThreadFactory_deleteThread.
 */
struct WOLK_StackManagedThread *WOLK_StackManagedThreadFactory_createThread(
    void *factory, const char *name, const struct DDS_ThreadSettings_t *threadSettings,
    WOLK_ThreadFunction function, void *parameter) ZOV_NONNULL(3, 4);
/** Deletes the record of a thread; the thread itself, if it still runs, runs on, on its stack. */
void WOLK_StackManagedThreadFactory_deleteThread(void *factory,
                                                 struct WOLK_StackManagedThread *thread);

/** The name that it was created with; the thread's, as long as its record lives. */
const char *WOLK_StackManagedThread_get_name(struct WOLK_StackManagedThread *thread);
/** In bytes. Errors: -1. */
DDS_Long WOLK_StackManagedThread_get_stack_size(struct WOLK_StackManagedThread *thread);
/** The most that was ever used, in bytes. Errors: -1. */
DDS_Long WOLK_StackManagedThread_get_stack_usage_max(struct WOLK_StackManagedThread *thread);
/** The application's pointer. Errors: under the name of WOLK_StackManagedThread_setUserObjectI. */
void *WOLK_StackManagedThread_getUserObjectI(struct WOLK_StackManagedThread *thread);
/** Sets the application's pointer. */
void WOLK_StackManagedThread_setUserObjectI(struct WOLK_StackManagedThread *thread, void *object);

ZOV_END_DECLARATIONS

#endif
