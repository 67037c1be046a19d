/**
 * Soak and load of the launcher with the example generator.
 *
 *     soak [RUNS]
 *
 * RUNS (10000) is the number of warm runs; the number of everything else goes with it. A run is
 * right when it exits with 0 and its console text and headers are byte for byte those of the
 * generator alone. A run that fails (255, the launcher's message, nothing wrong printed or written)
 * is counted by its message, and is allowed only where its server is killed or leaves under it.
 *
 * Exits with 0 when nothing was wrong, and with 1 for wrong output, a run that hangs, a server that
 * keeps descriptors or threads of its clients or ends in another way than it should, or a process
 * that stays.
 */
#include "soak/Census.hpp"
#include "soak/IdleRace.hpp"
#include "soak/Report.hpp"
#include "soak/Run.hpp"
#include "tests/support/Servers.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <filesystem>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using soak::Job;
using soak::Run;

constexpr int kGroup = 16;
constexpr int kIdleMs = 20000; // longer than any pause between two runs, on a busy machine, too
constexpr int kDefaultRuns = 10000;
constexpr int kMostRuns = 1'000'000;
constexpr unsigned kLongestStepSeconds = 300;

// A VM is asked by signals, and those are the sanitizers' in a process that has them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kVmAnswers = false;
#else
constexpr bool kVmAnswers = true;
#endif

/** Something waits for ever, most likely for a server that holds its launcher's output. */
void give_up(int)
{
    constexpr char kText[] = "PROBLEM: a step hangs; all servers are killed\n";
    [[maybe_unused]] const ssize_t ignored = write(STDOUT_FILENO, kText, sizeof kText - 1);
    for (const pid_t child : test::Servers::running())
        kill(child, SIGKILL);
    _exit(1);
}

std::string describe(const soak::Holdings &holdings)
{
    return std::to_string(holdings.descriptors) + " descriptors, " +
           std::to_string(holdings.threads) + " threads and " +
           std::to_string(holdings.vm_workers) + " of the VM's workers, RSS " +
           std::to_string(holdings.rss_kib / 1024) + " MiB";
}

/** Makes standard output a pipe that nobody reads. */
void close_output()
{
    int ends[2];
    if (pipe(ends) != 0)
        _exit(126);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::signal(SIGPIPE, SIG_DFL);
}

class Soak
{
public:
    explicit Soak(int runs) : m_runs(runs)
    {
        const std::string idl = EXAMPLES_DIRECTORY "/idl/";
        for (const char *name : {"shapes.idl", "orders.idl", "telemetry.idl"})
            m_jobs.push_back(soak::make_job({idl + name}));
        m_jobs.push_back(
            soak::make_job({idl + "shapes.idl", idl + "orders.idl", idl + "telemetry.idl"}));
        m_jobs.push_back(make_enums("medium", 600)); // a reply of a few pieces
        m_large = make_enums("large", 12000);        // longer than what pipes and sockets hold
    }

    bool run()
    {
        warm_up();
        in_sequence("one after the other", m_runs * 3 / 10);
        in_sequence("and again", m_runs * 3 / 10);
        at_once(m_runs * 4 / 10);
        slow_readers(m_runs / 50);
        cut_clients(std::max(m_runs / 50, 6));
        heap_has_not_grown();
        killed_servers(std::max(m_runs / 250, 2));
        idle_race(m_runs / 25);
        nothing_stays();
        std::printf("%d runs in all, %d problems\n", m_report.total_runs(), m_report.problems());
        return m_report.problems() == 0;
    }

private:
    [[nodiscard]] std::string lane(int number) const
    {
        return m_directory.path() + "/" + std::to_string(number);
    }

    [[nodiscard]] Job make_enums(const std::string &name, int count) const
    {
        std::string idl;
        for (int i = 0; i < count; ++i)
            idl.append("enum NameOfRecordNumber").append(std::to_string(i)).append("{A};\n");
        const std::string path = m_directory.path() + "/" + name + ".idl";
        test::write_file(path, idl);
        return soak::make_job({path});
    }

    [[nodiscard]] const Job &job(int number) const
    {
        return m_jobs[static_cast<std::size_t>(number) % m_jobs.size()];
    }

    void pause(double longest_ms)
    {
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(
            std::uniform_real_distribution(0.0, longest_ms)(m_random)));
    }

    /** Takes headers away, so that every run has to write its own. Returns how many were drafts. */
    int clear()
    {
        alarm(kLongestStepSeconds);
        int drafts = 0;
        std::error_code missing; // a server may be writing for a client that was killed
        for (int i = 0; i < kGroup; ++i) {
            const fs::path out = lane(i) + "/out";
            for (auto entry = fs::directory_iterator(out, missing);
                 entry != fs::directory_iterator(); entry.increment(missing))
                drafts += entry->path().filename().string().starts_with(".") ? 1 : 0;
            fs::remove_all(out, missing);
            fs::create_directories(lane(i));
        }
        return drafts;
    }

    /** Between runs that have all ended, no draft of a header is left. */
    void clear_and_check()
    {
        if (const int drafts = clear(); drafts > 0)
            m_report.problem(std::to_string(drafts) + " drafts of headers are left");
    }

    void one(const Job &wanted) { m_report.add(Run(m_server, wanted, lane(0)).finish()); }

    /** All start at once, and then their output is read one after the other. */
    template <typename JobOf>
    void group(bool share_directory, const JobOf &job_of)
    {
        clear_and_check();
        std::deque<Run> runs;
        for (int i = 0; i < kGroup; ++i)
            runs.emplace_back(m_server, job_of(i), lane(share_directory ? 0 : i));
        for (Run &run : runs)
            m_report.add(run.finish());
    }

    void warm_up()
    {
        m_report.begin("start and warm-up", false);
        clear();
        one(job(0));
        for (int i = 0; i < 2; ++i)
            group(false, [this](int number) -> const Job & { return job(number); });
        const std::vector<pid_t> servers = soak::find_servers(m_server.port);
        if (servers.size() != 1)
            m_report.problem(std::to_string(servers.size()) + " servers instead of one");
        m_pid = servers.empty() ? 0 : servers[0];
        // The threads of the last clients end a moment after these.
        std::this_thread::sleep_for(std::chrono::seconds(1));
        m_start_heap_kib = live_heap();
        m_start = soak::holdings_of(m_pid);
        m_report.end(describe(m_start));
    }

    /** Of the server's heap in KiB, what is not garbage. */
    long live_heap()
    {
        const std::optional<long> live =
            kVmAnswers ? soak::live_heap_kib(m_pid) : std::optional<long>(0);
        if (!live)
            m_report.problem("the VM does not tell what its heap holds");
        return live.value_or(0);
    }

    void heap_has_not_grown()
    {
        constexpr long kRegionsKib = 8192; // it is counted in whole regions
        if (!kVmAnswers)
            return;
        m_report.begin("all garbage collected", false);
        const long live = live_heap();
        if (live > m_start_heap_kib + kRegionsKib)
            m_report.problem("the server's heap keeps what requests leave behind");
        test::eventually([this] { // the VM gives its memory back bit by bit
            const long before = soak::holdings_of(m_pid).rss_kib;
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            return soak::holdings_of(m_pid).rss_kib >= before;
        });
        end_part("; live heap " + std::to_string(live) + " KiB, at the start " +
                 std::to_string(m_start_heap_kib) + " KiB");
    }

    /** Ends a part: the server must come back to what it held at the start. */
    void end_part(const std::string &note = "")
    {
        soak::Holdings last;
        const bool settled = test::eventually([this, &last] {
            const soak::Holdings now = soak::holdings_of(m_pid);
            if (now.descriptors == 0)
                return true;
            last = now;
            return last.descriptors <= m_start.descriptors && last.threads <= m_start.threads;
        });
        if (!settled || soak::holdings_of(m_pid).descriptors == 0)
            m_report.problem("the server keeps clients' descriptors or threads, or has gone");
        m_report.end(describe(last) + note);
    }

    void in_sequence(const char *part, int count)
    {
        m_report.begin(part, false);
        for (int i = 0; i < count; ++i) {
            clear_and_check();
            one(job(i));
        }
        end_part();
    }

    void at_once(int count)
    {
        m_report.begin("16 at once", false);
        for (int i = 0; i * kGroup < count; ++i)
            // In one directory they write the same files.
            group(i % 2 == 1, [this, i](int number) -> const Job & { return job(i + number); });
        end_part();
    }

    void slow_readers(int count)
    {
        m_report.begin("16 at once, output blocked", false);
        for (int i = 0; i * kGroup < count; ++i)
            group(false, [this](int) -> const Job & { return m_large; });
        end_part();
    }

    /** Ends a client in one of three ways. Returns whether that was before its end. */
    bool cut_client(int number)
    {
        bool was_cut = false;
        const bool closes_output = number % 3 == 2;
        const Job &wanted = number % 2 == 0 ? m_large : job(number);
        Run run(m_server, wanted, lane(1), closes_output ? close_output : nullptr);
        if (number % 3 == 0) // while a reply is relayed
            run.process().wait_for_output(" -> ");
        else if (!closes_output) // at any time
            pause(15);
        if (!closes_output)
            kill(run.process().pid(), SIGKILL);
        m_report.add(run.finish_cut(closes_output ? SIGPIPE : SIGKILL, was_cut));
        return was_cut;
    }

    void cut_clients(int count)
    {
        m_report.begin("clients killed, output closed", false);
        int cut = 0;
        for (int i = 0; i < count; ++i) {
            clear();
            cut += cut_client(i) ? 1 : 0;
            one(job(i));
        }
        end_part("; cut: " + std::to_string(cut) + " of " + std::to_string(count));
    }

    void killed_servers(int count)
    {
        m_report.begin("servers killed under 8 runs", true);
        int drafts = 0;
        for (int i = 0; i < count; ++i) {
            drafts += clear();
            one(job(0)); // there is a server now
            test::eventually([this] { return soak::find_servers(m_server.port).size() == 1; });
            std::deque<Run> runs;
            for (int number = 1; number <= 8; ++number)
                runs.emplace_back(m_server, number % 4 == 0 ? m_large : job(i + number),
                                  lane(number));
            pause(10);
            for (const pid_t server : soak::find_servers(m_server.port))
                kill(server, i % 2 == 0 ? SIGKILL : SIGTERM);
            for (Run &run : runs)
                m_report.add(run.finish());
            reap();
        }
        drafts += clear();
        m_report.end(std::to_string(count) +
                     " times; drafts of headers left by them: " + std::to_string(drafts));
    }

    void idle_race(int count)
    {
        m_report.begin("aimed at the idle exit, +-3 ms", true);
        alarm(kLongestStepSeconds + static_cast<unsigned>(count) * 2);
        soak::IdleRace race(m_jobs[0], std::clamp(count / 2, 1, 6));
        const std::string note = race.run(count, m_report);
        m_report.end(note);
        for (const int port : race.ports())
            m_ports.push_back(port);
    }

    /** Takes the ends of servers, as long as no launcher runs. True when none is left. */
    bool reap()
    {
        int status = 0;
        pid_t ended = 0;
        while ((ended = waitpid(-1, &status, WNOHANG)) > 0) {
            const int end = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            ++m_ends[end];
            if (end != 0 && end != 128 + SIGKILL && end != 128 + SIGTERM)
                m_report.problem("a server ended with status " + std::to_string(end));
        }
        return ended == -1 && errno == ECHILD;
    }

    void nothing_stays()
    {
        m_report.begin("the end", false);
        alarm(kLongestStepSeconds);
        if (!test::eventually([this] { return reap(); }))
            m_report.problem("servers stay when they have been idle");
        for (const int port : m_ports) {
            if (soak::is_listening(port))
                m_report.problem("somebody listens on port " + std::to_string(port));
            if (!soak::find_processes("-n_serverport " + std::to_string(port) + " ").empty())
                m_report.problem("a process stays of port " + std::to_string(port));
        }
        std::string ends = "servers that ended:";
        for (const auto &[status, count] : m_ends)
            ends += " " + std::to_string(count) + " with " + std::to_string(status) + ",";
        ends.pop_back();
        m_report.end(ends);
    }

    int m_runs;
    soak::Report m_report;
    test::Servers m_adopted; // those whose launchers have gone
    test::TemporaryDirectory m_directory;
    std::mt19937 m_random;
    std::vector<Job> m_jobs;
    Job m_large;
    soak::Server m_server = {test::free_port(), kIdleMs};
    std::vector<int> m_ports = {m_server.port};
    pid_t m_pid = 0;
    soak::Holdings m_start;
    long m_start_heap_kib = 0;
    std::map<int, int> m_ends; // how many servers ended with a status, or 128 and a signal
};

} // namespace

int main(int argc, char **argv)
{
    char *end = nullptr;
    const long runs = argc == 2 ? std::strtol(argv[1], &end, 10) : kDefaultRuns;
    if (argc > 2 || (end != nullptr && *end != '\0') || runs < 10 || runs > kMostRuns) {
        std::fprintf(stderr, "usage: %s [RUNS (10 to %d)]\n", argv[0], kMostRuns);
        return 1;
    }
    std::signal(SIGALRM, give_up);
    try {
        return Soak(static_cast<int>(runs)).run() ? 0 : 1;
    } catch (const std::exception &error) {
        std::printf("PROBLEM: %s\n", error.what());
        return 1;
    }
}
