#include "dds/StringSeq.h"

#include "dds/Sequence.hpp"
#include "dds/String.h"

#include <cstring>

namespace {

using dds::sequence::bad_parameter;
using dds::sequence::length_of;
using dds::sequence::slot_of;

/** Elements that own their text. */
struct StringElements
{
    static bool copy(char **to, char *const *from, DDS_UnsignedLong count)
    {
        for (DDS_UnsignedLong i = 0; i < count; ++i)
            if (!copy_one(to + i, from + i))
                return false;
        return true;
    }

    static bool copy_one(char **to, char *const *from)
    {
        const char *text = *from; // the slots may be one
        return DDS_String_replace(to, text) != nullptr || text == nullptr;
    }

    static void release(char **slots, DDS_UnsignedLong count)
    {
        for (DDS_UnsignedLong i = 0; slots != nullptr && i < count; ++i)
            DDS_String_free(slots[i]);
    }
};

bool are_equal(const char *left, const char *right)
{
    return left == right || (left != nullptr && right != nullptr && std::strcmp(left, right) == 0);
}

} // namespace

DDS_DEFINE_SEQUENCE(DDS_StringSeq, char *, StringElements)

constinit const DDS_StringSeq DDS_STRING_SEQUENCE_EMPTY = dds::sequence::kInitial<DDS_StringSeq>;

char **DDS_StringSeq_copy_string(char **dst_slot, char *const *src_slot)
{
    StringElements::copy_one(dst_slot, src_slot);
    return dst_slot;
}

DDS_Boolean DDS_StringSeq_equals(const DDS_StringSeq *left, const DDS_StringSeq *right)
{
    if (left == nullptr || right == nullptr)
        return bad_parameter(__func__, "self");
    const DDS_UnsignedLong length = length_of(left);
    if (length != length_of(right))
        return DDS_BOOLEAN_FALSE;
    for (DDS_UnsignedLong i = 0; i < length; ++i)
        if (!are_equal(*slot_of(left, i), *slot_of(right, i)))
            return DDS_BOOLEAN_FALSE;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_StringSeq_contains_empty_strings(const DDS_StringSeq *self)
{
    if (self == nullptr)
        return bad_parameter(__func__, "self");
    for (DDS_UnsignedLong i = 0; i < length_of(self); ++i)
        if ((*slot_of(self, i))[0] == '\0')
            return DDS_BOOLEAN_TRUE;
    return DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_StringSeq_contains_null_strings(const DDS_StringSeq *self)
{
    if (self == nullptr)
        return bad_parameter(__func__, "self");
    for (DDS_UnsignedLong i = 0; i < length_of(self); ++i)
        if (*slot_of(self, i) == nullptr)
            return DDS_BOOLEAN_TRUE;
    return DDS_BOOLEAN_FALSE;
}
