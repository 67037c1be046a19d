#include "fuzz/fuzz.hpp"
#include "log/Log.h"
#include "osapi/heap.h"

#include <functional>
#include <iterator>
#include <random>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const auto ignore = ZOVLog_registerOnMessageMethod([](const char *) {});
    const int64_t blocks = ZOVOsapiHeap_g_allocCount;
    fuzz::test({data, size});
    fuzz::require(ignore != nullptr && ZOVOsapiHeap_g_allocCount == blocks);
    return 0;
}

void fuzz::run(int times)
{
    std::mt19937 random(1);
    std::uint8_t bytes[64];
    while (times-- > 0) {
        std::generate(std::begin(bytes), std::end(bytes), std::ref(random));
        LLVMFuzzerTestOneInput(bytes, sizeof bytes);
    }
}
