/** How many samples and instances an entity may hold. Limits of -1 are none. */
#ifndef WOLKCORE_DDS_RESOURCE_LIMITS_QOS_POLICY_H
#define WOLKCORE_DDS_RESOURCE_LIMITS_QOS_POLICY_H

#include "dds/Duration.h"
#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVXMLSaveContext;

/** How much an entity may hold, and how much it has room for at first. */
struct DDS_ResourceLimitsQosPolicy
{
    DDS_Long max_samples;              /**< 1 to 100000000, or no limit */
    DDS_Long max_instances;            /**< 1 to 1000000, or no limit */
    DDS_Long max_samples_per_instance; /**< 1 to 100000000 and at most max_samples, or no limit */
    DDS_Long initial_samples;          /**< 1 to 100000000, at most max_samples */
    DDS_Long initial_instances;        /**< 1 to 1000000, at most max_instances */
    DDS_Long instance_hash_buckets;    /**< 1 to 1000000, or no limit */
};
typedef struct DDS_ResourceLimitsQosPolicy DDS_ResourceLimitsQosPolicy;

/** The lower layer's record; slots 2 and 5 are its own. */
struct DDS_ResourceLimitsQosPolicyLower
{
    DDS_Long slot[8]; /**< initial and most samples at 0 and 1, instances at 3 and 4; 6, 7: most per
                         instance, buckets */
};
typedef struct DDS_ResourceLimitsQosPolicyLower DDS_ResourceLimitsQosPolicyLower;

/** How many samples of an instance are kept. */
struct DDS_HistoryQosPolicy
{
    DDS_Long kind;  /**< which; not looked at here */
    DDS_Long depth; /**< how many */
};
typedef struct DDS_HistoryQosPolicy DDS_HistoryQosPolicy;

/** Writes the defaults: no limits, 32 samples and instances at first, 1 hash bucket. */
void DDS_ResourceLimitsQosPolicy_get_default(struct DDS_ResourceLimitsQosPolicy *out) ZOV_NONNULL();
/** Compares field by field. Two nulls are equal, one is equal to nothing. */
DDS_Boolean DDS_ResourceLimitsQosPolicy_equals(const struct DDS_ResourceLimitsQosPolicy *left,
                                               const struct DDS_ResourceLimitsQosPolicy *right);
/** Writes the element resource_limits; nothing when the context has an error. */
void DDS_ResourceLimitsQosPolicy_save(const struct DDS_ResourceLimitsQosPolicy *self,
                                      const char *tag_name_ignored,
                                      struct ZOVXMLSaveContext *save_context) ZOV_NONNULL(1, 3);
/**
 * Tells whether the fields are in their ranges and go together.
 *
 * @param second not used.
 *
 * Errors: FALSE with "inconsistent policy: ...\n" or "inconsistent policies: ...\n" and the fields.
 */
DDS_Boolean
DDS_ResourceLimitsQosPolicy_is_consistentI(const struct DDS_ResourceLimitsQosPolicy *self,
                                           const void *second) ZOV_NONNULL(1);
/**
 * Tells whether a history fits the limits: its depth is from 0 to the most samples of an instance,
 * or of all when there is no such limit.
 *
 * Errors: FALSE with "inconsistent policies: ...\n".
 */
DDS_Boolean
DDS_ResourceLimitsQosPolicy_is_consistent_w_historyI(const struct DDS_ResourceLimitsQosPolicy *self,
                                                     const struct DDS_HistoryQosPolicy *history)
    ZOV_NONNULL();
/** Copies the fields to the lower layer's record. */
void DDS_ResourceLimitsQosPolicy_to_presentation_qos_policy(
    const struct DDS_ResourceLimitsQosPolicy *self, struct DDS_ResourceLimitsQosPolicyLower *lower)
    ZOV_NONNULL();
/** Copies the fields from the lower layer's record. */
void DDS_ResourceLimitsQosPolicy_from_presentation_qos_policy(
    struct DDS_ResourceLimitsQosPolicy *self, const struct DDS_ResourceLimitsQosPolicyLower *lower)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
