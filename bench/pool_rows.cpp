#include "bench/Rows.hpp"

std::span<const bench::Row> bench::pool_rows()
{
    return {};
}
