#include "osapi/Log.hpp"
#include "osapi/Time.hpp"
#include "osapi/spin.hpp"

namespace {

constexpr int kReadings = 100;
constexpr int kRounds = 100;
constexpr std::uint64_t kSpinsPerRound = 20000;

bool read(ZOVClock *clock, ZOVNtpTime &time, const char *operation)
{
    if (clock->getTime(clock, &time))
        return true;
    CLOCK_LOG_AS(Exception, kSubmoduleCalibration, operation, ZOV_CLOCK_LOG_GET_TIME_FAILURE);
    return false;
}

bool is_positive(const ZOVNtpTime &time)
{
    return time.sec > 0 || (time.sec == 0 && time.frac != 0);
}

/** A hundredth, in fixed point with 16 places of the fraction. */
constexpr ZOVNtpTime hundredth(const ZOVNtpTime &time)
{
    constexpr std::uint64_t kReciprocal = 1374389535; // ceil(2^37 / 100)
    const std::uint64_t whole =
        (std::uint64_t{static_cast<std::uint32_t>(time.sec)} << 32) | time.frac;
    const auto middle = static_cast<std::uint32_t>(whole >> 16);
    const auto quotient = static_cast<std::uint32_t>((middle * kReciprocal) >> 32);
    return {.sec = static_cast<std::int32_t>(quotient >> 21), .frac = (quotient >> 5) << 16};
}

/** The time of all rounds. Each is timed before its spin, so that the last spin does not count. */
bool time_spins(ZOVClock *clock, ZOVNtpTime &elapsed, const char *operation)
{
    ZOVNtpTime start;
    ZOVNtpTime end;
    if (!read(clock, start, operation))
        return false;
    for (int round = 0; round < kRounds; ++round) {
        if (!read(clock, end, operation))
            return false;
        zov::spin(kSpinsPerRound);
    }
    elapsed = zov::time::subtract(end, start);
    return true;
}

std::uint64_t nanoseconds(const ZOVNtpTime &time)
{
    const timespec platform = zov::time::timespec_of(time);
    return static_cast<std::uint64_t>(platform.tv_sec) * zov::time::kNanosecondsPerSecond +
           static_cast<std::uint64_t>(platform.tv_nsec);
}

} // namespace

ZOVBool ZOVClock_getTimeOverhead(ZOVClock *clock, ZOVNtpTime *overhead)
{
    ZOVNtpTime start;
    ZOVNtpTime end;
    if (!read(clock, start, __func__))
        return ZOV_FALSE;
    for (int reading = 0; reading < kReadings; ++reading)
        if (!read(clock, end, __func__))
            return ZOV_FALSE;
    const ZOVNtpTime elapsed = zov::time::subtract(end, start);
    if (!is_positive(elapsed)) {
        CLOCK_LOG(Exception, kSubmoduleCalibration, ZOV_CLOCK_LOG_GET_TIME_OVERHEAD_FAILURE);
        *overhead = {};
        return ZOV_FALSE;
    }
    *overhead = hundredth(elapsed);
    return ZOV_TRUE;
}

ZOVBool ZOVClock_getSpinPerMicrosecond(ZOVClock *clock, int64_t *spin)
{
    const auto fail = [](const char *operation) {
        CLOCK_LOG_AS(Exception, kSubmoduleCalibration, operation,
                     ZOV_CLOCK_LOG_GET_SPIN_PER_MICROSECOND_FAILURE);
        return ZOV_FALSE;
    };
    ZOVNtpTime elapsed;
    if (!time_spins(clock, elapsed, __func__))
        return ZOV_FALSE;
    if (!is_positive(elapsed))
        return fail(__func__);
    ZOVNtpTime overhead;
    if (!ZOVClock_getTimeOverhead(clock, &overhead)) {
        CLOCK_LOG(Exception, kSubmoduleCalibration, ZOV_CLOCK_LOG_GET_TIME_OVERHEAD_FAILURE);
        return ZOV_FALSE;
    }
    elapsed = zov::time::subtract(elapsed, overhead);
    const std::uint64_t per_round = is_positive(elapsed) ? nanoseconds(elapsed) / kRounds : 0;
    if (per_round == 0)
        return fail(__func__);
    *spin = static_cast<std::int64_t>(kSpinsPerRound * 1000 / per_round);
    return ZOV_TRUE;
}
