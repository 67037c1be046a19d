#include "osapi/Log.hpp"
#include "osapi/Thread.h"

namespace {

constinit pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;

/** Reports a failure under the name that callers know. Returns the platform's result. */
int checked(int error, const char *operation, const char *function)
{
    if (error != 0)
        OSAPI_LOG_AS(Exception, kSubmoduleSemaphore, operation, ZOV_LOG_OS_FAILURE_sXs, function,
                     error, zov::osapi::ErrorText(error).text());
    return error;
}

} // namespace

int ZOVOsapi_globalLock(pthread_mutex_t *mutex)
{
    return checked(pthread_mutex_lock(mutex), __func__, "ZOVOsapi_global_lock");
}

int ZOVOsapi_globalUnlock(pthread_mutex_t *mutex)
{
    return checked(pthread_mutex_unlock(mutex), __func__, "ZOVOsapi_global_unlock");
}

void ZOVOsapi_global_lock(void)
{
    ZOVOsapi_globalLock(&g_lock);
}

void ZOVOsapi_global_unlock(void)
{
    ZOVOsapi_globalUnlock(&g_lock);
}
