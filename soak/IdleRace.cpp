#include "soak/IdleRace.hpp"

#include "soak/Census.hpp"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace soak {
namespace {

using std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kIdleMs = 1000; // the shortest that a server takes
constexpr double kJitterMs = 3;
constexpr double kStepMs = 0.5;

/** Readable when the process has ended. The C library's own lacks C linkage in Debian 12. */
int open_process(pid_t process)
{
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

bool has_ended(pid_t process)
{
    const int descriptor = open_process(process);
    pollfd end = {descriptor, POLLIN, 0};
    const bool ended = descriptor == -1 || poll(&end, 1, 0) == 1;
    close(descriptor);
    return ended;
}

} // namespace

IdleRace::IdleRace(const Job &job, int servers) : m_job(job), m_guess_ms{kIdleMs, kIdleMs}
{
    for (int i = 0; i < servers; ++i) {
        const std::string directory = m_directory.path() + "/" + std::to_string(i);
        std::filesystem::create_directory(directory);
        m_racers.push_back({{test::free_port(), kIdleMs}, directory});
    }
}

std::vector<int> IdleRace::ports() const
{
    std::vector<int> ports;
    for (const Racer &racer : m_racers)
        ports.push_back(racer.server.port);
    return ports;
}

std::string IdleRace::run(int count, Report &report)
{
    int left = 2 * count; // also when nothing but starting servers is ever done
    bool is_running = true;
    while (is_running || (m_aimed < count && left > 0)) {
        is_running = false;
        for (Racer &racer : m_racers) {
            if (racer.run && has_ended(racer.run->process().pid()))
                finish(racer, report);
            if (!racer.run && m_aimed < count && left > 0 && steady_clock::now() >= racer.due) {
                start(racer);
                --left;
            }
            is_running |= racer.run != nullptr;
        }
        wait_for_the_next();
    }
    char note[200];
    std::snprintf(note, sizeof note,
                  "of %d aimed: %d met the old server, %d started a new one, %d (%.2f %%) failed",
                  m_aimed, m_met_old, m_aimed - m_met_old - m_failed, m_failed,
                  100.0 * m_failed / std::max(m_aimed, 1));
    return note;
}

void IdleRace::start(Racer &racer)
{
    std::error_code missing;
    std::filesystem::remove_all(racer.directory + "/out", missing);
    racer.run = std::make_unique<Run>(racer.server, m_job, racer.directory);
}

void IdleRace::finish(Racer &racer, Report &report)
{
    const auto now = steady_clock::now();
    const Result result = racer.run->finish();
    racer.run.reset();
    report.add(result);
    const bool was_aimed = racer.pid != 0;
    const bool succeeded = result.verdict == Verdict::Right;
    const bool met_old = succeeded && was_aimed && !has_ended(racer.pid);
    if (was_aimed) {
        ++m_aimed;
        m_met_old += met_old ? 1 : 0;
        m_failed += succeeded ? 0 : 1;
        m_guess_ms[racer.has_served] += met_old ? kStepMs : -kStepMs;
    }
    if (!met_old) {
        const std::vector<pid_t> servers = find_servers(racer.server.port);
        racer.pid = succeeded && !servers.empty() ? servers.back() : 0;
    }
    racer.has_served = met_old;
    const double jitter_ms = std::uniform_real_distribution(-kJitterMs, kJitterMs)(m_random);
    racer.due = now;
    if (racer.pid != 0)
        racer.due += std::chrono::duration_cast<steady_clock::duration>(
            Milliseconds(m_guess_ms[racer.has_served] + jitter_ms));
}

void IdleRace::wait_for_the_next()
{
    std::vector<pollfd> ends;
    auto next = steady_clock::now() + Milliseconds(kIdleMs);
    for (Racer &racer : m_racers) {
        if (racer.run)
            ends.push_back({open_process(racer.run->process().pid()), POLLIN, 0});
        else
            next = std::min<decltype(next)>(next, racer.due);
    }
    const auto left = std::max(next - steady_clock::now(), decltype(next - next){});
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    const timespec timeout = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    ppoll(ends.data(), ends.size(), &timeout, nullptr);
    for (const pollfd &end : ends)
        close(end.fd);
}

} // namespace soak
