#include "osapi/Utility.h"

#include "log/Relaxed.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace {

constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;
constexpr std::int32_t kRandMax = std::numeric_limits<std::int32_t>::max();

struct RandomState
{
    bool initialised;
    std::uint32_t seed; /**< the last one, for whoever has to repeat a run */
};

constinit RandomState g_random = {};

} // namespace

uint32_t ZOVOsapiUtility_htonl(uint32_t value)
{
    return kIsLittleEndian ? __builtin_bswap32(value) : value;
}

uint32_t ZOVOsapiUtility_ntohl(uint32_t value)
{
    return ZOVOsapiUtility_htonl(value);
}

uint16_t ZOVOsapiUtility_htons(uint16_t value)
{
    return kIsLittleEndian ? __builtin_bswap16(value) : value;
}

uint16_t ZOVOsapiUtility_ntohs(uint16_t value)
{
    return ZOVOsapiUtility_htons(value);
}

ZOVBool ZOVOsapiUtility_isNativeLittleEndian(void)
{
    return kIsLittleEndian;
}

void ZOVOsapiUtility_hostToNetworkByteOrder(void *destination, const void *source, size_t length)
{
    const auto *bytes = static_cast<const unsigned char *>(source);
    auto *out = static_cast<unsigned char *>(destination);
    if constexpr (kIsLittleEndian)
        std::reverse_copy(bytes, bytes + length, out);
    else
        std::copy(bytes, bytes + length, out);
}

int32_t ZOVOsapiUtility_pointerToInt(const void *pointer)
{
    return static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

void *ZOVOsapiUtility_intToPointer(int32_t value)
{
    return reinterpret_cast<void *>(std::uintptr_t{static_cast<std::uint32_t>(value)});
}

uint32_t ZOVOsapiUtility_pow2(int32_t n)
{
    return n >= 0 && n < 32 ? std::uint32_t{1} << n : 0;
}

int32_t ZOVOsapiUtility_log2(uint32_t value, ZOVBool wantFloor)
{
    const int ceiling = value <= 1 ? 0 : static_cast<int>(std::bit_width(value - 1));
    const bool is_exact = std::uint64_t{1} << ceiling == value;
    return wantFloor && !is_exact ? ceiling - 1 : ceiling;
}

ZOVBool ZOVOsapiUtility_isnan(double value)
{
    return std::isnan(value);
}

ZOVBool ZOVOsapiUtility_isnanf(float value)
{
    return std::isnan(value);
}

ZOVBool ZOVOsapiUtility_isinf(double value)
{
    return std::isinf(value);
}

ZOVBool ZOVOsapiUtility_isinff(float value)
{
    return std::isinf(value);
}

void ZOVOsapiUtility_srandWithSeed(uint32_t seed)
{
    srandom(seed);
    zov::relaxed_store(g_random.seed, seed);
    zov::relaxed_store(g_random.initialised, true);
}

void ZOVOsapiUtility_srand(void)
{
    ZOVOsapiUtility_srandWithSeed(static_cast<std::uint32_t>(std::time(nullptr)));
}

int32_t ZOVOsapiUtility_rand(void)
{
    if (!zov::relaxed_load(g_random.initialised))
        ZOVOsapiUtility_srand();
    return static_cast<std::int32_t>(random() % kRandMax) + 1;
}

int32_t ZOVOsapiUtility_randRange(int32_t low, int32_t high)
{
    // Halves go away from zero by hand: round() would be the only reason to load the math library.
    const double width = static_cast<double>(high) - low;
    const double offset = width * ZOVOsapiUtility_rand() / kRandMax;
    return static_cast<std::int32_t>(low +
                                     static_cast<std::int64_t>(offset + (width < 0 ? -0.5 : 0.5)));
}
