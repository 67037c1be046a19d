#include "dds/Thread.h"

#include "dds/Log.hpp"
#include "dds/String.h"
#include "osapi/Log.hpp"
#include "osapi/Owned.hpp"
#include "osapi/Thread.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

using Factory = WOLK_StackManagedThreadFactory;
using Thread = WOLK_StackManagedThread;

constexpr char kNewFactory[] = "WOLK_StackManagedThreadFactory_new";
constexpr char kInitializeFactory[] = "WOLK_StackManagedThreadFactory_initialize";
constexpr char kNewThread[] = "WOLK_StackManagedThread_new";
constexpr char kInitializeThread[] = "WOLK_StackManagedThread_initialize";
constexpr char kCreateThread[] = "WOLK_StackManagedThreadFactory_createThread";
constexpr DDS_UnsignedLong kDefaultStackSize = 65536;
constexpr unsigned char kFill = ':';

constexpr auto bad_parameter = dds::bad_parameter<dds::kSubmoduleThread>;

bool is_given(const void *self, const char *operation)
{
    return dds::is_given<dds::kSubmoduleThread>(self, "self", operation);
}

/** Reports that a record found no memory; null for one that did not. */
template <class Record>
Record *checked(Record *record, const char *operation)
{
    if (record == nullptr)
        DDS_LOG_AS(Exception, kSubmoduleThread, operation,
                   ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d, static_cast<int>(sizeof(Record)));
    return record;
}

// The heap notes down the name of the type: the records' own.

Factory *allocate_factory()
{
    Factory *factory = nullptr;
    ZOVOsapiHeap_allocateStructure(&factory, struct WOLK_StackManagedThreadFactory);
    return checked(factory, kNewFactory);
}

Thread *allocate_thread()
{
    Thread *thread = nullptr;
    ZOVOsapiHeap_allocateStructure(&thread, struct WOLK_StackManagedThread);
    return checked(thread, kNewThread);
}

Thread *thread_of(ZOVOsapiInlineListNode *node)
{
    constexpr std::size_t kOffset = offsetof(Thread, link);
    return node == nullptr ? nullptr
                           : reinterpret_cast<Thread *>(reinterpret_cast<char *>(node) - kOffset);
}

bool initialize(Factory &factory, const WOLK_ThreadStackAllocator *allocator)
{
    constexpr WOLK_ThreadStackAllocator kHeap = {nullptr,
                                                 WOLK_HeapBasedStackAllocator_createHeapBasedStack};
    factory.allocator = allocator != nullptr ? *allocator : kHeap;
    factory.interface = {&factory, WOLK_StackManagedThreadFactory_createThread,
                         WOLK_StackManagedThreadFactory_deleteThread};
    return factory.allocator.create_stack != nullptr ||
           bad_parameter(kInitializeFactory, "allocator");
}

/** What a thread is made of. */
struct Plan
{
    const char *name;
    const DDS_ThreadSettings_t &settings;
    void *stack;
    DDS_UnsignedLong stack_size;
    const ZOVOsapiCpuBitmap &cpus;
    WOLK_ThreadFunction function;
    void *parameter;
};

bool initialize(Thread &thread, const Plan &plan)
{
    thread.name = DDS_String_dup(plan.name);
    if (thread.name == nullptr) {
        DDS_LOG_AS(Exception, kSubmoduleThread, kInitializeThread, ZOV_LOG_ANY_FAILURE_s,
                   "copy thread name");
        return false;
    }
    thread.stack = plan.stack; // before the start: the thread may ask about itself
    thread.stack_size = plan.stack_size;
    std::memset(plan.stack, kFill, plan.stack_size);
    thread.os_thread = ZOVOsapiThread_newWithStack(
        plan.name, plan.settings.priority, plan.settings.mask, plan.stack,
        static_cast<int32_t>(plan.stack_size), &plan.cpus, plan.function, plan.parameter);
    if (thread.os_thread == nullptr)
        DDS_LOG_AS(Exception, kSubmoduleThread, kInitializeThread, DDS_LOG_CREATE_FAILURE_s,
                   "thread");
    return thread.os_thread != nullptr;
}

void delete_record(Thread *thread)
{
    ZOVOsapiThread_delete(thread->os_thread);
    DDS_String_free(thread->name);
    ZOVOsapiHeap_freeStructure(thread);
}

Thread *new_thread(const Plan &plan)
{
    auto *thread = allocate_thread();
    if (thread == nullptr || initialize(*thread, plan))
        return thread;
    DDS_LOG_AS(Exception, kSubmoduleThread, kNewThread, ZOV_LOG_INIT_FAILURE_s,
               "WOLK_StackManagedThread object");
    delete_record(thread);
    // Kept: the stack is not given back; its allocator has no operation for it.
    DDS_LOG_AS(Exception, kSubmoduleThread, kCreateThread, DDS_LOG_INITIALIZE_FAILURE_s,
               "WOLK_StackManagedThread");
    return nullptr;
}

/**
 * The bytes behind the first ones that still have the fill value. The thread may be writing them,
 * and what lies between its variables is not for others to read: sanitizers would say so.
 */
__attribute__((no_sanitize("address"), no_sanitize("thread"))) DDS_UnsignedLong
used_bytes(const Thread &thread)
{
    const auto *stack = static_cast<const volatile unsigned char *>(thread.stack);
    DDS_UnsignedLong untouched = 0;
    while (untouched < thread.stack_size && stack[untouched] == kFill)
        ++untouched;
    return thread.stack_size - untouched;
}

} // namespace

void *WOLK_HeapBasedStackAllocator_createHeapBasedStack(void *allocator_data,
                                                        DDS_UnsignedLong *requested_size)
{
    static_cast<void>(allocator_data);
    void *stack = ZOVOsapiHeap_malloc(*requested_size);
    if (stack == nullptr)
        DDS_LOG(Exception, kSubmoduleThread, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                static_cast<int>(*requested_size));
    return stack;
}

WOLK_StackManagedThreadFactory *
WOLK_StackManagedThreadFactory_new(const WOLK_ThreadStackAllocator *allocator)
{
    if (!ZOVOsapiThread_isManagedStackSupported()) {
        DDS_LOG(Exception, kSubmoduleThread, DDS_LOG_UNSUPPORTED_s,
                "class. WOLK_StackManagedThreadFactory is not available in the running platform");
        return nullptr;
    }
    zov::heap::Owned<Factory, zov::heap::Kind::Structure> factory(allocate_factory());
    if (factory.get() == nullptr)
        return nullptr;
    if (!initialize(*factory, allocator)) {
        DDS_LOG(Exception, kSubmoduleThread, DDS_LOG_INITIALIZE_FAILURE_s,
                "WOLK_StackManagedThreadFactory object");
        return nullptr;
    }
    return factory.release();
}

void WOLK_StackManagedThreadFactory_delete(WOLK_StackManagedThreadFactory *factory)
{
    ZOVOsapiHeap_freeStructure(factory);
}

void WOLK_StackManagedThreadFactory_finalize() {}

WOLK_ThreadFactory *
WOLK_StackManagedThreadFactory_as_thread_factory(WOLK_StackManagedThreadFactory *factory)
{
    return is_given(factory, __func__) ? &factory->interface : nullptr;
}

DDS_Long WOLK_StackManagedThreadFactory_get_thread_count(WOLK_StackManagedThreadFactory *factory)
{
    return is_given(factory, __func__) ? factory->thread_count : 0;
}

WOLK_StackManagedThread *
WOLK_StackManagedThreadFactory_get_thread_at(WOLK_StackManagedThreadFactory *factory,
                                             DDS_Long index)
{
    if (!is_given(factory, __func__))
        return nullptr;
    if (index < 0 || index >= factory->thread_count) {
        bad_parameter(__func__, "index");
        return nullptr;
    }
    ZOVOsapiInlineListNode *node = factory->threads.first;
    while (index-- > 0)
        node = node->next;
    return thread_of(node);
}

void WOLK_StackManagedThreadFactory_print_threads_stack_summary(
    WOLK_StackManagedThreadFactory *factory)
{
    if (!is_given(factory, __func__))
        return;
    std::puts("WOLK_StackManagedThreadFactory: stack summary of created threads shown below:");
    for (ZOVOsapiInlineListNode *node = factory->threads.first; node != nullptr;
         node = node->next) {
        const Thread *thread = thread_of(node);
        std::printf("thread: %s, stack size: %u bytes, stack usage: %u bytes\n", thread->name,
                    thread->stack_size, used_bytes(*thread));
    }
}

WOLK_StackManagedThread *
WOLK_StackManagedThreadFactory_createThread(void *factory_data, const char *name,
                                            const DDS_ThreadSettings_t *threadSettings,
                                            WOLK_ThreadFunction function, void *parameter)
{
    auto *factory = static_cast<Factory *>(factory_data);
    if (!is_given(factory, __func__))
        return nullptr;
    if (threadSettings->stack_size < DDS_THREAD_STACK_SIZE_DEFAULT) {
        bad_parameter(__func__, "stack_size");
        return nullptr;
    }
    const bool has_size = threadSettings->stack_size != DDS_THREAD_STACK_SIZE_DEFAULT;
    auto stack_size =
        has_size ? static_cast<DDS_UnsignedLong>(threadSettings->stack_size) : kDefaultStackSize;
    void *stack = factory->allocator.create_stack(factory->allocator.allocator_data, &stack_size);
    if (stack == nullptr) {
        DDS_LOG(Exception, kSubmoduleThread, ZOV_LOG_ANY_FAILURE_s,
                "!create stack from WOLK_ThreadStackAllocator");
        return nullptr;
    }
    // An unknown rotation is reported, and the thread may use all CPUs of the list.
    ZOVOsapiCpuBitmap cpus;
    DDS_ThreadSettings_CpuListToBitmap(&cpus, &threadSettings->cpu_list,
                                       threadSettings->cpu_rotation);
    Thread *thread =
        new_thread({name, *threadSettings, stack, stack_size, cpus, function, parameter});
    if (thread == nullptr)
        return nullptr;
    thread->owner = factory;
    ZOVOsapiInlineList_addNodeToBack(&factory->threads, &thread->link);
    ++factory->thread_count;
    return thread;
}

void WOLK_StackManagedThreadFactory_deleteThread(void *factory_data,
                                                 WOLK_StackManagedThread *thread)
{
    auto *factory = static_cast<Factory *>(factory_data);
    if (!is_given(factory, __func__) || !is_given(thread, __func__))
        return;
    ZOVOsapiInlineList_removeNode(&factory->threads, &thread->link);
    --factory->thread_count;
    delete_record(thread);
}

const char *WOLK_StackManagedThread_get_name(WOLK_StackManagedThread *thread)
{
    return is_given(thread, __func__) ? thread->name : nullptr;
}

DDS_Long WOLK_StackManagedThread_get_stack_size(WOLK_StackManagedThread *thread)
{
    return is_given(thread, __func__) ? static_cast<DDS_Long>(thread->stack_size) : -1;
}

DDS_Long WOLK_StackManagedThread_get_stack_usage_max(WOLK_StackManagedThread *thread)
{
    return is_given(thread, __func__) ? static_cast<DDS_Long>(used_bytes(*thread)) : -1;
}

void *WOLK_StackManagedThread_getUserObjectI(WOLK_StackManagedThread *thread)
{
    // Kept: the report names the operation that sets it.
    return is_given(thread, "WOLK_StackManagedThread_setUserObjectI") ? thread->user_object
                                                                      : nullptr;
}

void WOLK_StackManagedThread_setUserObjectI(WOLK_StackManagedThread *thread, void *object)
{
    if (is_given(thread, __func__))
        thread->user_object = object;
}
