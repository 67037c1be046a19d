#include "dds/ResourceLimitsQosPolicy.h"

#include "dds/policy.hpp"

#include <cstddef>

static_assert(sizeof(DDS_ResourceLimitsQosPolicy) == 24);
static_assert(offsetof(DDS_ResourceLimitsQosPolicy, initial_samples) == 12);

namespace {

using Limits = DDS_ResourceLimitsQosPolicy;
using Rule = dds::policy::Rule<Limits>;
using dds::policy::Demand;
using dds::policy::kMillion;

constexpr Rule kRules[] = {
    {Demand::RangeOrUnlimited, &DDS_ResourceLimitsQosPolicy::max_samples, "max_samples", 1,
     100 * kMillion},
    {Demand::RangeOrUnlimited, &DDS_ResourceLimitsQosPolicy::max_instances, "max_instances", 1,
     kMillion},
    {Demand::RangeOrUnlimited, &DDS_ResourceLimitsQosPolicy::max_samples_per_instance,
     "max_samples_per_instance", 1, 100 * kMillion},
    {Demand::AtMost, &DDS_ResourceLimitsQosPolicy::max_samples_per_instance, "max_samples",
     &DDS_ResourceLimitsQosPolicy::max_samples, "max_samples_per_instance"},
    {Demand::Range, &DDS_ResourceLimitsQosPolicy::initial_samples, "initial_samples", 1,
     100 * kMillion},
    {Demand::AtMost, &DDS_ResourceLimitsQosPolicy::initial_samples, "max_samples",
     &DDS_ResourceLimitsQosPolicy::max_samples, "initial_samples"},
    {Demand::Range, &DDS_ResourceLimitsQosPolicy::initial_instances, "initial_instances", 1,
     kMillion},
    {Demand::AtMost, &DDS_ResourceLimitsQosPolicy::initial_instances, "max_instances",
     &DDS_ResourceLimitsQosPolicy::max_instances, "initial_instances"},
    {Demand::RangeOrUnlimited, &DDS_ResourceLimitsQosPolicy::instance_hash_buckets,
     "instance_hash_buckets", 1, kMillion},
};

/** Where the fields stand in the lower layer's record. */
struct Place
{
    DDS_Long DDS_ResourceLimitsQosPolicy::*field;
    int slot;
};

constexpr Place kPlaces[] = {
    {&DDS_ResourceLimitsQosPolicy::initial_samples, 0},
    {&DDS_ResourceLimitsQosPolicy::max_samples, 1},
    {&DDS_ResourceLimitsQosPolicy::initial_instances, 3},
    {&DDS_ResourceLimitsQosPolicy::max_instances, 4},
    {&DDS_ResourceLimitsQosPolicy::max_samples_per_instance, 6},
    {&DDS_ResourceLimitsQosPolicy::instance_hash_buckets, 7},
};

} // namespace

void DDS_ResourceLimitsQosPolicy_get_default(DDS_ResourceLimitsQosPolicy *out)
{
    *out = {.max_samples = DDS_LENGTH_UNLIMITED,
            .max_instances = DDS_LENGTH_UNLIMITED,
            .max_samples_per_instance = DDS_LENGTH_UNLIMITED,
            .initial_samples = 32,
            .initial_instances = 32,
            .instance_hash_buckets = 1};
}

DDS_Boolean DDS_ResourceLimitsQosPolicy_equals(const DDS_ResourceLimitsQosPolicy *left,
                                               const DDS_ResourceLimitsQosPolicy *right)
{
    if (left == nullptr || right == nullptr)
        return left == right;
    for (const Place &place : kPlaces)
        if (left->*place.field != right->*place.field)
            return DDS_BOOLEAN_FALSE;
    return DDS_BOOLEAN_TRUE;
}

void DDS_ResourceLimitsQosPolicy_save(const DDS_ResourceLimitsQosPolicy *self,
                                      const char *tag_name_ignored, ZOVXMLSaveContext *save_context)
{
    static_cast<void>(tag_name_ignored);
    dds::policy::save_block("resource_limits", save_context, [&] {
        DDS_XMLHelper_save_length("max_samples", self->max_samples, save_context);
        DDS_XMLHelper_save_length("max_instances", self->max_instances, save_context);
        DDS_XMLHelper_save_length("max_samples_per_instance", self->max_samples_per_instance,
                                  save_context);
        DDS_XMLHelper_save_long("initial_samples", self->initial_samples, save_context);
        DDS_XMLHelper_save_long("initial_instances", self->initial_instances, save_context);
        DDS_XMLHelper_save_long("instance_hash_buckets", self->instance_hash_buckets, save_context);
    });
}

DDS_Boolean DDS_ResourceLimitsQosPolicy_is_consistentI(const DDS_ResourceLimitsQosPolicy *self,
                                                       const void *second)
{
    static_cast<void>(second);
    return dds::policy::is_consistent<Limits>(__func__, *self, kRules);
}

DDS_Boolean
DDS_ResourceLimitsQosPolicy_is_consistent_w_historyI(const DDS_ResourceLimitsQosPolicy *self,
                                                     const DDS_HistoryQosPolicy *history)
{
    const bool per_instance = self->max_samples_per_instance != DDS_LENGTH_UNLIMITED;
    const DDS_Long limit = per_instance ? self->max_samples_per_instance : self->max_samples;
    return limit < 0 || dds::policy::is_within(history->depth, 0, limit) ||
           dds::policy::inconsistent(
               __func__, "history.depth",
               per_instance
                   ? "resource_limits.max_samples_per_instance"
                   : "resource_limits.max_samples (max_samples_per_instance is unlimited)");
}

void DDS_ResourceLimitsQosPolicy_to_presentation_qos_policy(const DDS_ResourceLimitsQosPolicy *self,
                                                            DDS_ResourceLimitsQosPolicyLower *lower)
{
    for (const Place &place : kPlaces)
        lower->slot[place.slot] = self->*place.field;
}

void DDS_ResourceLimitsQosPolicy_from_presentation_qos_policy(
    DDS_ResourceLimitsQosPolicy *self, const DDS_ResourceLimitsQosPolicyLower *lower)
{
    for (const Place &place : kPlaces)
        self->*place.field = lower->slot[place.slot];
}
