#include "tools/heap_report/Snapshot.hpp"

#include "tools/heap_report/text.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

namespace heap_report {
namespace {

constexpr std::string_view kColumns =
    "block_id, timestamp, block_size, pool_alloc, pool_buffer_size, pool_buffer_count, topic_name, "
    "activity, alloc_method_name, type_name";
constexpr std::string_view kSeparator = ", ";
constexpr std::size_t kColumnCount = 10;
constexpr std::array kNameColumns = {kTopic, kActivity, kOperation, kType};

// No address space is larger. Sums stay exact in the page's numbers, and differences in ours.
constexpr int64_t kMost = (int64_t{1} << 53) - 1;

std::string quoted(std::string_view text)
{
    return '"' + fitted(printable(text), 40) + '"';
}

/** The text up to the next separator, which goes too; all of it when there is none. */
std::string_view take_field(std::string_view &text)
{
    const std::size_t size = std::min(text.find(kSeparator), text.size());
    const std::string_view field = text.substr(0, size);
    text.remove_prefix(std::min(size + kSeparator.size(), text.size()));
    return field;
}

std::size_t count_fields(std::string_view text)
{
    std::size_t fields = 1;
    for (std::size_t at = 0; (at = text.find(kSeparator, at)) != std::string_view::npos; ++fields)
        at += kSeparator.size();
    return fields;
}

/** A file, line by line, and the place of what is wrong in it. */
class Reader
{
public:
    Reader(Snapshot &snapshot, std::string &error) : m_snapshot(snapshot), m_error(error) {}
    ~Reader()
    {
        std::free(m_line);
        if (m_file != nullptr)
            std::fclose(m_file);
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    bool read()
    {
        m_file = std::fopen(m_snapshot.file.c_str(), "rbe");
        if (m_file == nullptr)
            return fail_file();
        return read_figures() && read_blocks();
    }

private:
    enum class Next { kLine, kEnd, kFailed };

    Next next_line(std::string_view &line)
    {
        ++m_number;
        errno = 0;
        const ssize_t size = getline(&m_line, &m_capacity, m_file);
        if (size < 0) {
            if (std::feof(m_file) != 0)
                return Next::kEnd;
            fail_file();
            return Next::kFailed;
        }
        line = {m_line, static_cast<std::size_t>(size)};
        if (line.back() != '\n') {
            fail("the file ends within this line");
            return Next::kFailed;
        }
        line.remove_suffix(1);
        return Next::kLine;
    }

    bool read_figures()
    {
        for (std::size_t i = 0; i < kFigureNames.size(); ++i) {
            const std::string label = std::string(kFigureNames[i]) + ": ";
            std::string_view line;
            const Next next = next_line(line);
            if (next == Next::kFailed)
                return false;
            if (next == Next::kEnd || !line.starts_with(label))
                return fail("not a heap snapshot: \"" + label + "NUMBER\" is missing here");
            line.remove_prefix(label.size());
            if (!read_number(kFigureNames[i], line, -kMost, kMost, m_snapshot.figures[i]))
                return false;
        }
        return true;
    }

    bool read_blocks()
    {
        std::string_view line;
        Next next = next_line(line);
        m_snapshot.lists_blocks = next == Next::kLine;
        if (next == Next::kLine && line != kColumns)
            return fail("not a heap snapshot: \"block_id, timestamp, ...\" is missing here");
        while (next == Next::kLine) {
            next = next_line(line);
            if (next == Next::kLine && !read_block(line))
                return false;
        }
        if (next == Next::kFailed)
            return false;
        split_names();
        return true;
    }

    bool read_block(std::string_view line)
    {
        const std::size_t fields = count_fields(line);
        if (fields != kColumnCount)
            return fail("a block has 10 fields, not " + std::to_string(fields) +
                        (fields > kColumnCount ? "; a name with \", \" in it cannot be read" : ""));
        constexpr int64_t kLowest = std::numeric_limits<int32_t>::min();
        constexpr int64_t kHighest = std::numeric_limits<int32_t>::max();
        int64_t id = 0;
        int64_t size = 0;
        int64_t unused = 0;
        if (!read_number("block_id", take_field(line), 1, kMost, id) ||
            !read_number("timestamp", take_field(line), kLowest, kHighest, unused) ||
            !read_number("block_size", take_field(line), 0, kMost, size))
            return false;
        const std::string_view pool = take_field(line);
        if (pool != "POOL" && pool != "MALLOC")
            return fail("pool_alloc is neither POOL nor MALLOC: " + quoted(pool));
        if (!read_number("pool_buffer_size", take_field(line), kLowest, kHighest, unused) ||
            !read_number("pool_buffer_count", take_field(line), kLowest, kHighest, unused))
            return false;
        // Blocks are listed as they were allocated: a line that was copied or moved shows.
        if (id <= m_last_id)
            return fail("block_id is not above that of the block before: " + std::to_string(id));
        m_last_id = id;
        m_bytes += size;
        if (m_bytes > kMost)
            return fail("the blocks up to here have more bytes than an address space");
        count(line, {.bytes = size, .blocks = 1});
        return true;
    }

    /** Blocks with the same names share what follows their numbers: it is taken apart once. */
    void count(std::string_view names, const Count &block)
    {
        auto place = m_counts.find(names);
        if (place == m_counts.end())
            place = m_counts.emplace(names, Count()).first;
        place->second += block;
    }

    void split_names()
    {
        for (const auto &[text, count] : m_counts) {
            std::string_view rest = text;
            Names names;
            for (const Dimension dimension : kNameColumns) {
                const std::string_view name = take_field(rest);
                names[dimension] = name.empty() ? "\"\"" : printable(name);
            }
            m_snapshot.counts[names] += count;
        }
    }

    bool read_number(const char *name, std::string_view text, int64_t low, int64_t high,
                     int64_t &number)
    {
        const char *end = text.data() + text.size();
        const auto [stop, code] = std::from_chars(text.data(), end, number);
        if (code == std::errc::invalid_argument || stop != end)
            return fail(std::string(name) + " is not a number: " + quoted(text));
        if (code != std::errc() || number < low || number > high)
            return fail(std::string(name) + " is out of range: " + quoted(text));
        return true;
    }

    bool fail(const std::string &what)
    {
        m_error = printable(m_snapshot.file) + ":" + std::to_string(m_number) + ": " + what;
        return false;
    }

    bool fail_file()
    {
        const int error = errno;
        m_error = printable(m_snapshot.file) + ": " + std::strerror(error);
        return false;
    }

    Snapshot &m_snapshot;
    std::string &m_error;
    std::FILE *m_file = nullptr;
    char *m_line = nullptr;
    std::size_t m_capacity = 0;
    int64_t m_number = 0;
    int64_t m_last_id = 0;
    int64_t m_bytes = 0;
    std::map<std::string, Count, std::less<>> m_counts;
};

} // namespace

Count &Count::operator+=(const Count &other)
{
    bytes += other.bytes;
    blocks += other.blocks;
    return *this;
}

bool read_snapshot(const std::string &file, Snapshot &snapshot, std::string &error)
{
    snapshot = {.file = file, .counts = {}};
    return Reader(snapshot, error).read();
}

} // namespace heap_report
