#include "osapi/Thread.h"
#include "tests/support/LogCapture.hpp"

#include <gtest/gtest.h>

using test::Lines;
using test::LogCapture;

namespace {

TEST(Sleep, RequestsWhatTheTimeSaysAndRefusesTheNegative)
{
    LogCapture capture;
    capture.set_levels(0x11);
    const std::pair<ZOVNtpTime, const char *> times[] = {
        {{0, 0}, "ZOVOsapiThread_sleep: nanosleep(0.000000000 s)\n"},
        {{0, 1}, "ZOVOsapiThread_sleep: nanosleep(0.000000001 s)\n"},
        {{0, 42949672}, "ZOVOsapiThread_sleep: nanosleep(0.010000000 s)\n"},
        {{-1, 0}, "ZOVOsapiThread_sleep: nanosleep(-1.000000000 s)\n"},
    };
    Lines expected;
    for (const auto &[time, line] : times) {
        EXPECT_EQ(ZOVOsapiThread_sleep(&time), time.sec >= 0);
        expected.emplace_back(line);
    }
    expected.emplace_back(
        "ZOVOsapiThread_sleep:OS nanosleep() failure, error 0X16: Invalid argument\n");
    EXPECT_EQ(capture.lines(), expected);
}

} // namespace
