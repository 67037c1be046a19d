/**
 * What every public header needs: C linkage and visibility, the 32-bit boolean, and the attributes
 * with which a declaration tells the compiler what a reader would ask.
 *
 * Public headers compile as C11 and as C++17.
 */
#ifndef WOLKCORE_LOG_BASE_H
#define WOLKCORE_LOG_BASE_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
/** Up to ZOV_END_DECLARATIONS: C linkage, and the shared library exports what is declared. */
#define ZOV_BEGIN_DECLARATIONS                                                                     \
    _Pragma("GCC visibility push(default)") extern "C"                                             \
    {
/** Ends what ZOV_BEGIN_DECLARATIONS began. */
#define ZOV_END_DECLARATIONS                                                                       \
    }                                                                                              \
    _Pragma("GCC visibility pop")
#else
#define ZOV_BEGIN_DECLARATIONS _Pragma("GCC visibility push(default)")
#define ZOV_END_DECLARATIONS _Pragma("GCC visibility pop")
#endif

/** TRUE (1) or FALSE (0), 32 bits wide so that its layout is the same in every record. */
typedef int32_t ZOVBool;
#define ZOV_TRUE 1  /**< what operations return; not 0 is what callers test for */
#define ZOV_FALSE 0 /**< 0 */

/** The function formats like printf: argument numbers of the format and of its first value. */
#define ZOV_PRINTF(FORMAT, FIRST) __attribute__((format(printf, FORMAT, FIRST)))
/** These pointer arguments (all of them when none is named) are never null. */
#define ZOV_NONNULL(...) __attribute__((nonnull(__VA_ARGS__)))
/** The result owns something, or is the only sign of failure. */
#define ZOV_MUST_USE __attribute__((warn_unused_result))

#endif
