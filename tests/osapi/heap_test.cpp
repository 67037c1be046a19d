#include "osapi/Owned.hpp"
#include "osapi/heap.h"
#include "tests/support/LogCapture.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>

using test::Lines;
using test::LogCapture;

namespace {

struct Record
{
    int64_t words[5];
};

void *allocate_aligned(void **pp, uint64_t size, int32_t alignment, ZOVBool again = ZOV_FALSE)
{
    return ZOVOsapiHeap_reallocateMemoryInternal(pp, size, alignment, again, ZOV_TRUE, "make",
                                                 ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED,
                                                 "unsigned char");
}

void free_aligned(void *block)
{
    ZOVOsapiHeap_freeMemoryInternal(block, ZOV_TRUE, "drop", ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED);
}

bool is_filled(const void *block, std::size_t size, char with)
{
    const auto *bytes = static_cast<const char *>(block);
    return std::all_of(bytes, bytes + size, [with](char c) { return c == with; });
}

TEST(Heap, BlocksAreZeroAlignedAndKeepTheirContentsWhenReallocated)
{
    LogCapture capture;
    const int64_t count = ZOVOsapiHeap_g_allocCount;
    const std::pair<int32_t, uintptr_t> alignments[] = {{8, 16},    {16, 16},     {64, 64},
                                                        {100, 128}, {4096, 4096}, {-5, 16}};
    for (const auto &[asked, given] : alignments) {
        void *block = nullptr;
        ASSERT_EQ(allocate_aligned(&block, 300, asked), block);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % given, 0u) << asked;
        EXPECT_TRUE(is_filled(block, 300, 0));
        std::memset(block, 0x5A, 300);
        for (const int32_t again : {4096, 16, 256}) {
            ASSERT_NE(allocate_aligned(&block, 500, again, ZOV_TRUE), nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % static_cast<uintptr_t>(again), 0u);
            EXPECT_TRUE(is_filled(block, 300, 0x5A));
        }
        free_aligned(block);
    }
    int *numbers = nullptr;
    ASSERT_NE(ZOVOsapiHeap_allocateArray(&numbers, 10, int), nullptr);
    numbers[9] = 77;
    ASSERT_NE(ZOVOsapiHeap_reallocateArray(&numbers, 100000, int), nullptr);
    EXPECT_EQ(numbers[9], 77);
    std::memset(numbers, 0xFF, 400000);
    ASSERT_NE(ZOVOsapiHeap_reallocateArray(&numbers, 0, int), nullptr) << "empty is not freed";
    ZOVOsapiHeap_freeArray(numbers);
    ZOVOsapiHeap_freeString(nullptr);
    EXPECT_EQ(capture.lines(), Lines());
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, count);
}

TEST(Heap, WhatIsRefusedLeavesBlockAndPointerAlone)
{
    LogCapture capture;
    capture.set_levels(0x3);
    void *block = nullptr;
    ASSERT_NE(allocate_aligned(&block, 10, 16), nullptr);
    void *const before = block;
    const int64_t count = ZOVOsapiHeap_g_allocCount;
    const uint64_t limit = ZOVOsapiHeap_MAX_HEAP_SIZE;
    EXPECT_EQ(ZOVOsapiHeap_allocateString(nullptr, 3), nullptr);
    EXPECT_EQ(ZOVOsapiHeap_reallocateMemoryInternal(&block, 8, 64, ZOV_FALSE, ZOV_FALSE, "make",
                                                    ZOV_OSAPI_HEAP_KIND_MALLOC, "char"),
              nullptr);
    ZOVOsapiHeap_MAX_HEAP_SIZE = 1000;
    EXPECT_EQ(ZOVOsapiHeap_allocateString(&block, 1000), nullptr);
    EXPECT_EQ(ZOVOsapiHeap_allocateArray(&block, UINT64_MAX / 2, Record), nullptr);
    EXPECT_EQ(allocate_aligned(&block, UINT64_MAX - 5, 64), nullptr);
    ZOVOsapiHeap_MAX_HEAP_SIZE = limit;
    EXPECT_EQ(block, before);
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, count);
    EXPECT_EQ(
        capture.lines(),
        Lines(
            {"ZOVOsapiHeap_allocateString:NULL pointer passed as output parameter.\n",
             "make:Invalid memory request: aligned allocation also requires a header.\n",
             "ZOVOsapiHeap_allocateString:!malloc size exceeds heap (1001 > 1000)\n",
             "ZOVOsapiHeap_allocateArray:!malloc size exceeds heap (18446744073709551615 > 1000)\n",
             "make:!malloc size exceeds heap (18446744073709551615 > 1000)\n"}));
    free_aligned(block);
}

TEST(Heap, LimitIsTheSoftDataLimitAndKindsHaveTheNamesOfTheirOperations)
{
    ZOVOsapiHeap_MAX_HEAP_SIZE = 0;
    zov::heap::Owned<char, zov::heap::Kind::String> text;
    ASSERT_NE(ZOVOsapiHeap_allocateString(text.address(), 1), nullptr);
    rlimit data = {};
    getrlimit(RLIMIT_DATA, &data);
    EXPECT_EQ(ZOVOsapiHeap_MAX_HEAP_SIZE, data.rlim_cur);

    const char *const names[] = {"allocateStructure", "allocateString",        "allocateArray",
                                 "allocateBuffer",    "allocateBufferAligned", "malloc"};
    for (uint32_t i = 0; i < std::size(names); ++i)
        EXPECT_EQ(ZOVOsapiHeap_allocKind2FcnName(0x574C4B41 + i),
                  std::string("ZOVOsapiHeap_") + names[i]);
    EXPECT_STREQ(ZOVOsapiHeap_allocKind2FcnName(0x7B9B9B9B), "ZOVOsapiHeap_freeXXX");
    EXPECT_STREQ(ZOVOsapiHeap_allocKind2FcnName(0), "ZOVOsapiHeap_unknownFunction");
}

TEST(Memory, IsZeroLooksAtEveryByteAndAtNoMore)
{
    std::array<char, 101> bytes = {};
    for (uint32_t length = 0; length <= 100; ++length) {
        bytes[length] = 1;
        EXPECT_TRUE(ZOVOsapiMemory_isZero(bytes.data(), length)) << length;
        EXPECT_FALSE(ZOVOsapiMemory_isZero(bytes.data(), length + 1)) << length;
        bytes[length] = 0;
    }
}

TEST(Memory, HexdumpShowsOffsetsBytesAndCharacters)
{
    const LogCapture capture;
    ZOVOsapiMemory_hexdump("label", "ABCDEFGHIJKLMNOP\x01~\xFF", 19);
    ZOVOsapiMemory_hexdump(nullptr, "", 1);
    ZOVOsapiMemory_hexdump("none", "x", 0);
    const std::string pad(13 * 3, ' ');
    EXPECT_EQ(capture.lines(),
              Lines({"label:00000000:  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 "
                     "|ABCDEFGHIJKLMNOP|\n",
                     "label:00000010:  01 7e ff" + pad + " |.~.             |\n",
                     "00000000:  00" + pad + "       |.               |\n"}));
}

} // namespace
