#include "tests/support/Faults.hpp"
#include "xml/Infrastructure.h"
#include "xml/Utils.h"
#include "xml/append.hpp"

#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <gtest/gtest.h>
#include <vector>

using test::kBelow;
using test::Lines;
using test::LogCapture;

namespace {

const std::string kInitialize = "ZOVXMLAttributeDescriptor_initialize:";

TEST(XmlContext, CountsLinesFromTheOneThatWasSet)
{
    ZOVXMLContext context = {};
    const auto line_behind = [&context](const std::string &text) {
        if (context.parser != nullptr)
            XML_Parse(context.parser, text.data(), static_cast<int>(text.size()), 0);
        return ZOVXMLContext_getCurrentLineNumber(&context);
    };
    ZOVXMLContext_setContextLineNumber(&context, 12);
    EXPECT_EQ(line_behind("no parser"), 12);
    ZOVXMLContext_resetContextLineNumber(&context);
    context.parser = XML_ParserCreate(nullptr);
    EXPECT_EQ(line_behind("<a>"), 1);
    EXPECT_EQ(line_behind("\n<b/>\n\n<c/>"), 4);
    ZOVXMLContext_setContextLineNumber(&context, 100);
    EXPECT_EQ(line_behind(""), 100);
    EXPECT_EQ(line_behind("\n<b/>"), 101);
    ZOVXMLContext_resetContextLineNumber(&context);
    EXPECT_EQ(line_behind("\n</a>"), 6);
    XML_ParserFree(context.parser);
}

TEST(XmlSaveContext, StartsEmptyAndIndentsAsFarAsCanBePrinted)
{
    ZOVXMLSaveContext context;
    std::memset(&context, 0x5A, sizeof context);
    EXPECT_TRUE(ZOVXMLSaveContext_initialize(&context));
    const ZOVXMLSaveContext empty = {};
    EXPECT_EQ(std::memcmp(&context, &empty, sizeof context), 0);
    for (const auto &[depth, length] : {std::pair{0x1FFFFFFFu, 0x7FFFFFFCu}, {0x20000000u, 0u}}) {
        context = empty;
        context.depth = depth;
        ZOVXMLSaveContext_indent(&context);
        EXPECT_EQ(context.length, length);
        EXPECT_EQ(context.error, length == 0);
    }
    context = empty;
    zov::xml::append(context, {{"more than a printed piece could tell of", std::size_t{1} << 31}});
    EXPECT_TRUE(context.error);
    EXPECT_EQ(context.length, 0u);
    ZOVXMLSaveContext_finalize(&context);
}

TEST(XmlUtils, FindsAttributesAndTrims)
{
    const char *list[] = {"a", "1", "b", "2", nullptr};
    EXPECT_STREQ(ZOVXMLHelper_getAttribute(list, "b"), "2");
    EXPECT_EQ(ZOVXMLHelper_getAttribute(list, "2"), nullptr) << "a value is no name";
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(list), 2);
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(list + 4), 0);
    for (int c = -3; c < 400; ++c)
        EXPECT_EQ(ZOVXMLHelper_isspace(c) != 0, c == ' ' || (c >= '\t' && c <= '\r')) << c;
    for (const auto &[text, trimmed] :
         {std::pair{" \t a b\r\n", "a b"}, {" \n ", ""}, {"", ""}, {"a", "a"}, {"\xA0", "\xA0"}}) {
        std::string copy = text;
        EXPECT_STREQ(ZOVXMLHelper_strTrim(copy.data()), trimmed);
    }
}

class XmlReferences : public testing::Test
{
protected:
    XmlReferences()
    {
        for (const auto &[name, value] : m_variables)
            setenv(name, value.c_str(), 1);
    }
    ~XmlReferences() override
    {
        for (const auto &[name, value] : m_variables)
            unsetenv(name);
    }

    const std::pair<const char *, std::string> m_variables[4] = {
        {"XML_TEST_A", "alpha"},
        {"XML_TEST_NESTED", "<$(XML_TEST_A)>"},
        {"XML_TEST_LONG", std::string(4095, 'x')},
        {"XML_TEST_TOO_LONG", std::string(4096, 'x')}};
    LogCapture m_log;
};

TEST_F(XmlReferences, AreReplacedByTheirValues)
{
    const std::string expand = "ZOVXMLHelper_expandEnvironmentVariables:";
    const std::string full(32767 - 4095, 'y');
    const struct
    {
        std::string text, expanded; // empty: it fails, and the text stays what it was
        Lines reports = {};
    } cases[] = {
        {"$(XML_TEST_A)", "alpha"},
        {"a $(XML_TEST_A)$(XML_TEST_A) b", "a alphaalpha b"},
        {"$(XML_TEST_NESTED)", "<$(XML_TEST_A)>"}, // values are not looked through
        {"$(XML_TEST_A", "$(XML_TEST_A"},
        {"$XML_TEST_A) $", "$XML_TEST_A) $"},
        {"a$(XML_TEST_NOBODY)b$()",
         "ab",
         {expand + "environment variable 'XML_TEST_NOBODY' not defined\n",
          expand + "environment variable '' not defined\n"}},
        {full + "$(XML_TEST_LONG)", full + std::string(4095, 'x')},
        {full + "$(XML_TEST_LONG)z", "", {expand + " value of 'XML_TEST_LONG' too long\n"}},
        {"$(XML_TEST_TOO_LONG)",
         "",
         {"ZOVOsapi_envVarOrFileGet:environment variable XML_TEST_TOO_LONG longer than 4095 "
          "characters\n",
          expand + " value of 'XML_TEST_TOO_LONG' too long\n"}},
    };
    for (const auto &[text, expanded, reports] : cases) {
        std::vector<char> buffer(ZOV_XML_EXPANDED_SIZE, '#');
        std::memcpy(buffer.data(), text.c_str(), text.size() + 1);
        const char *result = ZOVXMLHelper_expandEnvironmentVariables(buffer.data());
        EXPECT_EQ(result, expanded.empty() ? nullptr : buffer.data());
        EXPECT_EQ(buffer.data(), expanded.empty() ? text : expanded);
        EXPECT_EQ(m_log.take(), reports);
    }
}

/** A list, and so many attributes added to it, in a descriptor: those that it has in the end. */
std::string attributes(std::vector<const char *> list, int additions = 0)
{
    const char *added[] = {"z", "$(3)"};
    list.push_back(nullptr);
    ZOVXMLAttributeDescriptor descriptor = {};
    if (!ZOVXMLAttributeDescriptor_initialize(&descriptor, list.data()))
        return descriptor.state == 0 ? "nothing" : "half";
    EXPECT_TRUE(ZOVXMLAttributeDescriptor_initialize(&descriptor, added)); // only once
    while (additions > 0 && ZOVXMLAttributeDescriptor_addAttribute(&descriptor, added))
        --additions;
    const char **all = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
    std::string text = all == list.data() ? "the caller's " : "";
    EXPECT_EQ(ZOVXMLAttributeDescriptor_isReferencedAttributeList(&descriptor), !text.empty());
    for (; *all != nullptr; all += 2)
        text += std::string(all[0]) + "=" + all[1] + " ";
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
    return text;
}

TEST_F(XmlReferences, AreExpandedInAttributes)
{
    EXPECT_EQ(attributes({"a", "1", "b", "2"}), "the caller's a=1 b=2 ");
    EXPECT_EQ(attributes({"a", "$(XML_TEST_A)!", "b", "2"}), "a=alpha! b=2 ");
    std::string added;
    for (int count = 1; count <= 8; ++count) {
        added += "z=$(3) ";
        EXPECT_EQ(attributes({"a", "1", "b", "2"}, count), "a=1 b=2 " + added);
        EXPECT_EQ(attributes({"a", "$(XML_TEST_A)!", "b", "2"}, count), "a=alpha! b=2 " + added);
    }
    ZOVXMLAttributeDescriptor descriptor = {};
    const char *list[] = {"a", "1", nullptr};
    ASSERT_TRUE(ZOVXMLAttributeDescriptor_initialize(&descriptor, list) &&
                ZOVXMLAttributeDescriptor_increaseAttributeListSize(&descriptor, 3));
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(descriptor.list), 1) << "the new ones are empty";
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
    EXPECT_EQ(m_log.take(), Lines());
    EXPECT_EQ(attributes({"a", "$(XML_TEST_A)", "b", "$(XML_TEST_TOO_LONG)"}), "nothing");
    EXPECT_EQ(m_log.lines().back(), kInitialize + "!expand environment variables\n");
}

TEST_F(XmlReferences, FailuresLeaveAttributesAsTheyWere)
{
    const auto no_array = [](const std::string &result, std::size_t count, std::size_t size,
                             const std::string &last) {
        return test::Expected{result,
                              {kBelow,
                               "ZOVXMLAttributeDescriptor_increaseAttributeListSize:no space on "
                               "heap for array with " +
                                   std::to_string(count) + " elements of size " +
                                   std::to_string(size) + " bytes\n",
                               last + "\n"}};
    };
    const test::Expected no_string = {
        "nothing", {kBelow, kInitialize + "no space on heap for string of 32768 characters\n"}};
    const std::string not_added = "ZOVXMLAttributeDescriptor_addAttribute:!increase attribute list";
    const std::string five = "a=alpha b=alpha c=3 d=4 e=5 ";
    test::for_each_fault(
        [] {
            return attributes(
                {"a", "$(XML_TEST_A)", "b", "$(XML_TEST_A)", "c", "3", "d", "4", "e", "5"}, 2);
        },
        {five + "z=$(3) z=$(3) "},
        {{"calloc", no_string},
         {"calloc 3", no_array(five, 6, 4, not_added)},
         {"calloc 4", no_array(five, 13, 8, not_added)},
         {"realloc 1", no_array(five + "z=$(3) ", 7, 4, not_added)},
         {"realloc 2", no_array(five + "z=$(3) ", 15, 8, not_added)}});
    // There is no room of its own for a sixth.
    const auto no_list = [&](std::size_t count, std::size_t size) {
        return no_array("nothing", count, size, kInitialize + "!initialize attribute list");
    };
    test::for_each_fault(
        [] {
            return attributes({"a", "$(XML_TEST_A)", "b", "", "c", "", "d", "", "e", "", "f", ""});
        },
        {"a=alpha b= c= d= e= f= "},
        {{"calloc 1", no_list(6, 4)}, {"calloc 2", no_list(13, 8)}, {"calloc 3", no_string}});
}

} // namespace
