/** Reporting of the data structures: the masks of KOBALog. */
#ifndef WOLKCORE_KOBA_LOG_H
#define WOLKCORE_KOBA_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

/* Submodule bits of KOBALog. */
#define KOBA_LOG_SUBMODULE_STRING 0x1u            /**< strings, patterns, filters */
#define KOBA_LOG_SUBMODULE_ORDERED_DATA_TYPE 0x2u /**< ordered data types */
#define KOBA_LOG_SUBMODULE_SKIPLIST 0x4u          /**< skiplists and their allocators */
#define KOBA_LOG_SUBMODULE_FAST_BUFFER 0x8u       /**< pools of buffers */

ZOV_LOG_MODULE(KOBALog);

ZOV_END_DECLARATIONS

#endif
