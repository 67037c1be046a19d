// The launcher with a Java VM that only writes down what it is asked to do.
#include "tests/support/Servers.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <tuple>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using test::count;
using test::Outcome;
using test::read_file;
using Strings = std::vector<std::string>;

const std::string kNoVm = "QUILLON_startCodeGenerator:error creating JVM\n"
                          "main:error running code generator\n";

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

    /** What became of a server that does not wait for requests; its calls are in m_calls. */
    Outcome host(const test::Command &command)
    {
        fs::remove(m_record);
        Outcome outcome = m_servers.host(command);
        m_calls = read_file(m_record);
        return outcome;
    }

    test::Servers m_servers;
    test::TemporaryDirectory m_directory;
    std::string m_record = m_directory.path() + "/record";
    std::string m_calls;
    int m_port = test::free_port();
};

TEST_F(JvmStub, MainRunsWithTheseCallsAndNoOthers)
{
    const std::string port = std::to_string(m_port);
    const std::string large_port = std::to_string(m_port + 65536);
    // The options; the home, the port and the timeout that the VM gets.
    const std::tuple<Strings, std::string, std::string, std::string> kCases[] = {
        {{"-n_wolkhome", "/opt/home", "-n_servertimeout", "1500"}, "/opt/home", port, "1500"},
        {{"-n_serverport", large_port}, "\"\"", large_port, "20000"}};
    for (const auto &[options, home, vm_port, timeout] : kCases) {
        std::string expected =
            "library " STUB_JVM "\nJNI_CreateJavaVM 0x10002, 3 options, ignoreUnrecognized 0\n"
            "option -Djava.class.path=generator.jar\noption -DWOLK_RESOURCE_DIR=resource\n"
            "option -DWOLKHOME=" +
            home +
            "\nFindClass com/zov/wolk/wolkgen/Main\n"
            "GetStaticMethodID com/zov/wolk/wolkgen/Main main ([Ljava/lang/String;)V\n"
            "FindClass java/lang/String\nNewObjectArray 5 java/lang/String null\n";
        const Strings strings = {"-server", "-serverPort", vm_port, "-serverTimeout", timeout};
        for (const std::string &string : strings)
            expected += "NewStringUTF " + string + "\n";
        for (std::size_t i = 0; i < strings.size(); ++i)
            expected +=
                "SetObjectArrayElement array " + std::to_string(i) + " " + strings[i] + "\n";
        expected += "CallStaticVoidMethod com/zov/wolk/wolkgen/Main main array\n";
        const Outcome hosted = host(command("", options));
        EXPECT_EQ(m_calls, expected);
        EXPECT_EQ(hosted.out, "");
        EXPECT_EQ(hosted.status, 0);
    }
}

TEST_F(JvmStub, OptionsOfTheVmFitOrAreTooLong)
{
    const std::tuple<const char *, std::string, const char *> kCases[] = {
        {"-n_classpath", "-Djava.class.path=", "classpath too long"},
        {"-n_wolkresource", "-DWOLK_RESOURCE_DIR=", "wolkResourceDir too long"},
        {"-n_wolkhome", "-DWOLKHOME=", "wolkHomeDir too long"}};
    for (const auto &[option, property, complaint] : kCases) {
        const std::string longest(255 - property.size(), 'x');
        EXPECT_EQ(host(command("", {option, longest})).status, 0);
        EXPECT_EQ(count(m_calls, "option " + property + longest + "\n"), 1U) << option;
        const Outcome hosted = host(command("", {option, longest + "x"}));
        EXPECT_EQ(hosted.out, std::string("QUILLON_createJVM:") + complaint + "\n" + kNoVm);
        EXPECT_EQ(m_calls, "");
        EXPECT_EQ(hosted.status, 255);
        EXPECT_EQ(host(command("", {option, longest + "x", "-n_verbosity", "0"})).out, "");
    }
}

TEST_F(JvmStub, WhatTheVmAnswersDecides)
{
    const std::string kNoEnvironment = "QUILLON_createJVM:error creating JVM\n" + kNoVm;
    const std::string kNoClass = "QUILLON_invokeMainClass:error loading Main class\n"
                                 "QUILLON_startCodeGenerator:error invoking Main class\n"
                                 "main:error running code generator\n";
    // The mode and the verbosity; the output, the status and the last call.
    const std::tuple<const char *, const char *, std::string, int, const char *> kCases[] = {
        {"no-env", "1", kNoEnvironment, 255, "option -DWOLKHOME=\"\"\n"},
        {"no-env", "0", "", 255, "option -DWOLKHOME=\"\"\n"},
        {"no-class", "1", kNoClass, 255, "FindClass com/zov/wolk/wolkgen/Main\n"},
        {"no-class", "0", "", 255, "FindClass com/zov/wolk/wolkgen/Main\n"},
        {"no-method", "1", "", 0, "CallStaticVoidMethod com/zov/wolk/wolkgen/Main null array\n"},
        {"env-with-error", "1", "", 0,
         "CallStaticVoidMethod com/zov/wolk/wolkgen/Main main array\n"},
    };
    for (const auto &[mode, verbosity, out, status, last_call] : kCases) {
        const Outcome hosted = host(command(mode, {"-n_verbosity", verbosity}));
        EXPECT_EQ(hosted.out, out) << mode;
        EXPECT_EQ(hosted.status, status) << mode;
        EXPECT_TRUE(m_calls.ends_with(last_call)) << mode << ":\n" << m_calls;
    }
}

TEST_F(JvmStub, InformationIsPrintedOnceByTheProcessItBelongsTo)
{
    // Until the fork one process writes; then both do, and their lines come in any order.
    std::string before = "main: Java Parameters:\n(\na.idl\n-workingDirectory\n" +
                         fs::current_path().string() + "\n\n)\n";
    for (int attempt = 0; attempt < 3; ++attempt)
        before += "QUILLON_socketConnect:Tried to connect with result -1 (errno: 111)\n";
    for (const auto &[home, options] :
         {std::pair<std::string, Strings>("", {}), {"/opt/home", {"-n_wolkhome", "/opt/home"}}}) {
        m_port = test::free_port();
        test::Command serving = command("server", {"-n_verbosity", "3", "a.idl"});
        serving.arguments.insert(serving.arguments.end(), options.begin(), options.end());
        const Outcome outcome = test::run(serving);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out.substr(0, before.size()), before);
        EXPECT_EQ(count(outcome.out, "Java Parameters"), 1U);
        std::size_t at = before.size();
        for (const std::string &text : Strings{
                 "main:Starting code generator\n",
                 "QUILLON_createJVM: Loading JVM:\n\tclasspath: generator.jar\n"
                 "\twolk_resource_dir: resource\n\twolk_home_dir: " +
                     home + "\n",
                 "QUILLON_invokeMainClass: Running Java QUILLON:\n\tserverPort: " +
                     std::to_string(m_port) + "\n\tserverTimeout: 20000\n",
                 "served\n",
                 "QUILLON_readOutput:The code generation from quillon returned 1\n",
             }) {
            EXPECT_EQ(count(outcome.out, text), 1U) << outcome.out;
            EXPECT_GE(outcome.out.find(text), at) << text;
            at = outcome.out.find(text);
        }
        EXPECT_EQ(test::run(command("server")).out, "served\n") << "the second request ends it";
        EXPECT_EQ(m_servers.wait(), 0);
    }
}

TEST_F(JvmStub, PlacesAreSearchedInOrderAndBrokenLibrariesPassedOver)
{
    if (dlopen("libjvm.so", RTLD_LAZY) != nullptr)
        GTEST_SKIP() << "this machine has a libjvm.so that is found by its bare name";
    const Strings libraries = {"/preloaded.so",
                               "/named/libjvm.so",
                               "/home/lib/server/libjvm.so",
                               "/home/jre/lib/server/libjvm.so",
                               "/home/jre/lib/amd64/server/libjvm.so",
                               "/home/lib/amd64/server/libjvm.so",
                               "/home/jre/lib/aarch64/server/libjvm.so",
                               "/home/lib/aarch64/server/libjvm.so",
                               "/installed/lib/server/libjvm.so"};
    const std::string root = m_directory.path();
    for (const std::string &library : libraries) {
        fs::create_directories(fs::path(root + library).parent_path());
        fs::create_symlink(STUB_JVM, root + library);
    }
    // The first java is a script beside no VM, the second is the usual link into a home.
    for (const char *directory : {"/scripts", "/links", "/installed/bin"})
        fs::create_directories(root + directory);
    test::write_file(root + "/scripts/java", "");
    test::write_file(root + "/installed/bin/java", "");
    fs::create_symlink("../installed/bin/java", root + "/links/java");

    test::Command searching = command("");
    searching.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0"; // it comes after the stub
    searching.environment["LD_PRELOAD"] = root + "/preloaded.so";
    searching.environment["LD_LIBRARY_PATH"] = root + "/named";
    searching.environment["JAVA_HOME"] = root + "/home";
    searching.environment["PATH"] = "/nonexistent::" + root + "/scripts:" + root + "/links";
    for (const std::string &library : libraries) {
        EXPECT_EQ(host(searching).status, 0);
        EXPECT_EQ(m_calls.substr(0, m_calls.find('\n')), "library " + root + library);
        fs::remove(root + library);
        test::write_file(root + library, "not a library");
    }
}

TEST_F(JvmStub, ServerHoldsNothingOfItsCaller)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    test::Command serving = command("server");
    serving.in_child = [&ends] {
        return dup2(ends[0], 0) == 0 && dup2(ends[1], 3) == 3 && dup2(ends[1], 9) == 9;
    };
    test::Process launcher(serving);
    close(ends[1]);
    const Outcome outcome = launcher.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "served\n");
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0) << "the pipe is at its end";
    close(ends[0]);

    const std::vector<pid_t> servers = m_servers.running();
    ASSERT_EQ(servers.size(), 1U) << "and still the server runs";
    EXPECT_EQ(getsid(servers[0]), servers[0]);
    // It lets go of the pipe to its launcher a moment after it let go of the output.
    const test::Command targets = {.arguments = {"sh", "-c",
                                                 "readlink /proc/$0/fd/* | sed 's/:.*//' | sort",
                                                 std::to_string(servers[0])}};
    EXPECT_TRUE(test::eventually([&targets] {
        return test::run(targets).out == "/dev/null\n/dev/null\n/dev/null\nsocket\n";
    })) << test::run(targets).out;
    EXPECT_EQ(test::run(serving).out, "served\n") << "the second request ends it";
    EXPECT_EQ(m_servers.wait(), 0);
    EXPECT_EQ(m_servers.wait(), -1);
}

} // namespace
