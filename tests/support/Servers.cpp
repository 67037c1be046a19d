#include "tests/support/Servers.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

struct State
{
    pid_t pid = 0;
    pid_t parent = 0;
    bool has_ended = true;
};

State state_of(const std::string &pid)
{
    // "pid (any (name)) S parent ..."
    const std::string text = read_file("/proc/" + pid + "/stat");
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos)
        return {};
    return {std::stoi(text), std::stoi(text.substr(name_end + 4)), text[name_end + 2] == 'Z'};
}

std::vector<State> children_of(pid_t parent)
{
    std::vector<State> children;
    for (const auto &entry : std::filesystem::directory_iterator("/proc"))
        if (const State state = state_of(entry.path().filename()); state.parent == parent)
            children.push_back(state);
    return children;
}

} // namespace

Servers::Servers()
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Servers::~Servers()
{
    kill_all();
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

std::vector<pid_t> Servers::running()
{
    std::vector<pid_t> running;
    for (const State &child : children_of(getpid()))
        if (!child.has_ended)
            running.push_back(child.pid);
    return running;
}

int Servers::wait()
{
    int status = 0;
    if (waitpid(-1, &status, 0) == -1)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Servers::kill_all()
{
    for (const pid_t server : running())
        kill(server, SIGKILL);
    while (wait() != -1) {
    }
}

Outcome Servers::host(const Command &command)
{
    Process launcher(command);
    eventually([pid = launcher.pid()] {
        const std::vector<State> children = children_of(pid);
        return state_of(std::to_string(pid)).has_ended ||
               std::any_of(children.begin(), children.end(),
                           [](const State &child) { return child.has_ended; });
    });
    kill(launcher.pid(), SIGKILL);
    Outcome outcome = launcher.finish();
    outcome.status = wait();
    return outcome;
}

bool eventually(const std::function<bool()> &condition)
{
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 120s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

} // namespace test
