#include "launcher/GeneratorConnection.h"

#include "dds/Utility.h"
#include "launcher/Log.hpp"
#include "osapi/Socket.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::uint32_t kAttemptPeriodMs = 10;
constexpr DDS_Duration_t kAttemptPeriod = {0, kAttemptPeriodMs * 1'000'000};

/** Ignores SIGPIPE for the length of a block. */
class SigPipeIgnored
{
public:
    SigPipeIgnored()
    {
        struct sigaction ignore = {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGPIPE, &ignore, &m_before);
    }
    ~SigPipeIgnored() { sigaction(SIGPIPE, &m_before, nullptr); }
    SigPipeIgnored(const SigPipeIgnored &) = delete;
    SigPipeIgnored &operator=(const SigPipeIgnored &) = delete;

private:
    struct sigaction m_before = {};
};

bool is_connected_to_itself(int socket)
{
    sockaddr_in local = {};
    sockaddr_in peer = {};
    socklen_t local_length = sizeof local;
    socklen_t peer_length = sizeof peer;
    return getsockname(socket, reinterpret_cast<sockaddr *>(&local), &local_length) == 0 &&
           getpeername(socket, reinterpret_cast<sockaddr *>(&peer), &peer_length) == 0 &&
           local.sin_port == peer.sin_port && local.sin_addr.s_addr == peer.sin_addr.s_addr;
}

/** Puts a fresh socket in the place of one that cannot be connected again. */
void replace_socket(int socket)
{
    // Aborted, or its port, the very one that the server wants, would stay taken for a minute.
    constexpr linger kAbort = {.l_onoff = 1, .l_linger = 0};
    ZOVOsapiSocket_setOption(socket, ZOV_OSAPI_SOCKET_OPTION_LINGER, &kAbort, sizeof kAbort);
    const int fresh = ZOVOsapiSocket_create(ZOV_OSAPI_SOCKET_KIND_STREAM);
    if (fresh < 0)
        return;
    dup3(fresh, socket, O_CLOEXEC);
    close(fresh);
}

/**
 * One attempt. When the port is one of those that the platform gives to clients and nobody listens
 * on it, a socket can be given that very port and then connects to itself; that is nobody too.
 */
int connect_once(int socket, const sockaddr_in *address)
{
    const int result =
        connect(socket, reinterpret_cast<const sockaddr *>(address), sizeof *address);
    if (result != 0 || !is_connected_to_itself(socket))
        return result;
    replace_socket(socket);
    errno = ECONNREFUSED;
    return -1;
}

} // namespace

ZOVBool QUILLON_socketConnect(int socket, const sockaddr_in *address, uint32_t timeoutMs)
{
    const std::uint32_t attempts = timeoutMs / kAttemptPeriodMs;
    int result = -1;
    int error = errno;
    for (std::uint32_t attempt = 0; attempt < attempts && result != 0; ++attempt) {
        if (attempt > 0)
            WOLK_Utility_sleep(&kAttemptPeriod);
        errno = 0;
        result = connect_once(socket, address);
        error = errno;
        QUILLON_LOG(Local, QUILLON_LOG_QUILLON_CONNECTING_dd, result, error);
    }
    errno = error;
    return result == 0;
}

ZOVBool QUILLON_socketSend(int socket, const sockaddr_in *address, const QUILLONJArgsBuffer *buffer)
{
    const SigPipeIgnored no_signal;
    const ssize_t sent = sendto(socket, buffer->text, buffer->length, 0,
                                reinterpret_cast<const sockaddr *>(address), sizeof *address);
    if (sent == static_cast<ssize_t>(buffer->length))
        return ZOV_TRUE;
    QUILLON_LOG_OS_FAILURE_AS(__func__, "sendto", errno);
    return ZOV_FALSE;
}

int32_t QUILLON_socketReceive(int socket, QUILLONReceiveBuffer *buffer)
{
    sockaddr_in source = {};
    socklen_t source_length = sizeof source;
    const ssize_t received =
        recvfrom(socket, buffer->array, static_cast<std::size_t>(buffer->capacity), 0,
                 reinterpret_cast<sockaddr *>(&source), &source_length);
    if (received < 0)
        QUILLON_LOG_OS_FAILURE_AS(__func__, "recvfrom", errno);
    return static_cast<int32_t>(received);
}
