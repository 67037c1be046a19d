// The example program, run as a user does: its output is compared whole.
#include "tests/support/Process.hpp"

#include <gtest/gtest.h>

namespace {

const std::string kDocuments = SOURCE_DIRECTORY "/examples/xmltree/documents";

class XmlTreeExample : public testing::Test
{
protected:
    /** Status, standard output and standard error of a run in a directory. */
    std::string run(const std::string &directory, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), XMLTREE);
        const test::Outcome outcome =
            test::run({arguments,
                       directory,
                       {{"MARKET_HOME", "/srv"}, {"BLANK", " b "}, {"UNDEFINED", std::nullopt}}});
        return std::to_string(outcome.status) + "\n" + outcome.out + outcome.err;
    }
    /** The same for a document. */
    std::string run_on(const std::string &document, const std::vector<std::string> &options = {})
    {
        test::write_file(m_directory.path() + "/a.xml", document);
        std::vector<std::string> arguments = {"a.xml"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(m_directory.path(), arguments);
    }

private:
    test::TemporaryDirectory m_directory;
};

TEST_F(XmlTreeExample, PrintsFindsAndWritesBack)
{
    EXPECT_EQ(run(kDocuments, {"market.xml"}), "0\n"
                                               "   3 market market\n"
                                               "   4   module common\n"
                                               "   5     enum Currency\n"
                                               "   6       enumerator EUR\n"
                                               "   7       enumerator USD\n"
                                               "   9     struct Stamped\n"
                                               "  10       member time\n"
                                               "  13   module trading\n"
                                               "  14     struct Price : ::common::Stamped\n"
                                               "  15       member amount\n"
                                               "  16       member currency\n"
                                               "  18     struct Order : ::trading::Price\n"
                                               "  19       member customer\n"
                                               "  21     module archive\n"
                                               "  22       struct Entry : ::trading::Order\n"
                                               "  25   settings receiver\n"
                                               "  26     log_file = /srv/receiver & sender.log\n"
                                               "  27     resource_limits\n"
                                               "  28       max_samples = LENGTH_UNLIMITED\n"
                                               "  29       initial_samples = 32\n"
                                               "  31     thread\n"
                                               "  32       mask = STDIO | FLOATING_POINT\n"
                                               "  33       priority = THREAD_PRIORITY_NORMAL\n");
    EXPECT_EQ(run(kDocuments, {"market.xml", "--find", "Price", "trading::archive"}),
              "0\n14 struct ::trading::Price\n");
    EXPECT_EQ(run(kDocuments, {"market.xml", "--find", "Price"}), "1\nno Price\n");
    EXPECT_EQ(run(kDocuments, {"market.xml", "--find", "Price", "nowhere"}), "1\nno nowhere\n");
    std::string written = test::read_file(kDocuments + "/market.xml");
    written.erase(0, written.find("<market"));
    written.replace(written.find("$(MARKET_HOME)"), 14, "/srv");
    EXPECT_EQ(run(kDocuments, {"market.xml", "--save"}), "0\n" + written);
}

TEST_F(XmlTreeExample, ReadsBackWhatItWrites)
{
    const std::string document = "<?xml version='1.0' encoding='ISO-8859-1'?>\n"
                                 "<!DOCTYPE a [<!ATTLIST b d CDATA 'de&#10;f'>]>\n"
                                 "<a name='&lt;&#9;&#10;&#13;&quot;&apos;&gt;&amp;'><b/>\n"
                                 "<b> l1\nl2&#13; ]]&gt; <!-- c -->\xE4 </b>\n"
                                 "<c> $(BLANK)$(UNDEFINED) &#32; </c><d><![CDATA[<&]]></d></a>";
    const std::string written = "<a name=\"&lt;&#9;&#10;&#13;&quot;'>&amp;\">\n"
                                "    <b d=\"de&#10;f\"/>\n"
                                "    <b d=\"de&#10;f\">l1\nl2&#13; ]]&gt; \xC3\xA4</b>\n"
                                "    <c>b</c>\n"
                                "    <d>&lt;&amp;</d>\n"
                                "</a>\n";
    EXPECT_EQ(run_on(document, {"--save"}),
              "0\n" + written +
                  "a.xml:6: ZOVXMLHelper_expandEnvironmentVariables:environment variable "
                  "'UNDEFINED' not defined\n");
    EXPECT_EQ(run_on(written, {"--save"}), "0\n" + written);
}

TEST_F(XmlTreeExample, TellsWhatIsWrongWithADocument)
{
    const std::string long_name(513, 'x');
    const std::string long_text(32768, 'y');
    std::string deep;
    for (int i = 0; i < 201; ++i)
        deep += "<a>";
    const std::pair<std::string, std::string> cases[] = {
        {"", "a.xml:1: no element found\n"},
        {"<a>\n<b>\n</a>", "a.xml:3: mismatched tag\n"},
        {std::string("\177ELF\2\0\1", 7), "a.xml:1: not well-formed (invalid token)\n"},
        {"<a>\ntext<b/></a>", "a.xml:2: <a> has both text and elements\n"},
        {"<a><b/>\ntext</a>", "a.xml:2: <a> has both text and elements\n"},
        {"<a>\n" + long_text + "</a>", "a.xml:2: a text of more than 32767 characters\n"},
        {deep, "a.xml:1: more than 200 elements within each other\n"},
        {"<a name='" + long_name + "'/>", "a.xml:1: ZOVXMLObject_initialize:!object name too long\n"
                                          "a.xml:1: DDS_XMLObject_initialize:!init XML object\n"},
    };
    for (const auto &[document, reason] : cases)
        EXPECT_EQ(run_on(document), "1\n" + reason);
    EXPECT_EQ(run(kDocuments, {"broken.xml"}), "1\nbroken.xml:4: mismatched tag\n");
    EXPECT_EQ(run(kDocuments, {"duplicate.xml"}),
              "1\nduplicate.xml:4: ZOVXMLObject_addChild: XML object with name 'Order' already "
              "exists\n");
    EXPECT_EQ(run(kDocuments, {"missing_base.xml"}),
              "1\nmissing_base.xml:3: ZOVXMLObject_initialize:base 'common::Stamped' not found\n"
              "missing_base.xml:3: DDS_XMLObject_initialize:!init XML object\n");
    EXPECT_EQ(run(kDocuments, {"nobody.xml"}),
              "1\nZOVOsapi_fileGetVerbatim:file nobody.xml not found\n");
    EXPECT_EQ(run(kDocuments, {}), "1\nusage: xmltree FILE [--find NAME [SCOPE] | --save]\n");
}

} // namespace
