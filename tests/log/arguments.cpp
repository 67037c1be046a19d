// Must not compile.
#include "osapi/Log.hpp"

void report()
{
    OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_ERRNO_d, "one");
}
