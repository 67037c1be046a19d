#include "launcher/OutputRelay.h"
#include "tests/support/ScriptedServer.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <utility>

namespace {

using test::Ending;
using test::kClosedReport;
using test::kResetReport;
using test::Outcome;
using test::request;
using test::ScriptedServer;
using Chunks = std::vector<std::string>;

constexpr std::size_t kRingSize = QUILLON_RETCODE_BUFFER_SIZE;
constexpr std::size_t kPieceSize = 8192;
constexpr char kNeedle[] = "Code generator returned ";
const std::string kLine = test::kSuccessLine;
const std::string kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string kLower = "abcdefghijklmnopqrstuvwxyz";

std::string zeros(std::size_t count)
{
    return std::string(count, '\0');
}

/** Random bytes, zero bytes among them. */
std::string random_text(std::mt19937 &random, std::size_t size)
{
    std::string text(size, '\0');
    std::generate(text.begin(), text.end(), [&random] { return static_cast<char>(random()); });
    return text;
}

/** The relay by its effect: every piece displaces the ring's first bytes, whatever their age. */
struct Model
{
    std::string ring = zeros(kRingSize);
    std::size_t count = 0;
    std::string out = {};

    void add(const std::string &piece)
    {
        const std::size_t held = std::min(piece.size(), kRingSize);
        if (count > 0)
            out += ring.substr(0, held);
        ring.replace(0, held, piece, piece.size() - held, held);
        out += piece.substr(0, piece.size() - held);
        count = std::min(count + held, kRingSize);
    }

    /** All that the launcher prints for the chunks; true when it reports success. */
    bool relay(const Chunks &chunks, const std::string &error = {})
    {
        for (const std::string &chunk : chunks)
            for (std::size_t begin = 0; begin < chunk.size(); begin += kPieceSize)
                add(chunk.substr(begin, kPieceSize));
        out += error;
        if (ring.starts_with(kNeedle))
            return ring[sizeof kNeedle - 1] == '0';
        out += ring.substr(0, count) + kClosedReport;
        return false;
    }
};

/** What an operation writes to the standard output stream. */
template <class Operation>
std::string printed_by(Operation operation)
{
    char *text = nullptr;
    std::size_t size = 0;
    FILE *before = std::exchange(stdout, open_memstream(&text, &size));
    operation();
    std::fclose(std::exchange(stdout, before));
    std::string printed(text, size);
    std::free(text);
    return printed;
}

std::string printed_by_adding(QUILLONRetcodeBuffer &ring, const std::string &piece)
{
    return printed_by([&] {
        QUILLON_retcodeBufferAddAndPrint(&ring, piece.data(), static_cast<int>(piece.size()));
    });
}

QUILLONRetcodeBuffer ring_of(const std::string &data, int start, int count)
{
    QUILLONRetcodeBuffer ring = {.data = {}, .start = start, .count = count};
    data.copy(ring.data, sizeof ring.data);
    return ring;
}

std::string data_of(const QUILLONRetcodeBuffer &ring)
{
    return {ring.data, sizeof ring.data};
}

TEST(ReturnCodeRing, SplitsAStreamAtItsEnd)
{
    const struct
    {
        int start, n, first, second;
    } kCases[] = {
        {0, 0, 0, 0},   {0, 1, 1, 0},   {0, 26, 26, 0},  {0, 27, 26, 0},  {0, 8192, 26, 0},
        {5, 21, 21, 0}, {5, 22, 21, 1}, {5, 26, 21, 5},  {5, 30, 21, 5},  {25, 0, 0, 0},
        {25, 1, 1, 0},  {25, 2, 1, 1},  {25, 26, 1, 25}, {25, 99, 1, 25}, {20, 24, 6, 18},
    };
    for (const auto &[start, n, first, second] : kCases) {
        int actual_first = -1;
        int actual_second = -1;
        QUILLON_retcodeBufferGetSizesForStream(start, n, &actual_first, &actual_second);
        EXPECT_EQ(actual_first, first) << start << " " << n;
        EXPECT_EQ(actual_second, second) << start << " " << n;
    }
}

TEST(ReturnCodeRing, DisplacesByPosition)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> size(0, 60);
    for (int series = 0; series < 200; ++series) {
        Model model;
        std::string out;
        QUILLONRetcodeBuffer ring = ring_of(kUpper, 3, 4);
        QUILLON_retcodeBufferInitialize(&ring);
        for (int i = 0; i < 20; ++i) {
            const std::string piece = random_text(random, size(random) / (1 + random() % 4));
            model.add(piece);
            out += printed_by_adding(ring, piece);
            ASSERT_EQ(out, model.out) << "series " << series;
            ASSERT_EQ(data_of(ring), model.ring) << "series " << series;
            ASSERT_EQ(ring.start, 0);
            ASSERT_EQ(ring.count, static_cast<int>(model.count));
        }
        EXPECT_EQ(printed_by([&ring] { QUILLON_retcodeBufferPrintBuffer(&ring); }),
                  model.ring.substr(0, model.count));
    }
}

TEST(ReturnCodeRing, WrapsWhenItStartsElsewhere)
{
    const struct
    {
        int start, count;
        std::string piece, out, data;
        int start_after, count_after;
    } kCases[] = {
        {20, 26, "1234", "UVWX", "ABCDEFGHIJKLMNOPQRST1234YZ", 0, 26},
        {20, 26, "12345678", "UVWXYZAB", "78CDEFGHIJKLMNOPQRST123456", 2, 26},
        // An empty part prints what wraps, and no more.
        {20, 3, "12345678", "AB", "78CDEFGHIJKLMNOPQRST123456", 2, 11},
        {2, 26, kLower + "12", "CDEFGHIJKLMNOPQRSTUVWXYZABab", "12cdefghijklmnopqrstuvwxyz", 2, 26},
        {2, 26, "", "", kUpper, 0, 26},
    };
    for (const auto &[start, count, piece, out, data, start_after, count_after] : kCases) {
        QUILLONRetcodeBuffer ring = ring_of(kUpper, start, count);
        EXPECT_EQ(printed_by_adding(ring, piece), out) << piece;
        EXPECT_EQ(data_of(ring), data) << piece;
        EXPECT_EQ(ring.start, start_after) << piece;
        EXPECT_EQ(ring.count, count_after) << piece;
    }
}

TEST(ReturnCodeRing, PrintsItsValidBytesFromItsStart)
{
    const struct
    {
        int start, count;
        const char *out;
    } kCases[] = {
        {0, 0, ""}, {0, 5, "ABCDE"}, {23, 5, "XYZAB"}, {25, 26, "ZABCDEFGHIJKLMNOPQRSTUVWXY"}};
    for (const auto &[start, count, out] : kCases) {
        const QUILLONRetcodeBuffer ring = ring_of(kUpper, start, count);
        EXPECT_EQ(printed_by([&ring] { QUILLON_retcodeBufferPrintBuffer(&ring); }), out);
    }
}

TEST(ReturnCodeRing, FindsATextAtTheBeginningOfItsLastBytes)
{
    const struct
    {
        int start, count, span;
        const char *needle;
        int index;
    } kCases[] = {
        {0, 26, 26, "ABC", 3},    {0, 26, 26, "BCD", -1},  {0, 26, 26, "ABX", -1},
        {0, 25, 26, "ABC", -1},   {0, 10, 3, "XYZ", 0},    {0, 2, 3, "XYZ", -1},
        {5, 26, 26, "FGHI", 9},   {5, 26, 8, "XYZABC", 3}, {5, 26, 8, "XYZABX", -1},
        {5, 26, 8, "XYXABC", -1}, {24, 26, 26, "YZAB", 2}, {0, 26, 26, kUpper.c_str(), 0},
        {1, 26, 1, "AB", 2},      {0, 26, 1, "Z", 0},
    };
    for (const auto &[start, count, span, needle, index] : kCases) {
        const QUILLONRetcodeBuffer ring = ring_of(kUpper, start, count);
        EXPECT_EQ(QUILLON_retcodeBufferReverseFind(&ring, span, needle), index)
            << start << " " << count << " " << span << " " << needle;
    }
}

/** Runs the launcher with a server that sends the chunks. */
Outcome relay(const Chunks &chunks, Ending ending, const std::vector<std::string> &more = {})
{
    ScriptedServer server({test::Script{.chunks = chunks, .ending = ending}});
    const Outcome outcome = server.run(test::launcher(QUILLON, server.port(), more));
    EXPECT_EQ(server.received(), Chunks{request({})});
    EXPECT_EQ(outcome.err, "");
    return outcome;
}

TEST(Relay, HoldsTheClosingLineBack)
{
    std::string all_bytes(256, '\0');
    std::iota(all_bytes.begin(), all_bytes.end(), '\0');
    Chunks mebibyte(32, std::string(32768, 'x'));
    mebibyte.push_back(kLine);
    const struct
    {
        const char *name;
        Chunks chunks;
        int status;
        std::string out;
        Ending ending = Ending::Close;
    } kCases[] = {
        {"the line alone", {kLine}, 0, ""},
        {"code 3", {"Code generator returned 3\n"}, 255, ""},
        {"no digit", {"Code generator returned \n\n"}, 255, ""},
        {"another last byte", {"Code generator returned 0\r"}, 0, ""},
        {"code 10",
         {"Code generator returned 10\n"},
         255,
         "Code generator returned 10\n" + kClosedReport},
        {"output and line", {"Hello\n" + kLine}, 0, "Hello\n"},
        {"output and code 3", {"Hello\nCode generator returned 3\n"}, 255, "Hello\n"},
        {"pieces of 26", {kUpper, kLower, kUpper, kLine}, 0, kUpper + kLower + kUpper},
        {"lines before the last", {kLine + kLine, kLine}, 0, kLine + kLine},
        {"every byte", {all_bytes + kLine, all_bytes + kLine}, 0, all_bytes + kLine + all_bytes},
        {"a whole piece", {std::string(8166, 'x') + kLine}, 0, std::string(8166, 'x')},
        {"a mebibyte", mebibyte, 0, std::string(1U << 20, 'x')},
        {"nothing", {}, 255, kClosedReport},
        {"less than the line", {"Hello\n"}, 255, "Hello\n" + kClosedReport},
        {"25 bytes", {kUpper.substr(1)}, 255, kUpper.substr(1) + kClosedReport},
        {"26 bytes", {kUpper}, 255, kUpper + kClosedReport},
        {"27 bytes", {kUpper + "\n"}, 255, kUpper + "\n" + kClosedReport},
        {"output behind the line", {kLine + "Bye\n"}, 255, kLine + "Bye\n" + kClosedReport},
        {"a line cut short", {kLine.substr(0, 24)}, 255, kNeedle + kClosedReport},
        {"a short piece first", {"Hello\n", kLine}, 0, "Hello\n" + zeros(20)},
        {"two short pieces", {"Hello\n", "World"}, 255, "HelloWorld\n" + zeros(5) + kClosedReport},
        {"a short piece later", {kUpper, "123", kLine}, 0, "ABC123" + kUpper.substr(3)},
        {"the line in two",
         {kLine.substr(0, 25), "\n"},
         255,
         "C\node generator returned 0" + zeros(1) + kClosedReport},
        {"the line across receive calls",
         {std::string(8192 - 25, 'x') + kLine},
         255,
         std::string(8192 - 26, 'x') + "x\nCode generator returned 0" + kClosedReport},
        {"a reset", {"Hello\n"}, 255, kResetReport + "Hello\n" + kClosedReport, Ending::Reset},
        {"a reset before anything", {}, 255, kResetReport + kClosedReport, Ending::Reset},
        {"a reset behind the line",
         {"Hello\n" + kLine},
         0,
         "Hello\n" + kResetReport,
         Ending::Reset},
    };
    for (const auto &[name, chunks, status, out, ending] : kCases) {
        const Outcome outcome = relay(chunks, ending);
        EXPECT_EQ(outcome.status, status) << name;
        EXPECT_TRUE(outcome.out == out)
            << name << ": " << testing::PrintToString(outcome.out.substr(0, 1000));
    }
}

TEST(Relay, RelaysAnySeriesOfPiecesAsTheRingDoes)
{
    std::mt19937 random(2);
    std::uniform_int_distribution<std::size_t> size(1, 40);
    for (int series = 0; series < 8; ++series) {
        Chunks chunks;
        for (int i = 0; i < 12; ++i)
            chunks.push_back(random_text(random, size(random) * (random() % 8 == 0 ? 300 : 1)));
        chunks.back() += series % 2 == 0 ? kLine : "";
        const Ending ending = series % 4 < 2 ? Ending::Close : Ending::Reset;
        Model model;
        const int status =
            model.relay(chunks, ending == Ending::Reset ? kResetReport : std::string()) ? 0 : 255;
        const Outcome outcome = relay(chunks, ending);
        EXPECT_EQ(outcome.status, status) << series;
        EXPECT_EQ(outcome.out, model.out) << series;
    }
}

TEST(Relay, TellsItsResultAtTheLocalLevel)
{
    for (const std::string digit : {"0", "1", "3"}) {
        const bool success = digit == "0";
        const Outcome outcome =
            relay({"Hello\n" + (kNeedle + digit) + "\n"}, Ending::Close, {"-n_verbosity", "3"});
        EXPECT_EQ(outcome.status, success ? 0 : 255);
        EXPECT_TRUE(outcome.out.ends_with(
            "(errno: 0)\nHello\nQUILLON_readOutput:The code generation from quillon returned " +
            std::to_string(success) + "\n"))
            << outcome.out;
    }
}

} // namespace
