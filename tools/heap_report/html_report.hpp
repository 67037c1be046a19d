/** The report as a page. */
#ifndef TOOLS_HEAP_REPORT_HTML_REPORT_HPP
#define TOOLS_HEAP_REPORT_HTML_REPORT_HPP

#include "tools/heap_report/Report.hpp"

namespace heap_report {

/** One page that needs nothing else: a treemap and a sortable table (report.html). */
std::string html_report(const Report &report);

} // namespace heap_report

#endif
