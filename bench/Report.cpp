#include "bench/Report.hpp"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

/** A number from 1 to limit, or 0. */
int parse_number(const char *text, int limit)
{
    char *end = nullptr;
    const long number = std::strtol(text, &end, 10);
    return *end == '\0' && number > 0 && number <= limit ? static_cast<int>(number) : 0;
}

} // namespace

void bench::Times::add(double own_time, double peer_time, Measure measure)
{
    own.push_back(own_time);
    peer.push_back(peer_time);
    ratios.push_back(measure == Measure::Cost ? own_time / peer_time : peer_time / own_time);
}

double bench::median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void bench::print_heading(std::FILE *file)
{
    std::fprintf(file, "%-2s %-36s %12s  %-22s %12s  %6s  %8s  %-6s  %s\n", "", "row", "own",
                 "peer", "peer's", "ratio", "goal", "result", "rounds");
}

void bench::print_row(std::FILE *file, int number, const Goal &goal, const Times &times,
                      const char *unit)
{
    const bool cost = goal.measure == Measure::Cost;
    const double ratio = median(times.ratios);
    const bool met = cost ? ratio <= goal.ratio : ratio >= goal.ratio;
    std::fprintf(file, "%2d %-36s %9.3f %s  %-22s %9.3f %s  %6.2f  %s %5.2f  %-6s  %zu\n", number,
                 goal.name, median(times.own), unit, goal.peer, median(times.peer), unit, ratio,
                 cost ? "<=" : ">=", goal.ratio, met ? "met" : "MISSED", times.ratios.size());
    std::fflush(file);
}

bool bench::parse(int argc, char **argv, int row_count, Selection &selection)
{
    for (int i = 1; i < argc; i += 2) {
        const char *value = i + 1 < argc ? argv[i + 1] : "";
        const bool is_rounds = std::strcmp(argv[i], "--rounds") == 0;
        const bool is_only = std::strcmp(argv[i], "--only") == 0;
        int &number = is_rounds ? selection.rounds : selection.only;
        if (is_rounds || is_only)
            number = parse_number(value, is_rounds ? INT_MAX : row_count);
        if ((!is_rounds && !is_only) || number == 0) {
            std::fprintf(stderr, "usage: %s [--rounds N] [--only ROW (1 to %d)]\n", argv[0],
                         row_count);
            return false;
        }
    }
    return true;
}
