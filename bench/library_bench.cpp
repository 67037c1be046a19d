/**
 * Operations of the library against named peers.
 *
 * Machines are shared and noisy, so no time stands alone: each round times a batch of both, in turn
 * first, and the median of the rounds' ratios is held against a goal.
 *
 *     library_bench [--rounds N] [--only ROW]
 */
#include "bench/Rows.hpp"

#include <chrono>
#include <unistd.h>
#include <vector>

double bench::time_of(Batch batch, int count)
{
    const auto begin = std::chrono::steady_clock::now();
    batch(count);
    const std::chrono::duration<double, std::nano> elapsed =
        std::chrono::steady_clock::now() - begin;
    return elapsed.count() / count;
}

namespace {

using bench::Row;
using bench::time_of;

std::vector<Row> all_rows()
{
    std::vector<Row> rows;
    for (const std::span<const Row> group :
         {bench::osapi_rows(), bench::pool_rows(), bench::skiplist_rows(), bench::fnmatch_rows(),
          bench::sequence_rows(), bench::xml_rows(), bench::thread_rows()})
        rows.insert(rows.end(), group.begin(), group.end());
    return rows;
}

bench::Times measure(const Row &row, int rounds)
{
    bench::Times times;
    time_of(row.own, row.count); // fills caches
    time_of(row.peer, row.count);
    for (int i = 0; i < rounds; ++i) {
        const bool own_first = i % 2 == 0;
        const double first = time_of(own_first ? row.own : row.peer, row.count);
        const double second = time_of(own_first ? row.peer : row.own, row.count);
        times.add(own_first ? first : second, own_first ? second : first, row.goal.measure);
    }
    return times;
}

} // namespace

int main(int argc, char **argv)
{
    bench::Selection selection;
    const std::vector<Row> rows = all_rows();
    const int row_count = static_cast<int>(rows.size());
    if (!bench::parse(argc, argv, row_count, selection))
        return 1;
    const int rounds = selection.rounds > 0 ? selection.rounds : 41;
    // The log lines of a row go to standard output, and nobody wants to see them.
    std::FILE *report = fdopen(dup(STDOUT_FILENO), "w");
    if (report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr)
        return 1;
    bench::print_heading(report);
    for (int number = 1; number <= row_count; ++number) {
        if (selection.only != 0 && selection.only != number)
            continue;
        const Row &row = rows[static_cast<std::size_t>(number - 1)];
        row.prepare();
        bench::print_row(report, number, row.goal, measure(row, rounds), "ns");
        row.clean_up();
    }
    if (selection.only == 0)
        bench::print_masked_statement(report, rounds);
    std::fclose(report);
    return 0;
}
