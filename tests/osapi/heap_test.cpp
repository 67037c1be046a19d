#include "osapi/Owned.hpp"
#include "osapi/heap.hpp"
#include "tests/support/Faults.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>

using test::Faults;
using test::Lines;
using test::LogCapture;
using test::no_memory;
using test::warning;
using test::operator+;

namespace {

struct Record
{
    int64_t words[5];
};

/** With a header, and aligned, when `alignment` says so. */
void *allocate(void **pp, uint64_t size, int32_t alignment, ZOVBool again = ZOV_FALSE)
{
    const bool headed = alignment != ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT;
    return ZOVOsapiHeap_reallocateMemoryInternal(pp, size, alignment, again, headed, "make",
                                                 ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED, "char");
}

void release(void *block, int32_t alignment)
{
    ZOVOsapiHeap_freeMemoryInternal(block, alignment != ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, "drop",
                                    ZOV_OSAPI_HEAP_KIND_BUFFER_ALIGNED);
}

bool is_aligned(const void *block, uintptr_t alignment)
{
    return reinterpret_cast<uintptr_t>(block) % alignment == 0;
}

bool is_filled(const void *block, std::size_t size, char with)
{
    const auto *bytes = static_cast<const char *>(block);
    return std::all_of(bytes, bytes + size, [with](char c) { return c == with; });
}

class Heap : public testing::Test
{
protected:
    ~Heap() override
    {
        GLOBAL_MALLOC_ALIGNMENT = 16;
        EXPECT_EQ(ZOVOsapiHeap_g_allocCount, m_count);
    }

    LogCapture capture;

private:
    const int64_t m_count = ZOVOsapiHeap_g_allocCount;
};

TEST_F(Heap, BlocksAreZeroAlignedAndKeepTheirContentsWhenReallocated)
{
    const std::pair<int32_t, uintptr_t> alignments[] = {{8, 16},    {16, 16},     {64, 64},
                                                        {100, 128}, {4096, 4096}, {-5, 16}};
    for (const auto &[asked, given] : alignments) {
        void *block = nullptr;
        ASSERT_EQ(allocate(&block, 300, asked), block);
        EXPECT_TRUE(is_aligned(block, given)) << asked;
        EXPECT_TRUE(is_filled(block, 300, 0));
        std::memset(block, 0x5A, 300);
        for (const int32_t again : {4096, 16, 256}) {
            ASSERT_NE(allocate(&block, 500, again, ZOV_TRUE), nullptr);
            EXPECT_TRUE(is_aligned(block, static_cast<uintptr_t>(again)));
            EXPECT_TRUE(is_filled(block, 300, 0x5A));
        }
        release(block, asked);
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
}

TEST_F(Heap, WhatIsRefusedLeavesBlockAndPointerAlone)
{
    capture.set_levels(0x3);
    void *block = nullptr;
    ASSERT_NE(allocate(&block, 10, 16), nullptr);
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
    EXPECT_EQ(allocate(&block, UINT64_MAX - 5, 64), nullptr);
    ZOVOsapiHeap_MAX_HEAP_SIZE = limit;
    EXPECT_EQ(block, before);
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, count);
    const auto too_large = [](const std::string &operation, const char *size) {
        return operation + ":!malloc size exceeds heap (" + size + " > 1000)\n";
    };
    EXPECT_EQ(capture.lines(),
              Lines({"ZOVOsapiHeap_allocateString:NULL pointer passed as output parameter.\n",
                     "make:Invalid memory request: aligned allocation also requires a header.\n",
                     too_large("ZOVOsapiHeap_allocateString", "1001"),
                     too_large("ZOVOsapiHeap_allocateArray", "18446744073709551615"),
                     too_large("make", "18446744073709551615")}));
    release(block, 16);
}

TEST_F(Heap, LimitIsTheSoftDataLimitAndKindsHaveTheNamesOfTheirOperations)
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

/** A way to allocate: returns what the operation returned. */
struct Form
{
    const char *operation;
    std::size_t size;
    void *(*allocate)(char **pp);
    void (*release)(char *block);
};

#define FORM(ALLOCATE, FREE, SIZE, ...)                                                            \
    {                                                                                              \
        "ZOVOsapiHeap_" #ALLOCATE, SIZE,                                                           \
            []([[maybe_unused]] char **pp) -> void * {                                             \
                return ZOVOsapiHeap_##ALLOCATE(__VA_ARGS__);                                       \
            },                                                                                     \
            [](char *block) { ZOVOsapiHeap_##FREE(block); }                                        \
    }

const Form kForms[] = {
    FORM(allocateStructure, freeStructure, 40, pp, Record),
    FORM(allocateString, freeString, 10, pp, 9),
    FORM(reallocateString, freeString, 10, pp, 9),
    FORM(allocateArray, freeArray, 120, pp, 3, Record),
    FORM(reallocateArray, freeArray, 120, pp, 3, Record),
    FORM(allocateBuffer, freeBuffer, 7, pp, 7),
    FORM(allocateBufferAligned, freeBufferAligned, 7, pp, 7, 64),
    FORM(malloc, free, 5, 5),
    FORM(calloc, free, 15, 5, 3),
};

TEST_F(Heap, FaultsOfEveryAllocation)
{
    static char marker = 0;
    for (const Form &form : kForms) {
        SCOPED_TRACE(form.operation);
        const std::string name = form.operation;
        const auto allocate_and_free = [&] {
            ZOVOsapiHeap_MAX_HEAP_SIZE = 0; // still to be read
            char *block = name.find("_re") != std::string::npos ? nullptr : &marker;
            char *const before = block;
            char *const result = static_cast<char *>(form.allocate(&block));
            if (result == nullptr)
                return block == before ? "null" : "null, and the pointer is changed";
            form.release(result);
            return "block";
        };
        test::for_each_fault(allocate_and_free, {"block"},
                             {{"calloc 1", {{"null", no_memory(name, form.size)}}},
                              {"getrlimit 1", {{"null", {warning(name + ":!getrlimit\n")}}}}});
    }
}

std::string misaligned(int expected)
{
    return warning("make:system alignment does not match expected value of " +
                   std::to_string(expected) + ", changing expected alignment to " +
                   std::to_string(expected / 2) + "\n");
}

/** Grows a block with contents, on a platform whose blocks are off by some bytes. */
std::string grow(int32_t alignment, std::size_t shift)
{
    constexpr char kText[] = "contents of the block";
    GLOBAL_MALLOC_ALIGNMENT = 16;
    void *block = nullptr;
    {
        const test::Aside aside;
        allocate(&block, sizeof kText, alignment);
        std::memcpy(block, kText, sizeof kText);
    }
    const test::Replacement shifted(test::block_shift, std::size_t{shift});
    std::string result = allocate(&block, 1000, alignment, ZOV_TRUE) != nullptr
                             ? is_aligned(block, alignment == 64 ? 64 : 1) ? "grown" : "misaligned"
                             : "null";
    result += std::memcmp(block, kText, sizeof kText) == 0 ? " with contents" : " without contents";
    release(block, alignment);
    return result;
}

constexpr int32_t kAlignments[] = {ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, 64};

TEST_F(Heap, FaultsOfReallocationsLeaveTheBlock)
{
    const Lines memory = no_memory("make", 1000);
    const Lines learned = {misaligned(16)};
    const Faults once = {{"realloc 1", {{"null with contents", memory}}}};
    Faults twice = once;
    twice["realloc 2"] = {"null with contents", learned + memory};
    for (const int32_t alignment : kAlignments) {
        test::for_each_fault([=] { return grow(alignment, 0); }, {"grown with contents"}, once);
        test::for_each_fault([=] { return grow(alignment, 8); }, {"grown with contents", learned},
                             twice);
    }
}

TEST_F(Heap, AlignmentOfThePlatformIsLearnedForGood)
{
    capture.set_levels(0x3);
    const std::pair<std::size_t, Lines> shifts[] = {
        {8, {misaligned(16)}}, {4, {misaligned(16), misaligned(8)}}, {16, {}}};
    for (const auto &[shift, warnings] : shifts) {
        for (const int32_t alignment : kAlignments) {
            GLOBAL_MALLOC_ALIGNMENT = 0;
            const test::Replacement shifted(test::block_shift, std::size_t{shift});
            for (int round = 0; round < 2; ++round) {
                void *block = nullptr;
                ASSERT_NE(allocate(&block, 33, alignment), nullptr);
                EXPECT_TRUE(is_filled(block, 33, 0));
                EXPECT_TRUE(is_aligned(block, alignment == 64 ? 64 : 4));
                std::memset(block, 0xEE, 33);
                release(block, alignment);
            }
            EXPECT_EQ(capture.take(), warnings) << "shifted by " << shift;
            EXPECT_EQ(GLOBAL_MALLOC_ALIGNMENT, 16 >> warnings.size());
        }
    }
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
