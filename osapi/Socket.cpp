#include "osapi/Socket.hpp"

#include "log/Relaxed.hpp"
#include "osapi/Log.hpp"
#include "osapi/Socket6.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/uio.h>
#include <unistd.h>

static_assert(sizeof(sockaddr_in) == 16);
static_assert(sizeof(ipv6_mreq) == 20);

namespace {

constinit bool g_initialized = false;

struct Kind
{
    std::int32_t kind;
    int family;
    int type;
};

constexpr Kind kKinds[] = {
    {ZOV_OSAPI_SOCKET_KIND_DATAGRAM, AF_INET, SOCK_DGRAM},
    {ZOV_OSAPI_SOCKET_KIND_STREAM, AF_INET, SOCK_STREAM},
    {2, AF_INET, SOCK_DGRAM},
    {3, AF_INET, SOCK_STREAM},
    {ZOV_OSAPI_SOCKET_KIND_DATAGRAM6, AF_INET6, SOCK_DGRAM},
    {ZOV_OSAPI_SOCKET_KIND_STREAM6, AF_INET6, SOCK_STREAM},
};

struct PlatformOption
{
    int level;
    int name;
};

constexpr PlatformOption kNoOption = {-1, -1};

struct Option
{
    std::uint32_t bit;
    PlatformOption ipv4;
    PlatformOption ipv6;
};

constexpr Option same(std::uint32_t bit, PlatformOption both)
{
    return {bit, both, both};
}

// The blocking mode and the exclusive use of an address are no options of the platform.
constexpr Option kOptions[] = {
    same(ZOV_OSAPI_SOCKET_OPTION_REUSE_ADDRESS, {SOL_SOCKET, SO_REUSEADDR}),
    same(ZOV_OSAPI_SOCKET_OPTION_SEND_BUFFER, {SOL_SOCKET, SO_SNDBUF}),
    same(ZOV_OSAPI_SOCKET_OPTION_RECEIVE_BUFFER, {SOL_SOCKET, SO_RCVBUF}),
    {ZOV_OSAPI_SOCKET_OPTION_DROP_MEMBERSHIP,
     {IPPROTO_IP, IP_DROP_MEMBERSHIP},
     {IPPROTO_IPV6, IPV6_LEAVE_GROUP}},
    {ZOV_OSAPI_SOCKET_OPTION_ADD_MEMBERSHIP,
     {IPPROTO_IP, IP_ADD_MEMBERSHIP},
     {IPPROTO_IPV6, IPV6_JOIN_GROUP}},
    {ZOV_OSAPI_SOCKET_OPTION_MULTICAST_TTL,
     {IPPROTO_IP, IP_MULTICAST_TTL},
     {IPPROTO_IPV6, IPV6_MULTICAST_HOPS}},
    {ZOV_OSAPI_SOCKET_OPTION_MULTICAST_INTERFACE,
     {IPPROTO_IP, IP_MULTICAST_IF},
     {IPPROTO_IPV6, IPV6_MULTICAST_IF}},
    {ZOV_OSAPI_SOCKET_OPTION_MULTICAST_LOOP,
     {IPPROTO_IP, IP_MULTICAST_LOOP},
     {IPPROTO_IPV6, IPV6_MULTICAST_LOOP}},
    same(ZOV_OSAPI_SOCKET_OPTION_NO_DELAY, {IPPROTO_TCP, TCP_NODELAY}),
    same(ZOV_OSAPI_SOCKET_OPTION_BROADCAST, {SOL_SOCKET, SO_BROADCAST}),
    same(ZOV_OSAPI_SOCKET_OPTION_LINGER, {SOL_SOCKET, SO_LINGER}),
    {ZOV_OSAPI_SOCKET_OPTION_TYPE_OF_SERVICE, {IPPROTO_IP, IP_TOS}, {IPPROTO_IPV6, IPV6_TCLASS}},
    {ZOV_OSAPI_SOCKET_OPTION_IPV6_ONLY, kNoOption, {IPPROTO_IPV6, IPV6_V6ONLY}},
    same(ZOV_OSAPI_SOCKET_OPTION_NO_CHECK, {SOL_SOCKET, SO_NO_CHECK}),
};

PlatformOption platform_option(std::uint32_t bit, std::int32_t family)
{
    const auto *const option = std::ranges::find(kOptions, bit, &Option::bit);
    if (option == std::end(kOptions))
        return kNoOption;
    if (family == ZOV_OSAPI_SOCKET_FAMILY_IPV4)
        return option->ipv4;
    return family == ZOV_OSAPI_SOCKET_FAMILY_IPV6 ? option->ipv6 : kNoOption;
}

std::int32_t report_precondition(const char *operation)
{
    OSAPI_LOG_AS(Exception, kSubmoduleSocket, operation, ZOV_LOG_PRECONDITION_FAILURE);
    return -1;
}

/** Reports a bit that cannot be mapped. Returns what its operation returns. */
std::int32_t report_unmapped(const char *operation, std::uint32_t bit)
{
    if (bit != ZOV_OSAPI_SOCKET_OPTION_EXCLUSIVE_ADDRESS)
        return report_precondition(operation);
    OSAPI_LOG_AS(Warning, kSubmoduleSocket, operation, ZOV_LOG_ANY_FAILURE_s,
                 "Exclusive address use not supported");
    return ZOV_OSAPI_SOCKET_UNSUPPORTED;
}

void report_os_failure(const char *operation, const char *function)
{
    const int error = errno;
    OSAPI_LOG_AS(Exception, kSubmoduleSocket, operation, ZOV_LOG_OS_FAILURE_sXs, function, error,
                 zov::osapi::ErrorText(error).text());
}

/** Joins or leaves a group; both speak as the join operation. */
std::int32_t change_membership(std::int32_t socket, const sockaddr_in6 &group,
                               std::uint32_t interface_index, std::uint32_t option)
{
    if (group.sin6_family != AF_INET6) {
        // Kept: whoever filters the log for the one name finds failed leaves too.
        OSAPI_LOG_AS(Exception, kSubmoduleSocket, "ZOVOsapiSocket_multicastAdd",
                     ZOV_LOG_ANY_FAILURE_s, "bad address family");
        return -1;
    }
    const ipv6_mreq request = {.ipv6mr_multiaddr = group.sin6_addr,
                               .ipv6mr_interface = interface_index};
    return ZOVOsapiSocket6_setOption(socket, option, &request, sizeof request);
}

} // namespace

std::int32_t zov::osapi::bind_to(const char *operation, std::int32_t socket,
                                 const sockaddr *address, socklen_t length)
{
    if (bind(socket, address, length) != 0) {
        if (errno != EADDRINUSE)
            report_os_failure(operation, "bind");
        return 0;
    }
    // The larger record serves both families: they keep the port at the same place.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    sockaddr_in6 bound = {};
    socklen_t bound_length = sizeof bound;
    if (getsockname(socket, reinterpret_cast<sockaddr *>(&bound), &bound_length) != 0) {
        report_os_failure(operation, "getsockname");
        return 0;
    }
    return ntohs(bound.sin6_port);
}

ZOVBool ZOVOsapiSocketModule_init(void)
{
    if (!zov::relaxed_load(g_initialized))
        zov::relaxed_store(g_initialized, true);
    return ZOV_TRUE;
}

void ZOVOsapiSocketModule_finalize(void) {}

int32_t ZOVOsapiSocket_create(int32_t kind)
{
    const auto *const found = std::ranges::find(kKinds, kind, &Kind::kind);
    if (found == std::end(kKinds))
        return report_precondition(__func__);
    const int descriptor = socket(found->family, found->type, 0);
    if (descriptor < 0) {
        report_os_failure(__func__, "socket");
        return -1;
    }
    // Kept: a socket in the place of standard input is inherited like a standard input.
    if (descriptor > 0 && fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0)
        OSAPI_LOG_OS_FAILURE(Warning, kSubmoduleSocket, "fcntl(FD_CLOEXEC)", errno);
    return descriptor;
}

int32_t ZOVOsapiSocket_addressFamilyFromKind(int32_t kind)
{
    switch (kind) {
    case ZOV_OSAPI_SOCKET_FAMILY_IPV4:
        return AF_INET;
    case ZOV_OSAPI_SOCKET_FAMILY_IPV6:
        return AF_INET6;
    default:
        OSAPI_LOG(Exception, kSubmoduleSocket, ZOV_LOG_ANY_FAILURE_s, "family not supported");
        return 0;
    }
}

int32_t ZOVOsapiSocket_getHostByName(void *addressOut, const char *name)
{
    constexpr std::size_t kHostNameSize = 63;
    ZOVOsapiSocketModule_init();
    char host_name[kHostNameSize + 1] = {};
    if (name == nullptr) {
        if (gethostname(host_name, kHostNameSize) != 0) {
            report_os_failure(__func__, "gethostname");
            return -1;
        }
        name = host_name;
    }
    const hostent *host = gethostbyname(name);
    if (host == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleSocket, ZOV_OSAPI_SOCKET_LOG_RESOLVER_FAILURE_sXss,
                  "gethostbyname", h_errno, hstrerror(h_errno), name);
        return -1;
    }
    std::memcpy(addressOut, host->h_addr_list[0],
                std::min(static_cast<std::size_t>(host->h_length), sizeof(in_addr)));
    return 0;
}

int32_t ZOVOsapiSocket_bindWithIP(int32_t socket, struct sockaddr_in *addressOut, uint32_t ip,
                                  int32_t port)
{
    if (addressOut == nullptr || port < 0)
        return 0;
    *addressOut = {};
    addressOut->sin_family = AF_INET;
    addressOut->sin_port = htons(static_cast<std::uint16_t>(port));
    addressOut->sin_addr.s_addr = htonl(ip);
    return zov::osapi::bind_to(__func__, socket, reinterpret_cast<const sockaddr *>(addressOut),
                               sizeof *addressOut);
}

int32_t ZOVOsapiSocket_bind(int32_t socket, struct sockaddr_in *address, int32_t port)
{
    return ZOVOsapiSocket_bindWithIP(socket, address, INADDR_ANY, port);
}

int32_t ZOVOsapiSocket_getOption(int32_t socket, uint32_t option, void *value, int32_t *length)
{
    errno = 0;
    if (option == ZOV_OSAPI_SOCKET_OPTION_BLOCKING) {
        std::int32_t blocking = 0;
        if (value == nullptr || length == nullptr ||
            *length < static_cast<std::int32_t>(sizeof blocking))
            return report_precondition(__func__);
        const int flags = fcntl(socket, F_GETFL);
        if (flags == -1) {
            report_os_failure(__func__, "fcntl");
            return -1;
        }
        blocking = (flags & O_NONBLOCK) == 0 ? 1 : 0;
        std::memcpy(value, &blocking, sizeof blocking);
        *length = sizeof blocking;
        return 0;
    }
    const PlatformOption mapped = platform_option(option, ZOV_OSAPI_SOCKET_FAMILY_IPV4);
    if (mapped.level < 0)
        return report_unmapped(__func__, option);
    if (getsockopt(socket, mapped.level, mapped.name, value,
                   reinterpret_cast<socklen_t *>(length)) == 0)
        return 0;
    report_os_failure(__func__, "getsockopt");
    return -1;
}

int32_t ZOVOsapiSocket46_setOption(int32_t socket, uint32_t option, const void *value,
                                   int32_t length, int32_t family)
{
    if (option == ZOV_OSAPI_SOCKET_OPTION_BLOCKING) {
        std::int32_t blocking = 0;
        if (value == nullptr || length < static_cast<std::int32_t>(sizeof blocking))
            return report_precondition(__func__);
        std::memcpy(&blocking, value, sizeof blocking);
        return ZOVOsapiSocket_setBlocking(socket, blocking);
    }
    const PlatformOption mapped = platform_option(option, family);
    if (mapped.level < 0)
        return report_unmapped(__func__, option);
    if (setsockopt(socket, mapped.level, mapped.name, value, static_cast<socklen_t>(length)) == 0)
        return 0;
    report_os_failure(__func__, "setsockopt");
    return -1;
}

int32_t ZOVOsapiSocket_setOption(int32_t socket, uint32_t option, const void *value, int32_t length)
{
    return ZOVOsapiSocket46_setOption(socket, option, value, length, ZOV_OSAPI_SOCKET_FAMILY_IPV4);
}

int32_t ZOVOsapiSocket_setBlocking(int32_t socket, int32_t value)
{
    if (value != 0 && value != 1)
        return report_precondition(__func__);
    const int flags = fcntl(socket, F_GETFL);
    const int wanted = value == 1 ? flags & ~O_NONBLOCK : flags | O_NONBLOCK;
    if (flags != -1 && fcntl(socket, F_SETFL, wanted) == 0)
        return 0;
    report_os_failure(__func__, "fcntl");
    return -1;
}

int32_t ZOVOsapiSocket_ioctl(int32_t socket, unsigned long request, void *argument)
{
    return ioctl(socket, request, argument);
}

int32_t ZOVOsapiSocket_sendTo(int32_t socket, const void *data, uint32_t length,
                              const struct sockaddr *address, uint32_t addressLength)
{
    const ssize_t sent = sendto(socket, data, length, 0, address, addressLength);
    if (sent != static_cast<ssize_t>(length))
        OSAPI_LOG_OS_FAILURE(Warning, kSubmoduleSocket, "sendto", errno);
    return static_cast<std::int32_t>(sent);
}

int32_t ZOVOsapiSocket_recvFrom(int32_t socket, void *data, uint32_t length,
                                struct sockaddr *address, uint32_t *addressLength)
{
    const ssize_t received = recvfrom(socket, data, length, 0, address, addressLength);
    if (received < 0)
        report_os_failure(__func__, "recvfrom");
    return static_cast<std::int32_t>(received);
}

int32_t ZOVOsapiSocket_sendMessageN(const int32_t *sockets, int32_t socketCount,
                                    const struct ZOVOsapiSocketGatherBuffer *gather,
                                    int32_t gatherCount, const struct sockaddr *destination,
                                    uint32_t destinationLength)
{
    if (socketCount < 0 || gatherCount < 0 || gatherCount > ZOV_OSAPI_SOCKET_GATHER_MAX)
        return report_precondition(__func__);
    iovec pieces[ZOV_OSAPI_SOCKET_GATHER_MAX];
    for (std::int32_t i = 0; i < gatherCount; ++i)
        pieces[i] = {.iov_base = gather[i].pointer, .iov_len = gather[i].length};
    msghdr message = {};
    message.msg_name = const_cast<sockaddr *>(destination);
    message.msg_namelen = destinationLength;
    message.msg_iov = pieces;
    message.msg_iovlen = static_cast<std::size_t>(gatherCount);

    constexpr std::int32_t kInvalidSocket = -1;
    ssize_t sent = 0;
    for (std::int32_t i = 0; i < socketCount; ++i) {
        if (sockets[i] == kInvalidSocket)
            continue;
        sent = sendmsg(sockets[i], &message, 0);
        if (sent < 0)
            OSAPI_LOG_OS_FAILURE(Warning, kSubmoduleSocket, "sendmsg", errno);
    }
    return static_cast<std::int32_t>(sent);
}

ZOVBool ZOVOsapiSocketGatherBuffer_init(struct ZOVOsapiSocketGatherBuffer *buffer)
{
    *buffer = {};
    return ZOV_TRUE;
}

void ZOVOsapiSocketGatherBuffer_finalize(struct ZOVOsapiSocketGatherBuffer *) {}

int32_t ZOVOsapiSocket_multicastAdd(int32_t socket, const struct sockaddr_in6 *group,
                                    uint32_t interfaceIndex)
{
    return change_membership(socket, *group, interfaceIndex,
                             ZOV_OSAPI_SOCKET_OPTION_ADD_MEMBERSHIP);
}

int32_t ZOVOsapiSocket_multicastDrop(int32_t socket, const struct sockaddr_in6 *group,
                                     uint32_t interfaceIndex)
{
    return change_membership(socket, *group, interfaceIndex,
                             ZOV_OSAPI_SOCKET_OPTION_DROP_MEMBERSHIP);
}

int32_t ZOVOsapiSocket_ignore_port_unreachable_on_receive(void)
{
    return 0;
}
