/** Counts what the runs come to, and prints a row for each part of the soak. */
#ifndef SOAK_REPORT_HPP
#define SOAK_REPORT_HPP

#include "soak/Run.hpp"

#include <chrono>
#include <map>
#include <string>

namespace soak {

class Report
{
public:
    Report();

    /** In a part that may not, a run that fails is wrong. */
    void begin(const char *part, bool runs_may_fail);
    void add(const Result &result);
    /** Something else that must not be. The first ones are printed at once. */
    void problem(const std::string &text);
    /** Prints the part's row and its failures by message. */
    void end(const std::string &note);

    [[nodiscard]] int total_runs() const { return m_total_runs; }
    [[nodiscard]] int problems() const { return m_problems; }

private:
    const char *m_part = "";
    bool m_may_fail = false;
    std::chrono::steady_clock::time_point m_begin;
    int m_right = 0;
    int m_failed = 0;
    int m_wrong = 0;
    std::map<std::string, int> m_messages;
    int m_total_runs = 0;
    int m_problems = 0;
};

} // namespace soak

#endif
