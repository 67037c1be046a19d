/**
 * Durations: seconds and nanoseconds.
 *
 * A duration is infinite when either field is 0x7FFFFFFF, and automatic when it is exactly
 * {-1, 0}. Nanoseconds of a second and more are accepted and carried when the duration becomes a
 * time.
 *
 * Threads: the operations touch only their arguments.
 *
 *     struct DDS_Duration_t patience = {2, 500000000};
 *     struct ZOVNtpTime timeout;
 *     DDS_Duration_to_ntp_time(&patience, &timeout);
 */
#ifndef WOLKCORE_DDS_DURATION_H
#define WOLKCORE_DDS_DURATION_H

#include "dds/Types.h"
#include "osapi/Time.h"

ZOV_BEGIN_DECLARATIONS

/** A span of time. */
struct DDS_Duration_t
{
    DDS_Long sec;             /**< seconds */
    DDS_UnsignedLong nanosec; /**< nanoseconds */
};
typedef struct DDS_Duration_t DDS_Duration_t;

extern const DDS_Long DDS_DURATION_INFINITE_SEC;          /**< 0x7FFFFFFF */
extern const DDS_UnsignedLong DDS_DURATION_INFINITE_NSEC; /**< 0x7FFFFFFF */
extern const struct DDS_Duration_t DDS_DURATION_INFINITE; /**< both */
extern const DDS_Long DDS_DURATION_ZERO_SEC;              /**< 0 */
extern const DDS_UnsignedLong DDS_DURATION_ZERO_NSEC;     /**< 0 */
extern const struct DDS_Duration_t DDS_DURATION_ZERO;     /**< {0, 0} */
extern const DDS_Long DDS_DURATION_AUTO_SEC;              /**< -1 */
extern const DDS_UnsignedLong DDS_DURATION_AUTO_NSEC;     /**< 0 */
extern const struct DDS_Duration_t DDS_DURATION_AUTO;     /**< {-1, 0} */

extern const DDS_Long DDS_LENGTH_UNLIMITED;         /**< -1, a limit that is none */
extern const DDS_Long DDS_LENGTH_AUTO;              /**< -2, a limit that the system chooses */
extern const DDS_Long DDS_AUTO_MAX_TOTAL_INSTANCES; /**< 0 */

/**
 * Turns a duration into a time.
 *
 * An infinite duration becomes {0x7FFFFFFF, 0xFFFFFFFF} and the automatic one {-1, 0}. Nanoseconds
 * are carried into seconds; seconds that overflow become 0x7FFFFFFF, with the fraction that the
 * nanoseconds give. The fraction is truncated.
 */
void DDS_Duration_to_ntp_time(const struct DDS_Duration_t *duration, struct ZOVNtpTime *time_out)
    ZOV_NONNULL();

/**
 * Turns a time into a duration.
 *
 * Null and seconds of 0x7FFFFFFF become the infinite duration, {-1, 0} the automatic one.
 * Nanoseconds are rounded up, so that those below a second survive the way to a time and back.
 */
void DDS_Duration_from_ntp_time(struct DDS_Duration_t *duration_out, const struct ZOVNtpTime *time)
    ZOV_NONNULL(1);

/**
 * Compares two durations field by field as they stand; infinite ones are equal and the greatest.
 *
 * @return -1, 0 or 1.
 */
DDS_Long DDS_Duration_compare(const struct DDS_Duration_t *left, const struct DDS_Duration_t *right)
    ZOV_NONNULL();

struct ZOVXMLSaveContext;

/**
 * Writes an element with the elements sec and nanosec; infinite fields by their names.
 *
 * Errors: the error flag of the context.
 */
void DDS_Duration_save(const char *tag_name, const struct DDS_Duration_t *duration,
                       struct ZOVXMLSaveContext *save_context) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
