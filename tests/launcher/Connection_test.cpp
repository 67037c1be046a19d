#include "launcher/GeneratorConnection.h"
#include "launcher/Log.h"
#include "tests/support/LogCapture.hpp"
#include "tests/support/ScriptedServer.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <set>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using test::Ending;
using test::Lines;
using test::Outcome;
using test::request;
using test::Script;
using test::ScriptedServer;
using Arguments = std::vector<std::string>;

const std::string kLine = test::kSuccessLine;
/** What a server that cannot be started says. */
const std::string kNoServer = "QUILLON_createJVM:classpath too long\n"
                              "QUILLON_startCodeGenerator:error creating JVM\n"
                              "main:error running code generator\n";

test::Command launcher(int port, const Arguments &more = {}, std::function<bool()> in_child = {})
{
    test::Command command = test::launcher(QUILLON, port, more);
    command.in_child = std::move(in_child);
    return command;
}

/** For Command::in_child. */
std::function<bool()> with_closed(std::vector<int> descriptors)
{
    return [descriptors] {
        return std::all_of(descriptors.begin(), descriptors.end(),
                           [](int descriptor) { return close(descriptor) == 0; });
    };
}

std::function<bool()> with_output_to(int descriptor)
{
    return [descriptor] { return dup2(descriptor, STDOUT_FILENO) == STDOUT_FILENO; };
}

bool with_full_output()
{
    return with_output_to(open("/dev/full", O_WRONLY | O_CLOEXEC))();
}

sockaddr_in loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/** The operations of the connection, called with a socket of the test's own. */
class Connection : public testing::Test
{
protected:
    Connection() { QUILLONLog_setBitmaps(0xFFFF, 0xF); }
    ~Connection() override
    {
        QUILLONLog_setBitmaps(0xFFFF, 0x1);
        close(m_socket);
    }

    /** What was reported since the last call. */
    Lines reported()
    {
        Lines lines = m_log.lines();
        m_log.clear();
        return lines;
    }

    /** Connects to a listener, and returns the other end. */
    int connect_to_peer()
    {
        const sockaddr_in address = m_address;
        const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        listen(listener, 1);
        EXPECT_TRUE(QUILLON_socketConnect(m_socket, &address, 10));
        const int peer = accept(listener, nullptr, nullptr);
        EXPECT_GE(peer, 0);
        close(listener);
        return peer;
    }

    test::LogCapture m_log;
    sockaddr_in m_address = loopback(test::free_port());
    int m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST_F(Connection, MakesAnAttemptForEachTenMilliseconds)
{
    const struct
    {
        std::uint32_t timeout_ms;
        std::size_t attempts;
        int error;
    } kCases[] = {
        {0, 0, EDOM},          {9, 0, EDOM},          {10, 1, ECONNREFUSED},
        {19, 1, ECONNREFUSED}, {59, 5, ECONNREFUSED},
    };
    for (const auto &[timeout_ms, attempts, error] : kCases) {
        errno = EDOM;
        EXPECT_FALSE(QUILLON_socketConnect(m_socket, &m_address, timeout_ms));
        EXPECT_EQ(errno, error) << timeout_ms;
        EXPECT_EQ(
            reported(),
            Lines(attempts, "QUILLON_socketConnect:Tried to connect with result -1 (errno: 111)\n"))
            << timeout_ms;
    }
    close(connect_to_peer());
    EXPECT_EQ(reported(),
              Lines{"QUILLON_socketConnect:Tried to connect with result 0 (errno: 0)\n"});
}

TEST_F(Connection, ReportsAPeerThatWentAwayBeforeTheRequest)
{
    const int peer = connect_to_peer();
    const linger at_once = {1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close(peer);
    pollfd end = {m_socket, POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 20000), 1);
    reported();

    char text[] = "request";
    const QUILLONJArgsBuffer buffer = {.length = sizeof text, .text = text};
    const Lines kReports = {
        "QUILLON_socketSend:OS sendto() failure, error 0X68: Connection reset by peer\n",
        "QUILLON_socketSend:OS sendto() failure, error 0X20: Broken pipe\n"};
    for (const std::string &report : kReports) {
        EXPECT_FALSE(QUILLON_socketSend(m_socket, &m_address, &buffer));
        EXPECT_EQ(reported(), Lines{report});
    }
    struct sigaction action = {};
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
}

TEST_F(Connection, ReportsARequestThatIsSentInPart)
{
    const int peer = connect_to_peer();
    reported();
    fcntl(m_socket, F_SETFL, O_NONBLOCK);
    std::string text(64U << 20, 'x'); // more than any queue takes
    const QUILLONJArgsBuffer buffer = {.length = static_cast<std::uint32_t>(text.size()),
                                       .text = text.data()};
    EXPECT_FALSE(QUILLON_socketSend(m_socket, &m_address, &buffer));
    const Lines lines = reported();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("QUILLON_socketSend:OS sendto() failure, error ")) << lines[0];
    close(peer);
}

TEST_F(Connection, ReceivesNoMoreThanItsBufferHolds)
{
    const int peer = connect_to_peer();
    EXPECT_EQ(send(peer, "abcdef", 6, 0), 6);
    close(peer);
    reported();
    char array[5] = "----";
    QUILLONReceiveBuffer buffer = {.capacity = 4, .array = array};
    EXPECT_EQ(QUILLON_socketReceive(m_socket, &buffer), 4);
    EXPECT_STREQ(array, "abcd");
    EXPECT_EQ(QUILLON_socketReceive(m_socket, &buffer), 2);
    EXPECT_STREQ(array, "efcd");
    EXPECT_EQ(QUILLON_socketReceive(m_socket, &buffer), 0);
    EXPECT_EQ(reported(), Lines());
    EXPECT_EQ(QUILLON_socketReceive(-1, &buffer), -1);
    EXPECT_EQ(reported(), Lines{"QUILLON_socketReceive:OS recvfrom() failure, error 0X9: "
                                "Bad file descriptor\n"});
}

TEST(Launcher, SharesAServerWithOthers)
{
    ScriptedServer server({Script{.chunks = {"one\n" + kLine}}, Script{.chunks = {"two\n" + kLine}},
                           Script{.chunks = {"three\n" + kLine}}});
    EXPECT_EQ(server.run(launcher(server.port(), {"first"})).out, "one\n");
    test::Process second(launcher(server.port(), {"second"}));
    test::Process third(launcher(server.port(), {"second"}));
    EXPECT_EQ((std::multiset{second.finish().out, third.finish().out}),
              (std::multiset<std::string>{"three\n", "two\n"}));
    EXPECT_EQ(server.received(),
              (Arguments{request({"first"}), request({"second"}), request({"second"})}));
}

TEST(Launcher, KeepsTryingUntilTheServerListens)
{
    const int port = test::free_port();
    test::Process process(launcher(port, {"-n_connectiontimeout", "60000", "a"}));
    process.wait_for_output("main:error running code generator\n");
    ScriptedServer server({Script{.chunks = {"Hello\n" + kLine}}}, port);
    const Outcome outcome = process.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, kNoServer + "Hello\n");
    EXPECT_EQ(server.received(), Arguments{request({"a"})});
}

TEST(Launcher, ReportsAListenerThatIsNoServer)
{
    for (const auto signal_action : {SIG_DFL, SIG_IGN}) {
        for (int i = 0; i < 10; ++i) {
            ScriptedServer server({Script{.ending = Ending::Abandon}});
            const Outcome outcome = server.run(launcher(server.port(), {}, [signal_action] {
                return signal(SIGPIPE, signal_action) != SIG_ERR;
            }));
            EXPECT_EQ(outcome.status, 255);
            // Whether the request or the end comes first is chance.
            EXPECT_TRUE(outcome.out == test::kClosedReport ||
                        outcome.out == test::kResetReport + test::kClosedReport)
                << outcome.out;
        }
    }
}

TEST(Launcher, ReportsOutputThatIsLost)
{
    const std::string kFull = "main:OS write() failure, error 0X1C: No space left on device\n";
    const std::string kUnwritable = "main:OS write() failure, error 0X9: Bad file descriptor\n";
    const std::string kMuch(32768, 'x');
    const struct
    {
        const char *name;
        std::function<bool()> in_child;
        std::string printed;
        int status;
        std::string out;
        std::string err;
    } kCases[] = {
        {"full", with_full_output, "Hello\n", 255, "", kFull},
        {"full, and more than a buffer", with_full_output, kMuch, 255, "", kFull},
        {"full, and nothing to print", with_full_output, "", 0, "", ""},
        {"no output", with_closed({1}), "Hello\n", 255, "", kUnwritable},
        {"no output, and more than a buffer", with_closed({1}), kMuch, 255, "", kUnwritable},
        {"no output, and nothing to print", with_closed({1}), "", 0, "", ""},
        {"nothing open", with_closed({0, 1, 2}), "Hello\n", 255, "", ""},
        {"nothing open, and nothing to print", with_closed({0, 1, 2}), "", 0, "", ""},
        {"no error output", with_closed({2}), "Hello\n", 0, "Hello\n", ""},
        {"no input", with_closed({0}), "Hello\n", 0, "Hello\n", ""},
    };
    for (const auto &[name, in_child, printed, status, out, err] : kCases) {
        ScriptedServer server({Script{.chunks = {printed + kLine}}});
        const Outcome outcome = server.run(launcher(server.port(), {"a"}, in_child));
        EXPECT_EQ(outcome.status, status) << name;
        EXPECT_EQ(outcome.out, out) << name;
        EXPECT_EQ(outcome.err, err) << name;
        // Above all nothing of the output, which flows back when the connection is descriptor 1.
        EXPECT_EQ(server.received(), Arguments{request({"a"})}) << name;
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
    const struct
    {
        sighandler_t action;
        int status;
        const char *err;
    } kCases[] = {
        {SIG_DFL, 128 + SIGPIPE, ""},
        {SIG_IGN, 255, "main:OS write() failure, error 0X20: Broken pipe\n"},
    };
    for (const auto &[action, status, err] : kCases) {
        std::vector<std::string> chunks(20, std::string(32768, 'x'));
        chunks.push_back(kLine);
        ScriptedServer server({Script{.chunks = chunks}});
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        test::Process process(launcher(server.port(), {}, [end = ends[1], to = action] {
            return signal(SIGPIPE, to) != SIG_ERR && with_output_to(end)();
        }));
        server.serve(process.pid());
        close(ends[1]);
        char byte;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
        close(ends[0]);
        const Outcome outcome = process.finish();
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, err);
        EXPECT_EQ(server.received(), Arguments{request({})});
    }
}

/** Gives the process a loopback network of its own, whose only port for clients is this one. */
bool enter_network_with_one_port(int port)
{
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return false;
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq loopback_up = {};
    std::string("lo").copy(loopback_up.ifr_name, IFNAMSIZ);
    loopback_up.ifr_flags = IFF_UP;
    const std::string range = std::to_string(port) + " " + std::to_string(port);
    const int setting = open("/proc/sys/net/ipv4/ip_local_port_range", O_WRONLY | O_CLOEXEC);
    return ioctl(any, SIOCSIFFLAGS, &loopback_up) == 0 &&
           write(setting, range.data(), range.size()) == static_cast<ssize_t>(range.size());
}

TEST(Launcher, IsNotItsOwnServer)
{
    const int port = test::free_port();
    const auto in_child = [port] {
        alarm(20); // a launcher that talks to itself waits for ever
        return enter_network_with_one_port(port);
    };
    if (test::run({.arguments = {"true"}, .in_child = in_child}).status != 0)
        GTEST_SKIP() << "no network namespaces here";
    const Outcome outcome =
        test::run(launcher(port, {"-n_connectiontimeout", "50", "a"}, in_child));
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.err, "");
    std::istringstream lines(outcome.out);
    Lines others;
    bool timed_out = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "main:Timeout after 50 ms when connecting with quillon (errno: 111, Connection "
                    "refused). Try increasing -n_connectiontimeout argument.")
            timed_out = true;
        else if (kNoServer.find(line + "\n") == std::string::npos)
            others.push_back(line);
    }
    EXPECT_TRUE(timed_out);
    EXPECT_EQ(others, Lines());
}

TEST(Launcher, LoadsTheCLibraryAlone)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers bring libraries of their own";
#endif
    const Outcome outcome = test::run({.arguments = {"readelf", "--dynamic", "--wide", QUILLON}});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    std::istringstream lines(outcome.out);
    std::set<std::string> needed;
    for (std::string line; std::getline(lines, line);)
        if (line.find("(NEEDED)") != std::string::npos)
            needed.insert(line.substr(line.find('[')));
    needed.erase("[libm.so.6]");
    needed.erase("[libwolkcore.so]"); // with BUILD_SHARED_LIBS
    EXPECT_EQ(needed, std::set<std::string>{"[libc.so.6]"});
}

} // namespace
