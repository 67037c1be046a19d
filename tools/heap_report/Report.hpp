/** What one snapshot holds, or what changed between two: grouped, summed and sorted. */
#ifndef TOOLS_HEAP_REPORT_REPORT_HPP
#define TOOLS_HEAP_REPORT_REPORT_HPP

#include "tools/heap_report/Snapshot.hpp"

#include <vector>

namespace heap_report {

/** A single snapshot is compared with nothing: before is zero. */
struct Change
{
    Count before;
    Count after;

    [[nodiscard]] int64_t bytes() const { return after.bytes - before.bytes; }
    [[nodiscard]] int64_t blocks() const { return after.blocks - before.blocks; }
    [[nodiscard]] bool is_none() const { return before == after; }
    Change &operator+=(const Change &other);
};

struct Group
{
    std::string name;
    Change change;
};

class Report
{
public:
    /** Of one snapshot, or of two: before and after. */
    explicit Report(const std::vector<Snapshot> &snapshots);

    [[nodiscard]] bool compares() const { return m_snapshots.size() == 2; }
    [[nodiscard]] const std::vector<Snapshot> &snapshots() const { return m_snapshots; }
    /** A snapshot that lists no blocks, which leaves nothing to group; or null. */
    [[nodiscard]] const Snapshot *without_blocks() const;
    [[nodiscard]] const std::map<Names, Change> &changes() const { return m_changes; }
    [[nodiscard]] const Change &total() const { return m_total; }
    /** The groups with the largest change of bytes first: for one snapshot those with most bytes.
     */
    [[nodiscard]] std::vector<Group> grouped_by(Dimension dimension) const;

private:
    std::vector<Snapshot> m_snapshots;
    std::map<Names, Change> m_changes;
    Change m_total;
};

} // namespace heap_report

#endif
