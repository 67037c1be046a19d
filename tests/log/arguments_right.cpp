// Compiles; arguments_wrong.cpp is the same statement with an argument of another type.
#include "osapi/Log.hpp"

void report()
{
    OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_ERRNO_d, 1);
}
