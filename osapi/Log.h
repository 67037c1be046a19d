/**
 * Reporting of the operating-system layer: the masks of its two modules, ZOVOsapiLog and
 * ZOVClockLog, and their messages.
 */
#ifndef WOLKCORE_OSAPI_LOG_H
#define WOLKCORE_OSAPI_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/* Submodule bits of ZOVOsapiLog. */
#define ZOV_OSAPI_LOG_SUBMODULE_UTILITY 0x1u   /**< utilities, environment, time */
#define ZOV_OSAPI_LOG_SUBMODULE_MEMORY 0x2u    /**< the heap */
#define ZOV_OSAPI_LOG_SUBMODULE_SOCKET 0x4u    /**< sockets */
#define ZOV_OSAPI_LOG_SUBMODULE_SEMAPHORE 0x8u /**< semaphores, the lock of the process */
#define ZOV_OSAPI_LOG_SUBMODULE_THREAD 0x10u   /**< threads, sleep */
#define ZOV_OSAPI_LOG_SUBMODULE_PROCESS 0x20u  /**< processes */

/* Submodule bits of ZOVClockLog. */
#define ZOV_CLOCK_LOG_SUBMODULE_SYSTEM 0x1u          /**< the system clock */
#define ZOV_CLOCK_LOG_SUBMODULE_HIGH_RESOLUTION 0x2u /**< the high-resolution clock */
#define ZOV_CLOCK_LOG_SUBMODULE_CALIBRATION 0x8u     /**< what measures clocks */

ZOV_LOG_MODULE(ZOVOsapiLog);
ZOV_LOG_MODULE(ZOVClockLog);

#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "osapi/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
