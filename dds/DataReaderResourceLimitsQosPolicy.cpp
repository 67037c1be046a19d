#include "dds/DataReaderResourceLimitsQosPolicy.h"

#include "dds/policy.hpp"

#include <cstddef>

static_assert(sizeof(DDS_DataReaderResourceLimitsQosPolicy) == 108);
static_assert(offsetof(DDS_DataReaderResourceLimitsQosPolicy, max_fragmented_samples) == 44);
static_assert(offsetof(DDS_DataReaderResourceLimitsQosPolicy, max_total_instances) == 64);
static_assert(offsetof(DDS_DataReaderResourceLimitsQosPolicy, initial_topic_queries) == 100);

namespace {

using Limits = DDS_DataReaderResourceLimitsQosPolicy;
using Rule = dds::policy::Rule<Limits>;
using dds::policy::Demand;
using dds::policy::kMillion;

#define RANGE(FIELD, MINIMUM, MAXIMUM)                                                             \
    {                                                                                              \
        Demand::Range, &DDS_DataReaderResourceLimitsQosPolicy::FIELD, #FIELD, MINIMUM, MAXIMUM     \
    }
#define RANGE_OR_UNLIMITED(FIELD, MAXIMUM)                                                         \
    {                                                                                              \
        Demand::RangeOrUnlimited, &DDS_DataReaderResourceLimitsQosPolicy::FIELD, #FIELD, 1,        \
            MAXIMUM                                                                                \
    }
#define UNSIGNED_MAXIMUM(FIELD, MAXIMUM)                                                           \
    {                                                                                              \
        Demand::UnsignedMaximum, &DDS_DataReaderResourceLimitsQosPolicy::FIELD, #FIELD, 0, MAXIMUM \
    }
#define RELATION(DEMAND, FIELD, OTHER)                                                             \
    {                                                                                              \
        Demand::DEMAND, &DDS_DataReaderResourceLimitsQosPolicy::FIELD, #FIELD,                     \
            &DDS_DataReaderResourceLimitsQosPolicy::OTHER, #OTHER                                  \
    }

constexpr Rule kRules[] = {
    RANGE_OR_UNLIMITED(max_remote_writers, kMillion),
    RANGE_OR_UNLIMITED(max_remote_writers_per_instance, 1024),
    RELATION(AtMostOrUnlimited, max_remote_writers_per_instance, max_remote_writers),
    RANGE_OR_UNLIMITED(max_samples_per_remote_writer, 5 * kMillion),
    {Demand::RangeOrUnlimited, &DDS_DataReaderResourceLimitsQosPolicy::max_infos, "max_info", 1,
     5 * kMillion}, // Kept: its name
    RANGE(initial_remote_writers, 1, kMillion),
    RELATION(AtMost, initial_remote_writers, max_remote_writers),
    RANGE(initial_remote_writers_per_instance, 1, 1024),
    RELATION(AtMost, initial_remote_writers_per_instance, max_remote_writers_per_instance),
    RANGE(initial_infos, 1, kMillion),
    RELATION(AtMost, initial_infos, max_infos),
    RANGE_OR_UNLIMITED(max_outstanding_reads, 65536),
    RANGE(initial_outstanding_reads, 1, 65536),
    RELATION(AtMost, initial_outstanding_reads, max_outstanding_reads),
    RANGE(max_samples_per_read, 1, 65536),
    RANGE(max_fragmented_samples, 0, kMillion),
    RELATION(FromZeroTo, initial_fragmented_samples, max_fragmented_samples),
    RELATION(FromZeroTo, max_fragmented_samples_per_remote_writer, max_fragmented_samples),
    {Demand::NotZero, &DDS_DataReaderResourceLimitsQosPolicy::max_fragments_per_sample,
     "max_fragments_per_sample"},
    {Demand::FromMinimum, &DDS_DataReaderResourceLimitsQosPolicy::max_total_instances,
     "max_total_instances", -2},
    RANGE_OR_UNLIMITED(max_remote_virtual_writers, kMillion),
    RANGE(initial_remote_virtual_writers, 1, kMillion),
    // Kept: the values compared are not the virtual ones, for which there is no such rule.
    {Demand::AtMost, &DDS_DataReaderResourceLimitsQosPolicy::initial_remote_writers,
     "initial_remote_virtual_writers", &DDS_DataReaderResourceLimitsQosPolicy::max_remote_writers,
     "max_remote_virtual_writers"},
    RANGE_OR_UNLIMITED(max_remote_virtual_writers_per_instance, 1024),
    RANGE(initial_remote_virtual_writers_per_instance, 1, 1024),
    RELATION(AtMost, initial_remote_virtual_writers_per_instance,
             max_remote_virtual_writers_per_instance),
    RELATION(AtMostOrUnlimited, max_remote_virtual_writers_per_instance,
             max_remote_virtual_writers),
    UNSIGNED_MAXIMUM(max_query_condition_filters, 32),
    RANGE(max_remote_writers_per_sample, 1, 1024),
    RELATION(AtMost, max_remote_writers_per_sample, max_remote_writers),
    UNSIGNED_MAXIMUM(max_app_ack_response_length, 65536),
    RANGE_OR_UNLIMITED(max_topic_queries, kMillion),
    RANGE(initial_topic_queries, 1, kMillion),
    RELATION(AtMost, initial_topic_queries, max_topic_queries),
};

// The ways of saving that the list of fields names.

constexpr auto save_length = DDS_XMLHelper_save_length;
constexpr auto save_long = DDS_XMLHelper_save_long;
constexpr auto save_flag = DDS_XMLHelper_save_bool;

void save_instances(const char *name, DDS_Long value, ZOVXMLSaveContext *context)
{
    if (value == DDS_AUTO_MAX_TOTAL_INSTANCES)
        DDS_XMLHelper_save_string(name, "AUTO_MAX_TOTAL_INSTANCES", context);
    else if (value == DDS_LENGTH_AUTO)
        DDS_XMLHelper_save_string(name, "LENGTH_AUTO", context);
    else
        DDS_XMLHelper_save_length(name, value, context);
}

/** Kept: a field that is compared and checked, but not written. */
void save_nothing(const char *name, DDS_Long value, ZOVXMLSaveContext *context)
{
    static_cast<void>(name);
    static_cast<void>(value);
    static_cast<void>(context);
}

} // namespace

void DDS_DataReaderResourceLimitsQosPolicy_get_default(DDS_DataReaderResourceLimitsQosPolicy *out)
{
#define FIELD(TYPE, NAME, DEFAULT, SAVED) .NAME = DEFAULT,
    *out = {DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)};
#undef FIELD
}

DDS_Boolean
DDS_DataReaderResourceLimitsQosPolicy_equals(const DDS_DataReaderResourceLimitsQosPolicy *left,
                                             const DDS_DataReaderResourceLimitsQosPolicy *right)
{
    if (left == nullptr || right == nullptr)
        return left == right;
#define FIELD(TYPE, NAME, DEFAULT, SAVED) left->NAME == right->NAME &&
    return DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD) true;
#undef FIELD
}

void DDS_DataReaderResourceLimitsQosPolicy_save(const DDS_DataReaderResourceLimitsQosPolicy *self,
                                                const char *tag_name_ignored,
                                                ZOVXMLSaveContext *save_context)
{
    static_cast<void>(tag_name_ignored);
    dds::policy::save_block("reader_resource_limits", save_context, [&] {
#define FIELD(TYPE, NAME, DEFAULT, SAVED) save_##SAVED(#NAME, self->NAME, save_context);
        DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
#undef FIELD
    });
}

DDS_Boolean DDS_DataReaderResourceLimitsQosPolicy_is_consistentI(
    const DDS_DataReaderResourceLimitsQosPolicy *self)
{
    return dds::policy::is_consistent<Limits>(__func__, *self, kRules);
}

void DDS_DataReaderResourceLimitsQosPolicy_to_presentation_qos_policy(
    const DDS_DataReaderResourceLimitsQosPolicy *self,
    DDS_DataReaderResourceLimitsQosPolicyLower *lower)
{
#define FIELD(TYPE, NAME, DEFAULT, SAVED) lower->NAME = self->NAME;
    DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
#undef FIELD
}

void DDS_DataReaderResourceLimitsQosPolicy_from_presentation_qos_policy(
    DDS_DataReaderResourceLimitsQosPolicy *self,
    const DDS_DataReaderResourceLimitsQosPolicyLower *lower)
{
#define FIELD(TYPE, NAME, DEFAULT, SAVED) self->NAME = lower->NAME;
    DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
#undef FIELD
}
