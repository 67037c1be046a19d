/** Arithmetic of the time record, and its one conversion from and to nanoseconds. */
#ifndef WOLKCORE_OSAPI_TIME_HPP
#define WOLKCORE_OSAPI_TIME_HPP

#include "osapi/Time.h"

#include <cstdint>
#include <ctime>

namespace zov::time {

inline constexpr std::uint32_t kNanosecondsPerSecond = 1'000'000'000;

/** floor(2^61 / 10^9): fraction units per nanosecond, with 29 binary places. */
inline constexpr std::uint64_t kFractionPerNanosecond = 2'305'843'009;

/** Truncates. Nanoseconds are below one second. */
constexpr std::uint32_t fraction_of_nanoseconds(std::uint32_t nanoseconds)
{
    return static_cast<std::uint32_t>((nanoseconds * kFractionPerNanosecond) >> 29);
}

/**
 * Rounds up, so that nanoseconds taken to a fraction and back stay the same; up to a whole second.
 */
constexpr std::uint32_t nanoseconds_of_fraction(std::uint32_t fraction)
{
    const auto whole =
        static_cast<std::uint32_t>((std::uint64_t{fraction} << 29) / kFractionPerNanosecond);
    const bool exact = fraction == 0 || fraction == kFractionPerNanosecond;
    return exact ? whole : whole + 1;
}

constexpr bool is_infinite(const ZOVNtpTime &time)
{
    return time.sec == ZOV_NTP_TIME_SEC_MAX;
}

/**
 * Seconds wrap around: from a deadline past their range the clock can still be subtracted, and what
 * remains is right.
 */
constexpr ZOVNtpTime add(const ZOVNtpTime &a, const ZOVNtpTime &b)
{
    if (is_infinite(a) || is_infinite(b))
        return {ZOV_NTP_TIME_SEC_MAX, ZOV_NTP_TIME_FRAC_MAX};
    const std::uint32_t fraction = a.frac + b.frac;
    const std::uint32_t carry = fraction < a.frac ? 1 : 0;
    const auto seconds =
        static_cast<std::uint32_t>(a.sec) + static_cast<std::uint32_t>(b.sec) + carry;
    return {static_cast<std::int32_t>(seconds), fraction};
}

/** a - b, borrowing a second when the fraction underflows. */
constexpr ZOVNtpTime subtract(const ZOVNtpTime &a, const ZOVNtpTime &b)
{
    const std::uint32_t borrow = a.frac < b.frac ? 1 : 0;
    const auto seconds =
        static_cast<std::uint32_t>(a.sec) - static_cast<std::uint32_t>(b.sec) - borrow;
    return {static_cast<std::int32_t>(seconds), a.frac - b.frac};
}

/** The platform's record. A rounded-up second is carried, but not beyond the infinite. */
constexpr timespec timespec_of(const ZOVNtpTime &time)
{
    timespec result = {.tv_sec = time.sec, .tv_nsec = nanoseconds_of_fraction(time.frac)};
    if (result.tv_nsec >= kNanosecondsPerSecond && !is_infinite(time)) {
        result.tv_nsec -= kNanosecondsPerSecond;
        result.tv_sec += 1;
    }
    return result;
}

} // namespace zov::time

#endif
