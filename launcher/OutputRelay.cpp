#include "launcher/OutputRelay.h"

#include "launcher/GeneratorConnection.h"
#include "launcher/Log.hpp"
#include "launcher/StandardStreams.hpp"
#include "osapi/Owned.hpp"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::int32_t kRingSize = QUILLON_RETCODE_BUFFER_SIZE;
constexpr std::int32_t kReceiveSize = 8192;
constexpr char kReturnCodeText[] = "Code generator returned ";

void print(const char *data, std::int32_t size)
{
    quillon::write_output(data, static_cast<std::size_t>(size));
}

void copy(char *target, const char *source, std::int32_t size)
{
    std::memcpy(target, source, static_cast<std::size_t>(size));
}

bool is_equal(const char *data, const char *text, std::int32_t size)
{
    return std::strncmp(data, text, static_cast<std::size_t>(size)) == 0;
}

/** A stream of bytes in the ring: up to its end, and from its beginning on. */
struct Parts
{
    std::int32_t first;
    std::int32_t second;
};

Parts parts_of(std::int32_t start, std::int32_t n)
{
    const std::int32_t first = std::min(n, kRingSize - start);
    return {.first = first, .second = std::min(start, n - first)};
}

} // namespace

void QUILLON_retcodeBufferInitialize(QUILLONRetcodeBuffer *ring)
{
    *ring = {};
}

void QUILLON_retcodeBufferGetSizesForStream(int32_t start, int32_t n, int32_t *first,
                                            int32_t *second)
{
    const Parts parts = parts_of(start, n);
    *first = parts.first;
    *second = parts.second;
}

void QUILLON_retcodeBufferAddAndPrint(QUILLONRetcodeBuffer *ring, const char *data, int32_t n)
{
    const std::int32_t skip = std::max(n - kRingSize, 0);
    const auto [first, second] = parts_of(ring->start, n);
    if (ring->start < ring->count)
        print(ring->data + ring->start, first);
    print(ring->data, second);
    copy(ring->data + ring->start, data + skip, first);
    copy(ring->data, data + skip + first, second);
    // Kept: second never exceeds start, so start stays 0 and short pieces scramble the ring.
    // Programs rely on exactly the output that this gives.
    ring->start = second;
    ring->count = std::min(ring->count + n, kRingSize);
    if (skip > 0)
        print(data, skip);
}

void QUILLON_retcodeBufferPrintBuffer(const QUILLONRetcodeBuffer *ring)
{
    const auto [first, second] = parts_of(ring->start, ring->count);
    print(ring->data + ring->start, first);
    print(ring->data, second);
}

int32_t QUILLON_retcodeBufferReverseFind(const QUILLONRetcodeBuffer *ring, int32_t spanLength,
                                         const char *needle)
{
    if (ring->count < spanLength)
        return -1;
    const auto length = static_cast<std::int32_t>(std::strlen(needle));
    const std::int32_t begin = (ring->start + kRingSize - spanLength) % kRingSize;
    const auto [first, second] = parts_of(begin, length);
    if (!is_equal(ring->data + begin, needle, first) ||
        !is_equal(ring->data, needle + first, second))
        return -1;
    return (begin + length) % kRingSize;
}

ZOVBool QUILLON_readOutput(int socket)
{
    QUILLONRetcodeBuffer ring;
    QUILLON_retcodeBufferInitialize(&ring);
    zov::heap::Owned<char, zov::heap::Kind::Array> array;
    if (ZOVOsapiHeap_allocateArray(array.address(), kReceiveSize, char) == nullptr) {
        QUILLON_LOG(Exception, QUILLON_LOG_QUILLON_FAIL_ALLOCATE_RECV_BUFFER);
        return ZOV_FALSE;
    }
    QUILLONReceiveBuffer buffer = {.capacity = kReceiveSize, .array = array.get()};
    std::int32_t received = 0;
    do {
        received = QUILLON_socketReceive(socket, &buffer);
        if (received < 0)
            QUILLON_LOG(Exception, QUILLON_LOG_QUILLON_UNEXPECTED_CONNECTION_ERROR);
        else
            QUILLON_retcodeBufferAddAndPrint(&ring, buffer.array, received);
    } while (received > 0);

    const std::int32_t digit = QUILLON_retcodeBufferReverseFind(&ring, kRingSize, kReturnCodeText);
    if (digit == -1) {
        QUILLON_retcodeBufferPrintBuffer(&ring);
        QUILLON_LOG(Exception, QUILLON_LOG_QUILLON_UNEXPECTED_CONNECTION_CLOSE);
        return ZOV_FALSE;
    }
    const ZOVBool success = ring.data[digit] == '0';
    QUILLON_LOG(Local, QUILLON_LOG_QUILLON_RETURNCODE_d, success);
    return success;
}
