/** What the system knows of the servers. */
#ifndef SOAK_CENSUS_HPP
#define SOAK_CENSUS_HPP

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace soak {

/** What a server holds; all zero when it is gone. */
struct Holdings
{
    int descriptors = 0;
    int threads = 0; /**< without those of the next line */
    int vm_workers =
        0; /**< of the collector and the compilers, which come and go as the VM likes */
    long rss_kib = 0;
};

Holdings holdings_of(pid_t server);

/**
 * Has the server's VM collect all garbage, and returns how much of its heap is used then. Nothing
 * when the VM does not answer. It answers through a thread and a socket, which it then keeps.
 */
std::optional<long> live_heap_kib(pid_t server);

/** Processes of the launcher's binary with this in their command line, separated by blanks. */
std::vector<pid_t> find_processes(const std::string &part_of_command);
/** Those of them on this port that have become servers. */
std::vector<pid_t> find_servers(int port);

/** Whether somebody accepts connections there. */
bool is_listening(int port);

} // namespace soak

#endif
