#include "fuzz/fuzz.hpp"
#include "log/Log.h"
#include "osapi/heap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const auto ignore = ZOVLog_registerOnMessageMethod([](const char *) {});
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    fuzz::test({data, size});
    fuzz::require(ignore != nullptr && ZOVOsapiHeap_g_allocCount == blocks);
    return 0;
}
