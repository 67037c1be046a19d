/** Child processes, started and timed. All their output goes to /dev/null. */
#ifndef BENCH_CHILD_HPP
#define BENCH_CHILD_HPP

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace bench {

using Command = std::vector<std::string>; /**< the first is the program's path */

/** Call it first: what the children leave behind becomes ours, and no wait is endless. */
void own_all_descendants();

/** Starts it with this standard input. Returns -1 when it could not be started. */
pid_t start(const Command &command, int input);

/**
 * Runs it and returns how many milliseconds passed from before its start until its end was known.
 * Nothing, and a line on standard error, when it does not succeed within a minute.
 */
std::optional<double> time_of(const Command &command);

/** Ends every child there is, those inherited from other children included. */
void end_all_children();

/** A loopback port of its own, below the range from which clients get theirs. */
class Listener
{
public:
    Listener();
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] int socket() const { return m_socket; }
    [[nodiscard]] std::string port() const { return std::to_string(m_port); }

private:
    int m_socket;
    int m_port;
};

} // namespace bench

#endif
