#include "tests/support/ScriptedServer.hpp"

#include "tests/support/Faults.hpp"
#include "tests/support/Servers.hpp"

#include <filesystem>
#include <linux/sockios.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

/** A launcher that has gone meanwhile is no problem of the server's. */
void send_all(int connection, const std::string &text, int flags = 0)
{
    send(connection, text.data(), text.size(), MSG_NOSIGNAL | flags);
}

void reset_when_closed(int connection)
{
    eventually([connection] {
        int on_the_way = 0;
        return ioctl(connection, SIOCOUTQ, &on_the_way) != 0 || on_the_way == 0;
    });
    constexpr linger kAtOnce = {1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &kAtOnce, sizeof kAtOnce);
}

} // namespace

ScriptedServer::ScriptedServer(const Script &script)
{
    const Aside aside; // a server's calls are none of what is tested
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    auto *any_address = reinterpret_cast<sockaddr *>(&address);
    if (bind(m_listener, any_address, length) != 0 || listen(m_listener, 8) != 0 ||
        getsockname(m_listener, any_address, &length) != 0)
        throw std::runtime_error("no listener");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this, script] {
        const int connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        play(script, connection);
        close(connection);
        // A launcher that comes now is refused; it would wait for ever otherwise.
        shutdown(m_listener, SHUT_RDWR);
    });
}

ScriptedServer::~ScriptedServer()
{
    const Aside aside;
    received();
    close(m_listener);
}

const std::string &ScriptedServer::received()
{
    shutdown(m_listener, SHUT_RDWR); // nobody comes any more
    if (m_thread.joinable())
        m_thread.join();
    return m_received;
}

void ScriptedServer::play(const Script &script, int connection)
{
    if (!receive(connection, false))
        return;
    send_all(connection, script.text);
    if (!script.later.empty()) {
        // No receive call reads across an urgent byte, and none returns it.
        send_all(connection, "!", MSG_OOB);
        send_all(connection, script.later);
    }
    if (script.ending == Ending::Reset) {
        reset_when_closed(connection);
        return;
    }
    shutdown(connection, SHUT_WR);
    receive(connection, true);
}

/** Receives the request, or all that comes. False when the launcher closes before the request. */
bool ScriptedServer::receive(int connection, bool whole_stream)
{
    char piece[4096];
    while (whole_stream || m_received.find('\0') == std::string::npos) {
        const ssize_t size = recv(connection, piece, sizeof piece, 0);
        if (size <= 0)
            return false;
        m_received.append(piece, static_cast<std::size_t>(size));
    }
    return true;
}

Command launcher(const std::string &program, int port, const std::vector<std::string> &more,
                 const std::function<bool()> &in_child)
{
    Command command = {.arguments = {program, "-n_classpath", std::string(300, 'x'),
                                     "-n_wolkresource", "/nonexistent", "-n_serverport",
                                     std::to_string(port)},
                       .in_child = [in_child] {
                           alarm(60);
                           return !in_child || in_child();
                       }};
    command.arguments.insert(command.arguments.end(), more.begin(), more.end());
    return command;
}

std::string request(const std::vector<std::string> &arguments, std::string directory)
{
    if (directory.empty())
        directory = std::filesystem::current_path();
    std::string text;
    for (const std::string &argument : arguments)
        text += argument + "\n";
    return text + "-workingDirectory\n" + directory + "\n\n" + '\0';
}

} // namespace test
