/**
 * How a thread is to be created: options, priority, stack, CPUs.
 *
 * Threads: the operations touch only their arguments.
 *
 *     struct DDS_ThreadSettings_t settings;
 *     DDS_ThreadSettings_t_initialize(&settings);
 *     settings.stack_size = 128 * 1024;
 *     ...
 *     DDS_ThreadSettings_t_finalize(&settings);
 */
#ifndef WOLKCORE_DDS_THREAD_SETTINGS_H
#define WOLKCORE_DDS_THREAD_SETTINGS_H

#include "dds/PrimitiveSeq.h"
#include "dds/Types.h"
#include "osapi/CpuBitmap.h"

ZOV_BEGIN_DECLARATIONS

struct ZOVXMLSaveContext;

/* Bits of the mask, and the words that stand for them in XML; 0x04 has none. */
#define DDS_THREAD_SETTINGS_FLOATING_POINT 0x01u    /**< THREAD_SETTINGS_FLOATING_POINT */
#define DDS_THREAD_SETTINGS_STDIO 0x02u             /**< THREAD_SETTINGS_STDIO */
#define DDS_THREAD_SETTINGS_REALTIME_PRIORITY 0x08u /**< THREAD_SETTINGS_REALTIME_PRIORITY */
#define DDS_THREAD_SETTINGS_PRIORITY_ENFORCE 0x10u  /**< THREAD_SETTINGS_PRIORITY_ENFORCE */

/** A thread may use all CPUs of the list; in XML THREAD_SETTINGS_CPU_NO_ROTATION. */
#define DDS_THREAD_SETTINGS_CPU_NO_ROTATION 0
/** Threads are spread over the list in turn; in XML THREAD_SETTINGS_CPU_RR_ROTATION. */
#define DDS_THREAD_SETTINGS_CPU_RR_ROTATION 1

/** Leaves the priority to the platform. */
#define DDS_THREAD_PRIORITY_DEFAULT (-9999999)
/** Leaves the stack size to who creates the thread. */
#define DDS_THREAD_STACK_SIZE_DEFAULT (-1)

/** How a thread is to be created. It owns its list. */
struct DDS_ThreadSettings_t
{
    DDS_UnsignedLong mask;       /**< DDS_THREAD_SETTINGS_... bits */
    DDS_Long priority;           /**< the platform's, or DDS_THREAD_PRIORITY_DEFAULT */
    DDS_Long stack_size;         /**< in bytes, or DDS_THREAD_STACK_SIZE_DEFAULT */
    struct DDS_LongSeq cpu_list; /**< the CPUs that it may use; empty: all */
    DDS_Long cpu_rotation;       /**< DDS_THREAD_SETTINGS_CPU_... */
};
typedef struct DDS_ThreadSettings_t DDS_ThreadSettings_t;

/** Writes the defaults, over whatever there is: no option, no CPU. Returns TRUE. */
DDS_Boolean DDS_ThreadSettings_t_initialize(struct DDS_ThreadSettings_t *self) ZOV_NONNULL();
/** Gives initialised settings the defaults, and frees their list; a loaned one stays, reported. */
void DDS_ThreadSettings_get_default(struct DDS_ThreadSettings_t *self) ZOV_NONNULL();
/** Frees the list. Errors: "!sequence does not own its buffer\n" behind the sequence's report. */
void DDS_ThreadSettings_t_finalize(struct DDS_ThreadSettings_t *self) ZOV_NONNULL();

/**
 * Copies all settings; the list keeps its own buffer.
 *
 * @return self.
 *
 * Errors: null with "bad parameter: self\n", "bad parameter: from\n" or "!copy cpu_list\n"; self is
 * as before.
 */
struct DDS_ThreadSettings_t *DDS_ThreadSettings_t_copy(struct DDS_ThreadSettings_t *self,
                                                       const struct DDS_ThreadSettings_t *from);

/** Tells whether settings are the same; lists of one length are when they name the same CPUs. */
DDS_Boolean DDS_ThreadSettings_is_equal(const struct DDS_ThreadSettings_t *a,
                                        const struct DDS_ThreadSettings_t *b) ZOV_NONNULL();
/** Tells whether settings go together, which all do: TRUE. */
DDS_Boolean DDS_ThreadSettings_is_consistentI(const struct DDS_ThreadSettings_t *self);

/**
 * Turns a list into a bitmap; numbers outside 0 to 1023 are left out.
 *
 * Errors: DDS_RETCODE_BAD_PARAMETER with "bad parameter: rotation\n"; the CPUs are set all the
 * same.
 */
DDS_ReturnCode_t DDS_ThreadSettings_CpuListToBitmap(struct ZOVOsapiCpuBitmap *bitmap,
                                                    const struct DDS_LongSeq *cpuList,
                                                    DDS_Long rotation) ZOV_NONNULL();
/**
 * Turns a bitmap into a list, in ascending order.
 *
 * Errors: DDS_RETCODE_BAD_PARAMETER with "bad parameter: rotation\n" and no rotation, the list
 * filled all the same; DDS_RETCODE_OUT_OF_RESOURCES with the report of a list that cannot grow.
 */
DDS_ReturnCode_t DDS_ThreadSettings_CpuListFromBitmap(const struct ZOVOsapiCpuBitmap *bitmap,
                                                      struct DDS_LongSeq *cpuList,
                                                      DDS_Long *rotation) ZOV_NONNULL();

/**
 * Writes an element of this name; nothing when the context has an error.
 *
 * Errors: "!save ...: inconsistent cpu_rotation\n" and the context's error flag; the element is
 * left without its end.
 */
void DDS_ThreadSettings_save(const char *name, const struct DDS_ThreadSettings_t *self,
                             struct ZOVXMLSaveContext *context) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
