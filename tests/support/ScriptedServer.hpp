/** A generator server for tests, which plays a script to each launcher that connects. */
#ifndef TESTS_SUPPORT_SCRIPTED_SERVER_HPP
#define TESTS_SUPPORT_SCRIPTED_SERVER_HPP

#include "tests/support/Process.hpp"

#include <thread>

namespace test {

/** How a connection ends. Whatever the launcher sends until then is kept. */
enum class Ending {
    Close, /**< ends the stream, and waits for the launcher to close */
    Reset, /**< when all that was sent has arrived */
};

/** What one launcher gets. */
struct Script
{
    std::string text = {};
    std::string later = {}; /**< follows in a receive call of its own */
    Ending ending = Ending::Close;
};

/** Listens on 127.0.0.1 until the script is played to one launcher. */
class ScriptedServer
{
public:
    explicit ScriptedServer(const Script &script);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    [[nodiscard]] int port() const { return m_port; }
    /** For a launcher that has ended: all bytes that came from it. */
    const std::string &received();

private:
    void play(const Script &script, int connection);
    bool receive(int connection, bool whole_stream);

    int m_port;
    int m_listener;
    std::string m_received;
    std::thread m_thread;
};

/**
 * A launcher at a port, with more arguments. Its class path is too long for a VM to be started, so
 * that a launcher that misses its server starts none. One that hangs is ended after a minute.
 */
Command launcher(const std::string &program, int port, const std::vector<std::string> &more = {},
                 const std::function<bool()> &in_child = {});
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
