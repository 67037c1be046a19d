#include "dds/Duration.h"
#include "dds/ThreadSettings.h"
#include "dds/XmlContext.h"
#include "dds/XmlHelper.h"
#include "tests/support/Faults.hpp"
#include "tests/xml/piecewise.hpp"

#include <expat.h>
#include <vector>

using test::Lines;
using test::LogCapture;
using test::operator+;

namespace {

/** What a reader makes of a text: its value, or what it reports. */
template <class Value, class Read>
std::string reading(Read read, const char *text)
{
    LogCapture capture;
    ZOVXMLContext context = {};
    Value value = 77;
    const bool done = read(&value, text, &context);
    EXPECT_EQ(context.error, !done);
    if (done)
        return std::to_string(value);
    EXPECT_EQ(value, Value{77}) << text;
    EXPECT_EQ(capture.lines().size(), 1u);
    const std::string line = capture.lines().empty() ? "" : capture.lines().front();
    return line.substr(line.find(':') + 1);
}

constexpr char kNoBoolean[] = "parse failure: boolean expected\n";
constexpr char kNoInteger[] = "parse failure: integer expected\n";
constexpr char kNoMask[] = "parse failure: thread mask expected\n";
constexpr char kNoInterval[] = "parse failure: integer in the interval [1,10] expected\n";

struct Row
{
    const char *text;
    std::string result;
};

TEST(XmlReader, Booleans)
{
    for (const auto &[text, result] : std::vector<Row>{{"Yes", "1"},
                                                       {"TRUE", "1"},
                                                       {"1", "1"},
                                                       {"dds_boolean_true", "1"},
                                                       {"BOOLEAN_TRUE", "1"},
                                                       {"no", "0"},
                                                       {"False", "0"},
                                                       {"0", "0"},
                                                       {"DDS_BOOLEAN_FALSE", "0"},
                                                       {"boolean_false", "0"},
                                                       {"10", kNoBoolean},
                                                       {"", kNoBoolean},
                                                       {"DDS_true", kNoBoolean},
                                                       {" 1", kNoBoolean}})
        EXPECT_EQ(reading<DDS_Boolean>(DDS_XMLHelper_str_to_boolean, text), result) << text;
}

TEST(XmlReader, UnsignedNumbers)
{
    for (const auto &[text, result] : std::vector<Row>{{"DURATION_INFINITE_NSEC", "2147483647"},
                                                       {"dds_duration_infinite_nsec", "2147483647"},
                                                       {"DURATION_AUTO_NSEC", "0"},
                                                       {"DDS_DURATION_ZERO_NSEC", "0"},
                                                       {"RTPS_AUTO_ID", "0"},
                                                       {"0x1F", "31"},
                                                       {"0X1f", "31"},
                                                       {"010", "10"},
                                                       {"12abc", "12"},
                                                       {"4294967295", "4294967295"},
                                                       {"4294967296", kNoInteger},
                                                       {"99999999999999999999", kNoInteger},
                                                       {"-1", kNoInteger},
                                                       {"abc", kNoInteger}})
        EXPECT_EQ(reading<DDS_UnsignedLong>(DDS_XMLHelper_str_to_unsigned_int, text), result)
            << text;
}

TEST(XmlReader, Numbers)
{
    for (const auto &[text, result] : std::vector<Row>{{"LENGTH_UNLIMITED", "-1"},
                                                       {"DDS_LENGTH_AUTO", "-2"},
                                                       {"AUTO_MAX_TOTAL_INSTANCES", "0"},
                                                       {"DURATION_INFINITE_SEC", "2147483647"},
                                                       {"DURATION_AUTO_SEC", "-1"},
                                                       {"DDS_DURATION_ZERO_SEC", "0"},
                                                       {"thread_priority_high", "-9999999"},
                                                       {"DDS_THREAD_PRIORITY_DEFAULT", "-9999999"},
                                                       {"THREAD_PRIORITY_ABOVE_NORMAL", "-9999999"},
                                                       {"THREAD_PRIORITY_NORMAL", "-9999999"},
                                                       {"THREAD_PRIORITY_BELOW_NORMAL", "-9999999"},
                                                       {"THREAD_PRIORITY_LOW", "-9999999"},
                                                       {"MAX_PRIORITY", "-9999999"},
                                                       {"NORM_PRIORITY", "-9999999"},
                                                       {"MIN_PRIORITY", "-9999999"},
                                                       {"THREAD_STACK_SIZE_DEFAULT", "-1"},
                                                       {"7 days", "7"},
                                                       {"-0x10", "0"},
                                                       {"0xFFFFFFFF", "-1"},
                                                       {"-2147483648", "-2147483648"},
                                                       {"2147483648", kNoInteger},
                                                       {"0x100000000", kNoInteger},
                                                       {"DDS_MAX_PRIORITY", kNoInteger},
                                                       {"", kNoInteger}})
        EXPECT_EQ(reading<DDS_Long>(DDS_XMLHelper_str_to_int, text), result) << text;
    const auto read = [](DDS_Long *value, const char *text, ZOVXMLContext *context) {
        return DDS_XMLHelper_str_to_int_with_interval(value, text, 1, 10, context);
    };
    for (const auto &[text, result] : std::vector<Row>{{"1", "1"},
                                                       {"10", "10"},
                                                       {"0", kNoInterval},
                                                       {"11", kNoInterval},
                                                       {"LENGTH_UNLIMITED", kNoInterval},
                                                       {"LENGTH_AUTO", kNoInteger}})
        EXPECT_EQ(reading<DDS_Long>(read, text), result) << text;
}

TEST(XmlReader, ThreadMasks)
{
    for (const auto &[text, result] :
         std::vector<Row>{{" STDIO | floating_point ", "3"},
                          {"", "0"},
                          {" \t\n", "0"},
                          {"MASK_DEFAULT", "0"},
                          {"THREAD_SETTINGS_KIND_MASK_DEFAULT|STDIO", "2"},
                          {"DDS_THREAD_SETTINGS_REALTIME_PRIORITY|PRIORITY_ENFORCE", "24"},
                          {"DDS_THREAD_SETTINGS_FLOATING_POINT", "1"},
                          {"REALTIME_PRIORITY", "8"},
                          {"THREAD_SETTINGS_PRIORITY_ENFORCE", "16"},
                          {"STDIO|BOGUS", kNoMask},
                          {"STDIO|", kNoMask},
                          {"DDS_STDIO", kNoMask}})
        EXPECT_EQ(reading<DDS_UnsignedLong>(DDS_XMLHelper_str_to_thread_settings_kind_mask, text),
                  result)
            << text;
}

TEST(XmlReader, LongMasksAreReportedAndRead)
{
    const std::string blanks(2047 - 5, ' ');
    const Lines too_long = {"DDS_XMLHelper_str_to_thread_settings_kind_mask:internal failure: "
                            "thread settings kind too long\n"};
    const auto read = [](const std::string &text) {
        ZOVXMLContext context = {};
        DDS_UnsignedLong mask = 77;
        const bool done =
            DDS_XMLHelper_str_to_thread_settings_kind_mask(&mask, text.c_str(), &context);
        return std::to_string(mask) + (done ? "" : " failed") + (context.error ? " error" : "");
    };
    LogCapture capture;
    EXPECT_EQ(read(blanks + "STDIO"), "2");
    EXPECT_EQ(capture.lines(), Lines());
    const auto scenario = [&] { return read(blanks + " STDIO"); };
    test::for_each_fault(
        scenario, {"2", too_long},
        {{"calloc 1",
          test::Expected{"77 failed error",
                         too_long + test::no_memory("ZOVOsapiHeap_allocateString", 2049)}}});
}

TEST(XmlReader, TellsWhatIsMissing)
{
    LogCapture capture;
    ZOVXMLContext context = {};
    DDS_Long value = 0;
    EXPECT_FALSE(DDS_XMLHelper_str_to_int(&value, "1", nullptr));
    EXPECT_FALSE(DDS_XMLHelper_str_to_int(nullptr, "1", &context));
    EXPECT_TRUE(context.error);
    context.error = ZOV_FALSE;
    EXPECT_FALSE(
        DDS_XMLHelper_str_to_boolean(reinterpret_cast<DDS_Boolean *>(&value), nullptr, &context));
    EXPECT_TRUE(context.error);
    EXPECT_EQ(DDS_XMLContext_get_current_line_number(nullptr), 0);
    EXPECT_EQ(DDS_XMLHelper_get_attribute_value(nullptr, "a"), nullptr);
    const char *none[] = {nullptr};
    EXPECT_EQ(DDS_XMLHelper_get_attribute_value(none, nullptr), nullptr);
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_XMLHelper_str_to_int:bad parameter: context\n",
                     "DDS_XMLHelper_str_to_int:bad parameter: value\n",
                     "DDS_XMLHelper_str_to_boolean:bad parameter: str\n",
                     "DDS_XMLContext_get_current_line_number:bad parameter: context\n",
                     "DDS_XMLHelper_get_attribute_value:bad parameter: attr_list\n",
                     "DDS_XMLHelper_get_attribute_value:bad parameter: name\n"}));
}

TEST(XmlReader, TellsTheLineOfTheParser)
{
    LogCapture capture;
    ZOVXMLContext context = {};
    context.parser = XML_ParserCreate(nullptr);
    XML_SetUserData(context.parser, &context);
    XML_SetCharacterDataHandler(context.parser, [](void *user, const XML_Char *text, int length) {
        DDS_Long value = 0;
        const std::string word(text, static_cast<std::size_t>(length));
        if (word.find_first_not_of(" \n") != std::string::npos)
            DDS_XMLHelper_str_to_int(&value, word.c_str(), static_cast<ZOVXMLContext *>(user));
    });
    const std::string document = "<a>\n<b>1</b>\n\n<b>one</b>\n</a>\n";
    EXPECT_EQ(XML_Parse(context.parser, document.data(), static_cast<int>(document.size()), 1),
              XML_STATUS_OK);
    XML_ParserFree(context.parser);
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_XMLHelper_str_to_int:line 4: parse failure: integer expected\n"}));
}

TEST(XmlHelper, CutsListsApart)
{
    char mask[] = "a|b|c,d";
    char *rest = DDS_XMLHelper_separateFirstElementFromMask(mask);
    EXPECT_STREQ(mask, "a");
    EXPECT_STREQ(rest, "b|c,d");
    EXPECT_STREQ(DDS_XMLHelper_separateFirstElementFromCommaSeparatedList(rest), "d");
    EXPECT_EQ(DDS_XMLHelper_separateFirstElementFromMask(mask), nullptr);
}

void print_tag(ZOVXMLSaveContext &context, const char *name, unsigned flags)
{
    context.depth -= (flags & 8) != 0 ? 1 : 0;
    if ((flags & 1) != 0)
        piecewise::indent(context);
    piecewise::print(context, "<%s%s>%s", (flags & 16) != 0 ? "/" : "", name,
                     (flags & 2) != 0 ? "\n" : "");
    context.depth += (flags & 4) != 0 ? 1 : 0;
}

/** An element whose text is made of these pieces. */
void print_element(ZOVXMLSaveContext &context, const char *name, const Lines &pieces)
{
    print_tag(context, name, 1);
    for (const std::string &piece : pieces)
        piecewise::print(context, "%s", piece.c_str());
    print_tag(context, name, 18);
}

TEST(XmlWriter, WritesWhatPrintingEachPieceWould)
{
    DDS_LongSeq longs = {};
    DDS_StringSeq strings = {};
    DDS_OctetSeq octets = {};
    DDS_OctetSeq no_octets = {};
    const DDS_Long numbers[] = {-5, 70000};
    const char *texts[] = {"x", nullptr, "<"};
    const DDS_Octet bytes[] = {1, 20, 255};
    ASSERT_TRUE(DDS_LongSeq_from_array(&longs, numbers, 2));
    ASSERT_TRUE(DDS_StringSeq_from_string_array(&strings, texts, 3));
    ASSERT_TRUE(DDS_OctetSeq_from_array(&octets, bytes, 3));
    const DDS_SequenceNumber_t number = {-1, 4294967295u};
    const DDS_Duration_t durations[] = {{3, 0x7FFFFFFF}, {0x7FFFFFFF, 5}};
    piecewise::expect_same(
        [&](ZOVXMLSaveContext &context) {
            DDS_XMLHelper_save_tag("all", DDS_XML_TAG_OPEN_BLOCK, &context);
            DDS_XMLHelper_save_long("long", INT32_MIN, &context);
            DDS_XMLHelper_save_int("int", 0, &context);
            DDS_XMLHelper_save_unsigned_long("unsigned", UINT32_MAX, &context);
            DDS_XMLHelper_save_bool("yes", DDS_BOOLEAN_TRUE, &context);
            DDS_XMLHelper_save_bool("no", DDS_BOOLEAN_FALSE, &context);
            DDS_XMLHelper_save_length("length", DDS_LENGTH_UNLIMITED, &context);
            DDS_XMLHelper_save_length("length", -2, &context);
            DDS_XMLHelper_save_string("plain",
                                      "Gr\xC3\xBC\xC3\x9F"
                                      "e",
                                      &context);
            DDS_XMLHelper_save_string("special", "a&b<\"c\">'d", &context);
            DDS_XMLHelper_save_string("empty", "", &context);
            DDS_XMLHelper_save_string("null", nullptr, &context);
            DDS_XMLHelper_save_freeform(&context, "<!-- %s %d%% -->\n", "free", 5);
            DDS_XMLHelper_save_sequence_number("number", &number, &context);
            DDS_XMLHelper_save_long_seq("longs", &longs, &context);
            DDS_XMLHelper_save_string_seq("strings", &strings, &context);
            DDS_XMLHelper_save_octet_array("octets", bytes, 3, &context);
            DDS_XMLHelper_save_octet_array("none", nullptr, 0, &context);
            DDS_XMLHelper_save_octet_seq("octets", &octets, &context);
            DDS_XMLHelper_save_octet_seq("none", &no_octets, &context);
            for (const DDS_Duration_t &duration : durations)
                DDS_Duration_save("duration", &duration, &context);
            DDS_XMLHelper_save_tag("all", DDS_XML_TAG_CLOSE_BLOCK, &context);
        },
        [&](ZOVXMLSaveContext &context) {
            const Lines joined = {"1", ",", "20", ",", "255"};
            print_tag(context, "all", 7);
            print_element(context, "long", {"-2147483648"});
            print_element(context, "int", {"0"});
            print_element(context, "unsigned", {"4294967295"});
            print_element(context, "yes", {"true"});
            print_element(context, "no", {"false"});
            print_element(context, "length", {"LENGTH_UNLIMITED"});
            print_element(context, "length", {"-2"});
            print_element(context, "plain",
                          {"Gr\xC3\xBC\xC3\x9F"
                           "e"});
            print_element(
                context, "special",
                {"a", "&amp;", "b", "&lt;", "&quot;", "c", "&quot;", "&gt;", "&apos;", "d"});
            print_element(context, "empty", {""});
            piecewise::print(context, "<!-- %s %d%% -->\n", "free", 5);
            print_tag(context, "number", 1);
            print_element(context, "high", {"-1"});
            print_element(context, "low", {"4294967295"});
            print_tag(context, "number", 18);
            print_tag(context, "longs", 7);
            print_element(context, "element", {"-5"});
            print_element(context, "element", {"70000"});
            print_tag(context, "longs", 27);
            print_tag(context, "strings", 7);
            print_element(context, "element", {"x"});
            print_element(context, "element", {"&lt;"});
            print_tag(context, "strings", 27);
            print_element(context, "octets", joined);
            print_element(context, "none", {});
            print_element(context, "octets", joined);
            print_tag(context, "duration", 7);
            print_element(context, "sec", {"3"});
            print_element(context, "nanosec", {"DURATION_INFINITE_NSEC"});
            print_tag(context, "duration", 27);
            print_tag(context, "duration", 7);
            print_element(context, "sec", {"DURATION_INFINITE_SEC"});
            print_element(context, "nanosec", {"5"});
            print_tag(context, "duration", 27);
            print_tag(context, "all", 27);
        });
    DDS_LongSeq_finalize(&longs);
    DDS_StringSeq_finalize(&strings);
    DDS_OctetSeq_finalize(&octets);
}

} // namespace
