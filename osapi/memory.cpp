#include "log/Log.h"
#include "osapi/heap.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::uint32_t kChunk = 32;
constexpr std::array<unsigned char, kChunk> kZeros = {};
constexpr std::uint32_t kBytesPerLine = 16;

void dump_line(const char *label, std::uint32_t offset, const unsigned char *bytes,
               std::uint32_t count)
{
    char hex[kBytesPerLine * 3 + 1] = "";
    char text[kBytesPerLine + 1] = "";
    for (std::uint32_t i = 0; i < kBytesPerLine; ++i) {
        const bool exists = i < count;
        char *place = hex + std::strlen(hex);
        const std::size_t room = sizeof hex - static_cast<std::size_t>(place - hex);
        if (exists)
            ZOVLog_snprintf(place, room, i > 0 ? " %02x" : "%02x", bytes[i]);
        else
            ZOVLog_snprintf(place, room, "   ");
        const int printable = exists && std::isprint(bytes[i]) ? bytes[i] : '.';
        text[i] = static_cast<char>(exists ? printable : ' ');
    }
    ZOVLog_debug("%s%s%08x:  %s |%s|\n", label != nullptr ? label : "", label != nullptr ? ":" : "",
                 offset, hex, text);
}

} // namespace

ZOVBool ZOVOsapiMemory_isZero(const void *buffer, uint32_t length)
{
    const auto *bytes = static_cast<const unsigned char *>(buffer);
    while (length > 0) {
        const std::uint32_t size = std::min(length, kChunk);
        if (std::memcmp(bytes, kZeros.data(), size) != 0)
            return ZOV_FALSE;
        bytes += size;
        length -= size;
    }
    return ZOV_TRUE;
}

void ZOVOsapiMemory_hexdump(const char *label, const void *buffer, uint32_t length)
{
    const auto *bytes = static_cast<const unsigned char *>(buffer);
    for (std::uint64_t offset = 0; offset < length; offset += kBytesPerLine) {
        const auto place = static_cast<std::uint32_t>(offset);
        dump_line(label, place, bytes + offset, std::min(length - place, kBytesPerLine));
    }
}
