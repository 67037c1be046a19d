/** Wildcard patterns against the platform's. */
#include "bench/Rows.hpp"
#include "koba/fnmatch.h"

#include <array>
#include <fnmatch.h>
#include <string>

namespace {

using bench::keep;
using bench::Measure;
using bench::nothing;
using bench::Row;

struct Case
{
    const char *pattern;
    const char *text;
    uint32_t own_flags;
    int platform_flags;
};

constexpr Case kLiteral = {"generated/OrderPlugin.cpp", "generated/OrderPlugin.cpp", 0, 0};
constexpr Case kSuffix = {"*.cpp", "generated/OrderPlugin.cpp", 0, 0};
constexpr Case kMiss = {"*.idl", "generated/OrderPlugin.cpp", 0, 0};
constexpr Case kPath = {"src/*/test_*.c", "src/network/test_socket.c", KOBA_STRING_FNMATCH_PATHNAME,
                        FNM_PATHNAME};
constexpr Case kBrackets = {"[a-m]*[0-9]?", "measurement_2024_07b", 0, 0};
constexpr Case kTwoStars = {"*foo*bar*", "a food that is sold at the bar here", 0, 0};
constexpr Case kFolded = {"*Order*.IDL", "examples/idl/orders.idl", KOBA_STRING_FNMATCH_CASEFOLD,
                          FNM_CASEFOLD};
constexpr Case kPeriods = {"data.*.idl", "data.orders_of_today.idl", KOBA_STRING_FNMATCH_PERIOD,
                           FNM_PERIOD};

template <const Case &case_>
void own(int count)
{
    for (int i = 0; i < count; ++i) {
        const char *text = case_.text;
        keep(text);
        int32_t result = KOBAString_fnmatch(case_.pattern, text, case_.own_flags);
        keep(result);
    }
}

template <const Case &case_>
void platform(int count)
{
    for (int i = 0; i < count; ++i) {
        const char *text = case_.text;
        keep(text);
        int result = fnmatch(case_.pattern, text, case_.platform_flags);
        keep(result);
    }
}

template <const Case &case_>
constexpr Row row_of(const char *name)
{
    return {{name, "fnmatch", 1.05, Measure::Cost},
            100'000,
            own<case_>,
            platform<case_>,
            nothing,
            nothing};
}

// Six stars and no match. The peer of a long text is as many short ones: the time is linear.
constexpr char kStars[] = "*a*a*a*a*a*b";
constexpr std::size_t kShort = 60;
constexpr std::size_t kLong = 10'000;

template <std::size_t length>
void stars(int count)
{
    static const std::string text(length, 'a');
    for (int i = 0; i < count; ++i) {
        const char *s = text.c_str();
        keep(s);
        int32_t result = KOBAString_fnmatch(kStars, s, 0);
        keep(result);
    }
}

void stars_as_long(int count)
{
    stars<kShort>(count * static_cast<int>(kLong / kShort));
}

constexpr auto kRows = std::to_array<Row>({
    row_of<kLiteral>("pattern without a wildcard"),
    row_of<kSuffix>("*.cpp"),
    row_of<kMiss>("*.idl, no match"),
    row_of<kPath>("src/*/test_*.c as a path"),
    row_of<kBrackets>("[a-m]*[0-9]?"),
    row_of<kTwoStars>("*foo*bar*"),
    row_of<kFolded>("*Order*.IDL in any case"),
    row_of<kPeriods>("data.*.idl, leading period"),
    {{"six stars, 10 000 characters", "as many by 60", 1.1, Measure::Cost},
     200,
     stars<kLong>,
     stars_as_long,
     nothing,
     nothing},
});

} // namespace

std::span<const Row> bench::fnmatch_rows()
{
    return kRows;
}
