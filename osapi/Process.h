/**
 * Questions about processes.
 *
 * Threads: any.
 */
#ifndef WOLKCORE_OSAPI_PROCESS_H
#define WOLKCORE_OSAPI_PROCESS_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** Memory of this process, in bytes. */
struct ZOVOsapiProcessMemoryInfo
{
    uint64_t residentSize; /**< what is in physical memory */
    uint64_t totalSize;    /**< the address space in use */
};
typedef struct ZOVOsapiProcessMemoryInfo ZOVOsapiProcessMemoryInfo;

/** This process's identifier. */
int64_t ZOVOsapiProcess_getId(void);

/** Whether there is such a process, whoever owns it; FALSE for 0. The identifier is not negative.
 */
ZOVBool ZOVOsapiProcess_isAlive(int64_t pid);

/** Always 0 on this platform. */
int32_t ZOVOsapiProcess_getPartitionId(void);

/**
 * Asks for this process's memory.
 *
 * Errors: FALSE, with "!open /proc/<pid>/statm\n" or "!get process memory info\n" reported; the
 * record is left alone. In the latter case the file stays open.
 */
ZOVBool ZOVOsapiProcess_getMemoryInfo(struct ZOVOsapiProcessMemoryInfo *info) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
