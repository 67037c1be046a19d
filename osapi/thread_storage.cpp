#include "osapi/Thread.h"

namespace {

// The platform has no factories: callers only ask whether there is one.
constinit char g_factory = 0;

} // namespace

void *ZOVOsapiThread_createTssFactory(void)
{
    return &g_factory;
}

void ZOVOsapiThread_deleteTssFactory(void *) {}

ZOVBool ZOVOsapiThread_createKey(pthread_key_t *keyOut, void *)
{
    return pthread_key_create(keyOut, nullptr) == 0;
}

ZOVBool ZOVOsapiThread_deleteKey(void *, pthread_key_t key)
{
    return pthread_key_delete(key) == 0;
}

ZOVBool ZOVOsapiThread_setTss(pthread_key_t key, const void *value)
{
    return pthread_setspecific(key, value) == 0;
}

void *ZOVOsapiThread_getTss(pthread_key_t key)
{
    return pthread_getspecific(key);
}
