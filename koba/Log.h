/** Reporting of the data structures: the masks of KOBALog. */
#ifndef WOLKCORE_KOBA_LOG_H
#define WOLKCORE_KOBA_LOG_H

#include "log/Log.h"

ZOV_BEGIN_DECLARATIONS

ZOV_LOG_MODULE(KOBALog);

ZOV_END_DECLARATIONS

#endif
