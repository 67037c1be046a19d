/** What the operations on the environment share. */
#ifndef WOLKCORE_OSAPI_ENVIRONMENT_HPP
#define WOLKCORE_OSAPI_ENVIRONMENT_HPP

#include "osapi/Environment.h"
#include "osapi/Log.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace zov::environment {

/** Reports that a platform function failed, with errno. FALSE. */
inline ZOVBool os_failure(const char *operation, const char *function)
{
    const int error = errno;
    OSAPI_LOG_AS(Exception, kSubmoduleUtility, operation, ZOV_LOG_OS_FAILURE_sXs, function, error,
                 osapi::ErrorText(error).text());
    return ZOV_FALSE;
}

/** Whether a text and its terminator fit into a buffer; reports when they do not. */
inline bool fits(std::size_t size, const char *text, const char *operation)
{
    const std::size_t needed = std::strlen(text) + 1;
    if (needed > size)
        OSAPI_LOG_AS(Exception, kSubmoduleUtility, operation, ZOV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
                     static_cast<int>(size), static_cast<int>(needed));
    return needed <= size;
}

/** Gives the caller a text, or nothing when it does not fit. */
inline ZOVBool store(char *buffer, std::size_t size, const char *text, const char *operation)
{
    if (!fits(size, text, operation))
        return ZOV_FALSE;
    std::memcpy(buffer, text, std::strlen(text) + 1);
    return ZOV_TRUE;
}

/** A file that is read to its end. */
class Reader
{
public:
    /** Check is_open. Reports a file that is not there or cannot be opened. */
    Reader(const char *name, const char *operation);
    ~Reader();
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    [[nodiscard]] bool is_open() const { return m_file != nullptr; }
    /** Fewer bytes than asked for are the last ones, or come before an error. */
    std::size_t read(char *buffer, std::size_t size);
    /** Reports a read error. */
    [[nodiscard]] bool has_failed() const { return m_has_failed; }

private:
    void report(int error) const;

    const char *m_name;
    const char *m_operation;
    std::FILE *m_file;
    bool m_has_failed = false;
};

} // namespace zov::environment

#endif
