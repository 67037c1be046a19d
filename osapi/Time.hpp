/** The one conversion between fractions of a second and nanoseconds. */
#ifndef WOLKCORE_OSAPI_TIME_HPP
#define WOLKCORE_OSAPI_TIME_HPP

#include "osapi/Time.h"

#include <cstdint>

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

} // namespace zov::time

#endif
