// The launcher in this process, with every platform call that it makes failing in turn.
#include "launcher/GeneratorConnection.h"
#include "launcher/Log.h"
#include "launcher/ParameterManager.h"
#include "launcher/ServerProcess.hpp"
#include "launcher/StandardStreams.hpp"
#include "tests/support/Faults.hpp"
#include "tests/support/ScriptedServer.hpp"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

int quillon_main(int argc, char **argv);

namespace {

namespace fs = std::filesystem;
using test::Aside;
using test::Expected;
using test::for_each_fault;
using test::for_these_faults;
using test::kOs;
using test::Lines;
using test::no_memory;
using test::unnoticed;
using test::operator+;
using Arguments = std::vector<std::string>;

std::vector<char *> vector_of(Arguments &arguments)
{
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    return argv;
}

/** What it prints, and its status. Without options of its own it is as loud as the test is. */
std::string launched(Arguments arguments)
{
    const pid_t home = getpid();
    std::vector<char *> argv = vector_of(arguments);
    int status = 0;
    const std::string printed = test::printed_by([&] {
        status = quillon_main(static_cast<int>(argv.size()), argv.data());
        if (getpid() != home)
            _exit(status & 0xFF); // its server
    });
    return printed + std::to_string(status);
}

std::string launched_at(int port, const Arguments &more)
{
    const char *verbosity = QUILLONLog_g_instrumentationMask == 0 ? "0" : "2";
    const Arguments options = Arguments{"-n_verbosity", verbosity} + more;
    return launched(test::launcher("quillon", port, options).arguments);
}

Expected fails(const Lines &lines)
{
    return {"-1", lines};
}

const Lines kNoManager = {"QUILLONParameterManager_new:!init parameter manager\n",
                          "main:error creating parameter manager\n"};
const std::string kNoConnection = "main:error connecting to code generator\n";
const Lines kNotClosed = {
    test::warning(test::os_failure("ZOVOsapiSocket_create", "fcntl(FD_CLOEXEC)"))};
const std::string kAppendDirectory = "QUILLONParameterManager_appendWorkingDirectory:";

TEST(LauncherFaults, OfAWarmRun)
{
    const std::string size = std::to_string(sizeof(QUILLONParameterManager));
    const Lines no_record =
        no_memory("ZOVOsapiHeap_allocateStructure", sizeof(QUILLONParameterManager)) +
        Lines{"QUILLONParameterManager_new:no space on heap for structure of size " + size +
                  " bytes\n",
              kNoManager[1]};
    const Lines no_text = no_memory("ZOVOsapiHeap_allocateString", 16385) +
                          Lines{"QUILLONParameterManager_initialize:no space on heap for string of "
                                "16383 characters\n"} +
                          kNoManager;
    const Lines no_buffer = no_memory("ZOVOsapiHeap_allocateArray", 8192) +
                            Lines{"QUILLON_readOutput:Cannot allocate memory for the receiving "
                                  "buffer\n"};
    const Lines no_directory =
        Lines{kAppendDirectory + "cannot get the current working directory\n"} + kNoManager;
    const Lines no_name = {"ZOVOsapiSocket_getHostByName:resolver gethostbyname() failure, error "
                           "0X1: Unknown host, name localhost\n",
                           kNoConnection};
    const Lines not_sent = {"QUILLON_socketSend:" + kOs + "\n", test::os_failure("main", "send")};
    const Lines broken = {"QUILLON_socketReceive:" + kOs + "\n",
                          "QUILLON_readOutput:Unexpected error receiving the quillon output\n"};
    const Lines closed = broken + Lines{test::kClosedReport};
    const std::string printed = "Hello\n" + std::string(20, '\0');
    for_each_fault(
        [] {
            const test::ScriptedServer server({"Hello\n", test::kSuccessLine});
            return launched_at(server.port(), {"-n_resolvelo"});
        },
        {printed + "0"},
        {
            {"calloc 1", fails(no_record)},
            {"calloc 2", fails(no_text)},
            {"getcwd 1", fails(no_directory)},
            {"socket 1", fails({"ZOVOsapiSocket_create:" + kOs + "\n", kNoConnection})},
            {"gethostbyname 1", fails(no_name)},
            {"sendto 1", fails(not_sent)},
            {"calloc 3", fails(no_buffer)},
            {"recvfrom 1", fails(closed)},
            {"recvfrom 2", {{"Hello\n-1", closed}}},
            {"recvfrom 3", {{printed + "0", broken}}}, // the line had come
            {"fcntl", unnoticed},
            {"fcntl 4", {{printed + "0", kNotClosed}}},
            {"connect 1", unnoticed}, // there is a second attempt
            {"getsockname 1", unnoticed},
            {"getpeername 1", unnoticed},
            {"fclose 1", test::infallible}, // the test's own
        });
}

TEST(LauncherFaults, OfAColdRun)
{
    const Expected no_process = fails({"main:error creating code generator process\n"});
    for_these_faults(
        [port = test::free_port()] {
            const std::string result = launched_at(port, {"-n_connectiontimeout", "10"});
            while (wait(nullptr) != -1) {
            }
            return result;
        },
        fails({"main:Timeout after 10 ms when connecting with quillon (errno: 111, Connection "
               "refused). Try increasing -n_connectiontimeout argument.\n"}),
        {{"pipe2 1", no_process}, {"fork 1", no_process}});
}

/** The lines that name an option, of a run that misses it or its value. */
Lines missing(const std::string &option)
{
    return {"QUILLONParameterManager_initialize:bad command-line parameter '" + option + "'\n"};
}

TEST(LauncherFaults, OfArguments)
{
    const std::string too_long = "QUILLONParameterManager_appendStringToBuffer:parameter line too "
                                 "long\n";
    const Lines argument = {too_long};
    const Lines option = {too_long, kAppendDirectory + "parameter -workingDirectory too long\n"};
    const Lines directory = {too_long, kAppendDirectory + "working directory too long: /\n"};
    const Lines no_directory = {kAppendDirectory + "cannot get the current working directory\n"};
    const auto with_bytes = [](std::size_t size) {
        return Arguments{"", std::string(size - 1, 'a')};
    };
    const std::tuple<std::size_t, Arguments, Lines> cases[] = {
        {1, {}, missing("n_classpath")},
        {255, {"", "-n_classpath", "x"}, missing("n_wolkresource")},
        {256, {"", "-n_classpath", "x"}, no_directory},
        {1, {"", "-n_classpath", "-n_wolkresource", "x"}, missing("n_wolkresource")},
        // Not the questions that they look like; nor is the verbosity known yet.
        {1,
         {"", "xn_help", "--n_version", "-n_helpx", "-h", "", "-n_verbosity", "0"},
         missing("n_classpath")},
        // As typed, without the first character.
        {1, {"", "-n_classpath", "x", "xN_Wolkr"}, missing("N_Wolkr")},
        // The directory takes 20 bytes together with its option.
        {1, with_bytes(16362), missing("n_classpath")},
        {1, with_bytes(16363), directory},
        {1, with_bytes(16364), directory},
        {1, with_bytes(16365), option},
        {1, with_bytes(16382), option},
        {1, with_bytes(16383), argument},
    };
    static std::size_t directory_length;
    const test::Replacement getcwd(
        test::instead::getcwd, +[](char *buffer, std::size_t size) {
            if (directory_length >= size)
                return static_cast<char *>(nullptr);
            return std::strcpy(buffer, std::string(directory_length, '/').c_str());
        });
    for (const auto &[length, arguments, lines] : cases) {
        directory_length = length;
        for_these_faults([&all = arguments] { return launched(all); }, fails(lines + kNoManager),
                         {});
    }
}

TEST(ParameterManager, ReadsOnceAndMayBeFinalisedTwice)
{
    Arguments arguments = {"", "-n_c", "c", "-n_w", "r", "-n_s", "7", "a"};
    QUILLONParameterManager manager = {};
    EXPECT_TRUE(QUILLONParameterManager_initialize(&manager, 8, vector_of(arguments).data()));
    EXPECT_TRUE(QUILLONParameterManager_initialize(&manager, 0, nullptr));
    const QUILLONJArgsBuffer *sent = QUILLONParameterManager_getJArgsBuffer(&manager);
    EXPECT_EQ(std::string(sent->text, sent->length), test::request({"a"}));
    ZOVBool present = ZOV_FALSE;
    EXPECT_TRUE(QUILLONParameterManager_getParameter(&manager, nullptr, &present,
                                                     QUILLON_PARAMETER_SERVER_PORT,
                                                     QUILLON_PARAMETER_KIND_INTEGER));
    EXPECT_TRUE(present);
    for (int i = 0; i < 2; ++i)
        QUILLONParameterManager_finalize(&manager);
    for (const auto &row : QUILLONParameterManager_g_parameterDesc)
        EXPECT_TRUE(row.reserved == 0 && row.description == std::string() && row.enabled == 1)
            << row.name;
    EXPECT_EQ(manager.state, 0x7345);
    EXPECT_EQ(test::printed_by([] { QUILLONParameterManager_printUsage("quillon"); }),
              test::printed_by([] { QUILLONParameterManager_printHelp("quillon"); }));
}

/** What this process's descriptors lead to, by the first word. */
std::string descriptors()
{
    std::string all;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        std::error_code none;
        const std::string target =
            fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
        all += target.empty() ? "" : target.substr(0, target.find(':')) + " ";
    }
    return all;
}

TEST(LauncherFaults, OfAConnectionToItself)
{
    const std::string refused = "false 111, port free";
    for_each_fault(
        [] {
            sockaddr_in address;
            std::string held;
            int own;
            {
                const Aside preparation;
                address = test::loopback(test::free_port());
                own = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
                bind(own, reinterpret_cast<const sockaddr *>(&address), sizeof address);
                held = descriptors();
            }
            const bool connected = QUILLON_socketConnect(own, &address, 29) != 0;
            const std::string error = std::to_string(errno);
            const Aside look;
            EXPECT_EQ(descriptors(), held);
            const int server = socket(AF_INET, SOCK_STREAM, 0);
            const bool is_free =
                bind(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
            EXPECT_EQ(fcntl(own, F_GETFD), FD_CLOEXEC);
            close(server);
            close(own);
            return connected ? "connected"
                             : "false " + error + (is_free ? ", port free" : ", port taken");
        },
        {refused},
        {
            {"connect 1", unnoticed},
            {"connect 2", {{"false 1, port free"}}},
            {"getsockname 1", {{"connected"}}},
            {"getpeername 1", {{"connected"}}},
            {"setsockopt 1",
             {{"false 111, port taken", {"ZOVOsapiSocket46_setOption:" + kOs + "\n"}}}},
            {"socket 1", {{"false 106, port taken", {"ZOVOsapiSocket_create:" + kOs + "\n"}}}},
            {"fcntl 1", {{refused, kNotClosed}}},
            {"clock_nanosleep 1",
             {{refused, {test::os_failure("ZOVOsapiThread_sleep", "nanosleep")}}}},
        });
}

// Another address is another peer, whatever its port.
TEST(LauncherFaults, AnotherAddressIsAnotherPeer)
{
    const sockaddr_in address = test::loopback(test::free_port());
    sockaddr_in own_address = address;
    own_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const int own = socket(AF_INET, SOCK_STREAM, 0);
    bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    listen(listener, 1);
    bind(own, reinterpret_cast<const sockaddr *>(&own_address), sizeof own_address);
    EXPECT_TRUE(QUILLON_socketConnect(own, &address, 10));
    close(own);
    close(listener);
}

TEST(LauncherFaults, OfARequestThatIsNotSentAsAWhole)
{
    static void (*at_broken_pipe)(int);
    const test::Replacement sendto(
        test::instead::sendto,
        +[](int, const void *, std::size_t size, int, const sockaddr *, socklen_t) {
            struct sigaction action;
            sigaction(SIGPIPE, nullptr, &action);
            at_broken_pipe = action.sa_handler;
            errno = EAGAIN;
            return static_cast<ssize_t>(size) - 1;
        });
    for_these_faults(
        [] {
            const sockaddr_in address = test::loopback(1);
            std::string text = "abc";
            const QUILLONJArgsBuffer buffer = {3, text.data()};
            const std::string result = test::text_of(QUILLON_socketSend(-1, &address, &buffer));
            struct sigaction action;
            sigaction(SIGPIPE, nullptr, &action);
            return result + (at_broken_pipe == SIG_IGN && action.sa_handler == SIG_DFL
                                 ? ""
                                 : ", and a broken pipe may end the launcher");
        },
        {"false", {test::os_failure("QUILLON_socketSend", "sendto", EAGAIN)}}, {});
}

TEST(LauncherFaults, OfOutputThatIsLostBeforeTheEnd)
{
    cookie_io_functions_t functions = {};
    functions.write = [](void *failures, const char *, std::size_t size) -> ssize_t {
        return --*static_cast<int *>(failures) >= 0 ? 0 : static_cast<ssize_t>(size);
    };
    for (const uint32_t levels : {1U, 0U}) {
        test::LogCapture capture;
        capture.set_levels(levels);
        int failures = 1;
        FILE *const before = std::exchange(stdout, fopencookie(&failures, "w", functions));
        ZOVLog_onMessageImpl(std::string(100000, 'x').c_str());
        testing::internal::CaptureStderr();
        EXPECT_FALSE(quillon::finish_output());
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  levels == 0 ? "" : "main:OS write() failure, error 0X5: Input/output error\n");
        std::fclose(std::exchange(stdout, before));
    }
}

/** Becomes the server, with a call that fails, and with no more descriptors than it has. */
std::string serve(int &connection, const quillon::Lifeline &lifeline, const std::string &fault,
                  bool at_limit)
{
    const int zero = open("/dev/zero", O_RDWR);
    for (const int descriptor : {0, 1, 2, 200, 250})
        dup2(zero, descriptor);
    rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few = {4, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, at_limit ? &few : &before);
    {
        const test::Fault failing(fault);
        quillon::become_server(connection, lifeline);
    }
    setrlimit(RLIMIT_NOFILE, &before);
    return std::to_string(connection) + " " + descriptors();
}

TEST(LauncherFaults, OfAServer)
{
    const test::TemporaryDirectory directory;
    const std::string file = directory.path() + "/held";
    const std::string all = "-1 /dev/null /dev/zero /dev/zero pipe ";
    const std::tuple<const char *, bool, std::string> cases[] = {
        {"", false, all},
        {"close_range 1", false, all},
        {"pthread_create 1", false, "-1 /dev/null /dev/null /dev/null pipe "},
        {"", true, "-1 /dev/zero /dev/zero /dev/zero pipe "},
    };
    quillon::Lifeline lifeline;
    ASSERT_TRUE(quillon::open_lifeline(lifeline));
    for (const auto &[fault, at_limit, held] : cases) {
        const pid_t server = fork();
        if (server == 0) {
            int connection = socket(AF_INET, SOCK_STREAM, 0);
            test::write_file(file, serve(connection, lifeline, fault, at_limit));
            std::exit(0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(server, &status, 0), server);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(test::read_file(file), held) << fault;
    }
}

} // namespace
