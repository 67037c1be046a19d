#include "osapi/Environment.hpp"

#include "osapi/Owned.hpp"

#include <cstdlib>
#include <unistd.h>

using zov::environment::os_failure;
using zov::environment::Reader;

namespace {

constexpr std::size_t kMaxNameLength = 512;
constexpr std::size_t kFirstReadSize = 4096;

bool set_variable(const char *assignment)
{
    const auto *equals = static_cast<const char *>(
        std::memchr(assignment, '=', strnlen(assignment, kMaxNameLength + 1)));
    if (equals == nullptr)
        return false;
    char name[kMaxNameLength + 1];
    ZOVOsapiUtility_strncpy(name, kMaxNameLength, assignment,
                            static_cast<std::size_t>(equals - assignment));
    return setenv(name, equals + 1, 1) == 0;
}

} // namespace

Reader::Reader(const char *name, const char *operation)
    : m_name(name), m_operation(operation), m_file(ZOVOsapi_fileOpen(name, "rb"))
{
    if (m_file != nullptr)
        return;
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR)
        OSAPI_LOG_AS(Exception, kSubmoduleUtility, operation,
                     ZOV_OSAPI_UTILITY_LOG_FILE_NOT_FOUND_s, name);
    else
        report(error);
}

Reader::~Reader()
{
    if (m_file != nullptr)
        ZOVOsapi_fileClose(m_file);
}

std::size_t Reader::read(char *buffer, std::size_t size)
{
    const std::size_t count = std::fread(buffer, 1, size, m_file);
    const int error = errno;
    if (count < size && std::ferror(m_file) != 0 && !m_has_failed) {
        m_has_failed = true;
        report(error);
    }
    return count;
}

void Reader::report(int error) const
{
    OSAPI_LOG_AS(Exception, kSubmoduleUtility, m_operation,
                 ZOV_OSAPI_UTILITY_LOG_READ_FILE_FAILURE_ds, error, m_name);
}

ZOVBool ZOVOsapi_envVarSet(const char *assignment)
{
    if (set_variable(assignment))
        return ZOV_TRUE;
    OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_OSAPI_UTILITY_LOG_SET_ENV_VAR_FAILURE_s,
              assignment);
    return ZOV_FALSE;
}

ZOVBool ZOVOsapi_envVarUnset(const char *name)
{
    if (std::strchr(name, '=') != nullptr) {
        OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_LOG_INVALID_s, "environment variable format");
        return ZOV_FALSE;
    }
    if (unsetenv(name) == 0)
        return ZOV_TRUE;
    OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_LOG_ANY_FAILURE_s, "unsetenv");
    return ZOV_FALSE;
}

ZOVBool ZOVOsapi_isEnvVarSetSupported(void)
{
    return ZOV_TRUE;
}

FILE *ZOVOsapi_fileOpen(const char *name, const char *mode)
{
    return std::fopen(name, mode);
}

int ZOVOsapi_fileClose(FILE *stream)
{
    return std::fclose(stream);
}

ZOVBool ZOVOsapiUtility_fileExists(const char *name)
{
    std::FILE *file = ZOVOsapi_fileOpen(name, "rb");
    if (file == nullptr)
        return ZOV_FALSE;
    ZOVOsapi_fileClose(file);
    return ZOV_TRUE;
}

ZOVBool ZOVOsapi_removeFile(const char *fileName)
{
    return unlink(fileName) == 0 || os_failure(__func__, "unlink");
}

char *ZOVOsapi_fileGetVerbatim(const char *fileName, int64_t *lengthOut)
{
    Reader reader(fileName, __func__);
    if (!reader.is_open())
        return nullptr;
    // The size of a file does not tell how much there is to read: pipes and /proc have none.
    zov::heap::Owned<char, zov::heap::Kind::String> text;
    std::size_t length = 0;
    std::size_t capacity = 0;
    while (length == capacity) {
        capacity = capacity == 0 ? kFirstReadSize : capacity * 2;
        if (ZOVOsapiHeap_reallocateString(text.address(), capacity) == nullptr)
            return nullptr;
        length += reader.read(text.get() + length, capacity - length);
    }
    if (reader.has_failed())
        return nullptr;
    text.get()[length] = '\0';
    if (lengthOut != nullptr)
        *lengthOut = static_cast<std::int64_t>(length);
    return text.release();
}
