#include "log/Base.h"
