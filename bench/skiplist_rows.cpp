#include "bench/Rows.hpp"

std::span<const bench::Row> bench::skiplist_rows()
{
    return {};
}
