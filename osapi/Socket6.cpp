#include "osapi/Socket6.h"

#include "osapi/Socket.hpp"

int32_t ZOVOsapiSocket6_setOption(int32_t socket, uint32_t option, const void *value,
                                  int32_t length)
{
    return ZOVOsapiSocket46_setOption(socket, option, value, length, ZOV_OSAPI_SOCKET_FAMILY_IPV6);
}

int32_t ZOVOsapiSocket6_bindWithIP(int32_t socket, struct sockaddr_in6 *addressOut,
                                   const struct in6_addr *ip, int32_t port)
{
    if (addressOut == nullptr || port < 0)
        return 0;
    *addressOut = {};
    addressOut->sin6_family = AF_INET6;
    addressOut->sin6_port = htons(static_cast<std::uint16_t>(port));
    addressOut->sin6_addr = ip != nullptr ? *ip : in6addr_any;
    return zov::osapi::bind_to(__func__, socket, reinterpret_cast<const sockaddr *>(addressOut),
                               sizeof *addressOut);
}

int32_t ZOVOsapiSocket6_bind(int32_t socket, struct sockaddr_in6 *address, int32_t port)
{
    return ZOVOsapiSocket6_bindWithIP(socket, address, nullptr, port);
}
