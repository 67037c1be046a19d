#include "tools/heap_report/html_report.hpp"

#include "tools/heap_report/page.hpp"
#include "tools/heap_report/text.hpp"

#include <cstdio>

namespace heap_report {
namespace {

/** A printable text as a JSON string that also cannot end the script element it stands in. */
std::string json(std::string_view text)
{
    std::string result = "\"";
    for (const char character : text) {
        if (std::string_view("\"\\<>&").find(character) == std::string_view::npos) {
            result += character;
            continue;
        }
        char escape[7];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
        result += escape;
    }
    return result + '"';
}

/** Values as a JSON array, each through a function that gives its JSON. */
template <typename Values, typename ToJson>
std::string json_array(const Values &values, ToJson to_json)
{
    std::string result = "[";
    for (const auto &value : values) {
        result += result.size() > 1 ? "," : "";
        result += to_json(value);
    }
    return result + ']';
}

std::string json_number(int64_t number)
{
    return std::to_string(number);
}

std::string json_snapshot(const Snapshot &snapshot)
{
    return "{\"file\":" + json(printable(snapshot.file)) +
           ",\"figures\":" + json_array(snapshot.figures, json_number) +
           ",\"listsBlocks\":" + (snapshot.lists_blocks ? "true" : "false") + '}';
}

/** [operation, type, topic, activity, bytes and blocks before, bytes and blocks after] */
std::string json_row(const std::array<std::size_t, 4> &names, const Change &change)
{
    const std::array<int64_t, 4> counts = {change.before.bytes, change.before.blocks,
                                           change.after.bytes, change.after.blocks};
    std::string row = json_array(names, [](std::size_t i) { return std::to_string(i); });
    row.back() = ',';
    return row + json_array(counts, json_number).substr(1);
}

/** All that the page shows. Rows give their names by number: a name occurs in many of them. */
std::string json_report(const Report &report)
{
    std::map<std::string, std::size_t> numbers;
    std::vector<std::string> names;
    const auto number_of = [&](const std::string &name) {
        const auto [place, is_new] = numbers.emplace(name, names.size());
        if (is_new)
            names.push_back(name);
        return place->second;
    };
    const std::string rows = json_array(report.changes(), [&](const auto &entry) {
        std::array<std::size_t, 4> row = {};
        for (const Dimension dimension : kDimensions)
            row[dimension] = number_of(entry.first[dimension]);
        return json_row(row, entry.second);
    });
    return "{\"snapshots\":" + json_array(report.snapshots(), json_snapshot) +
           ",\n\"figures\":" + json_array(kFigureNames, json) +
           ",\n\"dimensions\":" + json_array(kDimensionNames, json) +
           ",\n\"names\":" + json_array(names, json) + ",\n\"rows\":" + rows + '}';
}

} // namespace

std::string html_report(const Report &report)
{
    return std::string(kPageBeforeData) + json_report(report) + std::string(kPageAfterData);
}

} // namespace heap_report
