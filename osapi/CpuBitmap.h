/**
 * Sets of CPUs, for the affinity of threads.
 *
 * Threads: the operations touch only their arguments.
 *
 *     struct ZOVOsapiCpuBitmap cpus = {{0x24}, ZOV_OSAPI_CPU_ROTATION_NONE, 2, 0};   // 2 and 5
 */
#ifndef WOLKCORE_OSAPI_CPU_BITMAP_H
#define WOLKCORE_OSAPI_CPU_BITMAP_H

#include "log/Base.h"

#include <sched.h>

ZOV_BEGIN_DECLARATIONS

/** The words of a bitmap: room for 1024 CPUs. */
#define ZOV_OSAPI_CPU_BITMAP_WORDS 32
/** A thread may use all CPUs of the bitmap. */
#define ZOV_OSAPI_CPU_ROTATION_NONE 0u
/** A thread uses one CPU of the bitmap, chosen by the rotation index. */
#define ZOV_OSAPI_CPU_ROTATION_ROUND_ROBIN 1u

/** A set of CPUs, and how threads are spread over it. */
struct ZOVOsapiCpuBitmap
{
    uint32_t word[ZOV_OSAPI_CPU_BITMAP_WORDS]; /**< CPU n is bit n % 32 of word n / 32 */
    uint32_t rotation;                         /**< ZOV_OSAPI_CPU_ROTATION_... */
    int32_t count;                             /**< CPUs in the bitmap; 0 means no affinity */
    int32_t index;                             /**< rotation index */
};
typedef struct ZOVOsapiCpuBitmap ZOVOsapiCpuBitmap;

/** Whether CPUs, rotation and count are the same; where the rotation stands does not matter. */
ZOVBool ZOVOsapiCpuBitmap_equals(const struct ZOVOsapiCpuBitmap *left,
                                 const struct ZOVOsapiCpuBitmap *right) ZOV_NONNULL();

/**
 * Writes the CPUs as decimal numbers joined by commas, cut to `size` bytes with the terminator.
 *
 * @return the buffer.
 */
char *ZOVOsapiCpuBitmap_toStringI(const struct ZOVOsapiCpuBitmap *bitmap, char *buffer,
                                  int32_t size) ZOV_NONNULL();

/* The platform has the type for _GNU_SOURCE alone. */
#ifdef CPU_SETSIZE
/**
 * Turns a bitmap into the platform's set: all its CPUs, or the one that is index % count of them.
 * An unknown rotation gives the empty set.
 */
void ZOVOsapiCpuBitmap_toCpuset(const struct ZOVOsapiCpuBitmap *bitmap, cpu_set_t *cpuSet)
    ZOV_NONNULL();

/** The same as ZOVOsapiCpuBitmap_toStringI for the platform's set. */
char *ZOVOsapiCpuBitmap_cpusetToString(const cpu_set_t *cpuSet, char *buffer, int32_t size)
    ZOV_NONNULL();
#endif

ZOV_END_DECLARATIONS

#endif
