/** The least a client can do: it asks, and receives the answer to the end. */
#include "request.h"

int main(int argc, char **argv)
{
    const int connection = open_request(argc, argv);
    char chunk[8192];
    ssize_t received = -1;
    do
        received = recv(connection, chunk, sizeof chunk, 0);
    while (received > 0);
    return received == 0 ? 0 : 1;
}
