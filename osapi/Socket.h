/**
 * Sockets behind portable kinds and option bits.
 *
 * A socket is the platform's descriptor: 0 or more is valid, a negative value is not. Addresses are
 * the platform's records, in network byte order unless an operation says otherwise.
 *
 * Failures of the platform are reported as "OS %s() failure, error %#X: %s\n" with the name of the
 * platform function; errno is left as the platform set it.
 *
 * Threads: every operation may be called by any thread; two threads that use one socket at once
 * get what the platform promises.
 *
 *     int32_t socket = ZOVOsapiSocket_create(ZOV_OSAPI_SOCKET_KIND_STREAM);
 *     struct sockaddr_in address;
 *     int32_t port = ZOVOsapiSocket_bind(socket, &address, 0);      // any free port
 */
#ifndef WOLKCORE_OSAPI_SOCKET_H
#define WOLKCORE_OSAPI_SOCKET_H

#include "log/Base.h"

#include <netinet/in.h>
#include <sys/socket.h>

ZOV_BEGIN_DECLARATIONS

/* Kinds for ZOVOsapiSocket_create; 2 and 3 mean the same as 0 and 1. */
#define ZOV_OSAPI_SOCKET_KIND_DATAGRAM 0   /**< UDP over IPv4 */
#define ZOV_OSAPI_SOCKET_KIND_STREAM 1     /**< TCP over IPv4 */
#define ZOV_OSAPI_SOCKET_KIND_DATAGRAM6 16 /**< UDP over IPv6 */
#define ZOV_OSAPI_SOCKET_KIND_STREAM6 17   /**< TCP over IPv6 */

/* Address families of the option maps and of ZOVOsapiSocket_addressFamilyFromKind. */
#define ZOV_OSAPI_SOCKET_FAMILY_IPV4 1 /**< AF_INET */
#define ZOV_OSAPI_SOCKET_FAMILY_IPV6 2 /**< AF_INET6 */

/* Portable option bits, one a call, and what their values are; ints unless said otherwise. */
#define ZOV_OSAPI_SOCKET_OPTION_REUSE_ADDRESS 0x1u   /**< 1: bind to an address that lingers */
#define ZOV_OSAPI_SOCKET_OPTION_SEND_BUFFER 0x2u     /**< bytes; the platform may double them */
#define ZOV_OSAPI_SOCKET_OPTION_RECEIVE_BUFFER 0x4u  /**< bytes; the platform may double them */
#define ZOV_OSAPI_SOCKET_OPTION_DROP_MEMBERSHIP 0x8u /**< ip_mreq or ipv6_mreq; write only */
#define ZOV_OSAPI_SOCKET_OPTION_ADD_MEMBERSHIP 0x10u /**< ip_mreq or ipv6_mreq; write only */
#define ZOV_OSAPI_SOCKET_OPTION_MULTICAST_TTL 0x20u  /**< hops */
#define ZOV_OSAPI_SOCKET_OPTION_MULTICAST_INTERFACE 0x40u /**< in_addr; for IPv6 an index */
#define ZOV_OSAPI_SOCKET_OPTION_MULTICAST_LOOP 0x80u      /**< 1: groups of this host hear it too */
#define ZOV_OSAPI_SOCKET_OPTION_BLOCKING 0x100u  /**< 1: calls wait; 0: they return at once */
#define ZOV_OSAPI_SOCKET_OPTION_NO_DELAY 0x200u  /**< 1: send small pieces at once */
#define ZOV_OSAPI_SOCKET_OPTION_BROADCAST 0x400u /**< 1: broadcasts may be sent */
#define ZOV_OSAPI_SOCKET_OPTION_LINGER 0x800u    /**< struct linger, for closing */
#define ZOV_OSAPI_SOCKET_OPTION_TYPE_OF_SERVICE 0x1000u   /**< the byte in the IP header */
#define ZOV_OSAPI_SOCKET_OPTION_IPV6_ONLY 0x2000u         /**< 1: no IPv4; for IPv6 alone */
#define ZOV_OSAPI_SOCKET_OPTION_NO_CHECK 0x4000u          /**< 1: no UDP checksums */
#define ZOV_OSAPI_SOCKET_OPTION_EXCLUSIVE_ADDRESS 0x8000u /**< not on this platform */

/** Result for the option that the platform does not have. */
#define ZOV_OSAPI_SOCKET_UNSUPPORTED (-1004)

/** One piece of a message that is sent in one go. */
struct ZOVOsapiSocketGatherBuffer
{
    uint32_t length; /**< in bytes */
    void *pointer;   /**< borrowed */
};
typedef struct ZOVOsapiSocketGatherBuffer ZOVOsapiSocketGatherBuffer;

/** Readies the module; calling it again does nothing. Returns TRUE. */
ZOVBool ZOVOsapiSocketModule_init(void);
/** Does nothing: the module holds nothing. */
void ZOVOsapiSocketModule_finalize(void);

/**
 * Opens a socket of a kind, with close-on-exec set unless it became descriptor 0.
 *
 * Errors: -1 with "!precondition\n" for an unknown kind, or with an OS failure of "socket". A
 * close-on-exec that cannot be set is a warning, and the socket is returned all the same.
 * Ownership: the caller's; close it with the platform's close.
 */
ZOV_MUST_USE int32_t ZOVOsapiSocket_create(int32_t kind);

/** AF_INET for family 1, AF_INET6 for 2; 0 with "!family not supported\n" for any other. */
int32_t ZOVOsapiSocket_addressFamilyFromKind(int32_t kind);

/**
 * Looks up the first IPv4 address of a host; null means this host.
 *
 * @param addressOut receives at most four bytes in network byte order, such as a sin_addr.
 * @return 0 on success and -1 on failure: unlike elsewhere, callers test for non-zero.
 *
 * Errors: -1 with a resolver failure that names the host, or an OS failure of "gethostname".
 * Threads: one look-up at a time; the platform's record is shared.
 */
ZOV_MUST_USE int32_t ZOVOsapiSocket_getHostByName(void *addressOut, const char *name);

/**
 * Binds to an IPv4 address (in host byte order) and a port; port 0 means any free one. The low 16
 * bits of the port count.
 *
 * @param addressOut receives what was asked to be bound.
 * @return the bound port in host byte order, or 0.
 *
 * Errors: 0 for a null address or a negative port; 0 without a report for an address in use; 0 with
 * an OS failure of "bind" or "getsockname" otherwise.
 */
int32_t ZOVOsapiSocket_bindWithIP(int32_t socket, struct sockaddr_in *addressOut, uint32_t ip,
                                  int32_t port);
/** The same on all addresses of this host. */
int32_t ZOVOsapiSocket_bind(int32_t socket, struct sockaddr_in *address, int32_t port);

/**
 * Reads an option, mapped for IPv4. For the blocking mode the value is an int32_t: 1 or 0.
 *
 * @param length bytes at value before the call, bytes written after it.
 * @return 0, or what ZOVOsapiSocket46_setOption returns and reports, with "getsockopt" in the place
 * of "setsockopt". The value is then as it was.
 *
 * errno is 0 after a success, whatever it was before.
 */
int32_t ZOVOsapiSocket_getOption(int32_t socket, uint32_t option, void *value, int32_t *length);

/**
 * Sets an option, mapped for a family. For the blocking mode the value is an int32_t.
 *
 * @param length bytes at value.
 * @param family ZOV_OSAPI_SOCKET_FAMILY_....
 * @return 0, or -1 with "!precondition\n" for a bit that the family does not have and for a
 * blocking mode without its value, -1 with an OS failure of "setsockopt" or "fcntl", or
 * ZOV_OSAPI_SOCKET_UNSUPPORTED with the warning "!Exclusive address use not supported\n".
 */
int32_t ZOVOsapiSocket46_setOption(int32_t socket, uint32_t option, const void *value,
                                   int32_t length, int32_t family);
/** The same, mapped for IPv4; for an IPv6 socket use ZOVOsapiSocket6_setOption. */
int32_t ZOVOsapiSocket_setOption(int32_t socket, uint32_t option, const void *value,
                                 int32_t length);

/**
 * Makes calls on the socket wait (1) or return at once (0).
 *
 * @return 0.
 *
 * Errors: -1 with "!precondition\n" for another value, or with an OS failure of "fcntl".
 */
int32_t ZOVOsapiSocket_setBlocking(int32_t socket, int32_t value);

/** The platform's ioctl, passed straight through: -1 with errno set, and nothing reported. */
int32_t ZOVOsapiSocket_ioctl(int32_t socket, unsigned long request, void *argument);

/**
 * Sends once. A null address sends to the peer of a connected socket.
 *
 * @return the bytes sent, or -1.
 *
 * Errors: a failed or short send is a warning, an OS failure of "sendto"; after a short one errno
 * tells nothing.
 */
int32_t ZOVOsapiSocket_sendTo(int32_t socket, const void *data, uint32_t length,
                              const struct sockaddr *address, uint32_t addressLength);

/**
 * Receives once.
 *
 * @param address receives the sender, or null; addressLength is its size before and after.
 * @return the bytes received, 0 at the end of a stream, or -1 with an OS failure of "recvfrom".
 */
int32_t ZOVOsapiSocket_recvFrom(int32_t socket, void *data, uint32_t length,
                                struct sockaddr *address, uint32_t *addressLength);

/** At most so many pieces make up a message. */
#define ZOV_OSAPI_SOCKET_GATHER_MAX 64

/**
 * Sends one message, gathered from pieces, on each socket of a list in turn. Entries with all bits
 * set are skipped.
 *
 * @return what the last send returned, or 0 when nothing was sent.
 *
 * Errors: a failed send is a warning, and the next socket has its turn; -1 with "!precondition\n",
 * and nothing sent, for a negative count or more pieces than ZOV_OSAPI_SOCKET_GATHER_MAX.
 */
int32_t ZOVOsapiSocket_sendMessageN(const int32_t *sockets, int32_t socketCount,
                                    const struct ZOVOsapiSocketGatherBuffer *gather,
                                    int32_t gatherCount, const struct sockaddr *destination,
                                    uint32_t destinationLength);

/** Zeroes the piece. Returns TRUE. */
ZOVBool ZOVOsapiSocketGatherBuffer_init(struct ZOVOsapiSocketGatherBuffer *buffer) ZOV_NONNULL();
/** Does nothing: a piece owns nothing. */
void ZOVOsapiSocketGatherBuffer_finalize(struct ZOVOsapiSocketGatherBuffer *buffer);

/**
 * Joins an IPv6 multicast group on an interface (by index, 0 means any).
 *
 * @return 0.
 *
 * Errors: -1 with "!bad address family\n" for another family, or as ZOVOsapiSocket46_setOption.
 */
int32_t ZOVOsapiSocket_multicastAdd(int32_t socket, const struct sockaddr_in6 *group,
                                    uint32_t interfaceIndex) ZOV_NONNULL();
/** Leaves the group. What it reports stands under the name of the join operation. */
int32_t ZOVOsapiSocket_multicastDrop(int32_t socket, const struct sockaddr_in6 *group,
                                     uint32_t interfaceIndex) ZOV_NONNULL();

/** Returns 0: nothing needs to be done on this platform. */
int32_t ZOVOsapiSocket_ignore_port_unreachable_on_receive(void);

ZOV_END_DECLARATIONS

#endif
