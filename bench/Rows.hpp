/** The rows of the library's benchmark: batches of an operation against batches of a peer's. */
#ifndef BENCH_ROWS_HPP
#define BENCH_ROWS_HPP

#include "bench/Report.hpp"

#include <span>

namespace bench {

using Batch = void (*)(int count);

struct Row
{
    Goal goal;
    int count; /**< of operations in a batch */
    Batch own;
    Batch peer;
    void (*prepare)();
    void (*clean_up)();
};

/** For a row that needs no preparation. */
inline void nothing() {}

/** Keeps the compiler from seeing through a value. */
template <class T>
void keep(T &value)
{
    asm volatile("" : "+r"(value) : : "memory");
}

/** Nanoseconds an operation. */
double time_of(Batch batch, int count);

std::span<const Row> osapi_rows();
std::span<const Row> pool_rows();
std::span<const Row> skiplist_rows();
std::span<const Row> fnmatch_rows();
std::span<const Row> sequence_rows();
std::span<const Row> xml_rows();
std::span<const Row> thread_rows();

/** Not a ratio: what a log statement that is switched off adds to a loop. */
void print_masked_statement(std::FILE *report, int rounds);

} // namespace bench

#endif
