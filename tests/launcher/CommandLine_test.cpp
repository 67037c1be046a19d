#include "tests/support/ScriptedServer.hpp"

#include <gtest/gtest.h>
#include <utility>

namespace {

using test::Command;
using test::kSuccessLine;
using test::launcher;
using test::request;
using test::ScriptedServer;
using Arguments = std::vector<std::string>;
/** Arguments, and what becomes of them. */
using Cases = std::vector<std::pair<Arguments, std::string>>;

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

/** What a run says that reads no number for an option. */
std::string no_number(const std::string &option)
{
    return "QUILLONParameterManager_getParameter:bad command-line parameter '" + option + "'\n" +
           "main:error getting parameter\n";
}

void expect_run(const Command &command, int status, const std::string &out)
{
    const test::Outcome outcome = test::run(command);
    SCOPED_TRACE(testing::PrintToString(command.arguments).substr(0, 1000));
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
}

TEST(CommandLine, AnswersTheFirstArgumentThatBeginsLikeAQuestion)
{
    const Cases cases = {{{"-n_help"}, kHelp},
                         {{"-N_HE"}, kHelp},
                         {{"-n_"}, kHelp},
                         {{"-"}, kHelp},
                         {{"-N_V"}, kVersion},
                         {{"-n_v", "-n_h"}, kVersion},
                         {{"", "foo", "-n_servert", "-n_version", "-"}, kVersion},
                         {{"-n_classpath", "-n_help"}, kHelp}}; // it is no value
    for (const auto &[arguments, answer] : cases) {
        Arguments all = {QUILLON};
        all.insert(all.end(), arguments.begin(), arguments.end());
        expect_run({.arguments = all}, 0, answer);
    }
    expect_run({.arguments = {QUILLON}}, 255,
               "QUILLONParameterManager_initialize:bad command-line parameter 'n_classpath'\n"
               "QUILLONParameterManager_new:!init parameter manager\n"
               "main:error creating parameter manager\n");
}

TEST(CommandLine, ReportsAnOptionThatIsNoNumberAsTheVerbosityAllows)
{
    const Cases cases = {{{"-n_servertimeout", ""}, no_number("n_servertimeout")},
                         {{"-n_connectiontimeout", "+"}, no_number("n_connectiontimeout")},
                         {{"-n_s", "abc", "-n_servert", "abc"}, no_number("n_serverport")},
                         {{"-n_s", "abc", "-n_verb", "x0"}, no_number("n_verbosity")},
                         {{"-n_serverport", "abc", "-n_verbosity", "0"}, ""}};
    for (const auto &[more, out] : cases)
        expect_run(launcher(QUILLON, kNoPort, more), 255, out);
}

TEST(CommandLine, PassesEverythingElseOn)
{
    const Arguments others = {"-idl", "a b", "",   "K\xC3\xA4se\xFF", "n_classpath",  "line\nfeed",
                              "-d",   "-d",  "-d", "--n_serverport",  "-n_classpaths"};
    const std::vector<std::pair<Arguments, Arguments>> cases = {
        {{}, {}},
        {others, others},
        {{"1", "-n_jprocess", "2", "-n_resolvelo", "3", "-n_J", "xn_h", "xn_v"}, {"1", "2", "3"}},
        {{"5", "-n_wolkhome", "6", "-n_servertimeout", "7", "-N_CON", "8"}, {"5"}},
        {{"xn_classpath", "9", "=N_W", "10", "-n_verb", "-1"}, {}},
    };
    for (const auto &[more, passed_on] : cases) {
        ScriptedServer server({kSuccessLine});
        expect_run(launcher(QUILLON, server.port(), more), 0, "");
        EXPECT_EQ(server.received(), request(passed_on));
    }
}

TEST(CommandLine, TakesTheLastPortAndItsLowestSixteenBits)
{
    for (const int offset : {0, 65536, -65536}) {
        ScriptedServer server({kSuccessLine});
        const std::string value = " " + std::to_string(server.port() + offset) + ".9ab";
        expect_run(launcher(QUILLON, kNoPort, {"-n_s", value}), 0, "");
        EXPECT_EQ(server.received(), request({}));
    }
}

TEST(CommandLine, ShowsWhatTheVerbosityAsksFor)
{
    const std::string kRequest = request({"a"});
    const std::string kLocal =
        "main: Java Parameters:\n(\n" + kRequest.substr(0, kRequest.size() - 1) + ")\n" +
        "QUILLON_socketConnect:Tried to connect with result 0 (errno: 0)\n" + test::kClosedReport;
    const std::string kExceptions = test::kClosedReport;
    const std::vector<std::pair<const char *, std::string>> cases = {
        {"0", ""},          {"1", kExceptions}, {"2", kExceptions},  {"3", kLocal},
        {"4", kExceptions}, {"6", kExceptions}, {"-1", kExceptions}, {"0x3", ""}};
    for (const auto &[verbosity, out] : cases) {
        ScriptedServer server({});
        expect_run(launcher(QUILLON, server.port(), {"a", "-n_verbosity", verbosity}), 255, out);
        EXPECT_EQ(server.received(), kRequest);
    }
}

TEST(CommandLine, GivesUpAfterAnAttemptForEachTenMilliseconds)
{
    const std::vector<std::pair<std::string, std::size_t>> cases = {{"9", 0}, {"10", 1}, {"59", 5}};
    for (const auto &[timeout, attempts] : cases) {
        const test::Outcome outcome = test::run(launcher(
            QUILLON, test::free_port(), {"-n_connectiontimeout", timeout, "-n_verbosity", "3"}));
        EXPECT_EQ(outcome.status, 255);
        EXPECT_EQ(test::count(outcome.out, "\nmain:Timeout after " + timeout +
                                               " ms when connecting with quillon (errno: 111, "
                                               "Connection refused). Try increasing "
                                               "-n_connectiontimeout argument.\n"),
                  1U)
            << outcome.out;
        // There are three before a server is started.
        EXPECT_EQ(test::count(outcome.out, "\nQUILLON_socketConnect:Tried to connect with result "
                                           "-1 (errno: 111)\n"),
                  3 + attempts);
    }
}

} // namespace
