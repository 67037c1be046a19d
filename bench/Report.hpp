/** Rows of ratios, the form in which all benchmarks report. */
#ifndef BENCH_REPORT_HPP
#define BENCH_REPORT_HPP

#include <cstdio>
#include <vector>

namespace bench {

enum class Measure { Cost, Speed }; /**< own time per peer's time, or the reverse */

/** What is held against what, and the goal for the ratio: at most for a cost, else at least. */
struct Goal
{
    const char *name;
    const char *peer;
    double ratio;
    Measure measure;
};

/** The times of the rounds of a row, in one unit. */
class Times
{
public:
    void add(double own, double peer, Measure measure);

    std::vector<double> own;
    std::vector<double> peer;
    std::vector<double> ratios; /**< of each round */
};

double median(std::vector<double> values);

void print_heading(std::FILE *file);
/** One line: the medians, and the median of the rounds' ratios against the goal. */
void print_row(std::FILE *file, int number, const Goal &goal, const Times &times, const char *unit);

/** The number of rounds and the only row to run, 0 for all, from the command line. */
struct Selection
{
    int rounds = 0;
    int only = 0;
};

/** False, with the usage on standard error, for a command line that is wrong. */
bool parse(int argc, char **argv, int row_count, Selection &selection);

} // namespace bench

#endif
