#include "osapi/Log.hpp"
#include "osapi/Thread.h"
#include "osapi/Utility.h"
#include "osapi/heap.hpp"

#include <cstdlib>

// Each thread finds its context under one key. A second key holds a mark that says that the thread
// has had its context made, whether or not that succeeded.

constinit void *ZOVOsapiHeapContext_g_TssFactory = nullptr;
constinit pthread_key_t ZOVOsapiHeapContext_g_TssContextKey = 0;
constinit pthread_key_t ZOVOsapiHeapContext_g_TssContextSetKey = 0;

namespace {

constexpr std::int32_t kMark = 12345;

// Threads add their entry from inside and from outside of the monitoring mutex.
constinit pthread_mutex_t g_entries_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit bool g_has_context_key = false;
constinit bool g_has_context_set_key = false;

bool make_key(pthread_key_t &key, bool &created, const char *what)
{
    created = ZOVOsapiThread_createKey(&key, ZOVOsapiHeapContext_g_TssFactory) != 0;
    if (!created)
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, "ZOVOsapiHeap_initializeTss",
                     ZOV_LOG_CREATION_FAILURE_s, what);
    return created;
}

void delete_key(pthread_key_t key, bool &created)
{
    if (created)
        ZOVOsapiThread_deleteKey(ZOVOsapiHeapContext_g_TssFactory, key);
    created = false;
}

bool is_marked()
{
    const void *mark = ZOVOsapiThread_getTss(ZOVOsapiHeapContext_g_TssContextSetKey);
    return ZOVOsapiUtility_pointerToInt(mark) == kMark;
}

ZOVOsapiHeapThreadContextEntry *entry_of(ZOVOsapiInlineListNode *node)
{
    return reinterpret_cast<ZOVOsapiHeapThreadContextEntry *>(node);
}

void delete_entry(ZOVOsapiHeapThreadContextEntry *entry)
{
    ZOVOsapiInlineList_removeNode(&ZOVOsapiHeap_g_info->contexts, &entry->node);
    std::free(entry->context);
    std::free(entry);
}

/** Makes the calling thread's context. The mark stays even when that fails. */
ZOVOsapiHeapContext *make_context()
{
    if (!ZOVOsapiThread_setTss(ZOVOsapiHeapContext_g_TssContextSetKey,
                               ZOVOsapiUtility_intToPointer(kMark)))
        return nullptr;
    auto *entry = static_cast<ZOVOsapiHeapThreadContextEntry *>(
        std::malloc(sizeof(ZOVOsapiHeapThreadContextEntry)));
    auto *context = static_cast<ZOVOsapiHeapContext *>(std::malloc(sizeof(ZOVOsapiHeapContext)));
    if (entry == nullptr || context == nullptr ||
        !ZOVOsapiThread_setTss(ZOVOsapiHeapContext_g_TssContextKey, context)) {
        std::free(context);
        std::free(entry);
        return nullptr;
    }
    ZOVOsapiHeap_resetContext(context);
    entry->context = context;
    pthread_mutex_lock(&g_entries_mutex);
    ZOVOsapiInlineList_addNodeToBack(&ZOVOsapiHeap_g_info->contexts, &entry->node);
    pthread_mutex_unlock(&g_entries_mutex);
    return context;
}

} // namespace

bool zov::heap::initialize_contexts()
{
    if (ZOVOsapiHeapContext_g_TssFactory != nullptr)
        return true;
    ZOVOsapiHeapContext_g_TssFactory = ZOVOsapiThread_createTssFactory();
    if (ZOVOsapiHeapContext_g_TssFactory == nullptr) {
        OSAPI_LOG_AS(Exception, kSubmoduleMemory, "ZOVOsapiHeap_initializeTss",
                     ZOV_LOG_CREATION_FAILURE_s, "Heap TSS factory");
        return false;
    }
    if (make_key(ZOVOsapiHeapContext_g_TssContextKey, g_has_context_key, "Heap TSS context key") &&
        make_key(ZOVOsapiHeapContext_g_TssContextSetKey, g_has_context_set_key,
                 "Heap TSS context set key"))
        return true;
    finalize_contexts();
    return false;
}

void zov::heap::finalize_contexts()
{
    while (ZOVOsapiInlineListNode *node = ZOVOsapiHeap_g_info->contexts.first)
        delete_entry(entry_of(node));
    delete_key(ZOVOsapiHeapContext_g_TssContextKey, g_has_context_key);
    delete_key(ZOVOsapiHeapContext_g_TssContextSetKey, g_has_context_set_key);
    ZOVOsapiThread_deleteTssFactory(ZOVOsapiHeapContext_g_TssFactory);
    ZOVOsapiHeapContext_g_TssFactory = nullptr;
}

ZOVOsapiHeapContext *ZOVOsapiHeap_getContext(void)
{
    if (!zov::heap::is_monitoring())
        return nullptr;
    if (void *context = ZOVOsapiThread_getTss(ZOVOsapiHeapContext_g_TssContextKey))
        return static_cast<ZOVOsapiHeapContext *>(context);
    return is_marked() ? nullptr : make_context();
}

void ZOVOsapiHeap_setHeapContext(ZOVOsapiHeapContext *savedOut, const char *topic,
                                 const char *activity)
{
    ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext();
    if (context == nullptr)
        return;
    ZOVOsapiHeap_copyContext(savedOut, context);
    context->topic = topic;
    context->activity = activity;
}

void ZOVOsapiHeap_restoreHeapContext(const ZOVOsapiHeapContext *saved)
{
    if (ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext())
        ZOVOsapiHeap_copyContext(context, saved);
}

void ZOVOsapiHeap_deleteConext(void)
{
    const ZOVOsapiHeapContext *context = ZOVOsapiHeap_getContext();
    if (context == nullptr)
        return;
    pthread_mutex_lock(&g_entries_mutex);
    ZOVOsapiInlineListNode *node = ZOVOsapiHeap_g_info->contexts.first;
    while (node != nullptr && entry_of(node)->context != context)
        node = node->next;
    // Kept: both thread-specific values stay as they are; this is the thread's last word.
    if (node != nullptr)
        delete_entry(entry_of(node));
    pthread_mutex_unlock(&g_entries_mutex);
}

void ZOVOsapiHeap_resetContext(ZOVOsapiHeapContext *context)
{
    *context = {};
}

void ZOVOsapiHeap_initializeContext(ZOVOsapiHeapContext *context)
{
    ZOVOsapiHeap_resetContext(context);
}

void ZOVOsapiHeap_copyContext(ZOVOsapiHeapContext *dst, const ZOVOsapiHeapContext *src)
{
    *dst = *src;
}
