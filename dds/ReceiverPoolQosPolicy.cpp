#include "dds/ReceiverPoolQosPolicy.h"

#include "dds/policy.hpp"

#include <bit>
#include <cstddef>

static_assert(sizeof(DDS_ReceiverPoolQosPolicy) == 120);
static_assert(offsetof(DDS_ReceiverPoolQosPolicy, initial_receive_threads) == 96);
static_assert(offsetof(DDS_ReceiverPoolQosPolicy, flag) == 112);

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleSettings>;

constexpr DDS_UnsignedLong kDefaultMask =
    DDS_THREAD_SETTINGS_FLOATING_POINT | DDS_THREAD_SETTINGS_STDIO;
constexpr DDS_Long kMaximumThreads = 10'000;
constexpr DDS_Long kMaximumBufferSize = 1 << 30;
constexpr DDS_Long kMaximumAlignment = 1024;
constexpr DDS_UnsignedLong kFirstFlag = 1;

void set_defaults(DDS_ReceiverPoolQosPolicy &policy)
{
    policy.initial_receive_threads = 4;
    policy.max_receive_threads = DDS_LENGTH_UNLIMITED;
    policy.buffer_size = DDS_LENGTH_AUTO;
    policy.buffer_alignment = 16;
    policy.flag = DDS_BOOLEAN_TRUE;
}

} // namespace

void DDS_ReceiverPoolQosPolicy_initialize(DDS_ReceiverPoolQosPolicy *self)
{
    DDS_ThreadSettings_t_initialize(&self->thread);
    set_defaults(*self);
}

void DDS_ReceiverPoolQosPolicy_get_default(DDS_ReceiverPoolQosPolicy *out)
{
    DDS_ThreadSettings_get_default(&out->thread);
    out->thread.mask = kDefaultMask;
    set_defaults(*out);
}

void DDS_ReceiverPoolQosPolicy_finalize(DDS_ReceiverPoolQosPolicy *self)
{
    DDS_ThreadSettings_t_finalize(&self->thread);
}

DDS_Boolean DDS_ReceiverPoolQosPolicy_equals(const DDS_ReceiverPoolQosPolicy *left,
                                             const DDS_ReceiverPoolQosPolicy *right)
{
    if (left == nullptr || right == nullptr)
        return left == right;
    return DDS_ThreadSettings_is_equal(&left->thread, &right->thread) &&
           left->buffer_size == right->buffer_size &&
           left->buffer_alignment == right->buffer_alignment &&
           left->initial_receive_threads == right->initial_receive_threads &&
           left->flag == right->flag && left->max_receive_threads == right->max_receive_threads;
}

DDS_ReceiverPoolQosPolicy *DDS_ReceiverPoolQosPolicy_copy(DDS_ReceiverPoolQosPolicy *self,
                                                          const DDS_ReceiverPoolQosPolicy *src)
{
    if (!is_given(self, "self", __func__) || !is_given(src, "src", __func__))
        return nullptr;
    if (DDS_ThreadSettings_t_copy(&self->thread, &src->thread) == nullptr) {
        DDS_LOG(Exception, kSubmoduleSettings, DDS_LOG_COPY_FAILURE_s, "thread_settings");
        return nullptr;
    }
    self->initial_receive_threads = src->initial_receive_threads;
    self->max_receive_threads = src->max_receive_threads;
    self->buffer_size = src->buffer_size;
    self->buffer_alignment = src->buffer_alignment;
    self->flag = src->flag;
    return self;
}

void DDS_ReceiverPoolQosPolicy_save(const DDS_ReceiverPoolQosPolicy *self,
                                    const char *tag_name_ignored, ZOVXMLSaveContext *save_context)
{
    static_cast<void>(tag_name_ignored);
    dds::policy::save_block("receiver_pool", save_context, [&] {
        DDS_ThreadSettings_save("thread", &self->thread, save_context);
        DDS_XMLHelper_save_long("buffer_size", self->buffer_size, save_context);
        DDS_XMLHelper_save_long("buffer_alignment", self->buffer_alignment, save_context);
    });
}

DDS_Boolean DDS_ReceiverPoolQosPolicy_is_consistentI(const DDS_ReceiverPoolQosPolicy *self)
{
    using dds::policy::inconsistent;
    using dds::policy::is_within;
    const DDS_Long initial = self->initial_receive_threads;
    const DDS_Long maximum = self->max_receive_threads;
    const DDS_Long alignment = self->buffer_alignment;
    if (!DDS_ThreadSettings_is_consistentI(&self->thread))
        return inconsistent(__func__, "thread");
    if (!is_within(initial, 1, kMaximumThreads))
        return inconsistent(__func__, "initial_receive_threads");
    if (maximum != DDS_LENGTH_UNLIMITED && initial > maximum)
        return inconsistent(__func__, "initial_receive_threads", "max_receive_threads");
    if (maximum != DDS_LENGTH_UNLIMITED && !is_within(maximum, 1, kMaximumThreads))
        return inconsistent(__func__, "max_receive_threads");
    if (self->buffer_size != DDS_LENGTH_AUTO &&
        !is_within(self->buffer_size, 1, kMaximumBufferSize))
        return inconsistent(__func__, "buffer_size");
    if (!is_within(alignment, 1, kMaximumAlignment) ||
        !std::has_single_bit(static_cast<DDS_UnsignedLong>(alignment)))
        return inconsistent(__func__, "alignment");
    return DDS_BOOLEAN_TRUE;
}

void DDS_ReceiverPoolQosPolicy_to_facade_property(const DDS_ReceiverPoolQosPolicy *self,
                                                  DDS_ReceiverPoolFacadeProperty *property)
{
    property->flags = (property->flags & ~kFirstFlag) | (self->flag ? 0 : kFirstFlag);
    property->mask = self->thread.mask;
    property->priority = self->thread.priority;
    property->stack_size = self->thread.stack_size;
    DDS_ThreadSettings_CpuListToBitmap(&property->cpu_bitmap, &self->thread.cpu_list,
                                       self->thread.cpu_rotation);
    property->buffer_size = self->buffer_size;
    property->buffer_alignment = self->buffer_alignment;
    property->initial_receive_threads = self->initial_receive_threads;
    property->max_receive_threads = self->max_receive_threads;
    property->fifth = -1;
}

void DDS_ReceiverPoolQosPolicy_from_facade_property(DDS_ReceiverPoolQosPolicy *self,
                                                    const DDS_ReceiverPoolFacadeProperty *property)
{
    self->flag = (property->flags & kFirstFlag) == 0 ? DDS_BOOLEAN_TRUE : DDS_BOOLEAN_FALSE;
    self->thread.mask = property->mask;
    self->thread.priority = property->priority;
    self->thread.stack_size = property->stack_size;
    DDS_ThreadSettings_CpuListFromBitmap(&property->cpu_bitmap, &self->thread.cpu_list,
                                         &self->thread.cpu_rotation);
    self->buffer_size = property->buffer_size;
    self->buffer_alignment = property->buffer_alignment;
    self->initial_receive_threads = property->initial_receive_threads;
    self->max_receive_threads = property->max_receive_threads;
}
