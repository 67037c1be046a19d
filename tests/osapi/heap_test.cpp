#include "osapi/Owned.hpp"
#include "osapi/heap.h"
#include "tests/support/LogCapture.hpp"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/resource.h>

using test::Lines;
using test::LogCapture;

namespace {

struct Record
{
    int64_t words[5];
};

/** Every test gives back what it took. */
class Heap : public testing::Test
{
protected:
    ~Heap() override { EXPECT_EQ(ZOVOsapiHeap_g_allocCount, m_count); }
    LogCapture capture;

private:
    int64_t m_count = ZOVOsapiHeap_g_allocCount;
};

void *allocate_aligned(void **pp, uint64_t size, int32_t alignment)
{
    return ZOVOsapiHeap_reallocateMemoryInternal(pp, size, alignment, ZOV_FALSE, ZOV_TRUE, "make",
                                                 ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED,
                                                 "unsigned char");
}

void free_aligned(void *block)
{
    ZOVOsapiHeap_freeMemoryInternal(block, ZOV_TRUE, "drop", ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED);
}

bool is_zero(const void *block, std::size_t size)
{
    const auto *bytes = static_cast<const char *>(block);
    return std::all_of(bytes, bytes + size, [](char c) { return c == 0; });
}

TEST_F(Heap, FreshBlocksAreZeroAndReallocatedOnesKeepTheirBeginning)
{
    // Twice, so that the second blocks are used memory.
    for (int round = 0; round < 2; ++round) {
        Record *record = nullptr;
        ASSERT_EQ(ZOVOsapiHeap_allocateStructure(&record, Record), record);
        EXPECT_TRUE(is_zero(record, sizeof *record));
        std::memset(record, 0xFF, sizeof *record);
        ZOVOsapiHeap_freeStructure(record);

        int *numbers = nullptr;
        ASSERT_NE(ZOVOsapiHeap_allocateArray(&numbers, 10, int), nullptr);
        EXPECT_TRUE(is_zero(numbers, 40));
        numbers[9] = 77;
        ASSERT_NE(ZOVOsapiHeap_reallocateArray(&numbers, 100000, int), nullptr);
        EXPECT_EQ(numbers[9], 77);
        std::memset(numbers, 0xFF, 400000);
        ZOVOsapiHeap_freeArray(numbers);

        char *text = nullptr;
        ASSERT_NE(ZOVOsapiHeap_reallocateString(&text, 3), nullptr) << "null: a fresh allocation";
        EXPECT_TRUE(is_zero(text, 4));
        std::strcpy(text, "abc");
        ASSERT_NE(ZOVOsapiHeap_reallocateString(&text, 6), nullptr);
        EXPECT_STREQ(text, "abc");
        ZOVOsapiHeap_freeString(text);
    }
    ZOVOsapiHeap_freeString(nullptr);
    EXPECT_EQ(capture.lines(), Lines());
}

TEST_F(Heap, HeadedBlocksAreAlignedAndKeepTheirContentsWhenReallocated)
{
    const std::pair<int32_t, uintptr_t> alignments[] = {{8, 16},    {16, 16},     {64, 64},
                                                        {100, 128}, {4096, 4096}, {-5, 16}};
    for (const auto &[asked, given] : alignments) {
        void *block = nullptr;
        ASSERT_EQ(allocate_aligned(&block, 300, asked), block);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % given, 0u) << asked;
        EXPECT_TRUE(is_zero(block, 300));
        std::memset(block, 0x5A, 300);
        for (const int32_t again : {4096, 16, 256}) {
            ASSERT_NE(ZOVOsapiHeap_reallocateMemoryInternal(
                          &block, 500, again, ZOV_TRUE, ZOV_TRUE, "grow",
                          ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED, "unsigned char"),
                      nullptr);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % static_cast<uintptr_t>(again), 0u);
            const auto *bytes = static_cast<const char *>(block);
            EXPECT_TRUE(std::all_of(bytes, bytes + 300, [](char c) { return c == 0x5A; }));
        }
        free_aligned(block);
    }
    EXPECT_EQ(capture.lines(), Lines());
}

TEST_F(Heap, AnotherKindIsRefusedAndTheBlockStays)
{
    void *block = nullptr;
    ASSERT_NE(allocate_aligned(&block, 10, 16), nullptr);
    void *const before = block;
    ZOVOsapiHeap_freeMemoryInternal(block, ZOV_TRUE, "drop", ZOV_OSAPI_HEAP_KIND_STRING);
    EXPECT_EQ(ZOVOsapiHeap_reallocateMemoryInternal(&block, 20, -1, ZOV_TRUE, ZOV_TRUE, "grow",
                                                    ZOV_OSAPI_HEAP_KIND_ARRAY, "char"),
              nullptr);
    EXPECT_EQ(block, before);
    const Lines lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("being freed with \"drop\" and was allocated with "
                            "\"ZOVOsapiHeap_allocateBufferAligned\"\n"),
              std::string::npos);
    EXPECT_EQ(lines[1].find("grow:inconsistent realloc/alloc: block id 0X"), 0u);
    free_aligned(block);
}

TEST_F(Heap, BadRequestsLeaveThePointerAlone)
{
    capture.set_levels(0x3);
    char marker = 0;
    char *text = &marker;
    void *block = &marker;
    EXPECT_EQ(ZOVOsapiHeap_allocateString(nullptr, 3), nullptr);
    EXPECT_EQ(ZOVOsapiHeap_reallocateMemoryInternal(&block, 8, 64, ZOV_FALSE, ZOV_FALSE, "make",
                                                    ZOV_OSAPI_HEAP_KIND_MALLOC, "char"),
              nullptr);
    const uint64_t limit = ZOVOsapiHeap_MAX_HEAP_SIZE;
    ZOVOsapiHeap_MAX_HEAP_SIZE = 1000;
    EXPECT_EQ(ZOVOsapiHeap_allocateString(&text, 1000), nullptr);
    EXPECT_EQ(ZOVOsapiHeap_allocateArray(&text, UINT64_MAX / 2, Record), nullptr);
    EXPECT_EQ(allocate_aligned(&block, UINT64_MAX - 5, 64), nullptr);
    ZOVOsapiHeap_MAX_HEAP_SIZE = limit;
    EXPECT_EQ(text, &marker);
    EXPECT_EQ(block, &marker);
    EXPECT_EQ(
        capture.lines(),
        Lines(
            {"ZOVOsapiHeap_allocateString:NULL pointer passed as output parameter.\n",
             "make:Invalid memory request: aligned allocation also requires a header.\n",
             "ZOVOsapiHeap_allocateString:!malloc size exceeds heap (1001 > 1000)\n",
             "ZOVOsapiHeap_allocateArray:!malloc size exceeds heap (18446744073709551615 > 1000)\n",
             "make:!malloc size exceeds heap (18446744073709551615 > 1000)\n"}));
}

TEST_F(Heap, LimitIsTheSoftDataLimit)
{
    ZOVOsapiHeap_MAX_HEAP_SIZE = 0;
    zov::heap::Owned<char, zov::heap::Kind::String> text;
    ASSERT_NE(ZOVOsapiHeap_allocateString(text.address(), 1), nullptr);
    rlimit data = {};
    getrlimit(RLIMIT_DATA, &data);
    EXPECT_EQ(ZOVOsapiHeap_MAX_HEAP_SIZE, data.rlim_cur);
}

TEST(HeapKinds, EachKindHasTheNameOfItsOperation)
{
    const std::pair<uint32_t, const char *> kinds[] = {
        {0x574C4B41, "ZOVOsapiHeap_allocateStructure"},
        {0x574C4B42, "ZOVOsapiHeap_allocateString"},
        {0x574C4B43, "ZOVOsapiHeap_allocateArray"},
        {0x574C4B44, "ZOVOsapiHeap_allocateBuffer"},
        {0x574C4B45, "ZOVOsapiHeap_allocateBufferAligned"},
        {0x574C4B46, "ZOVOsapiHeap_malloc"},
        {0x7B9B9B9B, "ZOVOsapiHeap_freeXXX"},
        {0, "ZOVOsapiHeap_unknownFunction"}};
    for (const auto &[kind, name] : kinds)
        EXPECT_STREQ(ZOVOsapiHeap_allocKind2FcnName(kind), name);
}

} // namespace
