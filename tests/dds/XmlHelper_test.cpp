#include "dds/ThreadSettings.h"
#include "dds/XmlContext.h"
#include "dds/XmlHelper.h"
#include "tests/support/Faults.hpp"

#include <expat.h>
#include <gtest/gtest.h>
#include <regex>

using test::Lines;
using test::LogCapture;
using test::operator+;

namespace {

/** The value that a reader leaves, 77 if any, how it ended, and what it reports. */
template <class Value, class Read>
std::string outcome_of(Read read, const char *text, ZOVXMLContext *context, bool has_value = true)
{
    LogCapture capture;
    Value value = 77;
    const bool done = read(has_value ? &value : nullptr, text, context);
    EXPECT_TRUE(context == nullptr || context->error == !done);
    std::string outcome = std::to_string(value) + (done ? "" : " failed");
    for (const std::string &line : capture.lines())
        outcome += " " + line;
    return outcome;
}

/** The same of a text without a parser; with one, that stands in a line 4, reports tell so. */
template <auto function, class Value>
std::string read(const char *text)
{
    const auto outcome = [text](XML_Parser parser) {
        ZOVXMLContext context = {};
        context.parser = parser;
        return outcome_of<Value>(function, text, &context);
    };
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_Parse(parser, "<a>\n\n\n", 6, 0);
    const std::string without = outcome(nullptr);
    EXPECT_EQ(outcome(parser),
              std::regex_replace(without, std::regex(":(\\w+ failure)"), ":line 4: $1"));
    XML_ParserFree(parser);
    if (text != nullptr)
        return without;
    ZOVXMLContext context = {}; // what else may be missing
    return outcome_of<Value>(function, "1", nullptr) +
           outcome_of<Value>(function, "1", &context, false) + without;
}

DDS_Boolean read_interval(DDS_Long *value, const char *text, ZOVXMLContext *context)
{
    return DDS_XMLHelper_str_to_int_with_interval(value, text, 1, 10, context);
}

constexpr auto read_flag = read<DDS_XMLHelper_str_to_boolean, DDS_Boolean>;
constexpr auto read_unsigned = read<DDS_XMLHelper_str_to_unsigned_int, DDS_UnsignedLong>;
constexpr auto read_long = read<DDS_XMLHelper_str_to_int, DDS_Long>;
constexpr auto read_within = read<read_interval, DDS_Long>;
constexpr auto read_mask = read<DDS_XMLHelper_str_to_thread_settings_kind_mask, DDS_UnsignedLong>;

std::string failed(const std::string &operation, const std::string &report)
{
    return "77 failed DDS_XMLHelper_str_to_" + operation + ":" + report + "\n";
}

std::string expected(const std::string &operation, const std::string &what)
{
    return failed(operation, "parse failure: " + what + " expected");
}

std::string missing(const std::string &operation)
{
    return failed(operation, "bad parameter: context") + failed(operation, "bad parameter: value") +
           failed(operation, "bad parameter: str");
}

const std::string kMask = "thread_settings_kind_mask";
const std::string kTooLong =
    "DDS_XMLHelper_str_to_" + kMask + ":internal failure: thread settings kind too long\n";
const std::string kLongest = std::string(2047 - 5, ' ') + "STDIO";
const std::string kLonger = ' ' + kLongest;

TEST(XmlReader, ReadsWordsAndNumbers)
{
    const struct
    {
        std::string (*read)(const char *text);
        std::string outcome;
        std::vector<const char *> texts;
    } cases[] = {
        {read_flag, "1", {"Yes", "TRUE", "1", "dds_boolean_true", "BOOLEAN_TRUE"}},
        {read_flag, "0", {"no", "False", "0", "DDS_BOOLEAN_FALSE", "boolean_false"}},
        {read_flag, expected("boolean", "boolean"), {"10", "", "DDS_true", " 1", "DDS_"}},
        {read_flag, missing("boolean"), {nullptr}},
        {read_unsigned, "2147483647", {"DURATION_INFINITE_NSEC", "dds_duration_infinite_nsec"}},
        {read_unsigned, "0", {"DURATION_AUTO_NSEC", "DDS_DURATION_ZERO_NSEC", "RTPS_AUTO_ID"}},
        {read_unsigned, "31", {"0x1F", "0X1f", "31.5", " 31", "0031"}},
        {read_unsigned, "4294967295", {"4294967295", "0xFFFFFFFF"}},
        {read_unsigned,
         expected("unsigned_int", "integer"),
         {"4294967296", "99999999999999999999", "-1", "abc", "", "LENGTH_UNLIMITED"}},
        {read_unsigned, missing("unsigned_int"), {nullptr}},
        {read_long,
         "-1",
         {"LENGTH_UNLIMITED", "DURATION_AUTO_SEC", "0xFFFFFFFF", "-1",
          "DDS_THREAD_STACK_SIZE_DEFAULT"}},
        {read_long, "-2", {"DDS_LENGTH_AUTO", "length_auto"}},
        {read_long, "0", {"AUTO_MAX_TOTAL_INSTANCES", "DDS_DURATION_ZERO_SEC", "-0x10", "0x"}},
        {read_long, "2147483647", {"DURATION_INFINITE_SEC", "2147483647", "0x7FFFFFFF"}},
        {read_long,
         "-9999999",
         {"thread_priority_high", "DDS_THREAD_PRIORITY_DEFAULT", "THREAD_PRIORITY_ABOVE_NORMAL",
          "THREAD_PRIORITY_NORMAL", "THREAD_PRIORITY_BELOW_NORMAL", "THREAD_PRIORITY_LOW",
          "MAX_PRIORITY", "NORM_PRIORITY", "MIN_PRIORITY"}},
        {read_long, "7", {"7 days", "+7", "07"}},
        {read_long, "-2147483648", {"-2147483648", "0x80000000"}},
        {read_long,
         expected("int", "integer"),
         {"2147483648", "-2147483649", "0x100000000", "DDS_MAX_PRIORITY", "", "x1"}},
        {read_long, missing("int"), {nullptr}},
        {read_within, "1", {"1", "0x1"}},
        {read_within, "10", {"10"}},
        {read_within,
         expected("int_with_interval", "integer in the interval [1,10]"),
         {"0", "11", "LENGTH_UNLIMITED"}},
        {read_within, expected("int_with_interval", "integer"), {"LENGTH_AUTO", ""}},
        {read_within, missing("int_with_interval"), {nullptr}},
        {read_mask, "0", {"", " \t\n", "MASK_DEFAULT", "DDS_THREAD_SETTINGS_KIND_MASK_DEFAULT"}},
        {read_mask, "1", {"DDS_THREAD_SETTINGS_FLOATING_POINT", "floating_point"}},
        {read_mask, "2", {"THREAD_SETTINGS_KIND_MASK_DEFAULT|STDIO", "THREAD_SETTINGS_STDIO"}},
        {read_mask, "3", {" STDIO | floating_point "}},
        {read_mask, "8", {"REALTIME_PRIORITY"}},
        {read_mask, "16", {"THREAD_SETTINGS_PRIORITY_ENFORCE"}},
        {read_mask, "24", {"DDS_THREAD_SETTINGS_REALTIME_PRIORITY|PRIORITY_ENFORCE"}},
        {read_mask, "2", {kLongest.c_str()}},
        {read_mask, "2 " + kTooLong, {kLonger.c_str()}},
        {read_mask, expected(kMask, "thread mask"), {"STDIO|BOGUS", "STDIO|", "DDS_STDIO"}},
        {read_mask, missing(kMask), {nullptr}},
    };
    for (const auto &[read, outcome, texts] : cases)
        for (const char *text : texts)
            EXPECT_EQ(read(text), outcome) << (text != nullptr ? text : "null");
    test::for_each_fault(
        [] {
            ZOVXMLContext context = {};
            DDS_UnsignedLong mask = 77;
            DDS_XMLHelper_str_to_thread_settings_kind_mask(&mask, kLonger.c_str(), &context);
            return std::to_string(mask) + (context.error ? " error" : "");
        },
        {"2", {kTooLong}},
        {{"calloc 1",
          {{"77 error", Lines{kTooLong} + test::no_memory("ZOVOsapiHeap_allocateString", 2049)}}}});
}

TEST(XmlHelper, TellsWhatIsMissingAndCutsListsApart)
{
    LogCapture capture;
    EXPECT_EQ(DDS_XMLContext_get_current_line_number(nullptr), 0);
    const char *list[] = {"a", "1", nullptr};
    EXPECT_STREQ(DDS_XMLHelper_get_attribute_value(list, "a"), "1");
    EXPECT_EQ(DDS_XMLHelper_get_attribute_value(nullptr, "a"), nullptr);
    EXPECT_EQ(DDS_XMLHelper_get_attribute_value(list, nullptr), nullptr);
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_XMLContext_get_current_line_number:bad parameter: context\n",
                     "DDS_XMLHelper_get_attribute_value:bad parameter: attr_list\n",
                     "DDS_XMLHelper_get_attribute_value:bad parameter: name\n"}));
    char mask[] = "a|b|c,d";
    char *rest = DDS_XMLHelper_separateFirstElementFromMask(mask);
    EXPECT_STREQ(mask, "a");
    EXPECT_STREQ(rest, "b|c,d");
    EXPECT_STREQ(DDS_XMLHelper_separateFirstElementFromCommaSeparatedList(rest), "d");
    EXPECT_EQ(DDS_XMLHelper_separateFirstElementFromMask(mask), nullptr);
}

} // namespace
