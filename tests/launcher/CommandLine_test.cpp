#include "tests/support/ScriptedServer.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <tuple>
#include <utility>

namespace {

using test::Command;
using test::launcher;
using test::Outcome;
using test::request;
using test::ScriptedServer;
using Arguments = std::vector<std::string>;
/** Arguments, and what becomes of them. */
using Cases = std::vector<std::pair<Arguments, std::string>>;

const test::Script kSuccess = {.chunks = {test::kSuccessLine}};
constexpr int kNoPort = 1; // for runs that end before they connect

const std::string kVersion("QUILLON v5.3\0\n", 14);
const std::string kHelp = kVersion + R"(Usage: quillon [options]
Options:
 -n_classpath                         <path> QUILLON classpath
 -n_wolkresource                      <path> QUILLON resource directory
 -n_wolkhome                          <path> WOLKHOME directory
 -n_serverport                        <port> Server port
                                             Default: 14662
 -n_servertimeout                     <milli> Server timeout in milli
                                             Default: 20000
 -n_connectiontimeout                 <milli> Server connection timeout in milli
                                             Default: 5000
 -n_resolvelo                                Resolve loopback address
 -n_jprocess                                 Only for Windows usage
 -n_verbosity                         [0-6]  QUILLON verbosity
                                             * 0 - silent
                                             * 1 - exceptions
                                             * 2 - warnings
                                             * 3 - information
                                             Default: 1 (exceptions)
 -n_version                                  Prints the QUILLON version
 -n_help                                     Displays this information
)";

const std::string kNoManager = "QUILLONParameterManager_new:!init parameter manager\n"
                               "main:error creating parameter manager\n";
const std::string kLineTooLong =
    "QUILLONParameterManager_appendStringToBuffer:parameter line too long\n";
const std::string kAppendDirectory = "QUILLONParameterManager_appendWorkingDirectory:";

/** What a run says that misses an option or its value. */
std::string missing(const std::string &option)
{
    return "QUILLONParameterManager_initialize:bad command-line parameter '" + option + "'\n" +
           kNoManager;
}

/** What a run says that reads no number for an option. */
std::string no_number(const std::string &option)
{
    return "QUILLONParameterManager_getParameter:bad command-line parameter '" + option + "'\n" +
           "main:error getting parameter\n";
}

void expect_run(const Command &command, int status, const std::string &out)
{
    const Outcome outcome = test::run(command);
    SCOPED_TRACE(testing::PrintToString(command.arguments).substr(0, 1000));
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
}

/** With these arguments and no others. */
void expect_bare_run(const Arguments &arguments, int status, const std::string &out)
{
    Command command = {.arguments = {QUILLON}};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    expect_run(command, status, out);
}

/** With a server that answers with success. */
void expect_request(ScriptedServer &server, const Command &command, const Arguments &passed_on)
{
    const Outcome outcome = server.run(command);
    SCOPED_TRACE(testing::PrintToString(command.arguments).substr(0, 1000));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(server.received(), Arguments{request(passed_on, command.directory)});
}

TEST(CommandLine, AnswersTheFirstArgumentThatBeginsLikeAQuestion)
{
    for (const auto &[arguments, answer] : Cases{
             {{"-n_help"}, kHelp},
             {{"-N_HE"}, kHelp},
             {{"-n_"}, kHelp},
             {{"-n"}, kHelp},
             {{"-"}, kHelp},
             {{"-n_version"}, kVersion},
             {{"-N_V"}, kVersion},
             {{"-n_v", "-n_h"}, kVersion},
             {{"-n_h", "-n_v"}, kHelp},
             {{"", "foo", "-n_servert", "-n_ver", "-"}, kVersion},
             // Not even the value of an option is spared.
             {{"-n_classpath", "-N_H"}, kHelp},
             {{"-n_wolkhome", "-n_version"}, kVersion},
         })
        expect_bare_run(arguments, 0, answer);
}

TEST(CommandLine, NamesTheFirstOptionThatIsMissingOrLacksItsValue)
{
    for (const auto &[arguments, option] : Cases{
             {{}, "n_classpath"},
             {{"-n_classpath", "x"}, "n_wolkresource"},
             {{"-n_wolkresource", "x"}, "n_classpath"},
             {{"-n_classpath", "-n_wolkresource", "x"}, "n_wolkresource"},
             // Not the questions that they look like.
             {{"xn_help", "n_help", "--n_version", "-n_helpx", "-h", "--help", ""}, "n_classpath"},
             // As typed, without the first character.
             {{"-n_classpath"}, "n_classpath"},
             {{"-n_classpath", "x", "xN_Wolkr"}, "N_Wolkr"},
             {{"-n_CONNECT"}, "n_CONNECT"},
             // The verbosity is not known yet.
             {{"-n_verbosity", "0"}, "n_classpath"},
         })
        expect_bare_run(arguments, 255, missing(option));
}

TEST(CommandLine, ReportsAnOptionThatIsNoNumberAsTheVerbosityAllows)
{
    for (const auto &[more, out] : Cases{
             {{"-n_serverport", "abc"}, no_number("n_serverport")},
             {{"-n_servertimeout", ""}, no_number("n_servertimeout")},
             {{"-n_connectiontimeout", "+"}, no_number("n_connectiontimeout")},
             {{"-n_s", "abc", "-n_servert", "abc"}, no_number("n_serverport")},
             {{"-n_serverport", "abc", "-n_verb", "x0"}, no_number("n_verbosity")},
             {{"-n_verbosity", "0", "-n_serverport", "abc"}, ""},
             {{"-n_serverport", "abc", "-n_verbosity", "0"}, ""},
         })
        expect_run(launcher(QUILLON, kNoPort, more), 255, out);
}

TEST(CommandLine, PassesEverythingElseOn)
{
    const Arguments others = {"-idl",
                              "a b",
                              "",
                              "K\xC3\xA4se\xFF",
                              "x",
                              "n_classpath",
                              "line\nfeed",
                              "-d",
                              "-d",
                              "--n_serverport",
                              "-n_classpaths"};
    for (const auto &[more, passed_on] : std::vector<std::pair<Arguments, Arguments>>{
             {{}, {}},
             {others, others},
             {{"1", "-n_jprocess", "2", "-n_resolvelo", "3"}, {"1", "2", "3"}},
             {{"-n_J", "xn_help", "xn_v", "-n_r", "4"}, {"4"}},
             {{"5", "-n_wolkhome", "6", "-n_servertimeout", "7", "-N_CON", "8"}, {"5"}},
             {{"xn_classpath", "9", "=N_W", "10", "-n_verb", "-1"}, {}},
         }) {
        ScriptedServer server({kSuccess});
        expect_request(server, launcher(QUILLON, server.port(), more), passed_on);
    }
}

TEST(CommandLine, TakesTheLastPortAndItsLowestSixteenBits)
{
    for (const auto &[option, offset, before, after] :
         std::vector<std::tuple<std::string, int, std::string, std::string>>{
             {"-n_serverport", 0, "", ""},
             {"-n_s", 0, " +0", "ab"},
             {"-n_serverp", 65536, "", ""},
             {"xN_SERVERPORT", -65536, "", ".9"},
         }) {
        ScriptedServer server({kSuccess});
        const std::string value = before + std::to_string(server.port() + offset) + after;
        expect_request(server, launcher(QUILLON, kNoPort, {option, value}), {});
    }
}

TEST(CommandLine, HoldsExactly16382BytesOfArguments)
{
    const auto with_bytes = [](int port, std::size_t size) {
        Arguments arguments;
        for (; size > 1000; size -= 1000)
            arguments.emplace_back(999, 'a');
        arguments.emplace_back(size - 1, 'b');
        Command command = launcher(QUILLON, port, arguments);
        command.directory = "/"; // which takes 20 bytes together with its option
        return std::pair(command, arguments);
    };
    const std::string kDirectory = kAppendDirectory + "working directory too long: /\n";
    const std::string kOption = kAppendDirectory + "parameter -workingDirectory too long\n";
    using Sizes = std::vector<std::pair<std::size_t, std::string>>;
    for (const auto &[size, report] : Sizes{{16363, kDirectory},
                                            {16364, kDirectory},
                                            {16365, kOption},
                                            {16382, kOption},
                                            {16383, ""}})
        expect_run(with_bytes(kNoPort, size).first, 255, kLineTooLong + report + kNoManager);

    ScriptedServer server({kSuccess});
    const auto [command, arguments] = with_bytes(server.port(), 16362);
    expect_request(server, command, arguments);
    EXPECT_EQ(server.received()[0].size(), 16384U);
}

TEST(CommandLine, WorksInDirectoriesOfUpTo255Characters)
{
    const test::TemporaryDirectory temporary;
    const std::string base = std::filesystem::canonical(temporary.path()) / std::string(100, 'd');
    const auto run_in_directory_of = [&base](std::size_t length) {
        const std::string path = base + "/" + std::string(length - base.size() - 1, 'e');
        std::filesystem::create_directories(path);
        return test::run({.arguments = {QUILLON}, .directory = path}).out;
    };
    EXPECT_EQ(run_in_directory_of(255), missing("n_classpath"));
    EXPECT_EQ(run_in_directory_of(256),
              kAppendDirectory + "cannot get the current working directory\n" + kNoManager);
}

TEST(CommandLine, ShowsWhatTheVerbosityAsksFor)
{
    const std::string arguments = request({"a"});
    const std::string local =
        "main: Java Parameters:\n(\n" + arguments.substr(0, arguments.size() - 1) + ")\n" +
        "QUILLON_socketConnect:Tried to connect with result 0 (errno: 0)\n" + test::kClosedReport;
    for (const auto &[more, out] : Cases{
             {{"a"}, test::kClosedReport},
             {{"a", "-n_verbosity", "0"}, ""},
             {{"a", "-n_verbosity", "1"}, test::kClosedReport},
             {{"a", "-n_verbosity", "2"}, test::kClosedReport},
             {{"a", "-n_verbosity", "3"}, local},
             {{"a", "-n_verbosity", "4"}, test::kClosedReport},
             {{"a", "-n_verbosity", "5"}, test::kClosedReport},
             {{"a", "-n_verbosity", "6"}, test::kClosedReport},
             {{"a", "-n_verbosity", "-1"}, test::kClosedReport},
             {{"a", "-n_verbosity", "3", "-n_verb", "0x3"}, ""},
         }) {
        ScriptedServer server({test::Script()});
        expect_run(launcher(QUILLON, server.port(), more), 255, out);
        EXPECT_EQ(server.received(), Arguments{arguments});
    }
}

TEST(CommandLine, GivesUpAfterTheConnectionTimeout)
{
    for (const std::string timeout : {"5", "20"}) {
        Command command = launcher(QUILLON, test::free_port(), {"-n_connectiontimeout", timeout});
        const Outcome outcome = test::run(command);
        EXPECT_EQ(outcome.status, 255);
        // What the child says may stand around it.
        EXPECT_NE(("\n" + outcome.out)
                      .find("\nmain:Timeout after " + timeout +
                            " ms when connecting with quillon (errno: 111, Connection refused). "
                            "Try increasing -n_connectiontimeout argument.\n"),
                  std::string::npos)
            << outcome.out;
        command.arguments.insert(command.arguments.end(), {"-n_verbosity", "0"});
        expect_run(command, 255, "");
    }
}

} // namespace
