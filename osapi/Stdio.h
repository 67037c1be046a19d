/**
 * Bounded formatting and error texts.
 *
 * All operations are reentrant and report through their results alone.
 *
 *     char line[64];
 *     if (ZOVOsapiUtility_snprintf(line, sizeof line, "%s:%d", host, port) < 0)
 *         return tooLong(line);   // line holds the terminated beginning
 */
#ifndef WOLKCORE_OSAPI_STDIO_H
#define WOLKCORE_OSAPI_STDIO_H

#include "log/Base.h"

#include <stdarg.h>

ZOV_BEGIN_DECLARATIONS

/**
 * Formats into a buffer of `size` bytes.
 *
 * @return the number of characters written when all of them fit, else -1 (the buffer then holds
 * the terminated beginning). With a null buffer the length that the full text would have.
 */
int ZOVOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...) ZOV_PRINTF(3, 4);
/** The same with an argument list. */
int ZOVOsapiUtility_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
    ZOV_PRINTF(3, 0);
/** The same; `unused` is accepted and ignored. */
int ZOVOsapiUtility_snprintfAdv(char *buffer, size_t size, int unused, const char *format, ...)
    ZOV_PRINTF(4, 5);
/** The same with an argument list. */
int ZOVOsapiUtility_vsnprintfAdv(char *buffer, size_t size, int unused, const char *format,
                                 va_list arguments) ZOV_PRINTF(4, 0);

/**
 * The C library's text for an error number.
 *
 * The buffer and its size are accepted and not used.
 *
 * Ownership: the C library's; copy it to keep it.
 * Threads: as safe as the platform makes strerror.
 */
const char *ZOVOsapiUtility_getErrorString(char *buffer, size_t size, int errorNumber);

ZOV_END_DECLARATIONS

#endif
