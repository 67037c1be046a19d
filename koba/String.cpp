#include "koba/String.h"

#include "koba/fold.hpp"

using koba::to_upper;

int32_t KOBAString_inCompare(const char *a, const char *b, uint32_t n)
{
    // Kept: a bound of 0 wraps around, and callers rely on its meaning no bound.
    for (uint32_t left = n - 1; *a != '\0' && *b != '\0' && left != 0; --left) {
        if (to_upper(*a) != to_upper(*b))
            break;
        ++a;
        ++b;
    }
    return to_upper(*a) - to_upper(*b);
}
