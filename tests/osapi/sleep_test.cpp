#include "osapi/Thread.h"
#include "tests/support/LogCapture.hpp"

#include <csignal>
#include <ctime>
#include <gtest/gtest.h>
#include <sys/time.h>

using test::Lines;
using test::LogCapture;

namespace {

double now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

TEST(Sleep, RequestsWhatTheTimeSaysAndRefusesTheNegative)
{
    LogCapture capture;
    capture.set_levels(0x11);
    const std::pair<ZOVNtpTime, const char *> times[] = {
        {{0, 0}, "ZOVOsapiThread_sleep: nanosleep(0.000000000 s)\n"},
        {{0, 1}, "ZOVOsapiThread_sleep: nanosleep(0.000000001 s)\n"},
        {{0, 42949672}, "ZOVOsapiThread_sleep: nanosleep(0.010000000 s)\n"},
    };
    Lines expected;
    for (const auto &[time, line] : times) {
        EXPECT_TRUE(ZOVOsapiThread_sleep(&time));
        expected.emplace_back(line);
    }
    const ZOVNtpTime negative = {-1, 0};
    EXPECT_FALSE(ZOVOsapiThread_sleep(&negative));
    expected.emplace_back("ZOVOsapiThread_sleep: nanosleep(-1.000000000 s)\n");
    expected.emplace_back(
        "ZOVOsapiThread_sleep:OS nanosleep() failure, error 0X16: Invalid argument\n");
    EXPECT_EQ(capture.lines(), expected);
}

TEST(Sleep, SignalsDoNotShortenIt)
{
    struct sigaction ignore = {};
    ignore.sa_handler = [](int) {};
    struct sigaction before;
    sigaction(SIGALRM, &ignore, &before);
    const itimerval often = {{0, 5000}, {0, 5000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const double begin = now();
    const ZOVNtpTime time = {0, 0x20000000}; // an eighth of a second
    EXPECT_TRUE(ZOVOsapiThread_sleep(&time));
    EXPECT_GE(now() - begin, 0.125);
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
}

} // namespace
