// What is written is held against what printing each piece of it would leave.
#include "dds/Duration.h"
#include "dds/XmlHelper.h"

#include <functional>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kOverflow = 0xFFFFFFFF;

/** Prints a piece, as far as there is room for it, and counts it. */
void print(ZOVXMLSaveContext &context, const std::string &piece)
{
    const std::size_t left = kOverflow - context.length;
    const bool is_file = context.outputFile != nullptr;
    if (is_file && std::fprintf(context.outputFile, "%s", piece.c_str()) < 0)
        context.error = ZOV_TRUE;
    else if (!is_file && left == 0) // only an indentation tells that it is not there
        context.error |= piece[0] == ' ';
    else {
        if (context.outputBuffer != nullptr && context.length + 1 < context.outputBufferSize)
            std::snprintf(context.outputBuffer + context.length,
                          context.outputBufferSize - context.length, "%s", piece.c_str());
        context.error |= piece.size() > left;
        context.length += static_cast<uint32_t>(std::min(piece.size(), left));
    }
}

/** Indentations, tags with their line ends, entities, commas, texts; beside entities characters. */
std::vector<std::string> pieces_of(const std::string &text)
{
    const std::regex piece(R"( +|<[^>]*>\n?|&\w+;|,|[^<&, ]+)");
    std::vector<std::string> pieces;
    for (std::sregex_iterator i(text.begin(), text.end(), piece); i != std::sregex_iterator(); ++i)
        if (i->suffix().str().starts_with('&') || (!pieces.empty() && pieces.back().back() == ';'))
            for (const char c : i->str())
                pieces.emplace_back(1, c);
        else
            pieces.push_back(i->str());
    return pieces;
}

using namespace std::string_literals;

using Document = std::function<void(ZOVXMLSaveContext &)>;

Document printed(const std::string &text)
{
    return [pieces = pieces_of(text)](ZOVXMLSaveContext &context) {
        for (const std::string &piece : pieces)
            print(context, piece);
    };
}

std::string text_of(const ZOVXMLSaveContext &context)
{
    return " length " + std::to_string(context.length) + " error " + std::to_string(context.error) +
           " depth " + std::to_string(context.depth);
}

/** What a document leaves: the whole buffer, and the record. */
std::string in_buffer(const Document &document, uint32_t size, uint32_t length)
{
    std::string buffer(size, '#');
    ZOVXMLSaveContext context = {};
    context.outputBuffer = size > 0 ? buffer.data() : nullptr;
    context.outputBufferSize = size;
    context.length = length;
    document(context);
    return buffer + text_of(context);
}

/** What a document leaves in a file; nothing of it when the file is full. */
std::string in_file(const Document &document, const std::string &name)
{
    std::FILE *file = std::fopen(name.c_str(), "w+");
    setvbuf(file, nullptr, _IOFBF, 256); // so that a full file is noticed
    ZOVXMLSaveContext context = {};
    context.outputFile = file;
    document(context);
    std::string text(1 << 16, '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text + text_of(context);
}

/** Compares a document's two forms in buffers of all sizes, near the end of the count, in files. */
void expect_same(const Document &own, const Document &reference)
{
    ZOVXMLSaveContext measured = {};
    reference(measured);
    for (uint32_t size = 0; size <= measured.length + 3; ++size)
        ASSERT_EQ(in_buffer(own, size, 0), in_buffer(reference, size, 0)) << "size " << size;
    for (uint32_t left = 0; left <= measured.length + 3; ++left)
        ASSERT_EQ(in_buffer(own, 0, kOverflow - left), in_buffer(reference, 0, kOverflow - left))
            << left;
    for (const std::string &name : {testing::TempDir() + "XmlWriter_test.xml", "/dev/full"s})
        EXPECT_EQ(in_file(own, name), in_file(reference, name));
}

const std::string kWritten = R"(<all>
    <long>-2147483648</long>
    <int>0</int>
    <unsigned>4294967295</unsigned>
    <yes>true</yes>
    <no>false</no>
    <length>LENGTH_UNLIMITED</length>
    <length>-2</length>
    <plain>Grüße</plain>
    <special>abc&amp;b&lt;&quot;cd&quot;&gt;&apos;efg</special>
                                                                    <deep>1</deep>
    <empty></empty>
<!-- free 5% -->
    <number>    <high>-1</high>
    <low>4294967295</low>
</number>
    <longs>
        <element>-5</element>
        <element>70000</element>
    </longs>
    <strings>
        <element>x</element>
        <element>&lt;</element>
    </strings>
    <octets>1,20,255</octets>
    <none></none>
    <octets>1,20,255</octets>
    <duration>
        <sec>3</sec>
        <nanosec>DURATION_INFINITE_NSEC</nanosec>
    </duration>
    <duration>
        <sec>DURATION_INFINITE_SEC</sec>
        <nanosec>5</nanosec>
    </duration>
</all>
)";

TEST(XmlWriter, WritesWhatPrintingEachPieceWould)
{
    DDS_LongSeq longs = {};
    DDS_StringSeq strings = {};
    DDS_OctetSeq octets = {}, no_octets = {};
    DDS_Long numbers[] = {-5, 70000};
    char x[] = "x", less[] = "<", *texts[] = {x, nullptr, less};
    DDS_Octet bytes[] = {1, 20, 255}, *addresses[] = {bytes, bytes + 1, bytes + 2};
    DDS_LongSeq_loan_contiguous(&longs, numbers, 2, 2);
    DDS_StringSeq_loan_contiguous(&strings, texts, 3, 3);
    DDS_OctetSeq_loan_discontiguous(&octets, addresses, 3, 3);
    const DDS_SequenceNumber_t number = {-1, 4294967295u};
    const DDS_Duration_t durations[] = {{3, 0x7FFFFFFF}, {0x7FFFFFFF, 5}};
    expect_same(
        [&](ZOVXMLSaveContext &context) {
            DDS_XMLHelper_save_tag("all", DDS_XML_TAG_OPEN_BLOCK, &context);
            DDS_XMLHelper_save_long("long", INT32_MIN, &context);
            DDS_XMLHelper_save_int("int", 0, &context);
            DDS_XMLHelper_save_unsigned_long("unsigned", UINT32_MAX, &context);
            DDS_XMLHelper_save_bool("yes", DDS_BOOLEAN_TRUE, &context);
            DDS_XMLHelper_save_bool("no", DDS_BOOLEAN_FALSE, &context);
            DDS_XMLHelper_save_length("length", DDS_LENGTH_UNLIMITED, &context);
            DDS_XMLHelper_save_length("length", -2, &context);
            DDS_XMLHelper_save_string("plain", "Gr\xC3\xBC\xC3\x9F\x65", &context);
            DDS_XMLHelper_save_string("special", "abc&b<\"cd\">'efg", &context);
            context.depth += 16;
            DDS_XMLHelper_save_long("deep", 1, &context);
            context.depth -= 16;
            DDS_XMLHelper_save_string("empty", "", &context);
            DDS_XMLHelper_save_string("null", nullptr, &context);
            DDS_XMLHelper_save_freeform(&context, "<!-- %s %d%% -->\n", "free", 5);
            DDS_XMLHelper_save_freeform(&context, "%s", ""); // nothing is no error
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
        printed(kWritten));
    // At the end of the count an indentation is an error, and would hide whether a text is one.
    expect_same(
        [](ZOVXMLSaveContext &context) { DDS_XMLHelper_save_string("s", "abc&def", &context); },
        printed("<s>abc&amp;def</s>\n"));
}

} // namespace
