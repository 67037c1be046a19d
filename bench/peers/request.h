/** What the clients do first. Their arguments: PORT REQUEST. */
#ifndef BENCH_PEERS_REQUEST_H
#define BENCH_PEERS_REQUEST_H

#include <arpa/inet.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

/** Connects and sends the request with its NUL, as the launcher does. Returns a socket, or -1. */
static inline int open_request(int argc, char **argv)
{
    if (argc != 3)
        return -1;
    struct sockaddr_in address = {.sin_family = AF_INET,
                                  .sin_port = htons((uint16_t)atoi(argv[1])),
                                  .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
    const size_t length = strlen(argv[2]) + 1;
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(connection, (struct sockaddr *)&address, sizeof address) != 0 ||
        send(connection, argv[2], length, 0) != (ssize_t)length)
        return -1;
    return connection;
}

#endif
