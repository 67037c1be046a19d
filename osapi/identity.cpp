#include "osapi/Environment.hpp"

#include <cfloat>
#include <cstdlib>
#include <ctime>
#include <pwd.h>
#include <unistd.h>

#if defined(__x86_64__)
#define PROCESSOR "x64"
#elif defined(__aarch64__)
#define PROCESSOR "arm64"
#else
#define PROCESSOR "generic"
#endif
#if defined(__clang__)
#define COMPILER "clang"
#else
#define COMPILER "gcc"
#endif

using zov::environment::os_failure;
using zov::environment::store;

ZOVBool ZOVOsapiUtility_getUsername(char *buffer, size_t size)
{
    char texts[4096];
    passwd entry;
    passwd *found = nullptr;
    getpwuid_r(getuid(), &entry, texts, sizeof texts, &found);
    const char *name = found != nullptr ? entry.pw_name : std::getenv("USER");
    if (name == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleUtility, ZOV_LOG_GET_FAILURE_s, "user name");
        return ZOV_FALSE;
    }
    return store(buffer, size, name, __func__);
}

const char *ZOVOsapiUtility_getTarget(void)
{
    return PROCESSOR "Linux-" COMPILER;
}

const char *ZOVOsapiUtility_getCreationTimestamp(void)
{
    return "20170622T204835Z";
}

ZOVBool ZOVOsapiUtility_getExecutionTimestamp(char *buffer, size_t size)
{
    const std::time_t now = std::time(nullptr);
    tm utc;
    char text[32];
    if (gmtime_r(&now, &utc) == nullptr)
        return os_failure(__func__, "gmtime_r");
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
    return store(buffer, size, text, __func__);
}

int32_t ZOVOsapiUtility_get_double_precision(void)
{
    return DBL_MANT_DIG;
}
