#include "dds/AllocationParams.h"
#include "dds/Log.h"
#include "dds/String.h"
#include "tests/support/Faults.hpp"

#include <gtest/gtest.h>

using test::kBelow;
using test::Lines;
using test::operator+;

namespace {

std::string text_of(const char *string)
{
    return string != nullptr ? string : "null";
}

TEST(String, IsReplacedByAnyOtherAndByAnyPartOfItself)
{
    EXPECT_EQ(DDS_String_replace(nullptr, "x"), nullptr);
    char *string = DDS_String_alloc(0);
    EXPECT_STREQ(string, "");
    const std::string sentence = "the quick brown fox jumps over the lazy dog";
    for (const std::string &other : {std::string(), std::string("a"), std::string(5000, 'x')})
        for (std::size_t part = 0; part <= sentence.size(); ++part) {
            EXPECT_EQ(DDS_String_replace(&string, sentence.c_str()), string);
            EXPECT_EQ(DDS_String_replace(&string, string + part), string);
            EXPECT_EQ(string, sentence.substr(part));
            EXPECT_EQ(DDS_String_replace(&string, other.c_str()), string);
            EXPECT_EQ(string, other);
        }
    EXPECT_EQ(DDS_String_replace(&string, nullptr), nullptr);
    EXPECT_EQ(string, nullptr);
}

// The buffer need not be the heap's: it is neither freed nor moved.
TEST(String, IsWrittenOverWhereItStands)
{
    test::LogCapture capture;
    char buffer[16] = "prices";
    char *string = buffer;
    DDS_String_safe_replace(&string, "orders of today", "Topic_copy", "name");
    DDS_String_safe_replace(&string, buffer + 7, "Topic_copy", "name");
    for (const uint32_t levels : {0x1u, 0x5u, 0x2u}) {
        DDSLog_setBitmaps(0, levels);
        string = buffer;
        DDS_String_safe_replace(&string, nullptr, "Topic_copy", "name");
        EXPECT_EQ(string, nullptr);
    }
    DDS_String_safe_replace(&string, nullptr, "Topic_copy", "name");
    EXPECT_EQ(string, nullptr);
    EXPECT_STREQ(buffer, "of today");
    EXPECT_EQ(capture.lines(), Lines({"Topic_copy: potentially leaking name (9 bytes)\n"}));
}

std::string use_strings()
{
    char *string = nullptr;
    std::string result;
    for (const std::size_t length : {9u, 1000u})
        result += DDS_String_alloc_if_necessary(&string, length, "Topic_new", "name") ? 'y' : 'n';
    for (const char *text : {"thirteen", "two"})
        result += ' ' + text_of(DDS_String_replace(&string, text));
    char *copy = DDS_String_dup(string);
    char *other = nullptr;
    DDS_String_safe_replace(&other, string, "Topic_copy", "name");
    for (char *each : {string, copy, other, DDS_String_dup(nullptr)}) {
        result += ' ' + text_of(each);
        DDS_String_free(each);
    }
    return result;
}

TEST(String, WithoutMemoryStaysWhatItWas)
{
    test::for_each_fault(
        use_strings, {"yy thirteen two two two two null"},
        {{"calloc 1", {{"ny thirteen two two two two null", {kBelow, "Topic_new:!create name\n"}}}},
         {"realloc 1", {{"yy null two two two two null", {kBelow}}}},
         {"realloc 2", {{"yy thirteen null thirteen thirteen thirteen null", {kBelow}}}},
         {"calloc 2", {{"yy thirteen two two null two null", {kBelow}}}},
         {"calloc 3", {{"yy thirteen two two two null null", {kBelow}}}}});
    test::LogCapture capture;
    DDSLog_g_submoduleMask &= ~DDS_LOG_SUBMODULE_STRING;
    const test::Fault fault("calloc 1");
    char *string = nullptr;
    EXPECT_FALSE(DDS_String_alloc_if_necessary(&string, 9, "Topic_new", "name"));
    EXPECT_EQ(capture.lines(), Lines());
}

#define BLOCK(NAME)                                                                                \
#NAME, NAME##_t_initialize, NAME##_t_finalize, NAME##_t_copy, NAME##_t_equals, NAME##_t()

template <class Params>
void expect_block(const std::vector<DDS_Boolean> &flags, const std::string &name, auto initialize,
                  auto finalize, auto copy, auto equals, Params block)
{
    test::LogCapture capture;
    auto *bytes = reinterpret_cast<DDS_Boolean *>(&block);
    EXPECT_TRUE(initialize(&block) && finalize(&block));
    ASSERT_EQ(std::vector<DDS_Boolean>(bytes, bytes + sizeof block), flags) << name;
    for (std::size_t i = 0; i < flags.size(); ++i) {
        Params other;
        EXPECT_EQ(copy(&other, &block), &other);
        EXPECT_TRUE(equals(&other, &block));
        bytes[i] = !bytes[i];
        EXPECT_FALSE(equals(&other, &block)) << i;
    }
    EXPECT_TRUE(equals(nullptr, nullptr));
    EXPECT_FALSE(equals(&block, nullptr) || equals(nullptr, &block));
    for (const uint32_t submodules : {0xFu, 0xFFEFu, DDS_LOG_SUBMODULE_ALLOCATION_PARAMS}) {
        DDSLog_g_submoduleMask = submodules;
        EXPECT_FALSE(initialize(nullptr) || finalize(nullptr));
        EXPECT_FALSE(copy(nullptr, &block) || copy(&block, nullptr));
    }
    Lines expected;
    for (const char *lack : {"_initialize:", "_finalize:", "_copy:"})
        expected.push_back(name + lack + "bad parameter: self\n");
    EXPECT_EQ(capture.lines(), expected + Lines{name + "_copy:bad parameter: src\n"});
}

TEST(ParameterBlock, HasDefaultsAndIsCopiedAndCompared)
{
    expect_block({1, 0, 1}, BLOCK(DDS_TypeAllocationParams));
    expect_block({1, 1}, BLOCK(DDS_TypeDeallocationParams));
}

} // namespace
