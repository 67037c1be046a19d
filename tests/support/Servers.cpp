#include "tests/support/Servers.hpp"

#include "tests/support/Process.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

struct State
{
    pid_t pid = 0;
    char letter = 'Z'; /**< as one that is gone for good */
    pid_t parent = 0;
};

State state_of(const std::string &pid)
{
    // "pid (any (name)) S parent ..."
    const std::string text = read_file("/proc/" + pid + "/stat");
    const std::size_t name_end = text.rfind(')');
    if (name_end == std::string::npos)
        return {};
    return {std::stoi(text), text[name_end + 2], std::stoi(text.substr(name_end + 4))};
}

std::vector<State> children_of(pid_t parent)
{
    std::vector<State> children;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        if (const State state = state_of(name); state.parent == parent)
            children.push_back(state);
    }
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
        if (child.letter != 'Z')
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

void wait_for_ended_child(pid_t parent)
{
    eventually([parent] {
        const std::vector<State> children = children_of(parent);
        return state_of(std::to_string(parent)).letter == 'Z' ||
               std::any_of(children.begin(), children.end(),
                           [](const State &child) { return child.letter == 'Z'; });
    });
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
