// Any pattern and text under any flags: a match is what its definition says.
#include "koba/fnmatch.h"
#include "tests/koba/fnmatch_reference.hpp"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace reference = test::reference;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

// The definition takes a time that grows with the stars' number as a power.
constexpr std::ptrdiff_t kMaxStars = 4;
constexpr std::size_t kMaxText = 64;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const uint32_t flags = data[0];
    const std::string input(reinterpret_cast<const char *>(data) + 1, size - 1);
    const std::string pattern = input.c_str();
    const std::string text = input.substr(std::min(pattern.size() + 1, input.size())).c_str();
    const int32_t result = KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags);
    if (std::count(pattern.begin(), pattern.end(), '*') <= kMaxStars && text.size() <= kMaxText)
        require(result == reference::fnmatch(pattern.c_str(), text.c_str(), flags));
    const char *next = nullptr;
    const char *expected = nullptr;
    require(KOBAString_rangematch(pattern.c_str(), text[0], flags, &next) ==
            reference::rangematch(pattern.c_str(), text[0], flags, &expected));
    require(next == expected);
    return 0;
}
