/** Captures every reported line and debug text, and puts the hooks and masks back afterwards. */
#ifndef TESTS_SUPPORT_LOG_CAPTURE_HPP
#define TESTS_SUPPORT_LOG_CAPTURE_HPP

#include "log/Log.h"

#include <cstdint>
#include <string>
#include <vector>

namespace test {

/** One at a time; the lines are those of all threads of the process. */
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    [[nodiscard]] std::vector<std::string> lines() const;
    void clear();
    /** The lines since the last call. One that was announced as a warning says so: "(warning) ". */
    std::vector<std::string> take();

    /** Masks of all modules; restored with the rest. */
    void set_levels(std::uint32_t instrumentation);

private:
    struct Saved;
    Saved *m_saved;
};

using Lines = std::vector<std::string>;

} // namespace test

#endif
