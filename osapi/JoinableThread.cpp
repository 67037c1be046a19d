#include "osapi/Log.hpp"
#include "osapi/Thread.h"
#include "osapi/heap.h"

namespace {

constexpr ZOVNtpTime kInfinite = {ZOV_NTP_TIME_SEC_MAX, ZOV_NTP_TIME_FRAC_MAX};

extern "C" void *ZOVOsapiJoinableThread_spawnMethodWithTermination(void *record)
{
    auto *joinable = static_cast<ZOVOsapiJoinableThread *>(record);
    void *const result =
        joinable->function != nullptr ? joinable->function(joinable->argument) : nullptr;
    // Behind the give the record is gone: whoever waits for it may delete it.
    if (ZOVOsapiSemaphore_give(joinable->exit) != ZOV_OSAPI_SEMAPHORE_STATUS_OK)
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_MUTEX_GIVE_FAILURE);
    return result;
}

} // namespace

ZOVOsapiJoinableThread *ZOVOsapiJoinableThread_new(const char *name, int32_t priority,
                                                   uint32_t options, int32_t stackSize,
                                                   const ZOVOsapiCpuBitmap *cpuBitmap,
                                                   ZOVOsapiThreadFunction function, void *argument)
{
    ZOVOsapiJoinableThread *joinable = nullptr;
    if (ZOVOsapiHeap_allocateStructure(&joinable, struct ZOVOsapiJoinableThread) == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_MALLOC_FAILURE_d,
                  static_cast<unsigned long>(sizeof *joinable));
        return nullptr;
    }
    joinable->function = function;
    joinable->argument = argument;
    joinable->exit = ZOVOsapiSemaphore_new(ZOV_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    if (joinable->exit == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_CREATION_FAILURE_s, "exit semaphore");
    } else {
        joinable->thread =
            ZOVOsapiThread_new(name, priority, options, stackSize, cpuBitmap,
                               ZOVOsapiJoinableThread_spawnMethodWithTermination, joinable);
        if (joinable->thread != nullptr)
            return joinable;
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_CREATION_FAILURE_s, "init _thread");
    }
    OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_CREATION_FAILURE_s, "init failure");
    ZOVOsapiJoinableThread_delete(joinable);
    return nullptr;
}

void ZOVOsapiJoinableThread_finalize(ZOVOsapiJoinableThread *thread)
{
    const bool was_started = thread->thread != nullptr;
    if (was_started &&
        ZOVOsapiSemaphore_take(thread->exit, &kInfinite) != ZOV_OSAPI_SEMAPHORE_STATUS_OK)
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_MUTEX_TAKE_FAILURE);
    ZOVOsapiSemaphore_delete(thread->exit);
    ZOVOsapiThread_delete(thread->thread);
    thread->exit = nullptr;
    thread->thread = nullptr;
}

void ZOVOsapiJoinableThread_delete(ZOVOsapiJoinableThread *thread)
{
    if (thread == nullptr)
        return;
    ZOVOsapiJoinableThread_finalize(thread);
    ZOVOsapiHeap_freeStructure(thread);
}
