#include "osapi/Stdio.h"

#include "log/Log.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

int ZOVOsapiUtility_vsnprintfAdv(char *buffer, size_t size, int, const char *format,
                                 va_list arguments)
{
    return ZOVLog_vsnprintf(buffer, size, format, arguments);
}

int ZOVOsapiUtility_snprintfAdv(char *buffer, size_t size, int unused, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = ZOVOsapiUtility_vsnprintfAdv(buffer, size, unused, format, arguments);
    va_end(arguments);
    return length;
}

int ZOVOsapiUtility_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
{
    return ZOVOsapiUtility_vsnprintfAdv(buffer, size, 1, format, arguments);
}

int ZOVOsapiUtility_snprintf(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = ZOVOsapiUtility_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

int ZOVOsapiUtility_fprintf_ll(FILE *stream, int64_t value)
{
    return std::fprintf(stream, "%" PRId64, value);
}

int ZOVOsapiUtility_fprintf_llu(FILE *stream, uint64_t value)
{
    return std::fprintf(stream, "%" PRIu64, value);
}

const char *ZOVOsapiUtility_getErrorString(char *, size_t, int errorNumber)
{
    return std::strerror(errorNumber);
}
