// Any path is normalized as the platform's library does it, but for slashes at the end.
#include "fuzz/fuzz.hpp"
#include "osapi/Environment.h"

#include <filesystem>
#include <vector>

void fuzz::test(Input input)
{
    const std::string text = input.text();
    std::vector<char> path(text.begin(), text.end());
    path.resize(text.size() + (text.empty() ? 2 : 1)); // as large as asked for, and no larger
    require(ZOVOsapiUtility_normalizePath(path.data()));
    std::string expected = std::filesystem::path(text).lexically_normal();
    while (expected.size() > 1 && expected.ends_with('/'))
        expected.pop_back();
    require(path.data() == (text.empty() ? "." : expected));
}
