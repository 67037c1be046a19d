/** Numbers and names as people read them. */
#ifndef TOOLS_HEAP_REPORT_TEXT_HPP
#define TOOLS_HEAP_REPORT_TEXT_HPP

#include <cstdint>
#include <string>
#include <string_view>

namespace heap_report {

/** 1234567 as "1,234,567". */
std::string grouped(int64_t value);
/** The same with its sign: "+1,234", "-1", "0". */
std::string grouped_change(int64_t value);
/** A part as "12.5%" of a whole; "-" of nothing. */
std::string share(int64_t part, int64_t whole);

/** Text that is safe to show: what is no printable UTF-8 becomes \xNN. */
std::string printable(std::string_view bytes);
/** Columns that a printable text takes on a terminal. */
std::size_t columns(std::string_view text);
/** A printable text in at most so many columns (5 or more): its middle becomes "...". */
std::string fitted(std::string_view text, std::size_t limit);

} // namespace heap_report

#endif
