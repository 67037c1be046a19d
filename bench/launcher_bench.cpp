/**
 * Whole runs of the launcher against named peers.
 *
 * Machines are shared and noisy, so no time stands alone: each round runs both, in turn first, and
 * the median of the rounds' ratios is held against a goal.
 *
 *     launcher_bench [--rounds N] [--only ROW]
 *
 * Exits with 0 when everything could be measured, whatever came out, and with 1 otherwise.
 */
#include "bench/Child.hpp"
#include "bench/Report.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using bench::Command;
using bench::Measure;

constexpr char kResources[] = GENERATOR_DIRECTORY "/resource";
constexpr char kResourceProperty[] = "-DWOLK_RESOURCE_DIR=" GENERATOR_DIRECTORY "/resource";

/** What is timed against each other. */
struct Pair
{
    Command own;
    Command peer;
};

/** The launcher's command line for the example generator's input. */
Command launcher(const std::string &port, const char *executable = QUILLON)
{
    return {executable, "-n_classpath",  GENERATOR_JAR, "-n_wolkresource",
            kResources, "-n_serverport", port,          INPUT_FILE};
}

/** What the launcher sends for it. */
std::string request()
{
    return INPUT_FILE "\n-workingDirectory\n" + std::filesystem::current_path().string() + "\n\n";
}

/** A server that answers with so many bytes, and a launcher and a client that ask it. */
std::optional<Pair> ask_echo_server(const char *client, std::size_t answer_size)
{
    const bench::Listener listener;
    if (bench::start({ECHO_SERVER, std::to_string(answer_size)}, listener.socket()) < 0)
        return std::nullopt;
    return Pair{.own = launcher(listener.port()), .peer = {client, listener.port(), request()}};
}

std::optional<Pair> warm_run()
{
    return ask_echo_server(MINIMAL_CLIENT, 400);
}

/** What hardening costs: the launcher against itself without it. */
std::optional<Pair> hardening()
{
    const bench::Listener listener;
    if (bench::start({ECHO_SERVER, "400"}, listener.socket()) < 0)
        return std::nullopt;
    return Pair{.own = launcher(listener.port()),
                .peer = launcher(listener.port(), QUILLON_UNHARDENED)};
}

std::optional<Pair> version()
{
    return Pair{.own = {QUILLON, "-n_version"}, .peer = {DYNAMIC_TRUE}};
}

std::optional<Pair> generator()
{
    const Command own = launcher(bench::Listener().port());
    if (!bench::time_of(own)) // cold: it leaves the generator behind
        return std::nullopt;
    return Pair{.own = own,
                .peer = {JAVA, "-cp", GENERATOR_JAR, kResourceProperty, "com.zov.wolk.wolkgen.Main",
                         INPUT_FILE}};
}

/** The same when the VM has compiled what it first interprets, as in the middle of a build. */
std::optional<Pair> seasoned_generator()
{
    constexpr int kEarlierRuns = 100;
    std::optional<Pair> pair = generator();
    for (int i = 0; i < kEarlierRuns && pair; ++i)
        if (!bench::time_of(pair->own))
            return std::nullopt;
    return pair;
}

std::optional<Pair> relay()
{
    return ask_echo_server(RELAY_LOOP, std::size_t{1} << 30);
}

struct Row
{
    bench::Goal goal;
    int rounds;
    std::optional<Pair> (*prepare)();
};

constexpr Row kRows[] = {
    {{"warm run, echo server", "minimal static client", 1.4, Measure::Cost}, 400, warm_run},
    {{"-n_version", "dynamic true", 1.15, Measure::Cost}, 400, version},
    {{"warm run, example generator", "java on the same file", 20, Measure::Speed}, 15, generator},
    {{"relay of 1 GiB", "8 KiB read/write loop", 0.9, Measure::Speed}, 15, relay},
    {{"row 3 after 100 runs", "java on the same file", 20, Measure::Speed}, 15, seasoned_generator},
    {{"warm run, hardened", "the same without", 1.05, Measure::Cost}, 400, hardening},
};
constexpr int kRowCount = static_cast<int>(std::size(kRows));

bool measure_round(const Pair &pair, bool own_first, Measure measure, bench::Times &times)
{
    const auto first = bench::time_of(own_first ? pair.own : pair.peer);
    const auto second = first ? bench::time_of(own_first ? pair.peer : pair.own) : std::nullopt;
    if (!second)
        return false;
    times.add(own_first ? *first : *second, own_first ? *second : *first, measure);
    return true;
}

bool run_row(int number, int rounds)
{
    const Row &row = kRows[number - 1];
    const std::optional<Pair> pair = row.prepare();
    bench::Times discarded; // the first runs fill caches
    bool measured = pair && measure_round(*pair, true, row.goal.measure, discarded);
    bench::Times times;
    for (int i = 0; i < (rounds > 0 ? rounds : row.rounds) && measured; ++i)
        measured = measure_round(*pair, i % 2 == 0, row.goal.measure, times);
    bench::end_all_children();
    if (measured)
        bench::print_row(stdout, number, row.goal, times, "ms");
    else
        std::printf("%d %-28s could not be measured\n", number, row.goal.name);
    return measured;
}

bool run_rows(const bench::Selection &selection)
{
    bool measured = true;
    bench::print_heading(stdout);
    for (int number = 1; number <= kRowCount; ++number)
        if (selection.only == 0 || number == selection.only)
            measured &= run_row(number, selection.rounds);
    return measured;
}

} // namespace

int main(int argc, char **argv)
{
    bench::Selection selection;
    if (!bench::parse(argc, argv, kRowCount, selection))
        return 1;
    char directory[] = "/tmp/launcher_bench.XXXXXX";
    if (mkdtemp(directory) == nullptr || chdir(directory) != 0) {
        std::perror("launcher_bench: temporary directory");
        return 1;
    }
    bench::own_all_descendants();
    double before = -1;
    double after = -1;
    getloadavg(&before, 1);
    const bool measured = run_rows(selection);
    getloadavg(&after, 1);
    std::printf("medians; the ratio is the median of the rounds' ratios; "
                "load average %.2f before, %.2f after, %ld processors\n",
                before, after, sysconf(_SC_NPROCESSORS_ONLN));
    std::error_code error;
    std::filesystem::remove_all(directory, error);
    return measured ? 0 : 1;
}
