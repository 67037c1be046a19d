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

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using bench::Command;

constexpr char kResources[] = GENERATOR_DIRECTORY "/resource";
constexpr char kResourceProperty[] = "-DWOLK_RESOURCE_DIR=" GENERATOR_DIRECTORY "/resource";

/** What is timed against each other. */
struct Pair
{
    Command own;
    Command peer;
};

/** The launcher's command line for the example generator's input. */
Command launcher(const std::string &port)
{
    return {QUILLON,    "-n_classpath",  GENERATOR_JAR, "-n_wolkresource",
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

enum class Measure { Cost, Speed }; // own time per peer's time, or the reverse

struct Row
{
    const char *name;
    const char *peer;
    double goal; // at most for a cost, at least for a speed
    Measure measure;
    int rounds;
    std::optional<Pair> (*prepare)();
};

constexpr Row kRows[] = {
    {"warm run, echo server", "minimal static client", 1.4, Measure::Cost, 400, warm_run},
    {"-n_version", "dynamic true", 1.15, Measure::Cost, 400, version},
    {"warm run, example generator", "java on the same file", 20, Measure::Speed, 15, generator},
    {"relay of 1 GiB", "8 KiB read/write loop", 0.9, Measure::Speed, 15, relay},
    {"row 3 after 100 runs", "java on the same file", 20, Measure::Speed, 15, seasoned_generator},
};
constexpr int kRowCount = static_cast<int>(std::size(kRows));

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct Times
{
    std::vector<double> own;
    std::vector<double> peer;
    std::vector<double> ratios;
};

bool measure_round(const Pair &pair, bool own_first, Measure measure, Times &times)
{
    const auto first = bench::time_of(own_first ? pair.own : pair.peer);
    const auto second = first ? bench::time_of(own_first ? pair.peer : pair.own) : std::nullopt;
    if (!second)
        return false;
    const double own = own_first ? *first : *second;
    const double peer = own_first ? *second : *first;
    times.own.push_back(own);
    times.peer.push_back(peer);
    times.ratios.push_back(measure == Measure::Cost ? own / peer : peer / own);
    return true;
}

void print_result(int number, const Row &row, const Times &times)
{
    const bool cost = row.measure == Measure::Cost;
    const double ratio = median(times.ratios);
    const bool met = cost ? ratio <= row.goal : ratio >= row.goal;
    std::printf("%d %-28s %9.3f ms  %-22s %9.3f ms  %6.2f  %s %5.2f  %-6s  %zu\n", number, row.name,
                median(times.own), row.peer, median(times.peer), ratio,
                cost ? "<=" : ">=", row.goal, met ? "met" : "MISSED", times.ratios.size());
    std::fflush(stdout);
}

bool run_row(int number, int rounds)
{
    const Row &row = kRows[number - 1];
    const std::optional<Pair> pair = row.prepare();
    Times discarded; // the first runs fill caches
    bool measured = pair && measure_round(*pair, true, row.measure, discarded);
    Times times;
    for (int i = 0; i < (rounds > 0 ? rounds : row.rounds) && measured; ++i)
        measured = measure_round(*pair, i % 2 == 0, row.measure, times);
    bench::end_all_children();
    if (measured)
        print_result(number, row, times);
    else
        std::printf("%d %-28s could not be measured\n", number, row.name);
    return measured;
}

bool run_rows(int only, int rounds)
{
    bool measured = true;
    std::printf("row                               quillon  peer"
                "                              peer   ratio     goal  result  rounds\n");
    for (int number = 1; number <= kRowCount; ++number)
        if (only == 0 || number == only)
            measured &= run_row(number, rounds);
    return measured;
}

/** A number from 1 to limit, or 0. */
int parse(const char *text, int limit)
{
    char *end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return *end == '\0' && number > 0 && number <= limit ? static_cast<int>(number) : 0;
}

} // namespace

int main(int argc, char **argv)
{
    int rounds = 0;
    int only = 0;
    for (int i = 1; i < argc; i += 2) {
        const char *value = i + 1 < argc ? argv[i + 1] : "";
        const bool is_rounds = std::strcmp(argv[i], "--rounds") == 0;
        const bool is_only = std::strcmp(argv[i], "--only") == 0;
        int &number = is_rounds ? rounds : only;
        if (is_rounds || is_only)
            number = parse(value, is_rounds ? INT_MAX : kRowCount);
        if ((!is_rounds && !is_only) || number == 0) {
            std::fprintf(stderr, "usage: launcher_bench [--rounds N] [--only ROW (1 to %d)]\n",
                         kRowCount);
            return 1;
        }
    }
    char directory[] = "/tmp/launcher_bench.XXXXXX";
    if (mkdtemp(directory) == nullptr || chdir(directory) != 0) {
        std::perror("launcher_bench: temporary directory");
        return 1;
    }
    bench::own_all_descendants();
    double before = -1;
    double after = -1;
    getloadavg(&before, 1);
    const bool measured = run_rows(only, rounds);
    getloadavg(&after, 1);
    std::printf("medians; the ratio is the median of the rounds' ratios; "
                "load average %.2f before, %.2f after, %ld processors\n",
                before, after, sysconf(_SC_NPROCESSORS_ONLN));
    std::error_code error;
    std::filesystem::remove_all(directory, error);
    return measured ? 0 : 1;
}
