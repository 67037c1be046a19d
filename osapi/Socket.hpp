/** What the IPv4 and the IPv6 operations of sockets share. */
#ifndef WOLKCORE_OSAPI_SOCKET_HPP
#define WOLKCORE_OSAPI_SOCKET_HPP

#include "osapi/Socket.h"

#include <cstdint>

namespace zov::osapi {

/**
 * Binds to an address of either family and reports under the name of the operation.
 *
 * @return the bound port in host byte order as the platform knows it, or 0. An address in use is
 * not reported: callers try the next port.
 */
std::int32_t bind_to(const char *operation, std::int32_t socket, const sockaddr *address,
                     socklen_t length);

} // namespace zov::osapi

#endif
