/** The report for a terminal. */
#ifndef TOOLS_HEAP_REPORT_TEXT_REPORT_HPP
#define TOOLS_HEAP_REPORT_TEXT_REPORT_HPP

#include "tools/heap_report/Report.hpp"

namespace heap_report {

/** Tables of at most 100 columns: the figures of the process, then the groups of each dimension. */
std::string text_report(const Report &report);

} // namespace heap_report

#endif
