#include "tests/support/Process.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace test {
namespace {

[[noreturn]] void exec(const Command &command)
{
    for (const auto &[name, value] : command.environment) {
        if (value)
            setenv(name.c_str(), value->c_str(), 1);
        else
            unsetenv(name.c_str());
    }
    if (!command.directory.empty() && chdir(command.directory.c_str()) != 0)
        _exit(126);
    if (command.in_child && !command.in_child())
        _exit(126);
    std::vector<char *> arguments;
    for (const std::string &argument : command.arguments)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

} // namespace

Process::Process(const Command &command)
{
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    m_pid = fork();
    if (m_pid == 0) {
        const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(null, STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        exec(command);
    }
    close(out[1]);
    close(err[1]);
    m_out = out[0];
    m_err = err[0];
}

Process::~Process()
{
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    for (const int descriptor : {m_out, m_err})
        if (descriptor >= 0)
            close(descriptor);
}

bool Process::read_some()
{
    pollfd ends[] = {{m_out, POLLIN, 0}, {m_err, POLLIN, 0}};
    if (poll(ends, 2, -1) <= 0)
        return false;
    for (const pollfd &end : ends) {
        if (end.revents == 0)
            continue;
        char piece[65536];
        const ssize_t size = read(end.fd, piece, sizeof piece);
        if (size > 0) {
            (end.fd == m_out ? m_outcome.out : m_outcome.err)
                .append(piece, static_cast<std::size_t>(size));
        } else {
            close(end.fd);
            (end.fd == m_out ? m_out : m_err) = -1;
        }
    }
    return m_out >= 0 || m_err >= 0;
}

std::string Process::wait_for_output(const std::string &text)
{
    while ((m_outcome.out + m_outcome.err).find(text) == std::string::npos && read_some()) {
    }
    return m_outcome.out + m_outcome.err;
}

Outcome Process::finish()
{
    while (m_out >= 0 || m_err >= 0)
        read_some();
    int status = 0;
    while (waitpid(m_pid, &status, 0) == -1 && errno == EINTR) {
    }
    m_pid = -1;
    m_outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return m_outcome;
}

Outcome run(const Command &command)
{
    return Process(command).finish();
}

std::string printed_by(const std::function<void()> &operation)
{
    char *text = nullptr;
    std::size_t size = 0;
    FILE *before = std::exchange(stdout, open_memstream(&text, &size));
    operation();
    std::fclose(std::exchange(stdout, before));
    std::string printed(text, size);
    std::free(text);
    return printed;
}

TemporaryDirectory::TemporaryDirectory()
{
    std::string path = (std::filesystem::temp_directory_path() / "quillon-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    m_path = path;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::size_t count(const std::string &text, const std::string &part)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

std::string read_file(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

namespace {

/** Tests run side by side: a port is one process's until that ends. */
bool reserve(int port)
{
    const int lock = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un name = {.sun_family = AF_UNIX, .sun_path = {}};
    std::snprintf(name.sun_path + 1, sizeof name.sun_path - 1, "quillon-test-port-%d", port);
    if (bind(lock, reinterpret_cast<sockaddr *>(&name), sizeof name) == 0)
        return true;
    close(lock);
    return false;
}

} // namespace

sockaddr_in loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int free_port()
{
    static int next = 20000 + static_cast<int>(getpid() % 1000) * 10;
    for (int tries = 0; tries < 1000; ++tries) {
        const int port = next;
        next = next >= 32000 ? 20000 : next + 1;
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port);
        const bool free =
            bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
        close(socket);
        if (free && reserve(port))
            return port;
    }
    throw std::runtime_error("no free port");
}

} // namespace test
