#include "dds/Log.h"
#include "dds/StringSeq.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <tuple>

using test::Lines;

namespace {

using Texts = std::vector<std::string>;

const std::string kSplit = "DDS_StringSeq_from_delimited_string:";
const std::string kJoin = "DDS_StringSeq_to_delimited_string:";
const std::string kJoinNew = "DDS_StringSeq_to_delimited_string_w_alloc:";
const std::string kArray = "DDS_StringSeq_from_string_array:";

Texts elements_of(DDS_StringSeq &sequence)
{
    Texts texts;
    for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&sequence); ++i) {
        const char *element = DDS_StringSeq_get(&sequence, i);
        texts.emplace_back(element != nullptr ? element : "null");
    }
    return texts;
}

// Into owned strings, and over those of a loan of either layout.
TEST(StringSeqText, IsSplitAndJoinedAgain)
{
    static char strings[8][5001];
    char *slots[8];
    char **addresses[8];
    for (std::size_t i = 0; i < 8; ++i) {
        slots[i] = strings[i];
        addresses[7 - i] = &slots[i];
    }
    DDS_StringSeq sequences[3] = {};
    DDS_StringSeq_loan_contiguous(&sequences[1], slots, 0, 8);
    DDS_StringSeq_loan_discontiguous(&sequences[2], addresses, 0, 8);
    Texts texts = {""};
    for (std::size_t i = 0; texts[i].size() < 6; ++i) // all of up to six characters
        for (const char c : {'a', 'b', ','})
            texts.push_back(texts[i] + c);
    for (const std::size_t length : {4095u, 4096u, 4097u})
        texts.push_back("a," + std::string(length, 'x') + ",b," + std::string(5000, 'y') + ',');
    for (const std::string &text : texts)
        for (DDS_StringSeq &sequence : sequences) {
            ASSERT_EQ(DDS_StringSeq_from_delimited_string(&sequence, text.c_str(), ','), 0);
            ASSERT_EQ(DDS_StringSeq_get_length(&sequence),
                      text.empty() ? 0 : std::count(text.begin(), text.end(), ',') + 1);
            char *joined = nullptr;
            DDS_Long size = 0;
            ASSERT_EQ(DDS_StringSeq_to_delimited_string_w_alloc(&sequence, &joined, &size, ','), 0);
            ASSERT_EQ(joined, text);
            ASSERT_EQ(size, text.size() + (text.empty() ? 2 : 3));
            ZOVOsapiHeap_freeArray(joined);
        }
    EXPECT_EQ(DDS_StringSeq_from_delimited_string(sequences, nullptr, ','), 0);
    EXPECT_EQ(DDS_StringSeq_get_length(sequences), 0);
    DDS_StringSeq_finalize(sequences);
}

TEST(StringSeqText, ThatCannotBeJoinedIsEmpty)
{
    char strings[] = "a\0bc";
    char *slots[] = {strings, strings + 2, nullptr};
    const std::tuple<DDS_Long, DDS_Long, int, std::string, Lines> cases[] = {
        {0, 1, 0, "", {}},
        {0, 0, 5, "old", {kJoin + "insufficient space: 0 available, 1 needed\n"}},
        {2, -1, 5, "old", {kJoin + "insufficient space: -1 available, 2 needed\n"}},
        {2, 1, 5, "", {kJoin + "insufficient space: 1 available, 2 needed\n"}},
        {2, 5, 5, "", {kJoin + "insufficient space: 5 available, 5 needed\n"}},
        {2, 6, 0, "a,bc", {}},
        {3, 8, 3, "", {kJoin + "bad parameter: NULL string\n"}},
    };
    test::LogCapture capture;
    DDS_StringSeq sequence = {};
    sequence.length = 7; // means nothing without the mark
    char buffer[8] = "old";
    EXPECT_EQ(DDS_StringSeq_to_delimited_string(&sequence, buffer, 8, ','), 0);
    EXPECT_STREQ(buffer, "");
    for (const auto &[length, available, code, text, lines] : cases) {
        sequence = {};
        DDS_StringSeq_loan_contiguous(&sequence, slots, length, 3);
        std::snprintf(buffer, sizeof buffer, "old");
        EXPECT_EQ(DDS_StringSeq_to_delimited_string(&sequence, buffer, available, ','), code);
        EXPECT_EQ(buffer, text) << available;
        EXPECT_EQ(capture.take(), lines);
    }
    char *text = buffer;
    DDS_Long size = 77;
    EXPECT_EQ(DDS_StringSeq_to_delimited_string_w_alloc(&sequence, &text, &size, ','), 3);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(size, 77);
    EXPECT_EQ(DDS_StringSeq_to_delimited_string(nullptr, buffer, 8, ','), 3);
    EXPECT_EQ(DDS_StringSeq_to_delimited_string_w_alloc(nullptr, &text, &size, ','), 3);
    EXPECT_EQ(DDS_StringSeq_from_delimited_string(nullptr, "a", ','), 3);
    EXPECT_EQ(capture.take(),
              Lines({kJoin + "bad parameter: NULL string\n", kJoinNew + "!set string value\n",
                     kJoin + "bad parameter: self\n", kJoinNew + "bad parameter: self\n",
                     kSplit + "bad parameter: self\n"}));
}

TEST(StringSeqText, ComesFromTheEnvironmentOrAFile)
{
    test::LogCapture capture;
    capture.set_levels(0x3);
    const std::string file = testing::TempDir() + "StringSeq_test.txt";
    std::ofstream(file) << "a # one\nb;c\n";
    DDS_StringSeq sequence = {};
    const auto read = [&](const char *name) {
        return DDS_StringSeq_from_environment_variable_or_file(&sequence, name, file.c_str(), ';',
                                                               '#');
    };
    EXPECT_EQ(read("StringSeq_test"), 0);
    EXPECT_EQ(elements_of(sequence), Texts({"a", "b", "c"}));
    setenv("StringSeq_test", "x #;", 1);
    EXPECT_EQ(read("StringSeq_test"), 0);
    EXPECT_EQ(elements_of(sequence), Texts({"x #", ""}));
    DDS_StringSeq_finalize(&sequence);
    DDS_StringSeq_set_absolute_maximum(&sequence, 0);
    DDSLog_g_submoduleMask = DDS_LOG_SUBMODULE_SETTINGS;
    EXPECT_EQ(read("StringSeq_test"), 11);
    DDSLog_g_instrumentationMask = 0x1;
    EXPECT_EQ(read(nullptr), 11);
    std::remove(file.c_str());
    EXPECT_EQ(read(nullptr), 11);
    EXPECT_EQ(capture.take(),
              Lines({kSplit + "!set length of sequence for \"x #;\" to 2\n",
                     "(warning) DDS_StringSeq_from_environment_variable_or_file:!copy "
                     "StringSeq_test\n",
                     kSplit + "!set length of sequence for \"a;b;c\" to 3\n",
                     "ZOVOsapi_envVarOrFileGet:file " + file + " not found\n"}));
}

/** Fills a sequence with room for so many elements, and joins them when that gave 0. */
std::function<std::string()> scenario(DDS_Long room,
                                      const std::function<int(DDS_StringSeq *)> &fill)
{
    return [=] {
        DDS_StringSeq sequence = {};
        {
            const test::Aside aside;
            DDS_StringSeq_set_maximum(&sequence, room);
        }
        const int code = fill(&sequence);
        std::string result = std::to_string(code);
        for (const std::string &element : elements_of(sequence))
            result += ' ' + element.substr(0, 5);
        char *text = nullptr;
        DDS_Long size = 0;
        if (code == 0 && DDS_StringSeq_to_delimited_string_w_alloc(&sequence, &text, &size, ','))
            result += " not joined";
        ZOVOsapiHeap_freeArray(text);
        DDS_StringSeq_finalize(&sequence);
        return result;
    };
}

TEST(StringSeqText, WithoutMemoryKeepsWhatWasConverted)
{
    const auto lack = [](const std::string &result, const std::string &report, int leaks = 0) {
        return test::Expected{result, {test::kBelow, report + "\n"}, leaks};
    };
    const auto not_joined = [&](const std::string &result, int size) {
        return lack(result + " not joined", kJoinNew + "no space on heap for array with " +
                                                std::to_string(size) + " elements of size 1 bytes");
    };
    const std::string no_token = kSplit + "out of resources: heapToken";
    const std::string no_element = kSplit + "!copy string";
    const std::string no_copy = kArray + "!copy string";
    const auto split = [](const std::string &text) {
        return [=](DDS_StringSeq *sequence) {
            return DDS_StringSeq_from_delimited_string(sequence, text.c_str(), ',');
        };
    };
    test::for_each_fault(
        scenario(0, split("a,b,")), {"0 a b "},
        {{"calloc 1", lack("5", kSplit + "!set length of sequence for \"a,b,\" to 3")},
         {"calloc 2", lack("5 null null null", no_element)},
         {"calloc 3", lack("5 a null null", no_element)},
         {"calloc 4", lack("5 a b null", no_element)},
         {"calloc 5", not_joined("0 a b ", 7)}});
    test::for_each_fault(scenario(2, split(std::string(4096, 'x') + "," + std::string(5000, 'y'))),
                         {"0 xxxxx yyyyy"},
                         {{"calloc 1", lack("5 null null", no_token)},
                          {"calloc 2", lack("5 null null", no_element)},
                          {"realloc 1", lack("5 xxxxx null", no_token)},
                          {"calloc 3", lack("5 xxxxx null", no_element)},
                          {"calloc 4", not_joined("0 xxxxx yyyyy", 9100)}});
    const auto copy = [](DDS_StringSeq *sequence) {
        const char *const strings[] = {"one", nullptr, "three"};
        return 10 + DDS_StringSeq_from_string_array(sequence, strings, 3);
    };
    test::for_each_fault(scenario(0, copy), {"11 one null three"},
                         {{"calloc 1", lack("10", kArray + "!resize string sequence")},
                          {"calloc 2", lack("10 null null null", no_copy)},
                          {"calloc 3", lack("10 one null null", no_copy)}});
    const auto copy_over = [](DDS_StringSeq *sequence) {
        const char *const string = "one";
        int code = 10;
        for (const DDS_Long count : {1, 1, 0}) // none changes nothing
            code += DDS_StringSeq_from_string_array(sequence, &string, count);
        return code;
    };
    // What was in the slot stays behind.
    test::for_each_fault(
        scenario(1, copy_over), {"13 one", {}, 1},
        {{"calloc 1", lack("12 one", no_copy)}, {"calloc 2", lack("12 null", no_copy, 1)}});
}

} // namespace
