#include "osapi/heap.hpp"

#include <cstdlib>
#include <cstring>

// Texts that blocks share, most recently used first: a handful of topics and activities is in use
// at a time, and they are found at the head of the list.

namespace {

ZOVOsapiHeapStringRef *find(const char *text)
{
    for (ZOVOsapiInlineListNode *node = ZOVOsapiHeap_g_info->strings.first; node != nullptr;
         node = node->next) {
        auto *string = reinterpret_cast<ZOVOsapiHeapStringRef *>(node);
        if (std::strcmp(string->text, text) == 0)
            return string;
    }
    return nullptr;
}

ZOVOsapiHeapStringRef *make(const char *text)
{
    auto *string =
        static_cast<ZOVOsapiHeapStringRef *>(std::calloc(1, sizeof(ZOVOsapiHeapStringRef)));
    if (string == nullptr)
        return nullptr;
    string->text = strdup(text);
    if (string->text == nullptr) {
        std::free(string);
        return nullptr;
    }
    return string;
}

} // namespace

ZOVOsapiHeapStringRef *zov::heap::assert_string(const char *text)
{
    ZOVOsapiInlineList *strings = &ZOVOsapiHeap_g_info->strings;
    ZOVOsapiHeapStringRef *string = find(text);
    if (string != nullptr)
        ZOVOsapiInlineList_removeNode(strings, &string->node);
    else
        string = make(text);
    if (string == nullptr)
        return nullptr;
    ZOVOsapiInlineList_addNodeToFront(strings, &string->node);
    string->count += 1;
    return string;
}

void zov::heap::remove_string(ZOVOsapiHeapStringRef *string)
{
    if (string == nullptr || --string->count > 0)
        return;
    ZOVOsapiInlineList_removeNode(&ZOVOsapiHeap_g_info->strings, &string->node);
    std::free(string->text);
    std::free(string);
}
