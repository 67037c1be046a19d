#include "osapi/CpuBitmap.h"

#include "log/Log.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

static_assert(sizeof(ZOVOsapiCpuBitmap) == 140);

namespace {

constexpr int kCpus = ZOV_OSAPI_CPU_BITMAP_WORDS * 32;
static_assert(kCpus <= CPU_SETSIZE);

bool has_cpu(const ZOVOsapiCpuBitmap &bitmap, int cpu)
{
    return (bitmap.word[cpu / 32] >> (cpu % 32) & 1) != 0;
}

/** Writes the numbers for which `has` answers true. */
template <class Has>
char *print(char *buffer, std::int32_t size, Has has)
{
    if (size <= 0)
        return buffer;
    buffer[0] = '\0';
    std::size_t length = 0;
    for (int cpu = 0; cpu < kCpus; ++cpu) {
        if (!has(cpu))
            continue;
        const std::size_t room = static_cast<std::size_t>(size) - length;
        const int written = ZOVLog_snprintf(buffer + length, room, length == 0 ? "%d" : ",%d", cpu);
        if (written < 0)
            break;
        length += static_cast<std::size_t>(written);
    }
    return buffer;
}

} // namespace

ZOVBool ZOVOsapiCpuBitmap_equals(const ZOVOsapiCpuBitmap *left, const ZOVOsapiCpuBitmap *right)
{
    return std::equal(std::begin(left->word), std::end(left->word), std::begin(right->word)) &&
           left->rotation == right->rotation && left->count == right->count;
}

char *ZOVOsapiCpuBitmap_toStringI(const ZOVOsapiCpuBitmap *bitmap, char *buffer, int32_t size)
{
    return print(buffer, size, [bitmap](int cpu) { return has_cpu(*bitmap, cpu); });
}

void ZOVOsapiCpuBitmap_toCpuset(const ZOVOsapiCpuBitmap *bitmap, cpu_set_t *cpuSet)
{
    CPU_ZERO(cpuSet);
    const bool one = bitmap->rotation == ZOV_OSAPI_CPU_ROTATION_ROUND_ROBIN;
    if (!one && bitmap->rotation != ZOV_OSAPI_CPU_ROTATION_NONE)
        return;
    int skip = one && bitmap->count > 0 ? bitmap->index % bitmap->count : 0;
    if (skip < 0)
        skip += bitmap->count; // the index of one who counts on for long is negative at last
    for (int cpu = 0; cpu < kCpus; ++cpu) {
        if (!has_cpu(*bitmap, cpu) || (one && skip-- != 0))
            continue;
        CPU_SET(cpu, cpuSet);
        if (one)
            return;
    }
}

char *ZOVOsapiCpuBitmap_cpusetToString(const cpu_set_t *cpuSet, char *buffer, int32_t size)
{
    return print(buffer, size, [cpuSet](int cpu) { return CPU_ISSET(cpu, cpuSet) != 0; });
}
