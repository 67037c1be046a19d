// Any text: a valid one survives the way to UTF-16 and back, an invalid one is refused everywhere,
// and no path grows when it is normalized.
#include "osapi/Environment.h"
#include "osapi/Stdio.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void check_conversion(const std::string &text)
{
    const bool is_valid = ZOVOsapiUtility_stringUtf8ValidateString(text.c_str()) != 0;
    const int needed = ZOVOsapiUtility_stringUtf8ToUtf16(nullptr, 0, text.c_str());
    require(is_valid == (needed > 0));
    if (!is_valid)
        return;
    std::vector<uint16_t> wide(static_cast<std::size_t>(needed));
    require(ZOVOsapiUtility_stringUtf8ToUtf16(wide.data(), wide.size(), text.c_str()) ==
            needed - 1);
    std::vector<char> back(text.size() + 1);
    require(ZOVOsapiUtility_stringUtf16ToUtf8(back.data(), back.size(), wide.data()) ==
            static_cast<int>(text.size()));
    require(text == back.data());
}

void check_path(const std::string &text)
{
    std::vector<char> path(text.begin(), text.end());
    path.resize(text.size() + 2);
    ZOVOsapiUtility_normalizePath(path.data());
    const std::string once = path.data();
    require(once.size() <= text.size() || once == ".");
    ZOVOsapiUtility_normalizePath(path.data());
    require(once == path.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    const auto *bytes = reinterpret_cast<const char *>(data);
    const std::string text(bytes, size > 0 ? strnlen(bytes, size) : 0);
    check_conversion(text);
    check_path(text);
    int64_t number = 0;
    char *end = nullptr;
    if (ZOVOsapiUtility_strtoll(&number, text.c_str(), &end, 0))
        require(end > text.c_str() && end <= text.c_str() + text.size());
    return 0;
}
