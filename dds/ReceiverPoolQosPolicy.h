/** The threads and buffers that receive. */
#ifndef WOLKCORE_DDS_RECEIVER_POOL_QOS_POLICY_H
#define WOLKCORE_DDS_RECEIVER_POOL_QOS_POLICY_H

#include "dds/ThreadSettings.h"

ZOV_BEGIN_DECLARATIONS

/** How data is received: by which threads, into which buffers. */
struct DDS_ReceiverPoolQosPolicy
{
    struct DDS_ThreadSettings_t thread; /**< of each receive thread */
    DDS_Long initial_receive_threads;   /**< 1 to 10000, 4 by default */
    DDS_Long max_receive_threads;       /**< 1 to 10000; -1, the default: no limit */
    DDS_Long buffer_size;      /**< in bytes, up to 2^30; -2, the default: the system's choice */
    DDS_Long buffer_alignment; /**< in bytes, a power of two up to 1024; 16 by default */
    DDS_Boolean flag;          /**< the inverse of the lower layer's first flag */
};
typedef struct DDS_ReceiverPoolQosPolicy DDS_ReceiverPoolQosPolicy;

/** What the lower layer creates its receive threads from. */
struct DDS_ReceiverPoolFacadeProperty
{
    DDS_UnsignedLong flags;              /**< only bit 0 is this record's */
    DDS_UnsignedLong mask;               /**< the thread's options */
    DDS_Long priority;                   /**< the thread's */
    DDS_Long stack_size;                 /**< the thread's, in bytes */
    struct ZOVOsapiCpuBitmap cpu_bitmap; /**< the thread's list of CPUs */
    DDS_Long buffer_size;                /**< the policy's */
    DDS_Long buffer_alignment;           /**< the policy's */
    DDS_Long initial_receive_threads;    /**< the policy's */
    DDS_Long max_receive_threads;        /**< the policy's */
    DDS_Long fifth;                      /**< always -1 */
};
typedef struct DDS_ReceiverPoolFacadeProperty DDS_ReceiverPoolFacadeProperty;

/** Writes the defaults, over whatever there is, with no thread option. */
void DDS_ReceiverPoolQosPolicy_initialize(struct DDS_ReceiverPoolQosPolicy *self) ZOV_NONNULL();
/** Gives an initialised record the defaults, with the thread options 3; frees its list of CPUs. */
void DDS_ReceiverPoolQosPolicy_get_default(struct DDS_ReceiverPoolQosPolicy *out) ZOV_NONNULL();
/** Frees the list of CPUs. Errors: those of DDS_ThreadSettings_t_finalize. */
void DDS_ReceiverPoolQosPolicy_finalize(struct DDS_ReceiverPoolQosPolicy *self) ZOV_NONNULL();
/** Compares field by field. Two nulls are equal, one is equal to nothing. */
DDS_Boolean DDS_ReceiverPoolQosPolicy_equals(const struct DDS_ReceiverPoolQosPolicy *left,
                                             const struct DDS_ReceiverPoolQosPolicy *right);
/**
 * Copies all fields; the list of CPUs keeps its own buffer.
 *
 * @return self.
 *
 * Errors: null with "bad parameter: self\n", "bad parameter: src\n" or "!copy thread_settings\n";
 * self is as before.
 */
struct DDS_ReceiverPoolQosPolicy *
DDS_ReceiverPoolQosPolicy_copy(struct DDS_ReceiverPoolQosPolicy *self,
                               const struct DDS_ReceiverPoolQosPolicy *src);
/**
 * Writes the element receiver_pool with thread, buffer_size and buffer_alignment; nothing when the
 * context has an error.
 */
void DDS_ReceiverPoolQosPolicy_save(const struct DDS_ReceiverPoolQosPolicy *self,
                                    const char *tag_name_ignored,
                                    struct ZOVXMLSaveContext *save_context) ZOV_NONNULL(1, 3);
/**
 * Tells whether the fields are in their ranges and go together.
 *
 * Errors: FALSE with "inconsistent policy: ...\n" or "inconsistent policies: ...\n" and the fields.
 */
DDS_Boolean DDS_ReceiverPoolQosPolicy_is_consistentI(const struct DDS_ReceiverPoolQosPolicy *self)
    ZOV_NONNULL();
/**
 * Copies the fields to the lower layer's property.
 *
 * Errors: those of DDS_ThreadSettings_CpuListToBitmap, reported only.
 */
void DDS_ReceiverPoolQosPolicy_to_facade_property(const struct DDS_ReceiverPoolQosPolicy *self,
                                                  struct DDS_ReceiverPoolFacadeProperty *property)
    ZOV_NONNULL();
/**
 * Copies the fields from the lower layer's property.
 *
 * Errors: those of DDS_ThreadSettings_CpuListFromBitmap, reported only.
 */
void DDS_ReceiverPoolQosPolicy_from_facade_property(
    struct DDS_ReceiverPoolQosPolicy *self, const struct DDS_ReceiverPoolFacadeProperty *property)
    ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
