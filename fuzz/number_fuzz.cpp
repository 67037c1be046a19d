// Any text and base: a number is what the platform reads, and whether it can be read.
#include "fuzz/fuzz.hpp"
#include "osapi/Stdio.h"

#include <cerrno>

using fuzz::require;

namespace {

template <class Number, class PlatformNumber>
void check(ZOVBool (*read)(Number *, const char *, char **, int),
           PlatformNumber (*read_by_platform)(const char *, char **, int), const std::string &text,
           int base, bool is_refused)
{
    constexpr Number kUntouched = 77;
    Number number = kUntouched;
    char *end = nullptr;
    char *expected_end = const_cast<char *>(text.c_str());
    errno = 0;
    const PlatformNumber expected = read_by_platform(text.c_str(), &expected_end, base);
    const bool is_number = errno == 0 && expected_end != text.c_str() && !is_refused;
    require(is_number == (read(&number, text.c_str(), &end, base) != ZOV_FALSE));
    require(number == (is_number ? static_cast<Number>(expected) : kUntouched));
    require(end == (is_number ? expected_end : nullptr));
}

} // namespace

void fuzz::test(Input input)
{
    const int base = static_cast<int>(input.below(40)) - 1;
    const std::string text = input.text();
    const std::size_t sign = text.find_first_not_of(" \t\n\v\f\r");
    check(ZOVOsapiUtility_strtoll, std::strtoll, text, base, false);
    check(ZOVOsapiUtility_strtoull, std::strtoull, text, base,
          sign != text.npos && text[sign] == '-');
}
