#include "launcher/ServerProcess.hpp"

#include "log/Log.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <initializer_list>
#include <pthread.h>
#include <unistd.h>

namespace {

// The lifeline's place in the server: the first number behind the standard descriptors.
constexpr int kLifeline = STDERR_FILENO + 1;
constexpr std::size_t kWatcherStackSize = 65536;

void point_to_null(int flags, std::initializer_list<int> descriptors)
{
    const int null = open("/dev/null", flags | O_CLOEXEC);
    if (null == -1)
        return;
    for (const int descriptor : descriptors)
        dup2(null, descriptor);
    close(null);
}

void let_go_of_output()
{
    point_to_null(O_WRONLY, {STDOUT_FILENO, STDERR_FILENO});
}

void *watch_launcher(void *)
{
    char byte;
    [[maybe_unused]] const ssize_t nothing = read(kLifeline, &byte, 1);
    let_go_of_output();
    close(kLifeline);
    return nullptr;
}

/** No signal ever interrupts the watcher: all of them are for the VM's threads. */
bool start_watcher()
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kWatcherStackSize);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, watch_launcher, nullptr);
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0;
}

/** For kernels without close_range. */
void close_listed_descriptors_from(int first)
{
    DIR *directory = opendir("/proc/self/fd");
    if (directory == nullptr)
        return;
    while (const dirent *entry = readdir(directory)) {
        const int descriptor = std::atoi(entry->d_name);
        if (descriptor >= first && descriptor != dirfd(directory))
            close(descriptor);
    }
    closedir(directory);
}

void close_descriptors_from(int first)
{
    if (close_range(static_cast<unsigned>(first), UINT_MAX, 0) == -1)
        close_listed_descriptors_from(first);
}

/** The process ends in many ways: what was said must not wait in a buffer for a good one. */
void print_at_once(const char *message)
{
    ZOVLog_onMessageImpl(message);
    std::fflush(stdout);
}

} // namespace

bool quillon::open_lifeline(Lifeline &lifeline)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == -1)
        return false;
    lifeline = {.server_end = ends[0], .launcher_end = ends[1]};
    return true;
}

void quillon::become_server(int &connection, const Lifeline &lifeline)
{
    // The child still holds a copy of the launcher's socket. The launcher's later connect() would
    // connect this copy too, and a server blocked on it would never learn that the launcher died.
    close(connection);
    connection = -1;
    // As long as the child held a copy of the launcher's end, the end of file could never come.
    close(lifeline.launcher_end);
    dup2(lifeline.server_end, kLifeline);
    close_descriptors_from(kLifeline + 1);
    point_to_null(O_RDONLY, {STDIN_FILENO});
    setsid();
    ZOVLog_registerOnMessageMethod(print_at_once);
    // A launcher that has exited by now is no race: its end of file waits in the pipe.
    if (!start_watcher())
        let_go_of_output();
}
