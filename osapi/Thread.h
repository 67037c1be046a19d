/**
 * Threads: creation with priority, stack and CPU affinity, joinable threads, thread-specific
 * storage, the process-wide lock, and sleep.
 *
 * A new thread runs none of its function before its creator has applied the affinity. Threads are
 * created detached and block every signal but SIGINT.
 *
 * Threads: every operation may be called by any thread; a thread record belongs to one at a time.
 *
 *     struct ZOVOsapiJoinableThread *worker = ZOVOsapiJoinableThread_new(
 *         "worker", ZOV_OSAPI_THREAD_PRIORITY_DEFAULT, 0, -1, NULL, work, &job);
 *     ...
 *     ZOVOsapiJoinableThread_delete(worker);      // waits for work() to return
 */
#ifndef WOLKCORE_OSAPI_THREAD_H
#define WOLKCORE_OSAPI_THREAD_H

#include "osapi/CpuBitmap.h"
#include "osapi/Semaphore.h"
#include "osapi/Time.h"

#include <pthread.h>

ZOV_BEGIN_DECLARATIONS

/** Leaves the priority alone. */
#define ZOV_OSAPI_THREAD_PRIORITY_DEFAULT (-9999999)

/** System contention scope and the FIFO policy. */
#define ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY 0x08u
/** The thread can be cancelled at any point. */
#define ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS 0x20u

/** What a smaller stack size is raised to, in bytes. */
#define ZOV_OSAPI_THREAD_STACK_SIZE_MIN 16384
/** What a stack size is rounded up to a multiple of, in bytes. */
#define ZOV_OSAPI_THREAD_STACK_SIZE_UNIT 4096

/** What a thread runs; nobody reads its result. */
typedef void *(*ZOVOsapiThreadFunction)(void *argument);

/** A thread, by the platform's handle. */
struct ZOVOsapiThread
{
    pthread_t handle; /**< of a detached thread: not to be joined */
};
typedef struct ZOVOsapiThread ZOVOsapiThread;

/** What a new thread is handed; it frees it before it runs the function. */
struct ZOVOsapiThreadChild
{
    struct ZOVOsapiSemaphore *start; /**< given when the creator is done */
    uint32_t options;                /**< ZOV_OSAPI_THREAD_OPTION_... */
    int32_t priority;                /**< what was asked for */
    ZOVOsapiThreadFunction function; /**< what it runs */
    void *argument;                  /**< the function's */
    char name[16];                   /**< as much of it as the platform shows; empty for none */
};
typedef struct ZOVOsapiThreadChild ZOVOsapiThreadChild;

/** A thread whose end can be awaited. */
struct ZOVOsapiJoinableThread
{
    struct ZOVOsapiThread *thread;   /**< null once finalised */
    struct ZOVOsapiSemaphore *exit;  /**< given when the function has returned */
    ZOVOsapiThreadFunction function; /**< what it runs; null ends at once */
    void *argument;                  /**< the function's */
};
typedef struct ZOVOsapiJoinableThread ZOVOsapiJoinableThread;

/** Priority bounds; ZOV_OSAPI_THREAD_PRIORITY_DEFAULT where unknown. */
struct ZovOsapiThread_Info
{
    int32_t valid;   /**< TRUE */
    int32_t second;  /**< 0 */
    int32_t prio[4]; /**< maximum and minimum of the current policy, then of the default one */
    int32_t zero[2]; /**< 0 */
};
typedef struct ZovOsapiThread_Info ZovOsapiThread_Info;

/**
 * Starts a thread.
 *
 * @param name the platform shows its first 15 characters; null leaves it without.
 * @param priority the platform's, or ZOV_OSAPI_THREAD_PRIORITY_DEFAULT.
 * @param options ZOV_OSAPI_THREAD_OPTION_... bits; others are ignored.
 * @param stackSize in bytes, raised to ZOV_OSAPI_THREAD_STACK_SIZE_MIN and rounded up; 0 or less
 * means the platform's default.
 * @param cpuBitmap the CPUs that the thread may use; null or one without CPUs means all.
 *
 * A priority outside its policy's range, a stack size or an affinity that the platform refuses is
 * reported, and the thread is started without it. With the realtime option it does not start
 * without a priority, or without the privilege for one.
 *
 * Errors: null, with the heap's report, or with what failed, "!create child\n" and "!create
 * initialize\n".
 * Ownership: the caller's; deleting the record does not stop the thread.
 */
ZOV_MUST_USE struct ZOVOsapiThread *ZOVOsapiThread_new(const char *name, int32_t priority,
                                                       uint32_t options, int32_t stackSize,
                                                       const struct ZOVOsapiCpuBitmap *cpuBitmap,
                                                       ZOVOsapiThreadFunction function,
                                                       void *argument);
/**
 * The same on a stack of the caller's, of exactly this size in bytes; null means the platform's
 * stack. A stack that the platform refuses, such as one below its minimum, is an error.
 *
 * Ownership: the stack stays the caller's, and must outlive the thread.
 */
ZOV_MUST_USE struct ZOVOsapiThread *
ZOVOsapiThread_newWithStack(const char *name, int32_t priority, uint32_t options, void *stack,
                            int32_t stackSize, const struct ZOVOsapiCpuBitmap *cpuBitmap,
                            ZOVOsapiThreadFunction function, void *argument);
/** ZOVOsapiThread_new in place. FALSE with "!create child\n"; the record is not to be used then. */
ZOVBool ZOVOsapiThread_initialize(struct ZOVOsapiThread *thread, const char *name, int32_t priority,
                                  uint32_t options, int32_t stackSize,
                                  const struct ZOVOsapiCpuBitmap *cpuBitmap,
                                  ZOVOsapiThreadFunction function, void *argument);
/** ZOVOsapiThread_newWithStack in place; errors as with ZOVOsapiThread_initialize. */
ZOVBool ZOVOsapiThread_initializeWithStack(struct ZOVOsapiThread *thread, const char *name,
                                           int32_t priority, uint32_t options, void *stack,
                                           int32_t stackSize,
                                           const struct ZOVOsapiCpuBitmap *cpuBitmap,
                                           ZOVOsapiThreadFunction function, void *argument);
/** Does nothing. */
void ZOVOsapiThread_finalize(struct ZOVOsapiThread *thread);
/** Frees the record; null is ignored. A running thread runs on. */
void ZOVOsapiThread_delete(struct ZOVOsapiThread *thread);

/**
 * Starts a thread whose end can be awaited; arguments as for ZOVOsapiThread_new.
 *
 * Errors: null with the reason and "!create init failure\n", or with "!malloc %lu bytes\n".
 * Ownership: the caller's; ZOVOsapiJoinableThread_delete.
 */
ZOV_MUST_USE struct ZOVOsapiJoinableThread *
ZOVOsapiJoinableThread_new(const char *name, int32_t priority, uint32_t options, int32_t stackSize,
                           const struct ZOVOsapiCpuBitmap *cpuBitmap,
                           ZOVOsapiThreadFunction function, void *argument);
/**
 * Waits for the function to return, and frees what the record holds. The second time it does
 * nothing.
 *
 * Errors: "!take mutex\n" when it cannot wait; it goes on without.
 */
void ZOVOsapiJoinableThread_finalize(struct ZOVOsapiJoinableThread *thread) ZOV_NONNULL();
/** Finalises and frees the record; null is ignored. */
void ZOVOsapiJoinableThread_delete(struct ZOVOsapiJoinableThread *thread);

/** The platform's handle of the calling thread. */
pthread_t ZOVOsapiThread_getCurrentThreadID(void);
/**
 * A new record of the calling thread.
 *
 * Errors: null with "!get current thread\n".
 * Ownership: the caller's; ZOVOsapiThread_delete.
 */
ZOV_MUST_USE struct ZOVOsapiThread *ZOVOsapiThread_getCurrentThread(void);

/** Returns a token that is never null; there is nothing behind it. */
void *ZOVOsapiThread_createTssFactory(void);
/** Does nothing. */
void ZOVOsapiThread_deleteTssFactory(void *factory);
/**
 * Makes a key under which every thread has a value of its own, null at first. The factory is not
 * looked at.
 *
 * Errors: FALSE, unreported, when the platform has no more keys.
 */
ZOVBool ZOVOsapiThread_createKey(pthread_key_t *keyOut, void *factory);
/** Deletes a key; the values are not touched. FALSE, unreported, for what is no key. */
ZOVBool ZOVOsapiThread_deleteKey(void *factory, pthread_key_t key);
/** Sets the calling thread's value. FALSE, unreported, for want of memory or for no key. */
ZOVBool ZOVOsapiThread_setTss(pthread_key_t key, const void *value);
/** The calling thread's value; null when it set none. */
void *ZOVOsapiThread_getTss(pthread_key_t key);

/** TRUE: threads can run on supplied stacks. */
ZOVBool ZOVOsapiThread_isManagedStackSupported(void);

/** Locks a mutex; the platform's result, with an OS failure of "ZOVOsapi_global_lock" reported. */
int ZOVOsapi_globalLock(pthread_mutex_t *mutex) ZOV_NONNULL();
/** Unlocks it; the same with "ZOVOsapi_global_unlock". */
int ZOVOsapi_globalUnlock(pthread_mutex_t *mutex) ZOV_NONNULL();
/** Locks the one mutex of the process; the holder must not lock it again. */
void ZOVOsapi_global_lock(void);
/** Unlocks it; for the thread that holds it. */
void ZOVOsapi_global_unlock(void);

/**
 * Maps a priority of the platform's range to a range of the caller's, to the nearest.
 *
 * The platform's range is that of the default policy, or, with
 * ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY, that of the calling thread's. A priority outside it,
 * and every priority of a range of one, becomes half the width of the caller's range, which is its
 * middle only if it starts at 0.
 *
 * Errors: FALSE for a range that is empty (out is left alone) or of one (out is that one).
 */
ZOVBool ZOVOsapiThread_getNormalPriorityFromNative(int32_t *out, int32_t native, int32_t normalMin,
                                                   int32_t normalMax, uint32_t options)
    ZOV_NONNULL();
/**
 * The way back. A platform range of one, or that cannot be read, gives its lower bound.
 *
 * Errors: FALSE, and out is left alone, for a range that is empty or of one and for a priority
 * outside it.
 */
ZOVBool ZOVOsapiThread_getNativePriorityFromNormal(int32_t *out, int32_t normal, int32_t normalMin,
                                                   int32_t normalMax, uint32_t options)
    ZOV_NONNULL();
/** The calling thread's priority; FALSE with an OS failure of "pthread_getschedparam". */
ZOVBool ZOVOsapiThread_getPriority(int32_t *out) ZOV_NONNULL();
/** The priority bounds for the calling thread. Returns TRUE. */
ZOVBool ZovOsapiThread_InfoGetI(struct ZovOsapiThread_Info *info) ZOV_NONNULL();

/** Reports, as local information, the CPUs that the calling thread may use. */
void ZOVOsapiThread_logCpuAffinity(const char *name) ZOV_NONNULL();

/**
 * Blocks the calling thread for a time, measured on the monotonic clock.
 *
 * A signal never shortens the sleep. Null and every time with seconds 0x7FFFFFFF mean for ever;
 * {0, 0} returns at once; any other time lasts at least a nanosecond.
 *
 * Errors: FALSE, with an OS failure of "nanosleep" reported, when the platform refuses, as it does
 * for a negative time.
 */
ZOVBool ZOVOsapiThread_sleep(const struct ZOVNtpTime *time);

ZOV_END_DECLARATIONS

#endif
