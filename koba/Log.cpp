#include "koba/Log.h"

#include "log/Log.hpp"

ZOV_LOG_DEFINE_MODULE(KOBALog, 0xFFFF);
