#include "tests/support/ScriptedServer.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

constexpr timeval kLongestWait = {20, 0};

void bound_waits(int socket)
{
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof kLongestWait);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &kLongestWait, sizeof kLongestWait);
}

unsigned port_of(int connection, decltype(getsockname) *name)
{
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    name(connection, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

/** Whether nothing is on the way to the connection's other end, and nothing waits there. */
bool is_delivered(int connection)
{
    int on_the_way = 0;
    if (ioctl(connection, SIOCOUTQ, &on_the_way) != 0 || on_the_way != 0)
        return false;
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);) {
        unsigned local = 0;
        unsigned remote = 0;
        unsigned queue = 0;
        if (std::sscanf(line.c_str(), " %*d: %*x:%x %*x:%x %*x %*x:%x", &local, &remote, &queue) ==
                3 &&
            local == port_of(connection, getpeername) && remote == port_of(connection, getsockname))
            return queue == 0;
    }
    return false;
}

/** The letter of the process table; X when the process has gone. */
char state_of(pid_t process)
{
    std::ifstream table("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(table, text);
    const std::size_t name_end = text.rfind(')');
    return name_end == std::string::npos ? 'X' : text[name_end + 2];
}

} // namespace

ScriptedServer::ScriptedServer(std::vector<Script> scripts, int port)
    : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const int on = 1;
    setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    bound_waits(m_listener);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(m_listener, 8) != 0)
        throw std::runtime_error("no listener");
    m_port = static_cast<int>(port_of(m_listener, getsockname));
    m_thread = std::thread([this, all = std::move(scripts)] {
        for (const Script &script : all) {
            const int connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                m_problem = "no launcher came";
            bound_waits(connection);
            m_received.emplace_back();
            play(script, connection);
            close(connection);
        }
        // A launcher that comes now is refused; it would wait for ever otherwise.
        shutdown(m_listener, SHUT_RDWR);
    });
}

ScriptedServer::~ScriptedServer()
{
    shutdown(m_listener, SHUT_RDWR);
    if (m_thread.joinable())
        m_thread.join();
    close(m_listener);
}

Outcome ScriptedServer::run(const Command &command)
{
    Process process(command);
    serve(process.pid());
    return process.finish();
}

const std::vector<std::string> &ScriptedServer::received()
{
    if (m_thread.joinable())
        m_thread.join();
    EXPECT_EQ(m_problem, "");
    return m_received;
}

void ScriptedServer::play(const Script &script, int connection)
{
    if (script.ending == Ending::Abandon || !receive(connection, false))
        return;
    for (const std::string &chunk : script.chunks) {
        // A launcher that has gone meanwhile is no problem of the server's.
        send(connection, chunk.data(), chunk.size(), MSG_NOSIGNAL);
        const bool ends_the_stream =
            &chunk == &script.chunks.back() && script.ending == Ending::Close;
        if (!ends_the_stream && !wait_until_taken(connection))
            return;
    }
    if (script.ending == Ending::Reset) {
        const linger at_once = {1, 0};
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        return;
    }
    shutdown(connection, SHUT_WR);
    receive(connection, true);
}

/** Receives the request, or all that comes. False when the launcher closes before the request. */
bool ScriptedServer::receive(int connection, bool whole_stream)
{
    std::string &text = m_received.back();
    char piece[4096];
    while (whole_stream || text.find('\0') == std::string::npos) {
        const ssize_t size = recv(connection, piece, sizeof piece, 0);
        if (size < 0 && errno == EAGAIN)
            m_problem = "the launcher neither sends nor closes";
        if (size <= 0)
            return false;
        text.append(piece, static_cast<std::size_t>(size));
    }
    return true;
}

/**
 * An empty queue alone does not end the piece: a launcher that is still inside its receive call
 * would take the next chunk with the same one. Asleep, it is behind that call or in the next one.
 */
bool ScriptedServer::wait_until_taken(int connection)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(kLongestWait.tv_sec);
    while (Clock::now() < end) {
        const char before = m_launcher == 0 ? '?' : state_of(m_launcher);
        if (before == 'X' || before == 'Z')
            return true;
        if (before != '?' && is_delivered(connection) && state_of(m_launcher) == 'S')
            return true;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    m_problem = "the launcher does not receive";
    return false;
}

Command launcher(const std::string &program, int port, const std::vector<std::string> &more)
{
    Command command = {.arguments = {program, "-n_classpath", std::string(300, 'x'),
                                     "-n_wolkresource", "/nonexistent", "-n_serverport",
                                     std::to_string(port)}};
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
