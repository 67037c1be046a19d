/**
 * The launcher's side of its connection with the generator server: connect with retries, send the
 * one request, receive the output in pieces.
 *
 * The caller owns the socket throughout.
 */
#ifndef QUILLON_LAUNCHER_GENERATOR_CONNECTION_H
#define QUILLON_LAUNCHER_GENERATOR_CONNECTION_H

#include "launcher/ParameterManager.h"

#include <netinet/in.h>

ZOV_BEGIN_DECLARATIONS

/** Where received bytes go. */
struct QUILLONReceiveBuffer
{
    int32_t capacity; /**< bytes that array has room for */
    char *array;      /**< the caller's */
};
typedef struct QUILLONReceiveBuffer QUILLONReceiveBuffer;

/**
 * Connects, with an attempt every 10 ms.
 *
 * @param timeoutMs how long to try, which is a number of attempts: a tenth of it. Below 10 there is
 * no attempt. The time that an attempt itself takes does not count.
 * @return TRUE when connected.
 *
 * Errors: FALSE; errno is that of the last attempt, and as it was when there was none. The socket
 * can be used for further attempts. Nothing but the local-level line of each attempt is reported.
 */
ZOVBool QUILLON_socketConnect(int socket, const struct sockaddr_in *address, uint32_t timeoutMs);

/**
 * Sends the whole buffer in one go. A peer that went away is an error, not a signal.
 *
 * Errors: FALSE, with an OS failure of "sendto" reported, also when only a part was sent; errno is
 * that of the send.
 */
ZOVBool QUILLON_socketSend(int socket, const struct sockaddr_in *address,
                           const struct QUILLONJArgsBuffer *buffer);

/**
 * Receives what is there, at most the capacity; waits when there is nothing.
 *
 * @return the number of bytes, 0 at the end of the stream.
 *
 * Errors: -1, with an OS failure of "recvfrom" reported.
 */
int32_t QUILLON_socketReceive(int socket, struct QUILLONReceiveBuffer *buffer);

ZOV_END_DECLARATIONS

#endif
