#include "launcher/StandardStreams.hpp"

#include "launcher/Log.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

// The first error of standard output. The stream itself remembers that there was one, not which.
constinit int g_output_error = 0;

void write_to_standard_error(const char *message)
{
    std::fputs(message, stderr);
}

} // namespace

void quillon::fill_closed_standard_descriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/dev/null", O_RDONLY); // takes the lowest free number, which is this one
}

void quillon::write_output(const char *data, std::size_t size)
{
    if (std::fwrite(data, 1, size, stdout) != size && g_output_error == 0)
        g_output_error = errno;
}

bool quillon::finish_output()
{
    const bool lost_before = std::ferror(stdout) != 0;
    const bool lost_now = std::fflush(stdout) != 0;
    if (!lost_before && !lost_now)
        return true;
    if (g_output_error == 0)
        g_output_error = lost_now ? errno : EIO;
    ZOVLog_registerOnMessageMethod(write_to_standard_error);
    QUILLON_LOG_OS_FAILURE_AS("main", "write", g_output_error);
    return false;
}
