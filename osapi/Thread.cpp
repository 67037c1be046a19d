#include "osapi/Thread.h"

#include "log/Log.hpp"
#include "osapi/Log.hpp"
#include "osapi/Owned.hpp"

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <sys/syscall.h>
#include <unistd.h>

static_assert(offsetof(ZOVOsapiThreadChild, priority) == 12);
static_assert(offsetof(ZOVOsapiThreadChild, argument) == 24);
static_assert(offsetof(ZOVOsapiJoinableThread, argument) == 24);
static_assert(offsetof(ZovOsapiThread_Info, zero) == 24);

// How a thread starts. The creator may set the affinity only once the thread exists, and the thread
// must not run before: it waits for a semaphore that the creator gives last.
//
//     creator                                  new thread
//     makes the child record
//     pthread_create  ---------------------->  reads its priority, blocks signals, sets its name
//     sets affinity                            takes the start semaphore
//     gives the start semaphore  ----------->  deletes semaphore and record, runs the function
//
// Behind the give the record is the new thread's alone.

namespace {

using zov::osapi::ErrorText;

constexpr char kInitialize[] = "ZOVOsapiThread_initializeWithStack";
constexpr char kOnSpawned[] = "ZOVOsapiThreadChild_onSpawned";
constexpr std::int32_t kCpuListSize = 512;

using Child = zov::heap::Owned<ZOVOsapiThreadChild, zov::heap::Kind::Structure>;

/** Reports a pthread function that failed. Returns whether there was nothing to report. */
bool succeeds(int error, const char *function)
{
    if (error == 0)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize, ZOV_LOG_OS_FAILURE_sXs, function, error,
                 ErrorText(error).text());
    return false;
}

/** The attribute of a thread in the making. */
class Attributes
{
public:
    Attributes() : m_error(pthread_attr_init(&m_attributes)) {}
    ~Attributes()
    {
        if (m_error == 0)
            pthread_attr_destroy(&m_attributes);
    }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;

    [[nodiscard]] int error() const { return m_error; }
    pthread_attr_t *get() { return &m_attributes; }

private:
    pthread_attr_t m_attributes;
    int m_error;
};

void set_policy(pthread_attr_t *attributes, int policy, const char *function)
{
    if (const int error = pthread_attr_setschedpolicy(attributes, policy))
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                     ZOV_OSAPI_THREAD_LOG_POLICY_FAILURE_sXsd, function, error,
                     ErrorText(error).text(), policy);
}

void set_priority(pthread_attr_t *attributes, int priority)
{
    const sched_param parameter = {.sched_priority = priority};
    if (const int error = pthread_attr_setschedparam(attributes, &parameter))
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                     ZOV_OSAPI_THREAD_LOG_PRIORITY_FAILURE_sXsd, "pthread_attr_setschedparam",
                     error, ErrorText(error).text(), priority);
}

/** Writes the platform's defaults back, which makes them explicit. */
void confirm_scheduling(pthread_attr_t *attributes)
{
    int policy = 0;
    if (!succeeds(pthread_attr_getschedpolicy(attributes, &policy), "pthread_attr_getschedpolicy"))
        policy = 0;
    set_policy(attributes, policy, "pthread_attr_setschedpolicy");
    sched_param parameter = {};
    if (!succeeds(pthread_attr_getschedparam(attributes, &parameter), "pthread_attr_getschedparam"))
        parameter.sched_priority = 0;
    set_priority(attributes, parameter.sched_priority);
}

bool set_explicit_scheduling(pthread_attr_t *attributes)
{
    const int error = pthread_attr_setinheritsched(attributes, PTHREAD_EXPLICIT_SCHED);
    if (error == 0)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                 ZOV_OSAPI_THREAD_LOG_INHERIT_SCHED_FAILURE_sXss, "pthread_attr_setinheritsched",
                 error, ErrorText(error).text(), "PTHREAD_EXPLICIT_SCHED");
    return false;
}

void set_mode(pthread_attr_t *attributes, std::uint32_t options, std::int32_t priority)
{
    succeeds(pthread_attr_setdetachstate(attributes, PTHREAD_CREATE_DETACHED),
             "pthread_attr_setdetachstate");
    if ((options & ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY) != 0) {
        succeeds(pthread_attr_setscope(attributes, PTHREAD_SCOPE_SYSTEM), "pthread_attr_setscope");
        set_policy(attributes, SCHED_FIFO, "pthread_attr_setschedpolicy");
    }
    if (priority != ZOV_OSAPI_THREAD_PRIORITY_DEFAULT)
        set_priority(attributes, priority);
}

/** Rounded up in 64 bits: the largest sizes do not wrap around. */
std::size_t rounded_stack_size(std::int32_t size)
{
    constexpr std::int64_t kUnit = ZOV_OSAPI_THREAD_STACK_SIZE_UNIT;
    const std::int64_t raised = std::max(size, ZOV_OSAPI_THREAD_STACK_SIZE_MIN);
    return static_cast<std::size_t>((raised + kUnit - 1) / kUnit * kUnit);
}

void set_stack_size(pthread_attr_t *attributes, std::int32_t size)
{
    const std::size_t rounded = rounded_stack_size(size);
    if (const int error = pthread_attr_setstacksize(attributes, rounded))
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                     ZOV_OSAPI_THREAD_LOG_STACK_SIZE_FAILURE_sXsld, "pthread_attr_setstacksize",
                     error, ErrorText(error).text(), static_cast<long>(rounded));
}

/** False, reported, for a stack that the platform refuses: never another stack instead. */
bool set_stack(pthread_attr_t *attributes, void *stack, std::int32_t size)
{
    const auto bytes = static_cast<std::size_t>(std::max(size, 0));
    const int error = pthread_attr_setstack(attributes, stack, bytes);
    if (error == 0)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                 ZOV_OSAPI_THREAD_LOG_STACK_FAILURE_sXspld, "pthread_attr_setstack", error,
                 ErrorText(error).text(), stack, static_cast<long>(size));
    return false;
}

void report_creation_failure(pthread_attr_t *attributes, int error)
{
    int policy = 0;
    int inherit = 0;
    int detach_state = 0;
    int scope = 0;
    std::size_t stack_size = 0;
    sched_param parameter = {};
    pthread_attr_getschedpolicy(attributes, &policy);
    pthread_attr_getschedparam(attributes, &parameter);
    pthread_attr_getinheritsched(attributes, &inherit);
    pthread_attr_getdetachstate(attributes, &detach_state);
    pthread_attr_getscope(attributes, &scope);
    pthread_attr_getstacksize(attributes, &stack_size);
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize,
                 ZOV_OSAPI_THREAD_LOG_CREATE_FAILURE_sXsdddddld, "pthread_create", error,
                 ErrorText(error).text(), policy, parameter.sched_priority, inherit, detach_state,
                 scope, static_cast<long>(stack_size));
}

void set_affinity(pthread_t thread, const ZOVOsapiCpuBitmap *bitmap)
{
    if (bitmap == nullptr || bitmap->count == 0)
        return;
    cpu_set_t cpus;
    ZOVOsapiCpuBitmap_toCpuset(bitmap, &cpus);
    const int error = pthread_setaffinity_np(thread, sizeof cpus, &cpus);
    if (error == 0)
        return;
    char list[kCpuListSize];
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize, ZOV_OSAPI_THREAD_LOG_CPUSET_FAILURE_sXss,
                 "pthread_setaffinity_np", error, ErrorText(error).text(),
                 ZOVOsapiCpuBitmap_cpusetToString(&cpus, list, sizeof list));
}

bool make_child(Child &child, const char *name, std::uint32_t options, std::int32_t priority,
                ZOVOsapiThreadFunction function, void *argument)
{
    constexpr char kContext[] = "ZOVOsapiThreadChild_new";
    if (ZOVOsapiHeap_allocateStructure(child.address(), struct ZOVOsapiThreadChild) == nullptr) {
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kContext, ZOV_LOG_MALLOC_FAILURE_d,
                     static_cast<unsigned long>(sizeof *child));
        return false;
    }
    *child = {.start = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_BINARY, nullptr),
              .options = options,
              .priority = priority,
              .function = function,
              .argument = argument,
              .name = {}};
    if (name != nullptr)
        ZOVLog_snprintf(child->name, sizeof child->name, "%s", name);
    if (child->start != nullptr)
        return true;
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kContext, ZOV_LOG_CREATION_FAILURE_s, "semaphore");
    return false;
}

void delete_child(ZOVOsapiThreadChild *child)
{
    ZOVOsapiSemaphore_delete(child->start);
    ZOVOsapiHeap_freeStructure(child);
}

/** Reports what the thread did not get of what was asked for. */
bool check_scheduling(const ZOVOsapiThreadChild &child)
{
    int policy = 0;
    sched_param parameter = {};
    if (const int error = pthread_getschedparam(pthread_self(), &policy, &parameter)) {
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kOnSpawned, ZOV_LOG_OS_FAILURE_sXs,
                     "pthread_getschedparam", error, ErrorText(error).text());
        return false;
    }
    if ((child.options & ZOV_OSAPI_THREAD_OPTION_REALTIME_PRIORITY) != 0 && policy != SCHED_FIFO)
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kOnSpawned, ZOV_LOG_ANY_FAILURE_s,
                     "unable to set realtime scheduling policy");
    if (child.priority != ZOV_OSAPI_THREAD_PRIORITY_DEFAULT &&
        child.priority != parameter.sched_priority)
        OSAPI_LOG_AS(Exception, kSubmoduleThread, kOnSpawned, ZOV_LOG_ANY_FAILURE_s,
                     "unable to set sched_priority");
    return true;
}

void block_signals()
{
    sigset_t signals;
    sigfillset(&signals);
    sigdelset(&signals, SIGINT);
    if (pthread_sigmask(SIG_SETMASK, &signals, nullptr) != 0)
        OSAPI_LOG_AS(Warning, kSubmoduleThread, kOnSpawned, ZOV_LOG_ANY_FAILURE_s,
                     "signal blocking failed");
}

/** From outside the platform would open, write and close a file for it. */
void set_name(const char *name)
{
    if (name[0] != '\0')
        pthread_setname_np(pthread_self(), name);
}

/** Lets the thread be cancelled from here on, at any point if that was asked for. */
void allow_cancellation(std::uint32_t options)
{
    if ((options & ZOV_OSAPI_THREAD_OPTION_CANCEL_ASYNCHRONOUS) != 0)
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

/** The first code of a new thread. */
extern "C" void *ZOVOsapiThreadChild_onSpawned(void *record)
{
    // A thread that is cancelled as soon as it exists would leave its record behind, or the
    // platform's heap locked for everybody: it is not, until the record is gone.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    auto *child = static_cast<ZOVOsapiThreadChild *>(record);
    const bool usable = check_scheduling(*child);
    if (usable)
        block_signals();
    set_name(child->name);
    if (ZOVOsapiSemaphore_take(child->start, nullptr) != ZOV_OSAPI_SEMAPHORE_STATUS_OK) {
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_SEMAPHORE_TAKE_FAILURE);
        // Kept: the creator may not have given the semaphore yet, so the record stays.
        return nullptr;
    }
    const ZOVOsapiThreadFunction function = child->function;
    void *const argument = child->argument;
    const std::uint32_t options = child->options;
    delete_child(child);
    if (!usable)
        return nullptr;
    allow_cancellation(options);
    return function(argument);
}

bool is_stack_set(pthread_attr_t *attributes, void *stack, std::int32_t size)
{
    if (stack != nullptr)
        return set_stack(attributes, stack, size);
    if (size > 0)
        set_stack_size(attributes, size);
    return true;
}

/** Creates the platform's thread; it waits for the start semaphore of the child. */
bool create(pthread_t &handle, Attributes &attributes, ZOVOsapiThreadChild *child)
{
    OSAPI_LOG_AS(Local, kSubmoduleThread, kInitialize, ZOV_LOG_ANY_s, "spawning thread");
    const int error =
        pthread_create(&handle, attributes.get(), ZOVOsapiThreadChild_onSpawned, child);
    if (error != 0)
        report_creation_failure(attributes.get(), error);
    return error == 0;
}

bool prepare(Attributes &attributes, const ZOVOsapiThreadChild &child, void *stack,
             std::int32_t stack_size)
{
    if (!succeeds(attributes.error(), "pthread_attr_init"))
        return false;
    confirm_scheduling(attributes.get());
    if (!set_explicit_scheduling(attributes.get()))
        return false;
    set_mode(attributes.get(), child.options, child.priority);
    return is_stack_set(attributes.get(), stack, stack_size);
}

ZOVBool fail_with_child(ZOVOsapiThreadChild *child)
{
    if (child != nullptr)
        delete_child(child);
    OSAPI_LOG_AS(Exception, kSubmoduleThread, kInitialize, ZOV_LOG_CREATION_FAILURE_s, "child");
    return ZOV_FALSE;
}

} // namespace

ZOVBool ZOVOsapiThread_initializeWithStack(ZOVOsapiThread *thread, const char *name,
                                           int32_t priority, uint32_t options, void *stack,
                                           int32_t stackSize, const ZOVOsapiCpuBitmap *cpuBitmap,
                                           ZOVOsapiThreadFunction function, void *argument)
{
    Child child;
    if (!make_child(child, name, options, priority, function, argument))
        return fail_with_child(nullptr);
    {
        Attributes attributes;
        if (!prepare(attributes, *child, stack, stackSize) ||
            !create(thread->handle, attributes, child.get()))
            return fail_with_child(child.release());
        set_affinity(thread->handle, cpuBitmap);
    }
    // From here on the record is the new thread's, whatever becomes of the give.
    ZOVOsapiThreadChild *const given_away = child.release();
    if (ZOVOsapiSemaphore_give(given_away->start) == ZOV_OSAPI_SEMAPHORE_STATUS_OK)
        return ZOV_TRUE;
    OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_SEMAPHORE_GIVE_FAILURE);
    return fail_with_child(nullptr);
}

ZOVBool ZOVOsapiThread_initialize(ZOVOsapiThread *thread, const char *name, int32_t priority,
                                  uint32_t options, int32_t stackSize,
                                  const ZOVOsapiCpuBitmap *cpuBitmap,
                                  ZOVOsapiThreadFunction function, void *argument)
{
    return ZOVOsapiThread_initializeWithStack(thread, name, priority, options, nullptr, stackSize,
                                              cpuBitmap, function, argument);
}

ZOVOsapiThread *ZOVOsapiThread_newWithStack(const char *name, int32_t priority, uint32_t options,
                                            void *stack, int32_t stackSize,
                                            const ZOVOsapiCpuBitmap *cpuBitmap,
                                            ZOVOsapiThreadFunction function, void *argument)
{
    zov::heap::Owned<ZOVOsapiThread, zov::heap::Kind::Structure> thread;
    if (ZOVOsapiHeap_allocateStructure(thread.address(), struct ZOVOsapiThread) == nullptr)
        return nullptr;
    if (!ZOVOsapiThread_initializeWithStack(thread.get(), name, priority, options, stack, stackSize,
                                            cpuBitmap, function, argument)) {
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_CREATION_FAILURE_s, "initialize");
        return nullptr;
    }
    return thread.release();
}

ZOVOsapiThread *ZOVOsapiThread_new(const char *name, int32_t priority, uint32_t options,
                                   int32_t stackSize, const ZOVOsapiCpuBitmap *cpuBitmap,
                                   ZOVOsapiThreadFunction function, void *argument)
{
    return ZOVOsapiThread_newWithStack(name, priority, options, nullptr, stackSize, cpuBitmap,
                                       function, argument);
}

void ZOVOsapiThread_finalize(ZOVOsapiThread *) {}

void ZOVOsapiThread_delete(ZOVOsapiThread *thread)
{
    if (thread == nullptr)
        return;
    ZOVOsapiThread_finalize(thread);
    ZOVOsapiHeap_freeStructure(thread);
}

pthread_t ZOVOsapiThread_getCurrentThreadID(void)
{
    return pthread_self();
}

ZOVOsapiThread *ZOVOsapiThread_getCurrentThread(void)
{
    ZOVOsapiThread *thread = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&thread, struct ZOVOsapiThread) == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_GET_FAILURE_s, "current thread");
        return nullptr;
    }
    thread->handle = pthread_self();
    return thread;
}

ZOVBool ZOVOsapiThread_isManagedStackSupported(void)
{
    return ZOV_TRUE;
}

void ZOVOsapiThread_logCpuAffinity(const char *name)
{
    if (!ZOV_LOG_IS_ON(ZOVOsapiLog, Local, zov::osapi::kSubmoduleThread))
        return;
    cpu_set_t cpus;
    if (const int error = pthread_getaffinity_np(pthread_self(), sizeof cpus, &cpus)) {
        OSAPI_LOG_OS_FAILURE(Exception, kSubmoduleThread, "pthread_getaffinity_np", error);
        return;
    }
    char list[kCpuListSize];
    OSAPI_LOG(Local, kSubmoduleThread, ZOV_OSAPI_THREAD_LOG_AFFINITY_sus, name,
              static_cast<unsigned>(syscall(SYS_gettid)),
              ZOVOsapiCpuBitmap_cpusetToString(&cpus, list, sizeof list));
}
