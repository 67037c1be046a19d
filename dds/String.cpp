#include "dds/String.h"

#include "dds/Log.hpp"
#include "koba/String.h"
#include "osapi/heap.h"

#include <cstdint>
#include <cstring>

namespace {

/** Whether a text begins within a string, its terminator included. */
bool is_part_of(const char *text, const char *string)
{
    const auto offset =
        reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(string);
    return string != nullptr && offset <= std::strlen(string);
}

/** Of the source, which may be a part of the destination. */
void copy_text(char *destination, const char *source)
{
    std::memmove(destination, source, std::strlen(source) + 1);
}

} // namespace

char *DDS_String_alloc(size_t length)
{
    char *string = nullptr;
    ZOVOsapiHeap_allocateString(&string, length);
    return string;
}

DDS_Boolean DDS_String_alloc_if_necessary(char **string_ptr, size_t length, const char *context,
                                          const char *what)
{
    if (*string_ptr == nullptr)
        *string_ptr = DDS_String_alloc(length);
    if (*string_ptr != nullptr)
        return DDS_BOOLEAN_TRUE;
    DDS_LOG_AS(Exception, kSubmoduleString, context, ZOV_LOG_CREATION_FAILURE_s, what);
    return DDS_BOOLEAN_FALSE;
}

char *DDS_String_dup(const char *src)
{
    return src != nullptr ? KOBAString_duplicate(src) : nullptr;
}

void DDS_String_free(char *string)
{
    ZOVOsapiHeap_freeString(string);
}

char *DDS_String_replace(char **string_ptr, const char *src)
{
    if (string_ptr == nullptr || !is_part_of(src, *string_ptr))
        return KOBAString_replace(string_ptr, src);
    // A part fits where the string is, and would not outlive a reallocation.
    copy_text(*string_ptr, src);
    return *string_ptr;
}

void DDS_String_safe_replace(char **string_ptr, const char *src, const char *context,
                             const char *what)
{
    if (*string_ptr == nullptr) {
        *string_ptr = DDS_String_dup(src);
        return;
    }
    if (src != nullptr) {
        copy_text(*string_ptr, src);
        return;
    }
    using zov::log::Level;
    if (zov::log::is_on(DDSLog_g_instrumentationMask, static_cast<std::uint32_t>(Level::Warning)))
        ZOVLog_debug("%s: potentially leaking %s (%d bytes)\n", context, what,
                     static_cast<int>(std::strlen(*string_ptr) + 1));
    // Kept: the buffer is not freed; callers use this for buffers that need not be the heap's.
    *string_ptr = nullptr;
}
