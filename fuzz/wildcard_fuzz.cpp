// Any pattern and text under any flags: a match is what its definition says.
#include "fuzz/fuzz.hpp"
#include "koba/fnmatch.h"
#include "tests/koba/fnmatch_reference.hpp"

namespace reference = test::reference;

namespace {

// The definition takes a time that grows with the stars' number as a power.
constexpr std::ptrdiff_t kMaxStars = 4;
constexpr std::size_t kMaxText = 64;

} // namespace

void fuzz::test(Input input)
{
    const uint32_t flags = input.byte();
    const std::string pattern = input.text();
    const std::string text = input.text();
    const int32_t result = KOBAString_fnmatch(pattern.c_str(), text.c_str(), flags);
    if (std::count(pattern.begin(), pattern.end(), '*') <= kMaxStars && text.size() <= kMaxText)
        require(result == reference::fnmatch(pattern.c_str(), text.c_str(), flags));
    const char *next = nullptr;
    const char *expected = nullptr;
    require(KOBAString_rangematch(pattern.c_str(), text[0], flags, &next) ==
            reference::rangematch(pattern.c_str(), text[0], flags, &expected));
    require(next == expected);
}
