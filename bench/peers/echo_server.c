/**
 * A generator that costs nothing: answers every request with so many bytes.
 *
 * Its argument: BYTES. The listening socket is its standard input. It ends with its parent.
 */
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

enum { PIECE = 64 * 1024, LAST_PIECE = 4096, PAUSE_US = 10 * 1000 };

static const char closing[] = "Code generator returned 0\n";
static char text[PIECE];

static int read_request(int client)
{
    char request[32 * 1024];
    ssize_t received = 0;
    do
        received = read(client, request, sizeof request);
    while (received > 0 && memchr(request, '\0', (size_t)received) == NULL);
    return received > 0;
}

/**
 * The launcher finds the closing line only in one receive, so it leaves in one write. Behind a
 * large answer that write comes after a pause, when the reader has caught up with the rest.
 */
static void answer(int client, size_t size)
{
    const size_t last = size < LAST_PIECE ? size : LAST_PIECE;
    for (size_t left = size - last; left > 0;) {
        const ssize_t sent = write(client, text, left < PIECE ? left : PIECE);
        if (sent <= 0)
            return;
        left -= (size_t)sent;
    }
    if (size > last)
        usleep(PAUSE_US);
    if (write(client, text + PIECE - last, last) < 0)
        return; // the client has left: the next one may stay
}

int main(int argc, char **argv)
{
    const size_t size = argc == 2 ? strtoul(argv[1], NULL, 10) : 0;
    if (size < sizeof closing - 1)
        return 2;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    memset(text, '.', sizeof text);
    memcpy(text + PIECE - (sizeof closing - 1), closing, sizeof closing - 1);
    for (;;) {
        const int client = accept(STDIN_FILENO, NULL, NULL);
        if (client < 0)
            return 1;
        if (read_request(client))
            answer(client, size);
        close(client);
    }
}
