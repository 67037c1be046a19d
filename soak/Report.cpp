#include "soak/Report.hpp"

#include <cstdio>

namespace soak {

Report::Report()
{
    std::printf("%-30s %6s %6s %6s %6s %7s  %s\n", "part", "runs", "right", "failed", "wrong",
                "time", "the server afterwards");
}

void Report::begin(const char *part, bool runs_may_fail)
{
    m_part = part;
    m_may_fail = runs_may_fail;
    m_begin = std::chrono::steady_clock::now();
    m_right = m_failed = m_wrong = 0;
    m_messages.clear();
}

void Report::add(const Result &result)
{
    ++m_total_runs;
    switch (result.verdict) {
    case Verdict::Right:
        ++m_right;
        return;
    case Verdict::Failed:
        ++m_failed;
        ++m_messages[result.message];
        if (!m_may_fail)
            problem("a run failed that had no reason to: " + result.message);
        return;
    case Verdict::Wrong:
        ++m_wrong;
        problem(result.message);
        return;
    }
}

void Report::problem(const std::string &text)
{
    constexpr int kMostPrinted = 20;
    if (++m_problems > kMostPrinted)
        return;
    std::printf("PROBLEM in \"%s\": %s\n", m_part, text.c_str());
    std::fflush(stdout);
}

void Report::end(const std::string &note)
{
    const int runs = m_right + m_failed + m_wrong;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - m_begin;
    std::printf("%-30s %6d %6d %6d %6d %5.1f s  %s\n", m_part, runs, m_right, m_failed, m_wrong,
                time.count(), note.c_str());
    for (const auto &[message, count] : m_messages)
        std::printf("    %d (%.2f %%) with 255 and: %s\n", count, 100.0 * count / runs,
                    message.c_str());
    std::fflush(stdout);
}

} // namespace soak
