#include "osapi/Process.h"

#include "osapi/Environment.h"
#include "osapi/Log.hpp"
#include "osapi/Stdio.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <unistd.h>

static_assert(offsetof(ZOVOsapiProcessMemoryInfo, totalSize) == 8);

int64_t ZOVOsapiProcess_getId(void)
{
    return getpid();
}

ZOVBool ZOVOsapiProcess_isAlive(int64_t pid)
{
    if (pid == 0)
        return ZOV_FALSE;
    const auto platform_pid = static_cast<pid_t>(pid);
    return platform_pid == pid && (kill(platform_pid, 0) == 0 || errno != ESRCH);
}

int32_t ZOVOsapiProcess_getPartitionId(void)
{
    return 0;
}

ZOVBool ZOVOsapiProcess_getMemoryInfo(ZOVOsapiProcessMemoryInfo *info)
{
    constexpr std::size_t kPathSize = 33;
    char path[kPathSize];
    if (ZOVOsapiUtility_snprintf(path, sizeof path, "/proc/%llu/statm",
                                 static_cast<unsigned long long>(ZOVOsapiProcess_getId())) < 0) {
        OSAPI_LOG(Exception, kSubmoduleProcess, ZOV_LOG_ANY_s, "/proc/<pid>/statm too long");
        return ZOV_FALSE;
    }
    FILE *file = ZOVOsapi_fileOpen(path, "r");
    if (file == nullptr) {
        OSAPI_LOG(Exception, kSubmoduleProcess, ZOV_LOG_ANY_FAILURE_s, "open /proc/<pid>/statm");
        return ZOV_FALSE;
    }
    unsigned long long total = 0;
    unsigned long long resident = 0;
    if (std::fscanf(file, "%llu %llu", &total, &resident) != 2) {
        OSAPI_LOG(Exception, kSubmoduleProcess, ZOV_LOG_GET_FAILURE_s, "process memory info");
        return ZOV_FALSE; // Kept: the file is closed only when it could be read.
    }
    ZOVOsapi_fileClose(file);
    const auto page_size = static_cast<std::uint64_t>(getpagesize());
    *info = {.residentSize = resident * page_size, .totalSize = total * page_size};
    return ZOV_TRUE;
}
