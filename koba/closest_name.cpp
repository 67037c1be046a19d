#include "koba/Log.hpp"
#include "koba/String.h"
#include "koba/fold.hpp"
#include "osapi/Owned.hpp"

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

using Matrix = zov::heap::Owned<int32_t, zov::heap::Kind::Array>;

/**
 * The fewest characters to insert, delete or replace that turn `a` into `b`; nothing without
 * memory. The matrix holds it for all their beginnings, a row for each of `a`.
 */
std::optional<int32_t> edit_distance(const char *a, const char *b, bool case_sensitive)
{
    const std::size_t rows = std::strlen(a) + 1;
    const std::size_t columns = std::strlen(b) + 1;
    Matrix matrix;
    if (ZOVOsapiHeap_allocateArray(matrix.address(), ZOVOsapiHeap_productSize(rows, columns),
                                   int32_t) == nullptr)
        return std::nullopt;
    const auto at = [&](std::size_t row, std::size_t column) -> int32_t & {
        return matrix.get()[row * columns + column];
    };
    const auto differ = [&](char x, char y) {
        return case_sensitive ? x != y : koba::to_upper(x) != koba::to_upper(y);
    };
    for (std::size_t row = 0; row < rows; ++row)
        at(row, 0) = static_cast<int32_t>(row);
    for (std::size_t column = 0; column < columns; ++column)
        at(0, column) = static_cast<int32_t>(column);
    for (std::size_t row = 1; row < rows; ++row)
        for (std::size_t column = 1; column < columns; ++column)
            at(row, column) =
                std::min({at(row - 1, column) + 1, at(row, column - 1) + 1,
                          at(row - 1, column - 1) + (differ(a[row - 1], b[column - 1]) ? 1 : 0)});
    return at(rows - 1, columns - 1);
}

} // namespace

ZOVBool KOBAString_validateName(int32_t *bestIndex, int32_t *bestDistance, const char *name,
                                const char *const *candidates, ZOVBool caseSensitive)
{
    std::optional<int32_t> best;
    for (int32_t i = 0; *candidates[i] != '\0'; ++i) {
        const std::optional<int32_t> distance =
            edit_distance(name, candidates[i], caseSensitive != ZOV_FALSE);
        if (!distance) {
            KOBA_LOG(Exception, kSubmoduleString, ZOV_LOG_ANY_FAILURE_s, "error allocating memory");
            return ZOV_FALSE;
        }
        if (best && *best <= *distance)
            continue;
        best = distance;
        if (bestIndex != nullptr)
            *bestIndex = i;
        if (bestDistance != nullptr)
            *bestDistance = *distance;
        if (*distance == 0)
            return ZOV_TRUE;
    }
    return ZOV_FALSE;
}
