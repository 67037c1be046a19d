/** What a reader may hold. Limits of -1 are none. */
#ifndef WOLKCORE_DDS_DATA_READER_RESOURCE_LIMITS_QOS_POLICY_H
#define WOLKCORE_DDS_DATA_READER_RESOURCE_LIMITS_QOS_POLICY_H

#include "dds/Duration.h"
#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVXMLSaveContext;

/* The fields in their order: FIELD(type, name, default, what it is saved as). */
#define DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)                                              \
    FIELD(DDS_Long, max_remote_writers, -1, length)                                                \
    FIELD(DDS_Long, max_remote_writers_per_instance, -1, length)                                   \
    FIELD(DDS_Long, max_samples_per_remote_writer, -1, length)                                     \
    FIELD(DDS_Long, max_infos, -1, length)                                                         \
    FIELD(DDS_Long, initial_remote_writers, 2, long)                                               \
    FIELD(DDS_Long, initial_remote_writers_per_instance, 2, long)                                  \
    FIELD(DDS_Long, initial_infos, 32, long)                                                       \
    FIELD(DDS_Long, initial_outstanding_reads, 2, long)                                            \
    FIELD(DDS_Long, max_outstanding_reads, -1, length)                                             \
    FIELD(DDS_Long, max_samples_per_read, 1024, long)                                              \
    FIELD(DDS_Boolean, disable_fragmentation_support, 0, flag)                                     \
    FIELD(DDS_Long, max_fragmented_samples, 1024, long)                                            \
    FIELD(DDS_Long, initial_fragmented_samples, 4, long)                                           \
    FIELD(DDS_Long, max_fragmented_samples_per_remote_writer, 256, long)                           \
    FIELD(DDS_Long, max_fragments_per_sample, -1, length)                                          \
    FIELD(DDS_Boolean, dynamically_allocate_fragmented_samples, 1, flag)                           \
    FIELD(DDS_Long, max_total_instances, 0, instances)                                             \
    FIELD(DDS_Long, max_remote_virtual_writers, -1, length)                                        \
    FIELD(DDS_Long, initial_remote_virtual_writers, 2, long)                                       \
    FIELD(DDS_Long, max_remote_virtual_writers_per_instance, -1, length)                           \
    FIELD(DDS_Long, initial_remote_virtual_writers_per_instance, 2, long)                          \
    FIELD(DDS_Long, max_remote_writers_per_sample, 3, nothing)                                     \
    FIELD(DDS_Long, max_query_condition_filters, 4, long)                                          \
    FIELD(DDS_Long, max_app_ack_response_length, 0, long)                                          \
    FIELD(DDS_Boolean, keep_minimum_state_for_instances, 1, flag)                                  \
    FIELD(DDS_Long, initial_topic_queries, 1, long)                                                \
    FIELD(DDS_Long, max_topic_queries, -1, length)

#define FIELD(TYPE, NAME, DEFAULT, SAVED) TYPE NAME;
struct DDS_DataReaderResourceLimitsQosPolicy
{
    DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
};
typedef struct DDS_DataReaderResourceLimitsQosPolicy DDS_DataReaderResourceLimitsQosPolicy;

/** The lower layer's record. */
struct DDS_DataReaderResourceLimitsQosPolicyLower
{
    DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
};
typedef struct DDS_DataReaderResourceLimitsQosPolicyLower
    DDS_DataReaderResourceLimitsQosPolicyLower;
#undef FIELD

/** Writes the defaults. */
void DDS_DataReaderResourceLimitsQosPolicy_get_default(
    struct DDS_DataReaderResourceLimitsQosPolicy *out) ZOV_NONNULL();
/** Field by field. Two nulls are equal, one is equal to nothing. */
DDS_Boolean DDS_DataReaderResourceLimitsQosPolicy_equals(
    const struct DDS_DataReaderResourceLimitsQosPolicy *left,
    const struct DDS_DataReaderResourceLimitsQosPolicy *right);
/**
 * Writes the element reader_resource_limits with all fields but max_remote_writers_per_sample;
 * nothing when the context has an error.
 */
void DDS_DataReaderResourceLimitsQosPolicy_save(
    const struct DDS_DataReaderResourceLimitsQosPolicy *self, const char *tag_name_ignored,
    struct ZOVXMLSaveContext *save_context) ZOV_NONNULL(1, 3);
/**
 * Tells whether the fields are in their ranges and go together.
 *
 * Errors: FALSE with "inconsistent policy: ...\n" or "inconsistent policies: ...\n" and the fields.
 */
DDS_Boolean DDS_DataReaderResourceLimitsQosPolicy_is_consistentI(
    const struct DDS_DataReaderResourceLimitsQosPolicy *self) ZOV_NONNULL();
/** Copy the fields to and from the lower layer's record. */
void DDS_DataReaderResourceLimitsQosPolicy_to_presentation_qos_policy(
    const struct DDS_DataReaderResourceLimitsQosPolicy *self,
    struct DDS_DataReaderResourceLimitsQosPolicyLower *lower) ZOV_NONNULL();
void DDS_DataReaderResourceLimitsQosPolicy_from_presentation_qos_policy(
    struct DDS_DataReaderResourceLimitsQosPolicy *self,
    const struct DDS_DataReaderResourceLimitsQosPolicyLower *lower) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
