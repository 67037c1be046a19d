#include "dds/Duration.h"
#include "dds/Utility.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>

namespace {

__extension__ using Wide = unsigned __int128;

using Pair = std::pair<int64_t, int64_t>;

constexpr int64_t kBillion = 1'000'000'000;
constexpr Wide kFactor = (Wide{1} << 61) / kBillion;

Pair duration_of(const ZOVNtpTime *time)
{
    DDS_Duration_t duration;
    DDS_Duration_from_ntp_time(&duration, time);
    return {duration.sec, duration.nanosec};
}

/** What a duration is as a time: whole seconds, which end at the largest, and a fraction. */
Pair model_time(int32_t sec, uint32_t nanosec)
{
    if (sec == INT32_MAX || nanosec == INT32_MAX)
        return {INT32_MAX, UINT32_MAX};
    if (sec == -1 && nanosec == 0)
        return {-1, 0};
    return {std::min<int64_t>(sec + nanosec / kBillion, INT32_MAX),
            static_cast<int64_t>(nanosec % kBillion * kFactor >> 29)};
}

/** What a time is as a duration: its fraction rounded up. */
Pair model_duration(int32_t sec, uint32_t fraction)
{
    if (sec == INT32_MAX)
        return {INT32_MAX, INT32_MAX};
    const auto nanosec =
        static_cast<int64_t>(((static_cast<Wide>(fraction) << 29) + kFactor - 1) / kFactor);
    return {sec + nanosec / kBillion, nanosec % kBillion};
}

/** Of a number as nanoseconds and as a fraction; nanoseconds survive the way there and back. */
bool is_right(int32_t sec, int64_t number)
{
    const auto word = static_cast<uint32_t>(number);
    const DDS_Duration_t duration = {sec, word};
    ZOVNtpTime time;
    DDS_Duration_to_ntp_time(&duration, &time);
    const bool is_back =
        sec == INT32_MAX || number >= kBillion || duration_of(&time) == Pair(sec, number);
    const bool is_time = Pair(time.sec, time.frac) == model_time(sec, word);
    time = {sec, word};
    return is_back && is_time && duration_of(&time) == model_duration(sec, word);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int64_t kSamples = 500'000;
#else
constexpr int64_t kSamples = 30'000'000;
#endif

TEST(Duration, BecomesATimeAndBack)
{
    for (int64_t number = 0; number <= UINT32_MAX; number += UINT32_MAX / kSamples | 1)
        ASSERT_TRUE(is_right(7, number)) << number;
    for (int64_t corner : {int64_t{0}, kBillion / 2, int64_t{1} << 29, kBillion, 3 * kBillion / 2,
                           2 * kBillion, int64_t{INT32_MAX}, static_cast<int64_t>(kFactor),
                           3 * kBillion, 4 * kBillion, int64_t{UINT32_MAX}})
        for (int64_t number = std::max<int64_t>(0, corner - 2000);
             number <= std::min<int64_t>(UINT32_MAX, corner + 2000); ++number)
            for (const int32_t sec : {-3, -1, 0, 7, INT32_MAX - 1, INT32_MAX})
                ASSERT_TRUE(is_right(sec, number)) << sec << ' ' << number;
    EXPECT_EQ(duration_of(nullptr), Pair(INT32_MAX, INT32_MAX));
}

TEST(Duration, OrderIsByFieldsBelowTheInfinite)
{
    const std::pair<int, DDS_Duration_t> ranked[] = {
        {0, {INT32_MIN, 0xFFFFFFFF}}, {1, DDS_DURATION_AUTO}, {2, DDS_DURATION_ZERO},
        {3, {1, 1500000000}},         {4, {1, 0x80000000}},   {5, {2, 0}},
        {9, {INT32_MIN, 0x7FFFFFFF}}, {9, {0, 0x7FFFFFFF}},   {9, {0x7FFFFFFF, 0}},
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
