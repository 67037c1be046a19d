#include "soak/Census.hpp"

#include "tests/support/Process.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <filesystem>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace soak {
namespace {

namespace fs = std::filesystem;

bool is_vm_worker(const std::string &name)
{
    constexpr const char *kWorkers[] = {"C1 CompilerThre", "C2 CompilerThre", "GC Thread#",
                                        "G1 Conc#", "G1 Refine#"};
    return std::any_of(std::begin(kWorkers), std::end(kWorkers),
                       [&name](const char *worker) { return name.starts_with(worker); });
}

} // namespace

// A process, a thread or a descriptor may be gone before it is looked at: no error counts here.
Holdings holdings_of(pid_t server)
{
    const std::string process = "/proc/" + std::to_string(server);
    std::error_code gone;
    Holdings holdings;
    for (auto i = fs::directory_iterator(process + "/fd", gone); i != fs::directory_iterator();
         i.increment(gone))
        ++holdings.descriptors;
    for (auto i = fs::directory_iterator(process + "/task", gone); i != fs::directory_iterator();
         i.increment(gone)) {
        const bool is_worker = is_vm_worker(test::read_file(i->path() / "comm"));
        ++(is_worker ? holdings.vm_workers : holdings.threads);
    }
    const std::string status = test::read_file(process + "/status");
    const std::size_t rss = status.find("VmRSS:");
    holdings.rss_kib = rss == std::string::npos ? 0 : std::stol(status.substr(rss + 6));
    return holdings;
}

std::optional<long> live_heap_kib(pid_t server)
{
    const std::string pid = std::to_string(server);
    const test::Outcome collected = test::run({.arguments = {JCMD, pid, "GC.run"}});
    const test::Outcome heap = test::run({.arguments = {JCMD, pid, "GC.heap_info"}});
    constexpr char kUsed[] = ", used ";
    const std::size_t used = heap.out.find(kUsed);
    if (collected.status != 0 || heap.status != 0 || used == std::string::npos)
        return std::nullopt;
    return std::stol(heap.out.substr(used + sizeof kUsed - 1));
}

std::vector<pid_t> find_processes(const std::string &part_of_command)
{
    static const fs::path kBinary = fs::canonical(QUILLON);
    std::vector<pid_t> found;
    std::error_code gone;
    for (const auto &process : fs::directory_iterator("/proc")) {
        if (fs::read_symlink(process.path() / "exe", gone) != kBinary)
            continue;
        std::string command = test::read_file(process.path() / "cmdline");
        std::replace(command.begin(), command.end(), '\0', ' ');
        if (command.find(part_of_command) != std::string::npos)
            found.push_back(std::stoi(process.path().filename()));
    }
    return found;
}

std::vector<pid_t> find_servers(int port)
{
    std::vector<pid_t> found = find_processes("-n_serverport " + std::to_string(port) + " ");
    std::erase_if(found, [](pid_t process) { return getsid(process) != process; });
    return found;
}

bool is_listening(int port)
{
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connected =
        connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(connection);
    return connected;
}

} // namespace soak
