#include "launcher/Log.h"
#include "launcher/OutputRelay.h"
#include "tests/support/ScriptedServer.hpp"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

namespace {

using test::kClosedReport;
using test::kResetReport;
using test::printed_by;
using Pieces = std::vector<std::string>;

constexpr std::size_t kRingSize = QUILLON_RETCODE_BUFFER_SIZE;
constexpr char kNeedle[] = "Code generator returned ";
const std::string kLine = test::kSuccessLine;
const std::string kUpper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string kLower = "abcdefghijklmnopqrstuvwxyz";

std::string zeros(std::size_t count)
{
    return std::string(count, '\0');
}

/** The relay by its effect: every piece displaces the ring's first bytes, whatever their age. */
std::string model_of(const Pieces &pieces)
{
    std::string ring = zeros(kRingSize);
    std::size_t count = 0;
    std::string out;
    for (const std::string &piece : pieces) {
        const std::size_t held = std::min(piece.size(), kRingSize);
        if (count > 0)
            out += ring.substr(0, held);
        ring.replace(0, held, piece, piece.size() - held, held);
        out += piece.substr(0, piece.size() - held);
        count = std::min(count + held, kRingSize);
    }
    if (!ring.starts_with(kNeedle))
        return out + ring.substr(0, count) + kClosedReport;
    return out + "QUILLON_readOutput:The code generation from quillon returned " +
           (ring[sizeof kNeedle - 1] == '0' ? "1\n" : "0\n");
}

/** What the relay prints, at the local level, for these pieces of what it receives. */
std::string relayed(const Pieces &pieces)
{
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    for (const std::string &piece : pieces)
        EXPECT_EQ(send(ends[1], piece.data(), piece.size(), MSG_DONTWAIT),
                  static_cast<ssize_t>(piece.size()));
    close(ends[1]);
    QUILLONLog_setBitmaps(0xFFFF, 0xF);
    const std::string out = printed_by([&ends] { QUILLON_readOutput(ends[0]); });
    QUILLONLog_setBitmaps(0xFFFF, 0x1);
    close(ends[0]);
    return out;
}

TEST(ReturnCodeRing, DisplacesByPosition)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> size(1, 60);
    const auto random_text = [&random](std::size_t length) {
        std::string text(length, '\0'); // and there may be more zero bytes
        std::generate(text.begin(), text.end(), [&random] { return static_cast<char>(random()); });
        return text;
    };
    const std::string kFailure = kNeedle + std::string("3\n");
    std::vector<Pieces> all = {{"Hello\n", kLine},     {"Hello\n", "World"},
                               {kUpper, "123", kLine}, {kLine.substr(0, 25), "\n"},
                               {kLine + kLine, kLine}, {kUpper, kLower, kUpper, kFailure}};
    for (int series = 0; series < 300; ++series) {
        Pieces &pieces = all.emplace_back();
        for (int i = 0; i < 12; ++i)
            pieces.push_back(random_text(random() % 8 == 0 ? 4000 : size(random)));
        pieces.back() += series % 3 == 0 ? kLine : series % 3 == 1 ? kFailure : "";
    }
    for (const Pieces &pieces : all)
        ASSERT_EQ(relayed(pieces), model_of(pieces)) << testing::PrintToString(pieces);
}

QUILLONRetcodeBuffer ring_of_letters(int start, int count)
{
    QUILLONRetcodeBuffer ring = {.data = {}, .start = start, .count = count};
    kUpper.copy(ring.data, sizeof ring.data);
    return ring;
}

TEST(ReturnCodeRing, WrapsWhenItStartsElsewhere)
{
    using std::string;
    const std::tuple<int, int, string, string, string, int, int, string> kCases[] = {
        {20, 26, "12345678", "UVWXYZAB", "78CDEFGHIJKLMNOPQRST123456", 2, 26,
         "CDEFGHIJKLMNOPQRST12345678"},
        // An empty part prints what wraps, and no more.
        {20, 3, "12345678", "AB", "78CDEFGHIJKLMNOPQRST123456", 2, 11, "CDEFGHIJKLM"},
        {2, 26, kLower + "12", "CDEFGHIJKLMNOPQRSTUVWXYZABab", "12cdefghijklmnopqrstuvwxyz", 2, 26,
         "cdefghijklmnopqrstuvwxyz12"},
        {2, 26, "", "", kUpper, 0, 26, kUpper},
    };
    for (const auto &[start, count, piece, out, data, start_after, count_after, rest] : kCases) {
        QUILLONRetcodeBuffer ring = ring_of_letters(start, count);
        EXPECT_EQ(printed_by([&ring, &text = piece] {
                      QUILLON_retcodeBufferAddAndPrint(&ring, text.data(),
                                                       static_cast<int>(text.size()));
                  }),
                  out);
        EXPECT_EQ(std::string(ring.data, sizeof ring.data), data) << piece;
        EXPECT_EQ(ring.start, start_after) << piece;
        EXPECT_EQ(ring.count, count_after) << piece;
        EXPECT_EQ(printed_by([&ring] { QUILLON_retcodeBufferPrintBuffer(&ring); }), rest);
    }
}

TEST(ReturnCodeRing, SplitsWhatGoesBeyondItsEnd)
{
    constexpr int kCases[][4] = {{0, 5, 5, 0}, {20, 5, 5, 0}, {20, 10, 6, 4}, {20, 60, 6, 20}};
    for (const auto &[start, count, to_the_end, from_the_beginning] : kCases) {
        int first = -1;
        int second = -1;
        QUILLON_retcodeBufferGetSizesForStream(start, count, &first, &second);
        EXPECT_EQ(std::pair(first, second), std::pair(to_the_end, from_the_beginning));
    }
}

TEST(ReturnCodeRing, FindsATextAtTheBeginningOfItsLastBytes)
{
    const std::tuple<int, int, int, const char *, int> kCases[] = {
        {0, 26, 26, "ABC", 3},    {0, 26, 26, "BCD", -1},         {0, 25, 26, "ABC", -1},
        {0, 10, 3, "XYZ", 0},     {5, 26, 26, "FGHI", 9},         {5, 26, 8, "XYZABC", 3},
        {5, 26, 8, "XYZABX", -1}, {0, 26, 26, kUpper.c_str(), 0},
    };
    for (const auto &[start, count, span, needle, index] : kCases) {
        const QUILLONRetcodeBuffer ring = ring_of_letters(start, count);
        EXPECT_EQ(QUILLON_retcodeBufferReverseFind(&ring, span, needle), index) << needle;
    }
}

TEST(Relay, HoldsTheClosingLineBack)
{
    const std::string kLong(8166, 'x'); // with the line a whole piece
    const std::string kMebibyte(1U << 20, 'x');
    const std::tuple<test::Script, int, std::string> kCases[] = {
        {{kLine}, 0, ""},
        {{"Code generator returned 3\n"}, 255, ""},
        {{"Code generator returned \n\n"}, 255, ""},
        {{"Code generator returned 0\r"}, 0, ""},
        {{"Code generator returned 10\n"}, 255, "Code generator returned 10\n" + kClosedReport},
        {{zeros(3) + "\xFF\n" + kLine}, 0, zeros(3) + "\xFF\n"},
        {{kLong + kLine}, 0, kLong},
        {{kMebibyte, kLine}, 0, kMebibyte},
        {{}, 255, kClosedReport},
        {{"Hello\n"}, 255, "Hello\n" + kClosedReport},
        {{kLine.substr(0, 24)}, 255, kNeedle + kClosedReport},
        // What comes in two pieces is scrambled.
        {{"Hello\n", kLine}, 0, "Hello\n" + zeros(20)},
        {{kLine.substr(0, 25), "\n"},
         255,
         "C\node generator returned 0" + zeros(1) + kClosedReport},
        {{"x" + kLong + kLine}, 255, kLong + "x\nCode generator returned 0" + kClosedReport},
        {{"Hello\n", "", true}, 255, kResetReport + "Hello\n" + kClosedReport},
        {{"", "", true}, 255, kResetReport + kClosedReport},
        {{"Hello\n" + kLine, "", true}, 0, "Hello\n" + kResetReport},
    };
    for (const auto &[script, status, out] : kCases) {
        test::ScriptedServer server(script);
        const test::Outcome outcome = test::run(test::launcher(QUILLON, server.port()));
        SCOPED_TRACE(testing::PrintToString(script.text.substr(0, 100) + "|" + script.later));
        EXPECT_EQ(outcome.status, status);
        EXPECT_TRUE(outcome.out == out) << testing::PrintToString(outcome.out.substr(0, 1000));
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(server.received(), test::request({}));
    }
}

TEST(Relay, ReportsOutputThatIsLost)
{
    const auto with_full_output = [] {
        return dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), 1) == 1;
    };
    const auto without_output = [] { return close(1) == 0; };
    const auto with_nothing_open = [] { return close(0) == 0 && close(1) == 0 && close(2) == 0; };
    const std::string kFull = "main:OS write() failure, error 0X1C: No space left on device\n";
    const std::string kUnwritable = "main:OS write() failure, error 0X9: Bad file descriptor\n";
    const std::string kMuch(32768, 'x'); // more than a buffer
    // What the launcher prints to; what it has to print; its status and its report.
    const std::tuple<std::function<bool()>, std::string, int, std::string> kCases[] = {
        {with_full_output, "Hello\n", 255, kFull},
        {with_full_output, kMuch, 255, kFull},
        {with_full_output, "", 0, ""},
        {without_output, "Hello\n", 255, kUnwritable},
        {without_output, kMuch, 255, kUnwritable},
        {without_output, "", 0, ""},
        {with_nothing_open, "Hello\n", 255, ""},
    };
    for (const auto &[in_child, printed, status, err] : kCases) {
        SCOPED_TRACE(printed.substr(0, 10) + "|" + err);
        test::ScriptedServer server({printed + kLine});
        const test::Outcome outcome =
            test::run(test::launcher(QUILLON, server.port(), {"a"}, in_child));
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, err);
        // Above all nothing of the output, which flows back when the connection is descriptor 1.
        EXPECT_EQ(server.received(), test::request({"a"}));
    }
    for (const std::string question : {"-n_help", "-n_version"}) {
        const test::Outcome full =
            test::run({.arguments = {QUILLON, question}, .in_child = with_full_output});
        EXPECT_EQ(full.status, 255) << question;
        EXPECT_EQ(full.err, kFull) << question;
    }
}

TEST(Relay, EndsAsPipelinesDoWhenItsReaderGoes)
{
    const std::tuple<sighandler_t, int, const char *> kCases[] = {
        {SIG_DFL, 128 + SIGPIPE, ""},
        {SIG_IGN, 255, "main:OS write() failure, error 0X20: Broken pipe\n"},
    };
    for (const auto &[action, status, err] : kCases) {
        test::ScriptedServer server({std::string(1U << 20, 'x'), kLine});
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        test::Process process(
            test::launcher(QUILLON, server.port(), {}, [&disposition = action, &ends] {
                return signal(SIGPIPE, disposition) != SIG_ERR && dup2(ends[1], 1) == 1;
            }));
        close(ends[1]);
        char byte;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
        close(ends[0]);
        const test::Outcome outcome = process.finish();
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, err);
        EXPECT_EQ(server.received(), test::request({}));
    }
}

TEST(Launcher, LoadsTheCLibraryAlone)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers bring libraries of their own";
#endif
    // But for that of mathematics, the loader, and the system's own with BUILD_SHARED_LIBS.
    const char *script =
        "readelf -dW \"$0\" | grep NEEDED | grep -v -e libm.so -e ld-linux -e libwolkcore.so";
    const test::Outcome outcome = test::run({.arguments = {"sh", "-c", script, QUILLON}});
    EXPECT_TRUE(outcome.out.ends_with("[libc.so.6]\n")) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << outcome.out;
}

} // namespace
