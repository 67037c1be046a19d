/**
 * What a reader may hold. Limits of -1 are none. A number for each instance, writer or sample is
 * not above the one for all of them, and an initial number not above its limit, but for
 * initial_remote_virtual_writers, of which only the range is looked at.
 *
 * Threads: the operations touch only their arguments.
 */
#ifndef WOLKCORE_DDS_DATA_READER_RESOURCE_LIMITS_QOS_POLICY_H
#define WOLKCORE_DDS_DATA_READER_RESOURCE_LIMITS_QOS_POLICY_H

#include "dds/Duration.h"
#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVXMLSaveContext;

/** The fields in their order: FIELD(type, name, default, what it is saved as). */
#define DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)                                              \
    FIELD(DDS_Long, max_remote_writers, -1, length)               /**< 1 to 1000000 */             \
    FIELD(DDS_Long, max_remote_writers_per_instance, -1, length)  /**< 1 to 1024 */                \
    FIELD(DDS_Long, max_samples_per_remote_writer, -1, length)    /**< 1 to 5000000 */             \
    FIELD(DDS_Long, max_infos, -1, length)                        /**< 1 to 5000000 */             \
    FIELD(DDS_Long, initial_remote_writers, 2, long)              /**< 1 to 1000000 */             \
    FIELD(DDS_Long, initial_remote_writers_per_instance, 2, long) /**< 1 to 1024 */                \
    FIELD(DDS_Long, initial_infos, 32, long)                      /**< 1 to 1000000 */             \
    FIELD(DDS_Long, initial_outstanding_reads, 2, long)           /**< 1 to 65536 */               \
    FIELD(DDS_Long, max_outstanding_reads, -1, length)            /**< 1 to 65536 */               \
    FIELD(DDS_Long, max_samples_per_read, 1024, long)             /**< 1 to 65536 */               \
    FIELD(DDS_Boolean, disable_fragmentation_support, 0, flag)    /**< a flag */                   \
    FIELD(DDS_Long, max_fragmented_samples, 1024, long)           /**< 0 to 1000000 */             \
    FIELD(DDS_Long, initial_fragmented_samples, 4, long) /**< up to max_fragmented_samples */      \
    FIELD(DDS_Long, max_fragmented_samples_per_remote_writer, 256, long) /**< the same */          \
    FIELD(DDS_Long, max_fragments_per_sample, -1, length)                /**< not 0 */             \
    FIELD(DDS_Boolean, dynamically_allocate_fragmented_samples, 1, flag) /**< a flag */            \
    FIELD(DDS_Long, max_total_instances, 0, instances)       /**< 0 and -2: automatic */           \
    FIELD(DDS_Long, max_remote_virtual_writers, -1, length)  /**< 1 to 1000000 */                  \
    FIELD(DDS_Long, initial_remote_virtual_writers, 2, long) /**< 1 to 1000000 */                  \
    FIELD(DDS_Long, max_remote_virtual_writers_per_instance, -1, length)  /**< 1 to 1024 */        \
    FIELD(DDS_Long, initial_remote_virtual_writers_per_instance, 2, long) /**< 1 to 1024 */        \
    FIELD(DDS_Long, max_remote_writers_per_sample, 3, nothing)            /**< 1 to 1024 */        \
    FIELD(DDS_Long, max_query_condition_filters, 4, long)                 /**< 0 to 32 */          \
    FIELD(DDS_Long, max_app_ack_response_length, 0, long)                 /**< 0 to 65536 bytes */ \
    FIELD(DDS_Boolean, keep_minimum_state_for_instances, 1, flag)         /**< a flag */           \
    FIELD(DDS_Long, initial_topic_queries, 1, long)                       /**< 1 to 1000000 */     \
    FIELD(DDS_Long, max_topic_queries, -1, length)                        /**< 1 to 1000000 */

#define FIELD(TYPE, NAME, DEFAULT, SAVED) TYPE NAME;
/** What a reader may hold; the fields' defaults stand in their list. */
struct DDS_DataReaderResourceLimitsQosPolicy
{
    DDS_DATA_READER_RESOURCE_LIMITS_FIELDS(FIELD)
};
typedef struct DDS_DataReaderResourceLimitsQosPolicy DDS_DataReaderResourceLimitsQosPolicy;

/** The lower layer's record, with the same fields. */
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
/** Compares field by field. Two nulls are equal, one is equal to nothing. */
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
/** Copies the fields to the lower layer's record. */
void DDS_DataReaderResourceLimitsQosPolicy_to_presentation_qos_policy(
    const struct DDS_DataReaderResourceLimitsQosPolicy *self,
    struct DDS_DataReaderResourceLimitsQosPolicyLower *lower) ZOV_NONNULL();
/** Copies the fields from the lower layer's record. */
void DDS_DataReaderResourceLimitsQosPolicy_from_presentation_qos_policy(
    struct DDS_DataReaderResourceLimitsQosPolicy *self,
    const struct DDS_DataReaderResourceLimitsQosPolicyLower *lower) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
