/** Runs that are aimed at the very moment when their server leaves for want of work. */
#ifndef SOAK_IDLE_RACE_HPP
#define SOAK_IDLE_RACE_HPP

#include "soak/Report.hpp"
#include "soak/Run.hpp"

#include <chrono>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace soak {

/**
 * Several servers, each with a run every second or so.
 *
 * How long a server stays after its last client is found by trying: a run that still met it makes
 * the next one come a little later, a run that came too late a little earlier.
 */
class IdleRace
{
public:
    IdleRace(const Job &job, int servers);

    /** Aims so many runs. Returns what they came to. */
    std::string run(int count, Report &report);
    [[nodiscard]] std::vector<int> ports() const;

private:
    struct Racer
    {
        Server server;
        std::string directory;
        bool has_served = false; /**< the server: more than the run that started it */
        pid_t pid = 0; /**< its server's; with 0 the next run starts one and is not aimed */
        std::chrono::steady_clock::time_point due = {};
        std::unique_ptr<Run> run = {};
    };

    void start(Racer &racer);
    void finish(Racer &racer, Report &report);
    void wait_for_the_next();

    const Job &m_job;
    test::TemporaryDirectory m_directory;
    std::mt19937 m_random;
    std::deque<Racer> m_racers;
    double m_guess_ms[2]; // when a server leaves after its first client, and after a later one
    int m_aimed = 0;
    int m_met_old = 0;
    int m_failed = 0;
};

} // namespace soak

#endif
