/** Sequences of longs against std::vector. */
#include "bench/Rows.hpp"
#include "dds/PrimitiveSeq.h"

#include <cstdlib>
#include <numeric>
#include <vector>

namespace {

using bench::keep;
using bench::Measure;
using bench::Row;

using Longs = std::vector<DDS_Long>;

DDS_LongSeq g_source;
DDS_LongSeq g_copy;
Longs g_peer_source;
Longs g_peer_copy;

// The copies have room already: what is measured is not the allocator.
template <int length>
void fill()
{
    g_peer_source.resize(length);
    std::iota(g_peer_source.begin(), g_peer_source.end(), 1);
    g_peer_copy = g_peer_source;
    if (!DDS_LongSeq_from_array(&g_source, g_peer_source.data(), length) ||
        DDS_LongSeq_copy(&g_copy, &g_source) == nullptr)
        std::abort();
}

void finalize()
{
    DDS_LongSeq_finalize(&g_source);
    DDS_LongSeq_finalize(&g_copy);
}

void copy(int count)
{
    for (int i = 0; i < count; ++i)
        DDS_LongSeq_copy(&g_copy, &g_source);
}

void assign(int count)
{
    for (int i = 0; i < count; ++i) {
        Longs *peer = &g_peer_copy;
        keep(peer);
        *peer = g_peer_source;
    }
}

void from_array(int count)
{
    for (int i = 0; i < count; ++i)
        DDS_LongSeq_from_array(&g_copy, g_peer_source.data(),
                               static_cast<DDS_Long>(g_peer_source.size()));
}

void assign_range(int count)
{
    for (int i = 0; i < count; ++i) {
        Longs *peer = &g_peer_copy;
        keep(peer);
        peer->assign(g_peer_source.data(), g_peer_source.data() + g_peer_source.size());
    }
}

[[gnu::noipa]] DDS_Long at(Longs *longs, DDS_Long i)
{
    return longs->at(static_cast<std::size_t>(i));
}

template <class Get, class Longs>
void sum(Get get, Longs *longs, int count)
{
    DDS_Long total = 0;
    for (int i = 0; i < count; ++i)
        total += get(longs, i & 0x3FF);
    keep(total);
}

void get(int count)
{
    sum(DDS_LongSeq_get, &g_source, count);
}

void vector_at(int count)
{
    sum(at, &g_peer_source, count);
}

const Row kRows[] = {
    {{"copy 1 000 longs", "vector assignment", 1.10, Measure::Cost},
     10'000,
     copy,
     assign,
     fill<1'000>,
     finalize},
    {{"copy 100 000 longs", "vector assignment", 1.10, Measure::Cost},
     100,
     copy,
     assign,
     fill<100'000>,
     finalize},
    {{"1 000 longs from an array", "vector::assign", 1.15, Measure::Cost},
     10'000,
     from_array,
     assign_range,
     fill<1'000>,
     finalize},
    {{"get in a loop", "called vector::at", 1.05, Measure::Cost},
     200'000,
     get,
     vector_at,
     fill<1'024>,
     finalize},
};

} // namespace

std::span<const Row> bench::sequence_rows()
{
    return kRows;
}
