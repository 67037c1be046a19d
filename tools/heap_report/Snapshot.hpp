/** A heap snapshot as ZOVOsapiHeap_snapshot writes it, read strictly and counted by name. */
#ifndef TOOLS_HEAP_REPORT_SNAPSHOT_HPP
#define TOOLS_HEAP_REPORT_SNAPSHOT_HPP

#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace heap_report {

/** What blocks are grouped by. */
enum Dimension { kOperation, kType, kTopic, kActivity };
inline constexpr std::array<Dimension, 4> kDimensions = {kOperation, kType, kTopic, kActivity};
inline constexpr std::array<const char *, 4> kDimensionNames = {"operation", "type", "topic",
                                                                "activity"};
/** A block's names, by dimension. */
using Names = std::array<std::string, 4>;

struct Count
{
    int64_t bytes = 0;
    int64_t blocks = 0;

    Count &operator+=(const Count &other);
    bool operator==(const Count &) const = default;
};

/** The lines above the blocks, in their order. */
inline constexpr std::array<const char *, 6> kFigureNames = {"Process virtual memory",
                                                             "Process physical memory",
                                                             "Current heap usage",
                                                             "High watermark",
                                                             "Alloc count",
                                                             "Free count"};
using Figures = std::array<int64_t, kFigureNames.size()>;

struct Snapshot
{
    std::string file;
    Figures figures = {};
    bool lists_blocks = false; /**< a snapshot may have been taken without them */
    std::map<Names, Count> counts;
};

/**
 * Reads a snapshot. The names are printable afterwards.
 *
 * Errors: FALSE, and the error is a whole line: "FILE: why it cannot be read" or
 * "FILE:LINE: what is wrong".
 */
bool read_snapshot(const std::string &file, Snapshot &snapshot, std::string &error);

} // namespace heap_report

#endif
