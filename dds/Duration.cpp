#include "dds/Duration.h"

#include "osapi/Time.hpp"

using zov::time::fraction_of_nanoseconds;
using zov::time::kNanosecondsPerSecond;

namespace {

constexpr DDS_Long kInfinite = 0x7FFFFFFF;

constexpr bool is_infinite(const DDS_Duration_t &duration)
{
    return duration.sec == kInfinite || duration.nanosec == kInfinite;
}

constexpr bool is_auto(const DDS_Duration_t &duration)
{
    return duration.sec == -1 && duration.nanosec == 0;
}

} // namespace

const DDS_Long DDS_DURATION_INFINITE_SEC = kInfinite;
const DDS_UnsignedLong DDS_DURATION_INFINITE_NSEC = kInfinite;
const DDS_Duration_t DDS_DURATION_INFINITE = {kInfinite, kInfinite};
const DDS_Long DDS_DURATION_ZERO_SEC = 0;
const DDS_UnsignedLong DDS_DURATION_ZERO_NSEC = 0;
const DDS_Duration_t DDS_DURATION_ZERO = {0, 0};
const DDS_Long DDS_DURATION_AUTO_SEC = -1;
const DDS_UnsignedLong DDS_DURATION_AUTO_NSEC = 0;
const DDS_Duration_t DDS_DURATION_AUTO = {-1, 0};
const DDS_Long DDS_LENGTH_UNLIMITED = -1;
const DDS_Long DDS_LENGTH_AUTO = -2;
const DDS_Long DDS_AUTO_MAX_TOTAL_INSTANCES = 0;

void DDS_Duration_to_ntp_time(const DDS_Duration_t *duration, ZOVNtpTime *time_out)
{
    if (is_infinite(*duration)) {
        *time_out = {ZOV_NTP_TIME_SEC_MAX, ZOV_NTP_TIME_FRAC_MAX};
        return;
    }
    if (is_auto(*duration)) {
        *time_out = {-1, 0};
        return;
    }
    const auto carry = static_cast<DDS_Long>(duration->nanosec / kNanosecondsPerSecond);
    if (__builtin_add_overflow(duration->sec, carry, &time_out->sec))
        time_out->sec = ZOV_NTP_TIME_SEC_MAX;
    // Kept: overflown seconds leave the fraction to the nanoseconds.
    time_out->frac = fraction_of_nanoseconds(duration->nanosec % kNanosecondsPerSecond);
}

void DDS_Duration_from_ntp_time(DDS_Duration_t *duration_out, const ZOVNtpTime *time)
{
    if (time == nullptr || zov::time::is_infinite(*time)) {
        *duration_out = DDS_DURATION_INFINITE;
        return;
    }
    const timespec carried = zov::time::timespec_of(*time);
    *duration_out = {static_cast<DDS_Long>(carried.tv_sec),
                     static_cast<DDS_UnsignedLong>(carried.tv_nsec)};
}

DDS_Long DDS_Duration_compare(const DDS_Duration_t *left, const DDS_Duration_t *right)
{
    const DDS_Duration_t a = is_infinite(*left) ? DDS_DURATION_INFINITE : *left;
    const DDS_Duration_t b = is_infinite(*right) ? DDS_DURATION_INFINITE : *right;
    if (a.sec != b.sec)
        return a.sec < b.sec ? -1 : 1;
    if (a.nanosec != b.nanosec)
        return a.nanosec < b.nanosec ? -1 : 1;
    return 0;
}
