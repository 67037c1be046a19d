#include "dds/ThreadSettings.h"

#include "dds/Log.hpp"
#include "dds/Sequence.hpp"
#include "dds/XmlHelper.h"

#include <algorithm>
#include <cstddef>

static_assert(sizeof(DDS_ThreadSettings_t) == 96);
static_assert(offsetof(DDS_ThreadSettings_t, cpu_list) == 16);
static_assert(offsetof(DDS_ThreadSettings_t, cpu_rotation) == 88);

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleSettings>;

using dds::sequence::length_of;
using dds::sequence::slot_of;

constexpr DDS_Long kCpuCount = 32 * ZOV_OSAPI_CPU_BITMAP_WORDS;

struct Option
{
    DDS_UnsignedLong bit;
    const char *word;
};

// Kept: bit 0x04 has no word; it is compared and copied, but not written.
constexpr Option kOptions[] = {
    {DDS_THREAD_SETTINGS_FLOATING_POINT, "THREAD_SETTINGS_FLOATING_POINT"},
    {DDS_THREAD_SETTINGS_STDIO, "THREAD_SETTINGS_STDIO"},
    {DDS_THREAD_SETTINGS_REALTIME_PRIORITY, "THREAD_SETTINGS_REALTIME_PRIORITY"},
    {DDS_THREAD_SETTINGS_PRIORITY_ENFORCE, "THREAD_SETTINGS_PRIORITY_ENFORCE"},
};

constexpr bool is_rotation(DDS_Long rotation)
{
    return rotation == DDS_THREAD_SETTINGS_CPU_NO_ROTATION ||
           rotation == DDS_THREAD_SETTINGS_CPU_RR_ROTATION;
}

DDS_ReturnCode_t check_rotation(DDS_Long rotation, const char *operation)
{
    if (is_rotation(rotation))
        return DDS_RETCODE_OK;
    DDS_LOG_AS(Exception, kSubmoduleSettings, operation, DDS_LOG_BAD_PARAMETER_s, "rotation");
    return DDS_RETCODE_BAD_PARAMETER;
}

void set_defaults(DDS_ThreadSettings_t &settings)
{
    settings.mask = 0;
    settings.priority = DDS_THREAD_PRIORITY_DEFAULT;
    settings.stack_size = DDS_THREAD_STACK_SIZE_DEFAULT;
    settings.cpu_rotation = DDS_THREAD_SETTINGS_CPU_NO_ROTATION;
}

ZOVOsapiCpuBitmap bitmap_of(const DDS_ThreadSettings_t &settings)
{
    ZOVOsapiCpuBitmap bitmap;
    DDS_ThreadSettings_CpuListToBitmap(&bitmap, &settings.cpu_list, settings.cpu_rotation);
    return bitmap;
}

void save_mask(DDS_UnsignedLong mask, ZOVXMLSaveContext *context)
{
    const char *between = "";
    DDS_XMLHelper_save_tag("mask", DDS_XML_TAG_OPEN_INLINE, context);
    for (const Option &option : kOptions)
        if ((mask & option.bit) != 0) {
            DDS_XMLHelper_save_freeform(context, "%s%s", between, option.word);
            between = " | ";
        }
    DDS_XMLHelper_save_tag("mask", DDS_XML_TAG_CLOSE_INLINE, context);
}

} // namespace

DDS_Boolean DDS_ThreadSettings_t_initialize(DDS_ThreadSettings_t *self)
{
    set_defaults(*self);
    return DDS_LongSeq_initialize(&self->cpu_list);
}

void DDS_ThreadSettings_get_default(DDS_ThreadSettings_t *self)
{
    set_defaults(*self);
    DDS_LongSeq_set_maximum(&self->cpu_list, 0);
}

void DDS_ThreadSettings_t_finalize(DDS_ThreadSettings_t *self)
{
    if (!DDS_LongSeq_finalize(&self->cpu_list))
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_SEQUENCE_NOT_OWNER);
}

DDS_ThreadSettings_t *DDS_ThreadSettings_t_copy(DDS_ThreadSettings_t *self,
                                                const DDS_ThreadSettings_t *from)
{
    if (!is_given(self, "self", __func__) || !is_given(from, "from", __func__))
        return nullptr;
    if (DDS_LongSeq_copy(&self->cpu_list, &from->cpu_list) == nullptr) {
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_COPY_FAILURE_s, "cpu_list");
        return nullptr;
    }
    self->mask = from->mask;
    self->priority = from->priority;
    self->stack_size = from->stack_size;
    self->cpu_rotation = from->cpu_rotation;
    return self;
}

DDS_Boolean DDS_ThreadSettings_is_equal(const DDS_ThreadSettings_t *a,
                                        const DDS_ThreadSettings_t *b)
{
    if (a->mask != b->mask || a->priority != b->priority || a->stack_size != b->stack_size ||
        length_of(&a->cpu_list) != length_of(&b->cpu_list))
        return DDS_BOOLEAN_FALSE;
    const ZOVOsapiCpuBitmap left = bitmap_of(*a);
    const ZOVOsapiCpuBitmap right = bitmap_of(*b);
    return ZOVOsapiCpuBitmap_equals(&left, &right) ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
}

DDS_Boolean DDS_ThreadSettings_is_consistentI(const DDS_ThreadSettings_t *self)
{
    static_cast<void>(self);
    return DDS_BOOLEAN_TRUE;
}

DDS_ReturnCode_t DDS_ThreadSettings_CpuListToBitmap(ZOVOsapiCpuBitmap *bitmap,
                                                    const DDS_LongSeq *cpuList, DDS_Long rotation)
{
    *bitmap = {};
    for (DDS_UnsignedLong i = 0; i < length_of(cpuList); ++i) {
        const DDS_Long cpu = *slot_of(cpuList, i);
        if (cpu < 0 || cpu >= kCpuCount)
            continue;
        uint32_t &word = bitmap->word[cpu / 32];
        const uint32_t bit = 1u << (cpu % 32);
        bitmap->count += (word & bit) == 0 ? 1 : 0;
        word |= bit;
    }
    const DDS_ReturnCode_t result = check_rotation(rotation, __func__);
    if (result == DDS_RETCODE_OK)
        bitmap->rotation = static_cast<uint32_t>(rotation);
    return result;
}

DDS_ReturnCode_t DDS_ThreadSettings_CpuListFromBitmap(const ZOVOsapiCpuBitmap *bitmap,
                                                      DDS_LongSeq *cpuList, DDS_Long *rotation)
{
    *rotation = DDS_THREAD_SETTINGS_CPU_NO_ROTATION;
    if (bitmap->count == 0) {
        DDS_LongSeq_set_maximum(cpuList, 0);
        return DDS_RETCODE_OK;
    }
    DDS_LongSeq_set_length(cpuList, 0);
    DDS_Long length = 0;
    for (DDS_Long cpu = 0; cpu < kCpuCount; ++cpu) {
        if ((bitmap->word[cpu / 32] >> (cpu % 32) & 1) == 0)
            continue;
        // Room for all of them at once; the list is as long as what was written.
        if (!DDS_LongSeq_ensure_length(cpuList, length + 1,
                                       std::clamp(bitmap->count, length + 1, kCpuCount)))
            return DDS_RETCODE_OUT_OF_RESOURCES;
        *DDS_LongSeq_get_reference(cpuList, length++) = cpu;
    }
    const auto given = static_cast<DDS_Long>(bitmap->rotation);
    const DDS_ReturnCode_t result = check_rotation(given, __func__);
    if (result == DDS_RETCODE_OK)
        *rotation = given;
    return result;
}

void DDS_ThreadSettings_save(const char *name, const DDS_ThreadSettings_t *self,
                             ZOVXMLSaveContext *context)
{
    if (context->error)
        return;
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_OPEN_BLOCK, context);
    save_mask(self->mask, context);
    DDS_XMLHelper_save_long("priority", self->priority, context);
    DDS_XMLHelper_save_long("stack_size", self->stack_size, context);
    DDS_LongSeq cpu_list = self->cpu_list; // a view: what reads a sequence may initialise it
    DDS_XMLHelper_save_long_seq("cpu_list", &cpu_list, context);
    if (!is_rotation(self->cpu_rotation)) {
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_SAVE_INCONSISTENT_ENTITY_ss, name,
                "cpu_rotation");
        context->error = ZOV_TRUE;
        return;
    }
    DDS_XMLHelper_save_string("cpu_rotation",
                              self->cpu_rotation == DDS_THREAD_SETTINGS_CPU_RR_ROTATION
                                  ? "THREAD_SETTINGS_CPU_RR_ROTATION"
                                  : "THREAD_SETTINGS_CPU_NO_ROTATION",
                              context);
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_CLOSE_BLOCK, context);
}
