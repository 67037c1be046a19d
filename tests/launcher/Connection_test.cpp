#include "launcher/GeneratorConnection.h"
#include "tests/support/LogCapture.hpp"
#include "tests/support/ScriptedServer.hpp"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>

namespace {

using test::launcher;
using test::Lines;
using test::Outcome;
using test::request;
using test::ScriptedServer;

const std::string kLine = test::kSuccessLine;

TEST(Connection, ReportsARequestThatIsNotSentAsAWhole)
{
    test::LogCapture log;
    const sockaddr_in address = test::loopback(test::free_port());
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    listen(listener, 1);
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_TRUE(QUILLON_socketConnect(connection, &address, 10));
    const int peer = accept(listener, nullptr, nullptr);
    fcntl(connection, F_SETFL, O_NONBLOCK);
    std::string text(64U << 20, 'x'); // more than any queue takes
    const QUILLONJArgsBuffer buffer = {.length = static_cast<std::uint32_t>(text.size()),
                                       .text = text.data()};
    const std::string kFailure = "QUILLON_socketSend:OS sendto() failure, error ";
    for (const std::string error :
         {"", "0X68: Connection reset by peer\n", "0X20: Broken pipe\n"}) {
        EXPECT_FALSE(QUILLON_socketSend(connection, &address, &buffer));
        const Lines lines = log.lines();
        log.clear();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_TRUE(lines[0].starts_with(kFailure + error)) << lines[0];
        if (error.empty())
            close(peer); // with bytes that it did not read, which resets the connection
        pollfd end = {connection, POLLIN, 0};
        EXPECT_EQ(poll(&end, 1, 20000), 1);
    }
    struct sigaction action = {};
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    close(connection);
    close(listener);
}

TEST(Launcher, ReportsOutputThatIsLost)
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
        ScriptedServer server({printed + kLine});
        const Outcome outcome = test::run(launcher(QUILLON, server.port(), {"a"}, in_child));
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, err);
        // Above all nothing of the output, which flows back when the connection is descriptor 1.
        EXPECT_EQ(server.received(), request({"a"}));
    }
    for (const std::string question : {"-n_help", "-n_version"}) {
        const Outcome full =
            test::run({.arguments = {QUILLON, question}, .in_child = with_full_output});
        EXPECT_EQ(full.status, 255) << question;
        EXPECT_EQ(full.err, kFull) << question;
    }
}

TEST(Launcher, EndsAsPipelinesDoWhenItsReaderGoes)
{
    const std::tuple<sighandler_t, int, const char *> kCases[] = {
        {SIG_DFL, 128 + SIGPIPE, ""},
        {SIG_IGN, 255, "main:OS write() failure, error 0X20: Broken pipe\n"},
    };
    for (const auto &[action, status, err] : kCases) {
        ScriptedServer server({std::string(1U << 20, 'x'), kLine});
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        test::Process process(launcher(QUILLON, server.port(), {}, [&disposition = action, &ends] {
            return signal(SIGPIPE, disposition) != SIG_ERR && dup2(ends[1], 1) == 1;
        }));
        close(ends[1]);
        char byte;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
        close(ends[0]);
        const Outcome outcome = process.finish();
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, err);
        EXPECT_EQ(server.received(), request({}));
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
    const Outcome outcome = test::run({.arguments = {"sh", "-c", script, QUILLON}});
    EXPECT_TRUE(outcome.out.ends_with("[libc.so.6]\n")) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << outcome.out;
}

} // namespace
