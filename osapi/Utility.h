/**
 * Small conversions and arithmetic: byte order, pointers as numbers, powers of two, tests of
 * floating-point values, random numbers.
 *
 * Threads: all operations are reentrant, except that the random generator has one state for the
 * whole process. Threads that share it get values of one sequence in any order.
 */
#ifndef WOLKCORE_OSAPI_UTILITY_H
#define WOLKCORE_OSAPI_UTILITY_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** 32 bits from the host's byte order to the network's, which is the big-endian one. */
uint32_t ZOVOsapiUtility_htonl(uint32_t value);
/** 32 bits from the network's byte order to the host's. */
uint32_t ZOVOsapiUtility_ntohl(uint32_t value);
/** 16 bits from the host's byte order to the network's. */
uint16_t ZOVOsapiUtility_htons(uint16_t value);
/** 16 bits from the network's byte order to the host's. */
uint16_t ZOVOsapiUtility_ntohs(uint16_t value);
/** TRUE when the host stores the low byte of a number first. */
ZOVBool ZOVOsapiUtility_isNativeLittleEndian(void);
/** Copies a number of `length` bytes to network byte order. The two must not overlap. */
void ZOVOsapiUtility_hostToNetworkByteOrder(void *destination, const void *source, size_t length)
    ZOV_NONNULL();

/** The low 32 bits of a pointer. */
int32_t ZOVOsapiUtility_pointerToInt(const void *pointer);
/** The pointer whose low 32 bits are the value's and whose upper ones are 0. */
void *ZOVOsapiUtility_intToPointer(int32_t value);

/** 2 to the n; 0 when that does not fit into 32 bits, and for a negative n. */
uint32_t ZOVOsapiUtility_pow2(int32_t n);
/**
 * The base-2 logarithm, rounded up, or down when wantFloor is non-zero. Of 0 it is 0 rounded up and
 * -1 rounded down.
 */
int32_t ZOVOsapiUtility_log2(uint32_t value, ZOVBool wantFloor);

/** Whether a value is not a number. */
ZOVBool ZOVOsapiUtility_isnan(double value);
/** The same for a float. */
ZOVBool ZOVOsapiUtility_isnanf(float value);
/** Whether a value is infinite, of either sign. */
ZOVBool ZOVOsapiUtility_isinf(double value);
/** The same for a float. */
ZOVBool ZOVOsapiUtility_isinff(float value);

/** Seeds the random generator, which is the platform's random(). */
void ZOVOsapiUtility_srandWithSeed(uint32_t seed);
/** Seeds it with the current time in seconds. */
void ZOVOsapiUtility_srand(void);
/** A random number from 1 to 2147483647, never 0. Seeds the generator when nobody has yet. */
int32_t ZOVOsapiUtility_rand(void);
/**
 * A random number from low to high, both included: low + round((high - low) * rand / 2147483647),
 * halves away from zero. The two ends come up half as often as the numbers between them.
 */
int32_t ZOVOsapiUtility_randRange(int32_t low, int32_t high);

ZOV_END_DECLARATIONS

#endif
