// The launcher with a Java VM that only writes down what it is asked to do.
#include "tests/support/Process.hpp"
#include "tests/support/Servers.hpp"

#include <algorithm>
#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using test::read_file;

using Strings = std::vector<std::string>;

/** What became of a server that did not wait for requests. */
struct Hosted
{
    std::string out;
    int status;
    std::string calls;
};

std::size_t count(const std::string &text, const std::string &part)
{
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

void plant(const fs::path &library)
{
    fs::create_directories(library.parent_path());
    fs::create_symlink(STUB_JVM, library);
}

class JvmStub : public testing::Test
{
protected:
    test::Command command(const std::string &mode, const Strings &options = {})
    {
        test::Command command = {
            .arguments = {QUILLON, "-n_serverport", std::to_string(m_port), "-n_connectiontimeout",
                          "60000", "-n_classpath", "generator.jar", "-n_wolkresource", "resource"},
            .environment = {{"LD_LIBRARY_PATH", fs::path(STUB_JVM).parent_path()},
                            {"STUB_JVM_MODE", mode},
                            {"STUB_JVM_RECORD", m_record}}};
        command.arguments.insert(command.arguments.end(), options.begin(), options.end());
        return command;
    }

    /** The launcher is stopped only when all that the server had to say is in the pipe. */
    Hosted host(const test::Command &command)
    {
        fs::remove(m_record);
        test::Process launcher(command);
        test::wait_for_ended_child(launcher.pid());
        kill(launcher.pid(), SIGKILL);
        const std::string out = launcher.finish().out;
        return {out, m_servers.wait(), read_file(m_record)};
    }

    /** The library that the launcher took. */
    std::string library(const test::Command &command)
    {
        const std::string first = host(command).calls.substr(std::string("library ").size());
        return first.substr(0, first.find('\n'));
    }

    test::Servers m_servers;
    test::TemporaryDirectory m_directory;
    std::string m_record = m_directory.path() + "/record";
    int m_port = test::free_port();
};

constexpr char kMainClassCalls[] = "FindClass com/zov/wolk/wolkgen/Main\n"
                                   "GetStaticMethodID com/zov/wolk/wolkgen/Main main "
                                   "([Ljava/lang/String;)V\n"
                                   "FindClass java/lang/String\n"
                                   "NewObjectArray 5 java/lang/String null\n";

TEST_F(JvmStub, MainRunsWithTheseCallsAndNoOthers)
{
    struct Case
    {
        Strings options;
        std::string home;
        std::string timeout;
    };
    for (const Case &c :
         {Case{{"-n_wolkhome", "/opt/home", "-n_servertimeout", "1500"}, "/opt/home", "1500"},
          Case{{}, "\"\"", "20000"}}) {
        std::string expected =
            "library " STUB_JVM "\nJNI_CreateJavaVM 0x10002, 3 options, ignoreUnrecognized 0\n"
            "option -Djava.class.path=generator.jar\noption -DWOLK_RESOURCE_DIR=resource\n"
            "option -DWOLKHOME=" +
            c.home + "\n" + kMainClassCalls;
        const Strings strings = {"-server", "-serverPort", std::to_string(m_port), "-serverTimeout",
                                 c.timeout};
        for (const std::string &string : strings)
            expected += "NewStringUTF " + string + "\n";
        for (std::size_t i = 0; i < strings.size(); ++i)
            expected +=
                "SetObjectArrayElement array " + std::to_string(i) + " " + strings[i] + "\n";
        expected += "CallStaticVoidMethod com/zov/wolk/wolkgen/Main main array\n";
        const Hosted hosted = host(command("", c.options));
        EXPECT_EQ(hosted.calls, expected);
        EXPECT_EQ(hosted.out, "");
        EXPECT_EQ(hosted.status, 0);
    }
}

TEST_F(JvmStub, OptionsOfTheVmFitOrAreTooLong)
{
    struct Case
    {
        const char *option;
        const char *property;
        std::size_t longest;
        const char *complaint;
    };
    for (const Case &c :
         {Case{"-n_classpath", "-Djava.class.path=", 237, "classpath too long"},
          Case{"-n_wolkresource", "-DWOLK_RESOURCE_DIR=", 235, "wolkResourceDir too long"},
          Case{"-n_wolkhome", "-DWOLKHOME=", 244, "wolkHomeDir too long"}}) {
        const std::string fits(c.longest, 'x');
        Hosted hosted = host(command("", {c.option, fits}));
        EXPECT_EQ(count(hosted.calls, "option " + (c.property + fits) + "\n"), 1U) << c.option;
        EXPECT_EQ(hosted.status, 0);
        hosted = host(command("", {c.option, fits + "x"}));
        EXPECT_EQ(hosted.out, "QUILLON_createJVM:" + std::string(c.complaint) +
                                  "\nQUILLON_startCodeGenerator:error creating JVM\n"
                                  "main:error running code generator\n");
        EXPECT_EQ(hosted.calls, "");
        EXPECT_EQ(hosted.status, 255);
    }
}

TEST_F(JvmStub, WhatTheVmAnswersDecides)
{
    struct Case
    {
        const char *mode;
        const char *verbosity;
        const char *out;
        int status;
        const char *last_call;
    };
    constexpr char kNoEnvironment[] = "QUILLON_createJVM:error creating JVM\n"
                                      "QUILLON_startCodeGenerator:error creating JVM\n"
                                      "main:error running code generator\n";
    constexpr char kNoClass[] = "QUILLON_invokeMainClass:error loading Main class\n"
                                "QUILLON_startCodeGenerator:error invoking Main class\n"
                                "main:error running code generator\n";
    for (const Case &c :
         {Case{"no-env", "1", kNoEnvironment, 255, "option -DWOLKHOME=\"\"\n"},
          Case{"no-env", "0", "", 255, "option -DWOLKHOME=\"\"\n"},
          Case{"no-class", "1", kNoClass, 255, "FindClass com/zov/wolk/wolkgen/Main\n"},
          Case{"no-method", "1", "", 0,
               "CallStaticVoidMethod com/zov/wolk/wolkgen/Main null array\n"},
          Case{"env-with-error", "1", "", 0,
               "CallStaticVoidMethod com/zov/wolk/wolkgen/Main main array\n"}}) {
        const Hosted hosted = host(command(c.mode, {"-n_verbosity", c.verbosity}));
        EXPECT_EQ(hosted.out, c.out) << c.mode;
        EXPECT_EQ(hosted.status, c.status) << c.mode;
        EXPECT_TRUE(hosted.calls.ends_with(c.last_call)) << c.mode << ":\n" << hosted.calls;
    }
}

TEST_F(JvmStub, PortIsPassedAsTypedAndConnectedToModulo65536)
{
    const std::string port = std::to_string(65536 + m_port);
    // What main is given is all that the stub listens by: it takes the number modulo 65536 too.
    const test::Outcome outcome = test::run(command("server", {"-n_serverport", port}));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "served\n");
    EXPECT_EQ(m_servers.wait(), 0);
    EXPECT_EQ(m_servers.wait(), -1) << "one process was left";
    EXPECT_EQ(count(read_file(m_record), "SetObjectArrayElement array 2 " + port + "\n"), 1U);
}

TEST_F(JvmStub, LauncherGivesUpOnAServerThatNeverListens)
{
    const test::Outcome outcome = test::run(command("", {"-n_connectiontimeout", "100"}));
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.out, "main:Timeout after 100 ms when connecting with quillon (errno: 111, "
                           "Connection refused). Try increasing -n_connectiontimeout argument.\n");
    EXPECT_EQ(m_servers.wait(), 0);
}

TEST_F(JvmStub, InformationIsPrintedOnceByTheProcessItBelongsTo)
{
    const test::Outcome outcome =
        test::run(command("server-twice", {"-n_verbosity", "3", "-n_wolkhome", "home",
                                           "-n_servertimeout", "7", "a.idl"}));
    EXPECT_EQ(outcome.status, 0);
    // Until the fork one process writes; then both do, and their lines come in any order.
    std::string before = "main: Java Parameters:\n(\na.idl\n-workingDirectory\n" +
                         fs::current_path().string() + "\n\n)\n";
    for (int attempt = 0; attempt < 3; ++attempt)
        before += "QUILLON_socketConnect:Tried to connect with result -1 (errno: 111)\n";
    EXPECT_EQ(outcome.out.substr(0, before.size()), before);
    EXPECT_EQ(count(outcome.out, "Java Parameters"), 1U);
    std::size_t at = before.size();
    for (const std::string &text : Strings{
             "main:Starting code generator\n",
             "QUILLON_createJVM: Loading JVM:\n\tclasspath: generator.jar\n"
             "\twolk_resource_dir: resource\n\twolk_home_dir: home\n",
             "QUILLON_invokeMainClass: Running Java QUILLON:\n\tserverPort: " +
                 std::to_string(m_port) + "\n\tserverTimeout: 7\n",
         }) {
        EXPECT_EQ(count(outcome.out, text), 1U) << outcome.out;
        EXPECT_GE(outcome.out.find(text), at) << text;
        at = outcome.out.find(text);
    }
    EXPECT_EQ(count(outcome.out, "served\n"), 1U);
    EXPECT_EQ(count(outcome.out, "The code generation from quillon returned 1\n"), 1U);
}

TEST_F(JvmStub, AbsentHomeIsReportedAsEmpty)
{
    EXPECT_EQ(count(host(command("", {"-n_verbosity", "3"})).out, "\twolk_home_dir: \n"), 1U);
}

TEST_F(JvmStub, PlacesAreSearchedInOrder)
{
    const std::string root = m_directory.path();
    for (const char *library : {"/preloaded.so", "/named/libjvm.so", "/home/lib/server/libjvm.so",
                                "/installed/lib/server/libjvm.so"})
        plant(root + library);
    // The first java is a script beside no VM, the second is the usual link into a home.
    for (const char *directory : {"/scripts", "/links", "/installed/bin"})
        fs::create_directories(root + directory);
    test::write_file(root + "/scripts/java", "");
    test::write_file(root + "/installed/bin/java", "");
    fs::create_symlink("../installed/bin/java", root + "/links/java");

    struct Place
    {
        const char *variable;
        std::string value;
        const char *library;
    };
    const std::vector<Place> places = {
        {"LD_PRELOAD", root + "/preloaded.so", "/preloaded.so"},
        {"LD_LIBRARY_PATH", root + "/named", "/named/libjvm.so"},
        {"JAVA_HOME", root + "/home", "/home/lib/server/libjvm.so"},
        {"PATH", "/nonexistent::" + root + "/scripts:" + root + "/links",
         "/installed/lib/server/libjvm.so"},
    };
    test::Command searching = command("");
    searching.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0"; // it comes after the stub
    for (const Place &place : places)
        searching.environment[place.variable] = place.value;
    for (const Place &place : places) {
        EXPECT_EQ(library(searching), root + place.library) << place.variable;
        searching.environment[place.variable] = std::nullopt;
        if (place.variable == std::string("LD_LIBRARY_PATH") && dlopen("libjvm.so", RTLD_LAZY))
            GTEST_SKIP() << "this machine has a libjvm.so that is found by its bare name";
    }
}

TEST_F(JvmStub, HomesOfAllAgesAreKnownAndBrokenLibrariesPassedOver)
{
    if (dlopen("libjvm.so", RTLD_LAZY) != nullptr)
        GTEST_SKIP() << "this machine has a libjvm.so that is found by its bare name";
    const Strings libraries = {"/lib/server/libjvm.so",
                               "/jre/lib/server/libjvm.so",
                               "/jre/lib/amd64/server/libjvm.so",
                               "/lib/amd64/server/libjvm.so",
                               "/jre/lib/aarch64/server/libjvm.so",
                               "/lib/aarch64/server/libjvm.so"};
    const std::string root = m_directory.path();
    for (const std::string &library : libraries)
        plant(root + library);
    test::Command searching = command("");
    searching.environment["LD_LIBRARY_PATH"] = std::nullopt;
    searching.environment["JAVA_HOME"] = root;
    for (const std::string &path : libraries) {
        EXPECT_EQ(library(searching), root + path);
        fs::remove(root + path);
        test::write_file(root + path, "not a library");
    }
}

TEST_F(JvmStub, ServerHoldsNothingOfItsCaller)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    test::Command serving = command("server-twice");
    serving.in_child = [&ends] {
        return dup2(ends[0], 0) == 0 && dup2(ends[1], 3) == 3 && dup2(ends[1], 9) == 9;
    };
    test::Process launcher(serving);
    close(ends[1]);
    const test::Outcome outcome = launcher.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "served\n");
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0) << "the pipe is at its end";
    close(ends[0]);

    const std::vector<pid_t> servers = m_servers.running();
    ASSERT_EQ(servers.size(), 1U) << "and still the server runs";
    EXPECT_EQ(getsid(servers[0]), servers[0]);
    const auto targets = [&servers] {
        Strings found;
        for (const auto &entry :
             fs::directory_iterator("/proc/" + std::to_string(servers[0]) + "/fd")) {
            std::error_code gone;
            const std::string target = fs::read_symlink(entry.path(), gone);
            found.push_back(target.substr(0, target.find(':')));
        }
        std::sort(found.begin(), found.end());
        return found;
    };
    // It lets go of the pipe to its launcher a moment after it let go of the output.
    EXPECT_TRUE(test::eventually([&targets] {
        return targets() == Strings{"/dev/null", "/dev/null", "/dev/null", "socket"};
    })) << testing::PrintToString(targets());
    EXPECT_EQ(test::run(serving).out, "served\n") << "the second request ends it";
    EXPECT_EQ(m_servers.wait(), 0);
    EXPECT_EQ(m_servers.wait(), -1);
}

} // namespace
