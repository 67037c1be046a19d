#include "osapi/Utility.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

namespace {

int32_t random_of(unsigned seed)
{
    srandom(seed);
    return static_cast<int32_t>(random() % INT32_MAX) + 1;
}

/** Whether a value is the first one of a generator that was seeded with a time since then. */
bool is_seeded_since(std::time_t before, int32_t value)
{
    for (std::time_t seed = before; seed <= std::time(nullptr); ++seed) {
        if (random_of(static_cast<unsigned>(seed)) == value)
            return true;
    }
    return false;
}

// Before main, where nobody can have seeded the generator.
const bool kFirstUseSeeds = is_seeded_since(std::time(nullptr), ZOVOsapiUtility_rand());

TEST(Conversion, ByteOrderAndPointers)
{
    const uint64_t value = 0x0102030405060708u;
    EXPECT_EQ(ZOVOsapiUtility_isNativeLittleEndian(),
              reinterpret_cast<const char *>(&value)[0] == 8 ? ZOV_TRUE : ZOV_FALSE);
    const uint32_t word = ZOVOsapiUtility_htonl(0xFF020304u);
    EXPECT_EQ(std::memcmp(&word, "\xFF\2\3\4", 4), 0);
    EXPECT_EQ(ZOVOsapiUtility_ntohl(word), 0xFF020304u);
    const uint16_t half = ZOVOsapiUtility_htons(0xFF02u);
    EXPECT_EQ(std::memcmp(&half, "\xFF\2", 2), 0);
    EXPECT_EQ(ZOVOsapiUtility_ntohs(half), 0xFF02u);
    char bytes[9] = "........";
    ZOVOsapiUtility_hostToNetworkByteOrder(bytes, &value, 8);
    EXPECT_EQ(std::memcmp(bytes, "\1\2\3\4\5\6\7\10", 9), 0);
    EXPECT_EQ(ZOVOsapiUtility_intToPointer(-1), reinterpret_cast<void *>(0xFFFFFFFFu));
    EXPECT_EQ(ZOVOsapiUtility_pointerToInt(reinterpret_cast<void *>(0x7FFF80000001u)),
              INT32_MIN + 1);
}

TEST(Arithmetic, PowersAndLogarithmsOfTwo)
{
    for (int n = 0; n < 32; ++n)
        EXPECT_EQ(ZOVOsapiUtility_pow2(n), 1u << n);
    for (const int n : {-1, 32, 33, 64, INT32_MIN, INT32_MAX})
        EXPECT_EQ(ZOVOsapiUtility_pow2(n), 0u);
    EXPECT_EQ(ZOVOsapiUtility_log2(0, ZOV_FALSE), 0);
    EXPECT_EQ(ZOVOsapiUtility_log2(0, ZOV_TRUE), -1);
    EXPECT_EQ(ZOVOsapiUtility_log2(3, 7), 1) << "any value but 0 asks for the floor";
    for (int k = 0; k < 32; ++k) {
        const uint32_t exact = 1u << k;
        EXPECT_EQ(ZOVOsapiUtility_log2(exact, ZOV_FALSE), k);
        EXPECT_EQ(ZOVOsapiUtility_log2(exact, ZOV_TRUE), k);
        EXPECT_EQ(ZOVOsapiUtility_log2(exact | (exact - 1), ZOV_TRUE), k);
        EXPECT_EQ(ZOVOsapiUtility_log2(exact | 1, ZOV_FALSE), k == 0 ? 0 : k + 1);
    }
}

TEST(Arithmetic, KnowsWhatIsNoNumberAndWhatHasNoEnd)
{
    for (const float value : {0.0F, -1.0F, HUGE_VALF, -HUGE_VALF, NAN}) {
        const bool is_infinite = value == HUGE_VALF || value == -HUGE_VALF;
        EXPECT_EQ(ZOVOsapiUtility_isnan(value), value != value);
        EXPECT_EQ(ZOVOsapiUtility_isnanf(value), value != value);
        EXPECT_EQ(ZOVOsapiUtility_isinf(value), is_infinite);
        EXPECT_EQ(ZOVOsapiUtility_isinff(value), is_infinite);
    }
}

TEST(Random, IsThePlatformsSequenceMovedOffZeroAndScaled)
{
    EXPECT_TRUE(kFirstUseSeeds);
    const std::time_t before = std::time(nullptr);
    ZOVOsapiUtility_srand();
    EXPECT_TRUE(is_seeded_since(before, ZOVOsapiUtility_rand()));
    const std::pair<int32_t, int32_t> ranges[] = {
        {5, 5}, {0, 1}, {-3, 3}, {10, 0}, {-1, -9}, {0, 100}, {INT32_MIN, INT32_MAX}};
    for (unsigned seed = 0; seed < 500; ++seed) {
        const int32_t value = random_of(seed);
        ZOVOsapiUtility_srandWithSeed(seed);
        ASSERT_EQ(ZOVOsapiUtility_rand(), value);
        const long double share = static_cast<long double>(value) / INT32_MAX;
        for (const auto &[low, high] : ranges) {
            const auto width = static_cast<long double>(high) - low;
            ZOVOsapiUtility_srandWithSeed(seed);
            ASSERT_EQ(ZOVOsapiUtility_randRange(low, high), low + std::round(width * share))
                << low << " to " << high;
        }
    }
}

} // namespace
