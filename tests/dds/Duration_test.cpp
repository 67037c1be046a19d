#include "dds/Duration.h"
#include "dds/Utility.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>

namespace {

__extension__ using Wide = unsigned __int128;

using Pair = std::pair<int64_t, uint32_t>;

Pair time_of(const DDS_Duration_t &duration)
{
    ZOVNtpTime time;
    DDS_Duration_to_ntp_time(&duration, &time);
    return {time.sec, time.frac};
}

Pair duration_of(const ZOVNtpTime *time)
{
    DDS_Duration_t duration;
    DDS_Duration_from_ntp_time(&duration, time);
    return {duration.sec, duration.nanosec};
}

TEST(Duration, BecomesATime)
{
    const std::pair<DDS_Duration_t, Pair> cases[] = {
        {{1, 2500000000}, {3, 2147483647}},
        {{2147483646, 1500000000}, {2147483647, 2147483647}},
        {{2147483646, 4000000000}, {2147483647, 0}},
        {{-3, 1000000000}, {-2, 0}},
        {{-1, 500000000}, {-1, 2147483647}},
        {{5, 0x7FFFFFFF}, {0x7FFFFFFF, 0xFFFFFFFF}},
        {{0x7FFFFFFF, 0}, {0x7FFFFFFF, 0xFFFFFFFF}},
        {DDS_DURATION_INFINITE, {0x7FFFFFFF, 0xFFFFFFFF}},
        {DDS_DURATION_AUTO, {-1, 0}},
        {DDS_DURATION_ZERO, {0, 0}},
    };
    for (const auto &[duration, time] : cases)
        EXPECT_EQ(time_of(duration), time) << duration.sec << ' ' << duration.nanosec;
}

TEST(Duration, ComesFromATime)
{
    const Pair infinite = {DDS_DURATION_INFINITE_SEC, DDS_DURATION_INFINITE_NSEC};
    const std::pair<ZOVNtpTime, Pair> cases[] = {
        {{7, 0xFFFFFFFF}, {8, 0}},
        {{7, 0}, {7, 0}},
        {{7, 1}, {7, 1}},
        {{-1, 0}, {DDS_DURATION_AUTO_SEC, DDS_DURATION_AUTO_NSEC}},
        {{-1, 0xFFFFFFFF}, {0, 0}},
        {{0x7FFFFFFE, 0xFFFFFFFF}, {0x7FFFFFFF, 0}},
        {{0x7FFFFFFF, 0}, infinite},
    };
    for (const auto &[time, duration] : cases)
        EXPECT_EQ(duration_of(&time), duration) << time.sec << ' ' << time.frac;
    EXPECT_EQ(duration_of(nullptr), infinite);
}

constexpr int64_t kBillion = 1'000'000'000;
constexpr Wide kFactor = (Wide{1} << 61) / kBillion;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int64_t kSamples = 500'000;
#else
constexpr int64_t kSamples = 30'000'000;
#endif

/** Looks at numbers from 0 to the last one in even steps, and at all around the corners. */
void expect_all(int64_t last, std::initializer_list<int64_t> corners, bool (*is_right)(uint32_t))
{
    for (int64_t number = 0; number <= last; number += last / kSamples | 1)
        ASSERT_TRUE(is_right(static_cast<uint32_t>(number))) << number;
    for (const int64_t corner : corners)
        for (int64_t number = std::max<int64_t>(0, corner - 2000);
             number <= std::min(last, corner + 2000); ++number)
            ASSERT_TRUE(is_right(static_cast<uint32_t>(number))) << number;
}

TEST(Duration, NanosecondsSurviveTheWayToATimeAndBack)
{
    expect_all(kBillion - 1, {0, kBillion / 2, 1 << 29, kBillion - 1}, [](uint32_t nanosec) {
        const auto fraction = static_cast<uint32_t>(nanosec * kFactor >> 29);
        const ZOVNtpTime time = {7, fraction};
        return time_of({7, nanosec}) == Pair(7, fraction) && duration_of(&time) == Pair(7, nanosec);
    });
}

TEST(Duration, FractionsAreRoundedUp)
{
    const auto exact = static_cast<int64_t>(kFactor);
    expect_all(UINT32_MAX, {0, exact, INT64_C(1) << 31, UINT32_MAX}, [](uint32_t fraction) {
        const ZOVNtpTime time = {7, fraction};
        const Wide product = static_cast<Wide>(fraction) << 29;
        const auto nanosec = static_cast<int64_t>((product + kFactor - 1) / kFactor);
        return duration_of(&time) ==
               Pair(7 + nanosec / kBillion, static_cast<uint32_t>(nanosec % kBillion));
    });
}

TEST(Duration, OrderIsByFieldsBelowTheInfinite)
{
    const std::pair<int, DDS_Duration_t> ranked[] = {
        {0, {INT32_MIN, 0xFFFFFFFF}}, {1, {-1, 0}},         {2, {0, 0}},
        {3, {1, 1500000000}},         {4, {1, 0x80000000}}, {5, {2, 0}},
        {9, {INT32_MIN, 0x7FFFFFFF}}, {9, {0, 0x7FFFFFFF}}, {9, {0x7FFFFFFF, 0}},
        {9, DDS_DURATION_INFINITE},
    };
    for (const auto &[i, a] : ranked)
        for (const auto &[j, b] : ranked)
            EXPECT_EQ(DDS_Duration_compare(&a, &b), (i > j) - (i < j)) << a.sec << ' ' << b.sec;
}

TEST(Duration, SleepLastsAtLeastAsLong)
{
    timespec begin;
    timespec end;
    clock_gettime(CLOCK_MONOTONIC, &begin);
    const DDS_Duration_t pause = {0, 20'000'000};
    WOLK_Utility_sleep(&pause);
    clock_gettime(CLOCK_MONOTONIC, &end);
    EXPECT_GE((end.tv_sec - begin.tv_sec) * kBillion + end.tv_nsec - begin.tv_nsec, 20'000'000);
}

} // namespace
