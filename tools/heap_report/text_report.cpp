#include "tools/heap_report/text_report.hpp"

#include "tools/heap_report/text.hpp"

#include <algorithm>

namespace heap_report {
namespace {

constexpr std::size_t kColumnLimit = 100;
constexpr std::size_t kNarrowestName = 24;
constexpr std::string_view kGap = "  ";

/** A name, and its numbers as text. */
struct Line
{
    std::string name;
    std::vector<std::string> cells;
};

/** Lines under a heading; several tables are set with the same columns. */
struct Table
{
    std::vector<Line> heading;
    std::vector<Line> lines;
};

/** How wide the columns are. */
struct Layout
{
    explicit Layout(const std::vector<Table> &tables)
    {
        for (const Table &table : tables) {
            for (const Line &line : table.heading)
                widen(line);
            for (const Line &line : table.lines)
                widen(line);
        }
        std::size_t numbers = 0;
        for (const std::size_t width : cells)
            numbers += kGap.size() + width;
        const std::size_t room = kColumnLimit - std::min(kColumnLimit, numbers);
        name = std::min(name, std::max(room, kNarrowestName));
    }

    [[nodiscard]] std::string text(const Line &line) const
    {
        std::string text = fitted(line.name, name);
        text.append(name - columns(text), ' ');
        for (std::size_t i = 0; i < line.cells.size(); ++i) {
            text += kGap;
            text.append(cells[i] - line.cells[i].size(), ' ');
            text += line.cells[i];
        }
        return text.substr(0, text.find_last_not_of(' ') + 1) + '\n';
    }

    [[nodiscard]] std::string rule() const
    {
        std::size_t width = name;
        for (const std::size_t cell : cells)
            width += kGap.size() + cell;
        return std::string(width, '-') + '\n';
    }

    std::size_t name = 0;
    std::vector<std::size_t> cells;

private:
    void widen(const Line &line)
    {
        name = std::max(name, columns(line.name));
        cells.resize(std::max(cells.size(), line.cells.size()));
        for (std::size_t i = 0; i < line.cells.size(); ++i)
            cells[i] = std::max(cells[i], line.cells[i].size());
    }
};

std::string text_of(const std::vector<Table> &tables)
{
    const Layout layout(tables);
    std::string text;
    for (const Table &table : tables) {
        text += '\n';
        for (const Line &line : table.heading)
            text += layout.text(line);
        if (!table.heading.empty())
            text += layout.rule();
        for (const Line &line : table.lines)
            text += layout.text(line);
    }
    return text;
}

std::vector<std::string> comparison(int64_t before, int64_t after)
{
    return {grouped(before), grouped(after), grouped_change(after - before)};
}

Table figures_of(const Report &report)
{
    const Figures &before = report.snapshots().front().figures;
    const Figures &after = report.snapshots().back().figures;
    Table table;
    if (report.compares())
        table.heading = {{"Process", {"before", "after", "change"}}};
    for (std::size_t i = 0; i < kFigureNames.size(); ++i)
        table.lines.push_back({kFigureNames[i], report.compares()
                                                    ? comparison(before[i], after[i])
                                                    : std::vector{grouped(after[i])}});
    return table;
}

Line line_of(const Report &report, const std::string &name, const Change &change)
{
    if (!report.compares())
        return {name,
                {grouped(change.after.bytes), grouped(change.after.blocks),
                 share(change.after.bytes, report.total().after.bytes)}};
    Line line = {name, comparison(change.before.bytes, change.after.bytes)};
    for (const std::string &cell : comparison(change.before.blocks, change.after.blocks))
        line.cells.push_back(cell);
    return line;
}

Table groups_of(const Report &report, Dimension dimension)
{
    const std::string title = std::string("By ") + kDimensionNames[dimension];
    Table table;
    if (report.compares())
        table.heading = {{"", {"bytes", "", "", "blocks", "", ""}},
                         {title, {"before", "after", "change", "before", "after", "change"}}};
    else
        table.heading = {{title, {"bytes", "blocks", "share"}}};
    // What did not change is one line in a comparison.
    Change unchanged;
    int64_t unchanged_groups = 0;
    for (const Group &group : report.grouped_by(dimension)) {
        if (report.compares() && group.change.is_none()) {
            unchanged += group.change;
            ++unchanged_groups;
        } else {
            table.lines.push_back(line_of(report, group.name, group.change));
        }
    }
    if (unchanged_groups > 0)
        table.lines.push_back(
            line_of(report, "(" + grouped(unchanged_groups) + " unchanged)", unchanged));
    table.lines.push_back(line_of(report, "Total", report.total()));
    return table;
}

} // namespace

std::string text_report(const Report &report)
{
    const std::vector<Snapshot> &snapshots = report.snapshots();
    std::string text = report.compares() ? "Before: " : "Heap snapshot: ";
    text += printable(snapshots.front().file) + '\n';
    if (report.compares())
        text += "After:  " + printable(snapshots.back().file) + '\n';
    text += text_of({figures_of(report)});
    if (const Snapshot *empty = report.without_blocks())
        return text + "\nNo groups: " + printable(empty->file) + " was taken without its blocks.\n";
    std::vector<Table> tables;
    tables.reserve(kDimensions.size());
    for (const Dimension dimension : kDimensions)
        tables.push_back(groups_of(report, dimension));
    return text + text_of(tables);
}

} // namespace heap_report
