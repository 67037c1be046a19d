/** The plainest relay: what one read gives, one write passes on. It holds nothing back. */
#include "request.h"

#include <unistd.h>

int main(int argc, char **argv)
{
    const int connection = open_request(argc, argv);
    char chunk[8192];
    for (;;) {
        const ssize_t received = read(connection, chunk, sizeof chunk);
        if (received <= 0)
            return received == 0 ? 0 : 1;
        if (write(STDOUT_FILENO, chunk, (size_t)received) != received)
            return 1;
    }
}
