#include "osapi/heap.h"
#include "xml/Infrastructure.h"
#include "xml/Log.hpp"
#include "xml/Utils.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

static_assert(offsetof(ZOVXMLAttributeDescriptor, list) == 8);
static_assert(offsetof(ZOVXMLAttributeDescriptor, valueIsOwned) == 16);
static_assert(offsetof(ZOVXMLAttributeDescriptor, inlineList) == 24);
static_assert(offsetof(ZOVXMLAttributeDescriptor, isInline) == 132);

namespace {

constexpr int32_t kInlineCount = ZOV_XML_ATTRIBUTE_DESCRIPTOR_INLINE_COUNT;
constexpr char kInitialize[] = "ZOVXMLAttributeDescriptor_initialize";
constexpr char kIncrease[] = "ZOVXMLAttributeDescriptor_increaseAttributeListSize";

bool has_reference(const char *value)
{
    return std::strstr(value, "$(") != nullptr;
}

bool is_referenced(const ZOVXMLAttributeDescriptor &descriptor)
{
    return descriptor.valueIsOwned == nullptr;
}

std::size_t slots_of(int32_t attributes)
{
    return 2 * static_cast<std::size_t>(attributes);
}

void report_no_room(std::size_t count, std::size_t size)
{
    XML_LOG_AS(Exception, kSubmoduleObject, kIncrease, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd,
               static_cast<int>(count), static_cast<int>(size));
}

/** Gets the arrays of the heap for a number of attributes, with the contents of those before. */
bool grow_arrays(ZOVXMLAttributeDescriptor &descriptor, int32_t total)
{
    const std::size_t slots = slots_of(total) + 1;
    const bool has_arrays = !descriptor.isInline && !is_referenced(descriptor);
    ZOVBool *flags = has_arrays ? descriptor.valueIsOwned : nullptr;
    const char **list = has_arrays ? descriptor.list : nullptr;
    const bool has_flags =
        ZOVOsapiHeap_reallocateArray(&flags, static_cast<std::size_t>(total), ZOVBool) != nullptr;
    if (has_flags && has_arrays)
        descriptor.valueIsOwned = flags;
    if (!has_flags) {
        report_no_room(static_cast<std::size_t>(total), sizeof(ZOVBool));
        return false;
    }
    // The type's name is part of heap snapshots.
    // clang-format off
    if (ZOVOsapiHeap_reallocateArray(&list, slots, char*) == nullptr) {
        // clang-format on
        report_no_room(slots, sizeof(char *));
        if (!has_arrays)
            ZOVOsapiHeap_freeArray(flags);
        return false;
    }
    descriptor.valueIsOwned = flags;
    descriptor.list = list;
    descriptor.isInline = ZOV_FALSE;
    return true;
}

void use_inline_room(ZOVXMLAttributeDescriptor &descriptor)
{
    descriptor.list = descriptor.inlineList;
    descriptor.valueIsOwned = descriptor.inlineValueIsOwned;
    descriptor.isInline = ZOV_TRUE;
}

/** Puts an attribute with its references expanded into a place; reported when it cannot. */
bool put_expanded(ZOVXMLAttributeDescriptor &descriptor, int32_t index, const char *value)
{
    char *copy = nullptr;
    const std::size_t length = std::strlen(value);
    const std::size_t room = std::max(length, std::size_t{ZOV_XML_EXPANDED_SIZE});
    if (ZOVOsapiHeap_allocateString(&copy, room) == nullptr) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize,
                   ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRING_d, static_cast<int>(room));
        return false;
    }
    std::memcpy(copy, value, length + 1);
    descriptor.list[slots_of(index) + 1] = copy;
    descriptor.valueIsOwned[index] = ZOV_TRUE;
    if (ZOVXMLHelper_expandEnvironmentVariables(copy) != nullptr)
        return true;
    XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_LOG_ANY_FAILURE_s,
               "expand environment variables");
    return false;
}

bool copy_expanded(ZOVXMLAttributeDescriptor &descriptor, const char **list, int32_t count)
{
    if (!ZOVXMLAttributeDescriptor_increaseAttributeListSize(&descriptor, count)) {
        XML_LOG_AS(Exception, kSubmoduleObject, kInitialize, ZOV_LOG_ANY_FAILURE_s,
                   "initialize attribute list");
        return false;
    }
    for (int32_t i = 0; i < count; ++i) {
        const std::size_t slot = slots_of(i);
        descriptor.list[slot] = list[slot];
        descriptor.list[slot + 1] = list[slot + 1];
        if (has_reference(list[slot + 1]) && !put_expanded(descriptor, i, list[slot + 1]))
            return false;
    }
    return true;
}

} // namespace

ZOVBool ZOVXMLAttributeDescriptor_initialize(ZOVXMLAttributeDescriptor *descriptor,
                                             const char **list)
{
    if (descriptor->state == ZOV_XML_ATTRIBUTE_DESCRIPTOR_INITIALIZED)
        return ZOV_TRUE;
    *descriptor = {};
    descriptor->state = ZOV_XML_ATTRIBUTE_DESCRIPTOR_INITIALIZED;
    descriptor->list = descriptor->inlineList;
    const int32_t count = ZOVXMLHelper_getAttributeCount(list);
    bool refers = false;
    for (int32_t i = 0; i < count; ++i)
        refers |= has_reference(list[slots_of(i) + 1]);
    if (!refers)
        descriptor->list = list;
    else if (!copy_expanded(*descriptor, list, count)) {
        ZOVXMLAttributeDescriptor_finalize(descriptor);
        return ZOV_FALSE;
    }
    return ZOV_TRUE;
}

void ZOVXMLAttributeDescriptor_finalize(ZOVXMLAttributeDescriptor *descriptor)
{
    if (descriptor->state != ZOV_XML_ATTRIBUTE_DESCRIPTOR_INITIALIZED)
        return;
    descriptor->state = 0;
    if (is_referenced(*descriptor))
        return;
    for (int32_t i = 0; descriptor->list[slots_of(i)] != nullptr; ++i)
        if (descriptor->valueIsOwned[i])
            ZOVOsapiHeap_freeString(const_cast<char *>(descriptor->list[slots_of(i) + 1]));
    if (!descriptor->isInline) {
        ZOVOsapiHeap_freeArray(descriptor->valueIsOwned);
        ZOVOsapiHeap_freeArray(descriptor->list);
    }
}

ZOVBool ZOVXMLAttributeDescriptor_addAttribute(ZOVXMLAttributeDescriptor *descriptor,
                                               const char **pair)
{
    const int32_t count = ZOVXMLHelper_getAttributeCount(descriptor->list);
    if (!ZOVXMLAttributeDescriptor_increaseAttributeListSize(descriptor, 1)) {
        XML_LOG(Exception, kSubmoduleObject, ZOV_LOG_ANY_FAILURE_s, "increase attribute list");
        return ZOV_FALSE;
    }
    descriptor->list[slots_of(count)] = pair[0];
    descriptor->list[slots_of(count) + 1] = pair[1];
    descriptor->valueIsOwned[count] = ZOV_FALSE;
    return ZOV_TRUE;
}

ZOVBool ZOVXMLAttributeDescriptor_increaseAttributeListSize(ZOVXMLAttributeDescriptor *descriptor,
                                                            int32_t extra)
{
    const int32_t count = ZOVXMLHelper_getAttributeCount(descriptor->list);
    const int32_t total = count + extra;
    const bool was_referenced = is_referenced(*descriptor);
    const bool was_inline = descriptor->isInline;
    const char **old_list = descriptor->list;
    if ((was_referenced || was_inline) && total <= kInlineCount)
        use_inline_room(*descriptor);
    else if (!grow_arrays(*descriptor, total))
        return ZOV_FALSE;
    if (descriptor->isInline != was_inline || was_referenced) {
        std::copy_n(old_list, slots_of(count), descriptor->list);
        if (was_inline)
            std::copy_n(descriptor->inlineValueIsOwned, count, descriptor->valueIsOwned);
    }
    std::fill(descriptor->list + slots_of(count), descriptor->list + slots_of(total) + 1, nullptr);
    std::fill(descriptor->valueIsOwned + count, descriptor->valueIsOwned + total, ZOV_FALSE);
    return ZOV_TRUE;
}

const char **ZOVXMLAttributeDescriptor_getAttributeList(ZOVXMLAttributeDescriptor *descriptor)
{
    return descriptor->list;
}

ZOVBool ZOVXMLAttributeDescriptor_isReferencedAttributeList(ZOVXMLAttributeDescriptor *descriptor)
{
    return is_referenced(*descriptor);
}
