/** The skiplist against std::map, with the same records and keys in the same order. */
#include "bench/Rows.hpp"
#include "koba/OrderedDataType.h"
#include "koba/Skiplist.h"
#include "osapi/Utility.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <random>
#include <vector>

namespace {

using bench::keep;
using bench::Measure;
using bench::Row;

constexpr int kDrawn = 100'000;
constexpr std::uint32_t kSeed = 1; // of the levels: a list may be luckier than another

struct Record
{
    std::uint32_t key;
    std::uint32_t value;
};

std::vector<Record> g_records; // in the order of their keys
std::vector<Record *> g_drawn; // at random: too many for a branch predictor to learn
KOBASkiplistDescription g_description;
KOBASkiplist g_list;
std::map<std::uint32_t, Record *> g_map;

template <std::uint32_t record_count>
void make_records()
{
    constexpr std::uint32_t kStride = 7;
    ZOVOsapiUtility_srandWithSeed(kSeed);
    for (std::uint32_t i = 0; i < record_count; ++i)
        g_records.push_back({i * kStride, i});
    const auto maximum_level =
        static_cast<std::int8_t>(KOBASkiplist_getOptimumMaximumLevel(record_count));
    if (!KOBASkiplist_newDefaultAllocator(&g_description, maximum_level, record_count) ||
        !KOBASkiplist_init(&g_list, &g_description, KOBAOrderedDataType_compareUInt, nullptr, 0, 0))
        std::abort();
}

template <std::uint32_t record_count>
void fill()
{
    make_records<record_count>();
    std::mt19937 random(record_count);
    std::vector<Record *> shuffled;
    for (Record &record : g_records)
        shuffled.push_back(&record);
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    for (Record *record : shuffled) {
        KOBASkiplist_assertNodeEA(&g_list, nullptr, record, 0, 0);
        g_map.emplace(record->key, record);
    }
    std::uniform_int_distribution<std::size_t> any(0, record_count - 1);
    for (int i = 0; i < kDrawn; ++i)
        g_drawn.push_back(&g_records[any(random)]);
}

void empty()
{
    KOBASkiplist_finalize(&g_list);
    KOBASkiplist_deleteDefaultAllocator(&g_description);
    g_map.clear();
    g_records.clear();
    g_drawn.clear();
}

void find(int count)
{
    for (Record *record : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        KOBASkiplistNode *node = KOBASkiplist_assertNodeEA(&g_list, nullptr, record, 0, 0);
        keep(node);
    }
}

void map_find(int count)
{
    for (Record *record : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        Record *found = g_map.find(record->key)->second;
        keep(found);
    }
}

void remove_insert(int count)
{
    for (Record *record : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        KOBASkiplist_deleteNode(&g_list, KOBASkiplist_removeNodeEA(&g_list, &record->key));
        KOBASkiplist_assertNodeEA(&g_list, nullptr, record, 0, 0);
    }
}

void map_remove_insert(int count)
{
    for (Record *record : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        g_map.erase(record->key);
        g_map.emplace(record->key, record);
    }
}

// Appending is timed with giving all nodes back.
void append(int)
{
    for (Record &record : g_records)
        KOBASkiplist_addNonExistingNodeAtEndEA(&g_list, &record, 0, 0);
    KOBASkiplist_clearEA(&g_list);
}

void map_append(int)
{
    for (Record &record : g_records)
        g_map.emplace_hint(g_map.end(), record.key, &record);
    g_map.clear();
}

const Row kRows[] = {
    {{"skiplist: find, 1000 records", "std::map", 1.7, Measure::Cost},
     kDrawn,
     find,
     map_find,
     fill<1'000>,
     empty},
    {{"same, 10 000", "std::map", 1.7, Measure::Cost}, kDrawn, find, map_find, fill<10'000>, empty},
    {{"same, 100 000", "std::map", 1.9, Measure::Cost},
     kDrawn,
     find,
     map_find,
     fill<100'000>,
     empty},
    {{"remove + insert, 10 000", "std::map", 1.6, Measure::Cost},
     kDrawn,
     remove_insert,
     map_remove_insert,
     fill<10'000>,
     empty},
    {{"append in order, 100 000", "std::map with a hint", 1.6, Measure::Cost},
     100'000,
     append,
     map_append,
     make_records<100'000>,
     empty},
};

} // namespace

std::span<const Row> bench::skiplist_rows()
{
    return kRows;
}
