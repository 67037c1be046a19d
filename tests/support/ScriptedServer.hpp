/** A generator server for tests, which plays a script to each launcher that connects. */
#ifndef TESTS_SUPPORT_SCRIPTED_SERVER_HPP
#define TESTS_SUPPORT_SCRIPTED_SERVER_HPP

#include "tests/support/Process.hpp"

#include <atomic>
#include <thread>

namespace test {

/** How a connection ends. Whatever the launcher sends until then is kept. */
enum class Ending {
    Close,   /**< ends the stream, and waits for the launcher to close */
    Reset,   /**< when the last chunk has been taken */
    Abandon, /**< closes at once, without a look at the request */
};

/** What one launcher gets. */
struct Script
{
    /** Each of at most 8192 bytes reaches the launcher as one piece, larger ones as several. */
    std::vector<std::string> chunks = {};
    Ending ending = Ending::Close;
};

/**
 * Listens on 127.0.0.1 from its construction until all scripts are played. No wait takes longer
 * than 20 seconds; one that does fails the test when the server is asked what it received.
 */
class ScriptedServer
{
public:
    /** Serves one launcher after the other, one for each script. Port 0: any that is free. */
    explicit ScriptedServer(std::vector<Script> scripts, int port = 0);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    [[nodiscard]] int port() const { return m_port; }
    /** Runs the launcher that is to be served next, to its end. */
    Outcome run(const Command &command);
    /** Tells which process is served next. Scripts of more than one chunk wait for it. */
    void serve(pid_t launcher) { m_launcher = launcher; }
    /** Waits until all scripts are played; all bytes that came from each of the launchers. */
    const std::vector<std::string> &received();

private:
    void play(const Script &script, int connection);
    bool receive(int connection, bool whole_stream);
    bool wait_until_taken(int connection);

    int m_port;
    int m_listener;
    std::atomic<pid_t> m_launcher = 0;
    std::vector<std::string> m_received;
    std::string m_problem;
    std::thread m_thread;
};

/**
 * A launcher at a port, with more arguments. Its class path is too long for a VM to be started, so
 * that a launcher that misses its server starts none.
 */
Command launcher(const std::string &program, int port, const std::vector<std::string> &more = {});
/** What it sends. An empty directory is the current one. */
std::string request(const std::vector<std::string> &arguments, std::string directory = {});

/** The end of an output, and what a launcher says that does not get it. */
inline const std::string kSuccessLine = "Code generator returned 0\n";
inline const std::string kClosedReport =
    "QUILLON_readOutput:The connection with quillon was closed unexpectely\n";
inline const std::string kResetReport =
    "QUILLON_socketReceive:OS recvfrom() failure, error 0X68: Connection reset by peer\n"
    "QUILLON_readOutput:Unexpected error receiving the quillon output\n";

} // namespace test

#endif
