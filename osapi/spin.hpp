/** The busy loop that is calibrated and that callers then spin. */
#ifndef WOLKCORE_OSAPI_SPIN_HPP
#define WOLKCORE_OSAPI_SPIN_HPP

#include <cstdint>

namespace zov {

/** Divides and multiplies in memory, which no compiler removes or shortens. */
inline void spin(std::uint64_t rounds)
{
    volatile std::uint64_t dividend = 0;
    volatile std::uint64_t divisor = 0;
    volatile std::uint64_t result = 0;
    for (std::uint64_t round = 0; round < rounds; ++round) {
        dividend = 3;
        divisor = 1;
        result = dividend / divisor * round;
    }
    static_cast<void>(result);
}

} // namespace zov

#endif
