// The launcher with a real Java VM and the example generator.
#include "tests/support/Servers.hpp"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::read_file;
using test::write_file;
using Strings = std::vector<std::string>;

class Generator : public testing::Test
{
protected:
    test::Command command(const Strings &options, const char *idle_ms = "20000")
    {
        test::Command command = {
            .arguments = {QUILLON, "-n_classpath", m_jar, "-n_wolkresource",
                          SOURCE_DIRECTORY "/examples/generator/resource", "-n_serverport",
                          std::to_string(m_port), "-n_servertimeout", idle_ms,
                          "-n_connectiontimeout", "60000"},
            .directory = m_directory.path(),
            // A VM names the options that it takes from the first two on standard error. The
            // sanitizers cannot read its heap and its locks.
            .environment = {{"JAVA_TOOL_OPTIONS", std::nullopt},
                            {"_JAVA_OPTIONS", std::nullopt},
                            {"ASAN_OPTIONS", "detect_leaks=0"},
                            {"TSAN_OPTIONS", "ignore_noninstrumented_modules=1"}}};
        command.arguments.insert(command.arguments.end(), options.begin(), options.end());
        return command;
    }

    [[nodiscard]] std::string path(const std::string &name) const
    {
        return m_directory.path() + "/" + name;
    }

    /** An input whose -verbose output is far longer than what pipes and sockets hold. */
    std::string write_large_input()
    {
        std::string idl;
        std::string out = "large.idl -> large.hpp (12000 enums)\n";
        for (int i = 0; i < 12000; ++i) {
            const std::string name = "NameOfRecordNumber" + std::to_string(i);
            idl.append("enum ").append(name).append("{A};\n");
            out.append("  enum ").append(name).append("\n");
        }
        write_file(path("large.idl"), idl);
        return out;
    }

    test::Servers m_servers;
    test::TemporaryDirectory m_directory;
    std::string m_jar = GENERATOR_JAR;
    int m_port = test::free_port();
};

TEST_F(Generator, ColdAndWarmRunsWriteTheSameCorrectHeaders)
{
    for (const char *name : {"shapes.idl", "orders.idl", "telemetry.idl"})
        fs::copy(fs::path(SOURCE_DIRECTORY "/examples/idl") / name, path(name));
    for (const std::string to : {"cold", "warm"}) {
        const Outcome outcome =
            test::run(command({"shapes.idl", "orders.idl", "telemetry.idl", "-d", to}));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "shapes.idl -> " + to +
                                   "/shapes.hpp (2 structs, 1 enum)\norders.idl -> " + to +
                                   "/orders.hpp (5 structs, 2 enums)\ntelemetry.idl -> " + to +
                                   "/telemetry.hpp (6 structs, 1 enum)\n");
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_EQ(m_servers.running().size(), 1U);
    EXPECT_EQ(test::run({.arguments = {"diff", "-r", path("cold"), path("warm")}}).status, 0);
    write_file(path("all.cpp"),
               "#include \"cold/shapes.hpp\"\n#include \"cold/orders.hpp\"\n"
               "#include \"cold/telemetry.hpp\"\n"
               "static_assert(static_cast<int>(Color::YELLOW) == 3);\n"
               "static_assert(sizeof(shop::Order::id) == 8);\n"
               "static_assert(sizeof(telemetry::geometry::Pose) == 12 * sizeof(double));\n");
    const Outcome compiler = test::run(
        {.arguments = {"c++", "-std=c++17", "-Wall", "-Werror", "-fsyntax-only", path("all.cpp")}});
    EXPECT_EQ(compiler.status, 0) << compiler.err;
}

TEST_F(Generator, WrongInputIsAFailureWithItsPlaceAndNoHeader)
{
    write_file(path("bad.idl"), "struct Point {\n    long x y;\n};\n");
    const Outcome outcome = test::run(command({"bad.idl"}, "1000"));
    EXPECT_EQ(outcome.status, 255);
    EXPECT_EQ(outcome.out, "bad.idl:2:12: expected ';', found 'y'\n");
    EXPECT_FALSE(fs::exists(path("bad.hpp")));
    EXPECT_EQ(m_servers.wait(), 0) << "it leaves when it has been idle";
}

bool holds_a_pipe(pid_t pid)
{
    std::error_code gone;
    for (const auto &file : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", gone))
        if (fs::read_symlink(file, gone).string().starts_with("pipe:"))
            return true;
    return false;
}

TEST_F(Generator, CapturedRunEndsWithTheLauncherNotWithTheServer)
{
    write_file(path("a.idl"), "struct A { long x; };");
    for (const char *script : {
             R"(x=$("$@"); echo "$? $x")",
             R"(x=$("$@" 2>&1); echo "$? $x")",
             R"(x=$("$@" 3>&1 9>&1); echo "$? $x")",
             R"("$@" | sed 's/^/0 /')",
         }) {
        m_port = test::free_port();
        test::Command shell = command({"a.idl"});
        const Strings wrapper = {"sh", "-c", script, "sh"};
        shell.arguments.insert(shell.arguments.begin(), wrapper.begin(), wrapper.end());
        const Outcome outcome = test::run(shell);
        EXPECT_EQ(outcome.out, "0 a.idl -> a.hpp (1 struct)\n") << script;
        EXPECT_EQ(outcome.err, "");
        const std::vector<pid_t> servers = m_servers.running();
        ASSERT_EQ(servers.size(), 1U) << script;
        EXPECT_TRUE(test::eventually([&] { return !holds_a_pipe(servers[0]); }));
        m_servers.kill_all();
    }
}

TEST_F(Generator, ServerOutlivesALauncherThatIsKilledInTheMiddleOfItsOutput)
{
    const std::string large = write_large_input();
    test::Command in_own_group = command({"-verbose", "large.idl"}, "3000");
    in_own_group.in_child = [] {
        std::signal(SIGINT, SIG_DFL); // background jobs are born with it ignored
        return setpgid(0, 0) == 0;
    };
    for (const int signal : {SIGKILL, SIGINT}) {
        test::Process launcher(in_own_group);
        launcher.wait_for_output("large.idl");
        kill(-launcher.pid(), signal); // as a terminal sends it
        const Outcome outcome = launcher.finish();
        EXPECT_EQ(outcome.status, 128 + signal);
        EXPECT_LT(outcome.out.size(), large.size());
        const std::vector<pid_t> servers = m_servers.running();
        EXPECT_EQ(servers.size(), 1U);
        EXPECT_EQ(test::run(in_own_group).out, large);
        EXPECT_EQ(m_servers.running(), servers);
        EXPECT_EQ(m_servers.wait(), 0) << "it leaves when it has been idle";
    }
}

TEST_F(Generator, ColdStartsAtTheSameTimeLeaveOneServer)
{
    Strings names;
    std::vector<std::unique_ptr<test::Process>> launchers;
    for (const char letter : std::string("abcdefgh")) {
        const std::string &name = names.emplace_back(1, letter);
        write_file(path(name + ".idl"), "struct " + name + " { long x; };");
        launchers.push_back(std::make_unique<test::Process>(command({name + ".idl"})));
    }
    for (const std::string &name : names) {
        const Outcome outcome = launchers[static_cast<std::size_t>(&name - names.data())]->finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, name + ".idl -> " + name + ".hpp (1 struct)\n");
        EXPECT_EQ(outcome.err, "");
        EXPECT_NE(read_file(path(name + ".hpp")).find("struct " + name), std::string::npos);
    }
    EXPECT_TRUE(test::eventually([] { return test::Servers::running().size() == 1; }));
}

TEST_F(Generator, InformationIsPrintedOnceByTheProcessItBelongsTo)
{
    m_jar = MINIMAL_JAR;
    // Until the fork one process writes; then both do, and their lines come in any order.
    std::string before = "main: Java Parameters:\n(\nPoint\n-workingDirectory\n" +
                         fs::canonical(m_directory.path()).string() + "\n\n)\n";
    for (int attempt = 0; attempt < 3; ++attempt)
        before += "QUILLON_socketConnect:Tried to connect with result -1 (errno: 111)\n";
    for (const Strings &home : {Strings{}, {"-n_wolkhome", "/opt/home"}}) {
        m_port = test::free_port();
        Strings options = {"-n_verbosity", "3", "Point"};
        options.insert(options.end(), home.begin(), home.end());
        const Outcome outcome = test::run(command(options, "1000"));
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out.substr(0, before.size()), before);
        EXPECT_EQ(test::count(outcome.out, "Java Parameters"), 1U);
        std::size_t at = before.size();
        for (const std::string &text : Strings{
                 "main:Starting code generator\n",
                 "QUILLON_createJVM: Loading JVM:\n\tclasspath: " + m_jar +
                     "\n\twolk_resource_dir: " SOURCE_DIRECTORY
                     "/examples/generator/resource\n\twolk_home_dir: " +
                     (home.empty() ? "" : home[1]) + "\n",
                 "QUILLON_invokeMainClass: Running Java QUILLON:\n\tserverPort: " +
                     std::to_string(m_port) + "\n\tserverTimeout: 1000\n",
                 "Point.java written\n",
                 "QUILLON_readOutput:The code generation from quillon returned 1\n",
             }) {
            EXPECT_EQ(test::count(outcome.out, text), 1U) << outcome.out;
            EXPECT_GE(outcome.out.find(text), at) << text;
            at = outcome.out.find(text);
        }
        EXPECT_EQ(m_servers.wait(), 0) << "it leaves when it has been idle";
    }
}

TEST_F(Generator, MinimalServerKeepsTheProtocol)
{
    m_jar = MINIMAL_JAR;
    test::Process point(command({"Point"}));
    test::Process line(command({"Line"}));
    const std::pair<const char *, Outcome> cold[] = {{"Point", point.finish()},
                                                     {"Line", line.finish()}};
    for (const auto &[name, outcome] : cold) {
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, name + std::string(".java written\n"));
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(read_file(path(name) + ".java"), "public class " + std::string(name) + " {\n}\n");
    }
    EXPECT_TRUE(test::eventually([] { return test::Servers::running().size() == 1; }));
    const std::vector<pid_t> servers = m_servers.running();
    EXPECT_EQ(test::run(command({"Point"})).out, "Point.java written\n");
    const Outcome wrong = test::run(command({"Point", ""}));
    EXPECT_EQ(wrong.status, 255);
    EXPECT_NE(wrong.out.find("one name is expected, not [Point, ]\n"), std::string::npos);
    EXPECT_EQ(m_servers.running(), servers);

    m_servers.kill_all();
    m_port = test::free_port();
    const Outcome cut = test::run(command({std::string(9000, '-')}, "1000"));
    EXPECT_EQ(cut.status, 255);
    EXPECT_EQ(cut.out.size(), 2701U) << "no more than fits into one write";
    EXPECT_EQ(m_servers.wait(), 0) << "it leaves when it has been idle";
}

} // namespace
