#include "dds/Sequence.hpp"
#include "dds/String.h"
#include "dds/StringSeq.h"
#include "koba/String.h"
#include "osapi/Environment.h"
#include "osapi/Log.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

using dds::sequence::length_of;
using dds::sequence::slot_of;

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleSettings>;

void copy_terminated(char *destination, std::string_view token)
{
    std::memcpy(destination, token.data(), token.size());
    destination[token.size()] = '\0';
}

/** Gives tokens the terminator that they lack in the midst of a text. */
class TokenCopy
{
public:
    /** Valid until the next one. Null, with the heap's report, when a long one finds no memory. */
    const char *of(std::string_view token)
    {
        char *copy = m_short;
        if (token.size() >= sizeof m_short) {
            if (ZOVOsapiHeap_reallocateString(m_long.address(), token.size()) == nullptr)
                return nullptr;
            copy = m_long.get();
        }
        copy_terminated(copy, token);
        return copy;
    }

private:
    char m_short[4096];
    zov::heap::Owned<char, zov::heap::Kind::String> m_long;
};

/** A delimiter at the end has one more element behind it, an empty one. */
DDS_Long count_elements(const char *text, char delimiter)
{
    const std::int32_t count = KOBAString_getTokenCount(text, delimiter);
    const bool is_one_more = count > 0 && text[std::strlen(text) - 1] == delimiter;
    return is_one_more ? count + 1 : count;
}

/** Takes a token off the front of a text, which is null behind the last one. */
std::string_view take_token(const char **text, char delimiter)
{
    const char *token = *text;
    std::int32_t length = 0;
    *text = KOBAString_getToken(&length, token, delimiter);
    return {token, static_cast<std::size_t>(length)};
}

DDS_ReturnCode_t no_space(DDS_Long available, std::int64_t needed)
{
    DDS_LOG_AS(Exception, kSubmoduleSettings, "DDS_StringSeq_to_delimited_string",
               ZOV_LOG_INSUFFICIENT_SPACE_FAILURE_dd, available, static_cast<DDS_Long>(needed));
    return DDS_RETCODE_OUT_OF_RESOURCES;
}

/** The bytes that joining asks for; null elements take none. */
DDS_Long size_of_joined(const DDS_StringSeq *self)
{
    std::size_t size = 2;
    for (DDS_UnsignedLong i = 0; i < length_of(self); ++i)
        if (const char *element = *slot_of(self, i))
            size += std::strlen(element) + 1;
    return static_cast<DDS_Long>(std::min<std::size_t>(size, INT32_MAX));
}

} // namespace

DDS_Boolean DDS_StringSeq_from_string_array(DDS_StringSeq *self, const char *const *strings,
                                            DDS_Long count)
{
    if (count == 0)
        return DDS_BOOLEAN_TRUE;
    if (!DDS_StringSeq_ensure_length(self, count, count)) {
        DDS_LOG(Exception, kSubmoduleSettings, ZOV_LOG_ANY_FAILURE_s, "resize string sequence");
        return DDS_BOOLEAN_FALSE;
    }
    for (DDS_UnsignedLong i = 0; i < self->length; ++i) {
        char **slot = slot_of(self, i);
        // Kept: what a slot held is not freed; this fills fresh sequences, and loans of any bytes.
        *slot = DDS_String_dup(strings[i]);
        if (*slot == nullptr && strings[i] != nullptr) {
            DDS_LOG(Exception, kSubmoduleSettings, ZOV_LOG_ANY_FAILURE_s, "copy string");
            return DDS_BOOLEAN_FALSE;
        }
    }
    return DDS_BOOLEAN_TRUE;
}

DDS_ReturnCode_t DDS_StringSeq_from_delimited_string(DDS_StringSeq *self, const char *text,
                                                     char delimiter)
{
    if (!is_given(self, "self", __func__))
        return DDS_RETCODE_BAD_PARAMETER;
    const DDS_Long count = count_elements(text, delimiter);
    if (!DDS_StringSeq_ensure_length(self, count, count)) {
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_SEQUENCE_SET_LENGTH_FAILED_sd, text, count);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    TokenCopy copies;
    for (DDS_UnsignedLong i = 0; i < self->length && text != nullptr; ++i) {
        const std::string_view token = take_token(&text, delimiter);
        char **slot = slot_of(self, i);
        if (!self->owned) {
            copy_terminated(*slot, token);
            continue;
        }
        const char *copy = copies.of(token);
        if (copy == nullptr) {
            DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_OUT_OF_RESOURCES_s, "heapToken");
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
        if (DDS_String_replace(slot, copy) == nullptr) {
            DDS_LOG(Exception, kSubmoduleSettings, ZOV_LOG_ANY_FAILURE_s, "copy string");
            return DDS_RETCODE_OUT_OF_RESOURCES;
        }
    }
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_StringSeq_from_environment_variable_or_file(DDS_StringSeq *self,
                                                                 const char *name,
                                                                 const char *second_arg,
                                                                 char delimiter, char flag)
{
    char value[4096];
    if (!ZOVOsapi_envVarOrFileGet(value, sizeof value, name, second_arg, delimiter, flag))
        return DDS_RETCODE_NO_DATA;
    if (DDS_StringSeq_from_delimited_string(self, value, delimiter) == DDS_RETCODE_OK)
        return DDS_RETCODE_OK;
    DDS_LOG(Warning, kSubmoduleSettings, DDS_LOG_COPY_FAILURE_s,
            name != nullptr ? name : second_arg);
    return DDS_RETCODE_NO_DATA;
}

DDS_ReturnCode_t DDS_StringSeq_to_delimited_string(const DDS_StringSeq *self, char *buffer,
                                                   DDS_Long buffer_size, char delimiter)
{
    if (buffer_size > 0)
        *buffer = '\0';
    if (!is_given(self, "self", __func__))
        return DDS_RETCODE_BAD_PARAMETER;
    std::int64_t size = 0;
    for (DDS_UnsignedLong i = 0; i < length_of(self); ++i) {
        const char *element = *slot_of(self, i);
        if (element == nullptr) {
            DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_BAD_PARAMETER_s, "NULL string");
            return DDS_RETCODE_BAD_PARAMETER;
        }
        size += static_cast<std::int64_t>(std::strlen(element)) + 1;
        // Kept: a byte more than is needed, and than the report says, for the last delimiter.
        if (buffer_size < size + 1)
            return no_space(buffer_size, size);
    }
    if (buffer_size < 1)
        return no_space(buffer_size, 1);
    char *end = buffer;
    for (DDS_UnsignedLong i = 0; i < length_of(self); ++i) {
        end = stpcpy(end, *slot_of(self, i));
        *end++ = delimiter;
    }
    *end = '\0';
    if (end != buffer)
        end[-1] = '\0';
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t DDS_StringSeq_to_delimited_string_w_alloc(const DDS_StringSeq *self,
                                                           char **text_out, DDS_Long *size_out,
                                                           char delimiter)
{
    *text_out = nullptr;
    if (!is_given(self, "self", __func__))
        return DDS_RETCODE_BAD_PARAMETER;
    const DDS_Long size = size_of_joined(self);
    zov::heap::Owned<char, zov::heap::Kind::Array> text;
    if (ZOVOsapiHeap_allocateArray(text.address(), static_cast<std::uint64_t>(size), char) ==
        nullptr) {
        DDS_LOG(Exception, kSubmoduleSettings, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_ARRAY_dd, size, 1);
        return DDS_RETCODE_OUT_OF_RESOURCES;
    }
    const DDS_ReturnCode_t code =
        DDS_StringSeq_to_delimited_string(self, text.get(), size, delimiter);
    if (code != DDS_RETCODE_OK) {
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_SET_FAILURE_s, "string value");
        return code;
    }
    *size_out = size;
    *text_out = text.release();
    return DDS_RETCODE_OK;
}
