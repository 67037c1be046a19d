#include "dds/Duration.h"
#include "dds/Utility.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

__extension__ using Wide = unsigned __int128;

ZOVNtpTime time_of(DDS_Long sec, DDS_UnsignedLong nanosec)
{
    const DDS_Duration_t duration = {sec, nanosec};
    ZOVNtpTime time;
    DDS_Duration_to_ntp_time(&duration, &time);
    return time;
}

TEST(Duration, ToTime)
{
    const struct
    {
        DDS_Duration_t duration;
        ZOVNtpTime time;
    } cases[] = {
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
    for (const auto &row : cases) {
        const ZOVNtpTime time = time_of(row.duration.sec, row.duration.nanosec);
        EXPECT_EQ(time.sec, row.time.sec) << row.duration.sec << ' ' << row.duration.nanosec;
        EXPECT_EQ(time.frac, row.time.frac) << row.duration.sec << ' ' << row.duration.nanosec;
    }
}

TEST(Duration, FractionIsTheTruncatedProduct)
{
    for (uint32_t nanosec = 0; nanosec < 1'000'000'000; nanosec += 9973) {
        const auto wide = static_cast<Wide>(nanosec) * ((uint64_t{1} << 61) / 1'000'000'000);
        ASSERT_EQ(time_of(0, nanosec).frac, static_cast<uint32_t>(wide >> 29)) << nanosec;
    }
}

TEST(Duration, SleepLastsAtLeastAsLong)
{
    timespec begin;
    timespec end;
    clock_gettime(CLOCK_MONOTONIC, &begin);
    const DDS_Duration_t pause = {0, 20'000'000};
    WOLK_Utility_sleep(&pause);
    clock_gettime(CLOCK_MONOTONIC, &end);
    EXPECT_GE((end.tv_sec - begin.tv_sec) * 1'000'000'000 + end.tv_nsec - begin.tv_nsec,
              20'000'000);
}

} // namespace
