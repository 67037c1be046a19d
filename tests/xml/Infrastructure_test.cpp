#include "tests/support/Faults.hpp"
#include "xml/Infrastructure.h"
#include "xml/Utils.h"

#include <cstdlib>
#include <cstring>
#include <expat.h>
#include <gtest/gtest.h>
#include <vector>

using test::Lines;
using test::LogCapture;
using test::operator+;

namespace {

TEST(XmlContext, CountsLinesFromTheOneThatWasSet)
{
    struct Reading
    {
        ZOVXMLContext context;
        std::vector<int> lines;
    } reading = {};
    reading.context.parser = XML_ParserCreate(nullptr);
    XML_SetUserData(reading.context.parser, &reading);
    XML_SetStartElementHandler(
        reading.context.parser, [](void *user, const XML_Char *name, const XML_Char **) {
            auto *self = static_cast<Reading *>(user);
            if (std::strcmp(name, "set") == 0)
                ZOVXMLContext_setContextLineNumber(&self->context, 100);
            if (std::strcmp(name, "reset") == 0)
                ZOVXMLContext_resetContextLineNumber(&self->context);
            self->lines.push_back(ZOVXMLContext_getCurrentLineNumber(&self->context));
        });
    const std::string document = "<a>\n<b/>\n\n<set/>\n<b/>\n<reset/>\n<b/></a>";
    EXPECT_EQ(
        XML_Parse(reading.context.parser, document.data(), static_cast<int>(document.size()), 1),
        XML_STATUS_OK);
    XML_ParserFree(reading.context.parser);
    EXPECT_EQ(reading.lines, std::vector<int>({1, 2, 100, 101, 6, 7}));
    ZOVXMLContext without_parser = {};
    ZOVXMLContext_setContextLineNumber(&without_parser, 12);
    EXPECT_EQ(ZOVXMLContext_getCurrentLineNumber(&without_parser), 12);
}

TEST(XmlUtils, FindsAttributes)
{
    const char *list[] = {"a", "1", "b", "2", nullptr};
    const char *empty[] = {nullptr};
    EXPECT_STREQ(ZOVXMLHelper_getAttribute(list, "b"), "2");
    EXPECT_EQ(ZOVXMLHelper_getAttribute(list, "2"), nullptr) << "a value is no name";
    EXPECT_EQ(ZOVXMLHelper_getAttribute(empty, "a"), nullptr);
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(list), 2);
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(empty), 0);
}

TEST(XmlUtils, Trims)
{
    for (int c = -3; c < 400; ++c)
        EXPECT_EQ(ZOVXMLHelper_isspace(c) != 0, c == ' ' || (c >= '\t' && c <= '\r')) << c;
    const std::pair<const char *, const char *> cases[] = {
        {" \t a b\r\n", "a b"}, {" \n ", ""}, {"", ""}, {"a", "a"}, {"\xA0", "\xA0"}};
    for (const auto &[text, trimmed] : cases) {
        std::string copy = text;
        EXPECT_STREQ(ZOVXMLHelper_strTrim(copy.data()), trimmed);
    }
}

class XmlReferences : public testing::Test
{
protected:
    XmlReferences()
    {
        setenv("XML_TEST_A", "alpha", 1);
        setenv("XML_TEST_NESTED", "<$(XML_TEST_A)>", 1);
        setenv("XML_TEST_LONG", std::string(4095, 'x').c_str(), 1);
        setenv("XML_TEST_TOO_LONG", std::string(4096, 'x').c_str(), 1);
    }
    ~XmlReferences() override
    {
        for (const char *name :
             {"XML_TEST_A", "XML_TEST_NESTED", "XML_TEST_LONG", "XML_TEST_TOO_LONG"})
            unsetenv(name);
    }

    static std::string expanded(const std::string &text)
    {
        std::vector<char> buffer(ZOV_XML_EXPANDED_SIZE, '#');
        std::memcpy(buffer.data(), text.c_str(), text.size() + 1);
        const char *result = ZOVXMLHelper_expandEnvironmentVariables(buffer.data());
        return result == nullptr ? "failed: " + std::string(buffer.data()) : result;
    }

    LogCapture m_log;
    const std::string m_expand = "ZOVXMLHelper_expandEnvironmentVariables";
    const Lines m_nobody = {m_expand + ":environment variable 'XML_TEST_NOBODY' not defined\n"};
};

TEST_F(XmlReferences, AreReplacedByTheirValues)
{
    EXPECT_EQ(expanded("$(XML_TEST_A)"), "alpha");
    EXPECT_EQ(expanded("a $(XML_TEST_A)$(XML_TEST_A) b"), "a alphaalpha b");
    EXPECT_EQ(expanded("$(XML_TEST_NESTED)"), "<$(XML_TEST_A)>") << "values are not looked through";
    EXPECT_EQ(expanded("$(XML_TEST_A"), "$(XML_TEST_A");
    EXPECT_EQ(expanded("$XML_TEST_A) $"), "$XML_TEST_A) $");
    EXPECT_EQ(m_log.lines(), Lines());
    EXPECT_EQ(expanded("a$(XML_TEST_NOBODY)b$()"), "ab");
    EXPECT_EQ(m_log.lines(), m_nobody + Lines{m_expand + ":environment variable '' not defined\n"});
}

TEST_F(XmlReferences, AreBounded)
{
    const std::string full(32767 - 4095, 'y');
    const Lines too_long = {m_expand + ": value of 'XML_TEST_LONG' too long\n"};
    EXPECT_EQ(expanded(full + "$(XML_TEST_LONG)"), full + std::string(4095, 'x'));
    EXPECT_EQ(m_log.lines(), Lines());
    EXPECT_EQ(expanded(full + "$(XML_TEST_LONG)z"), "failed: " + full + "$(XML_TEST_LONG)z");
    EXPECT_EQ(m_log.lines(), too_long);
    m_log.clear();
    EXPECT_EQ(expanded("$(XML_TEST_TOO_LONG)"), "failed: $(XML_TEST_TOO_LONG)");
    EXPECT_EQ(m_log.lines(),
              Lines({"ZOVOsapi_envVarOrFileGet:environment variable XML_TEST_TOO_LONG longer than "
                     "4095 characters\n",
                     m_expand + ": value of 'XML_TEST_TOO_LONG' too long\n"}));
}

/** The attributes of a descriptor, and whether they are the caller's own list. */
std::string contents(ZOVXMLAttributeDescriptor &descriptor)
{
    std::string text =
        ZOVXMLAttributeDescriptor_isReferencedAttributeList(&descriptor) ? "own:" : "";
    const char **list = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
    for (; *list != nullptr; list += 2)
        text += std::string(list[0]) + "=" + list[1] + " ";
    return text;
}

TEST_F(XmlReferences, AreExpandedInAttributes)
{
    const char *plain[] = {"a", "1", "b", "2", nullptr};
    const char *mixed[] = {"a", "$(XML_TEST_A)!", "b", "2", nullptr};
    const char *added[] = {"c", "$(3)"};
    ZOVXMLAttributeDescriptor descriptor = {};
    ASSERT_TRUE(ZOVXMLAttributeDescriptor_initialize(&descriptor, plain));
    EXPECT_EQ(contents(descriptor), "own:a=1 b=2 ");
    EXPECT_EQ(ZOVXMLAttributeDescriptor_getAttributeList(&descriptor), plain);
    ASSERT_TRUE(ZOVXMLAttributeDescriptor_initialize(&descriptor, mixed));
    EXPECT_EQ(contents(descriptor), "own:a=1 b=2 ") << "initialised only once";
    for (const char **list : {plain, mixed}) {
        std::string expected = list == plain ? "a=1 b=2 " : "a=alpha! b=2 ";
        ZOVXMLAttributeDescriptor_finalize(&descriptor);
        ZOVXMLAttributeDescriptor_finalize(&descriptor);
        ASSERT_TRUE(ZOVXMLAttributeDescriptor_initialize(&descriptor, list));
        for (int i = 0; i < 8; ++i) {
            ASSERT_TRUE(ZOVXMLAttributeDescriptor_addAttribute(&descriptor, added));
            EXPECT_EQ(contents(descriptor), expected += "c=$(3) ");
        }
    }
    ASSERT_TRUE(ZOVXMLAttributeDescriptor_increaseAttributeListSize(&descriptor, 3));
    EXPECT_EQ(ZOVXMLHelper_getAttributeCount(descriptor.list), 10) << "the new ones are empty";
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
}

TEST_F(XmlReferences, FailuresLeaveAttributesAsTheyWere)
{
    const char *list[] = {"a", "$(XML_TEST_A)", "b", "$(XML_TEST_A)", "c", "3", "d", "4", "e",
                          "5", nullptr};
    const char *added[] = {"f", "6"};
    const std::string initialize = "ZOVXMLAttributeDescriptor_initialize:";
    const Lines no_string = test::no_memory("ZOVOsapiHeap_allocateString", 32769) +
                            Lines{initialize + "no space on heap for string of 32768 characters\n"};
    const auto no_array = [](std::size_t count, std::size_t size) {
        return test::no_memory("ZOVOsapiHeap_reallocateArray", count * size) +
               Lines{"ZOVXMLAttributeDescriptor_increaseAttributeListSize:no space on heap for "
                     "array with " +
                         std::to_string(count) + " elements of size " + std::to_string(size) +
                         " bytes\n",
                     "ZOVXMLAttributeDescriptor_addAttribute:!increase attribute list\n"};
    };
    const std::string five = "a=alpha b=alpha c=3 d=4 e=5 ";
    test::for_each_fault(
        [&] {
            ZOVXMLAttributeDescriptor descriptor = {};
            if (!ZOVXMLAttributeDescriptor_initialize(&descriptor, list))
                return std::string(descriptor.state == 0 ? "nothing" : "half");
            for (int i = 0; i < 2; ++i)
                if (!ZOVXMLAttributeDescriptor_addAttribute(&descriptor, added))
                    break;
            const std::string result = contents(descriptor);
            ZOVXMLAttributeDescriptor_finalize(&descriptor);
            return result;
        },
        {five + "f=6 f=6 "},
        {{"calloc 1", {{"nothing", no_string}}},
         {"calloc 2", {{"nothing", no_string}}},
         {"calloc 3", {{five, no_array(6, 4)}}},
         {"calloc 4", {{five, no_array(13, 8)}}},
         {"realloc 1", {{five + "f=6 ", no_array(7, 4)}}},
         {"realloc 2", {{five + "f=6 ", no_array(15, 8)}}}});
}

TEST_F(XmlReferences, AnAttributeThatCannotBeExpandedFailsTheList)
{
    const char *list[] = {"a", "$(XML_TEST_A)", "b", "$(XML_TEST_TOO_LONG)", nullptr};
    ZOVXMLAttributeDescriptor descriptor = {};
    EXPECT_FALSE(ZOVXMLAttributeDescriptor_initialize(&descriptor, list));
    EXPECT_EQ(descriptor.state, 0);
    EXPECT_EQ(m_log.lines().back(),
              "ZOVXMLAttributeDescriptor_initialize:!expand environment variables\n");
}

} // namespace
