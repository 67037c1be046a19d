#include "bench/Child.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr unsigned kLongestRunSeconds = 60;
constexpr int kFirstPort = 15000;
constexpr int kPortCount = 15000;

int null_device()
{
    static const int descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    return descriptor;
}

double now_ms()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

void end(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

/** Its status, or -1 when it had to be ended. */
int wait_for(pid_t child)
{
    int status = -1;
    alarm(kLongestRunSeconds);
    if (child > 0 && waitpid(child, &status, 0) != child) {
        end(child);
        status = -1;
    }
    alarm(0);
    return status;
}

} // namespace

void own_all_descendants()
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    struct sigaction interrupt = {}; // without SA_RESTART: the alarm ends a wait
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, nullptr);
}

pid_t start(const Command &command, int input)
{
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, null_device(), STDOUT_FILENO);
    pid_t child = -1;
    const int error =
        posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

std::optional<double> time_of(const Command &command)
{
    const double begin = now_ms();
    const int status = wait_for(start(command, null_device()));
    const double end = now_ms();
    if (status == 0)
        return end - begin;
    std::fprintf(stderr, "launcher_bench: wait status %#x from:", static_cast<unsigned>(status));
    for (const std::string &argument : command)
        std::fprintf(stderr, " %s", argument.c_str());
    std::fprintf(stderr, "\n");
    return std::nullopt;
}

void end_all_children()
{
    std::ifstream children("/proc/thread-self/children");
    std::vector<pid_t> all;
    for (pid_t child; children >> child;)
        all.push_back(child);
    for (const pid_t child : all)
        end(child);
}

Listener::Listener() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), m_port(0)
{
    const int reuse = 1;
    setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    for (int i = 0; i < kPortCount; ++i) {
        m_port = kFirstPort + (getpid() + i) % kPortCount;
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(m_port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
            listen(m_socket, SOMAXCONN) == 0)
            return;
    }
}

Listener::~Listener()
{
    close(m_socket);
}

} // namespace bench
