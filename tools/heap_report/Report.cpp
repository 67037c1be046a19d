#include "tools/heap_report/Report.hpp"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace heap_report {

Change &Change::operator+=(const Change &other)
{
    before += other.before;
    after += other.after;
    return *this;
}

Report::Report(const std::vector<Snapshot> &snapshots) : m_snapshots(snapshots)
{
    if (compares())
        for (const auto &[names, count] : m_snapshots.front().counts)
            m_changes[names].before = count;
    for (const auto &[names, count] : m_snapshots.back().counts)
        m_changes[names].after = count;
    for (const auto &[names, change] : m_changes)
        m_total += change;
}

const Snapshot *Report::without_blocks() const
{
    const auto found =
        std::find_if(m_snapshots.begin(), m_snapshots.end(),
                     [](const Snapshot &snapshot) { return !snapshot.lists_blocks; });
    return found == m_snapshots.end() ? nullptr : &*found;
}

std::vector<Group> Report::grouped_by(Dimension dimension) const
{
    std::map<std::string, Change> sums;
    for (const auto &[names, change] : m_changes)
        sums[names[dimension]] += change;
    std::vector<Group> groups;
    groups.reserve(sums.size());
    for (const auto &[name, change] : sums)
        groups.push_back({name, change});
    const auto weight = [](const Group &group) {
        return std::tuple(std::abs(group.change.bytes()), std::abs(group.change.blocks()),
                          group.change.after.bytes);
    };
    std::stable_sort(groups.begin(), groups.end(),
                     [&](const Group &a, const Group &b) { return weight(a) > weight(b); });
    return groups;
}

} // namespace heap_report
