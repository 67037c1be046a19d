/** The servers that launchers leave behind: adopts them, watches them and ends them. */
#ifndef TESTS_SUPPORT_SERVERS_HPP
#define TESTS_SUPPORT_SERVERS_HPP

#include "tests/support/Process.hpp"

namespace test {

/** While it lives, a server whose launcher has gone is a child of this process. */
class Servers
{
public:
    Servers();
    /** Kills those that are left. */
    ~Servers();
    Servers(const Servers &) = delete;
    Servers &operator=(const Servers &) = delete;

    /** Those that run. Launchers count too: ask when they have finished. */
    [[nodiscard]] static std::vector<pid_t> running();
    /** Waits for one to end: its exit status, or 128 and the signal; -1 when there is none. */
    static int wait();
    static void kill_all();
    /**
     * Runs a launcher whose server ends by itself, and stops it when all that the server had to
     * say has come. The outcome is the server's.
     */
    static Outcome host(const Command &command);
};

/** Waits, for minutes if it must, until the condition holds. False when it never did. */
bool eventually(const std::function<bool()> &condition);

} // namespace test

#endif
