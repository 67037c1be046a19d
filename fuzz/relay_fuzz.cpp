// Any series of pieces: the ring stays within its bounds, and a piece of at least 26 bytes is held
// back exactly.
#include "launcher/OutputRelay.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    static FILE *const null = std::freopen("/dev/null", "w", stdout);
    if (null == nullptr)
        std::abort();
    QUILLONRetcodeBuffer ring;
    QUILLON_retcodeBufferInitialize(&ring);
    while (size > 0) {
        // The first byte of a piece says how long it is.
        const std::size_t length = std::min<std::size_t>(data[0], size - 1);
        const auto *piece = reinterpret_cast<const char *>(data + 1);
        QUILLON_retcodeBufferAddAndPrint(&ring, piece, static_cast<int32_t>(length));
        if (ring.start != 0 || ring.count < 0 || ring.count > QUILLON_RETCODE_BUFFER_SIZE)
            std::abort();
        if (length >= QUILLON_RETCODE_BUFFER_SIZE &&
            std::memcmp(ring.data, piece + length - QUILLON_RETCODE_BUFFER_SIZE,
                        QUILLON_RETCODE_BUFFER_SIZE) != 0)
            std::abort();
        const int32_t found =
            QUILLON_retcodeBufferReverseFind(&ring, 26, "Code generator returned ");
        if (found != -1 && found != 24)
            std::abort();
        data += 1 + length;
        size -= 1 + length;
    }
    QUILLON_retcodeBufferPrintBuffer(&ring);
    return 0;
}
