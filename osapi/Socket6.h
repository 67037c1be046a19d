/**
 * What differs for IPv6 sockets: addresses and the option map. Everything else is osapi/Socket.h.
 */
#ifndef WOLKCORE_OSAPI_SOCKET6_H
#define WOLKCORE_OSAPI_SOCKET6_H

#include "osapi/Socket.h"

ZOV_BEGIN_DECLARATIONS

/** ZOVOsapiSocket46_setOption, mapped for IPv6. */
int32_t ZOVOsapiSocket6_setOption(int32_t socket, uint32_t option, const void *value,
                                  int32_t length);

/**
 * Binds to an IPv6 address (network byte order; null means all addresses of this host) and a port.
 *
 * Results and errors as ZOVOsapiSocket_bindWithIP.
 */
int32_t ZOVOsapiSocket6_bindWithIP(int32_t socket, struct sockaddr_in6 *addressOut,
                                   const struct in6_addr *ip, int32_t port);
/** The same on all addresses of this host. */
int32_t ZOVOsapiSocket6_bind(int32_t socket, struct sockaddr_in6 *address, int32_t port);

ZOV_END_DECLARATIONS

#endif
