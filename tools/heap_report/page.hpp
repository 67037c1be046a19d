/** The text of report.html, which the build puts into the program. */
#ifndef TOOLS_HEAP_REPORT_PAGE_HPP
#define TOOLS_HEAP_REPORT_PAGE_HPP

#include <string_view>

namespace heap_report {

extern const std::string_view kPageBeforeData;
extern const std::string_view kPageAfterData;

} // namespace heap_report

#endif
