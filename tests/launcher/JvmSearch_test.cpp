// The launcher on a machine without Java, or with what a test installs: in a mount namespace of its
// own a directory of the test stands in the usual places.
#include "tests/support/Process.hpp"
#include "tests/support/Servers.hpp"

#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

class JvmSearch : public testing::Test
{
protected:
    void SetUp() override
    {
        if (dlopen("libjvm.so", RTLD_LAZY) != nullptr)
            GTEST_SKIP() << "this machine has a libjvm.so that is found by its bare name";
        test::Command trial = {.arguments = {"true"},
                               .in_child = [this] { return cover_usual_places(); }};
        if (test::run(trial).status != 0)
            GTEST_SKIP() << "this machine allows no mount namespaces";
    }

    [[nodiscard]] bool cover(const char *place) const
    {
        return !fs::exists(place) ||
               mount(m_installed.path().c_str(), place, nullptr, MS_BIND, nullptr) == 0;
    }

    [[nodiscard]] bool cover_usual_places() const
    {
        return unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               cover("/usr/lib/jvm") && cover("/opt/java");
    }

    test::Command command(const Strings &options,
                          const std::optional<std::string> &java_home = std::nullopt)
    {
        test::Command command = {.arguments = {QUILLON},
                                 .environment = {{"PATH", "/nonexistent"},
                                                 {"LD_LIBRARY_PATH", std::nullopt},
                                                 {"JAVA_HOME", java_home},
                                                 {"STUB_JVM_RECORD", m_record}},
                                 .in_child = [this] { return cover_usual_places(); }};
        command.arguments.insert(command.arguments.end(), options.begin(), options.end());
        return command;
    }

    /** What the server says, which is complete when it has ended; then the launcher is stopped. */
    std::string cold_run(int status, const std::optional<std::string> &java_home = std::nullopt)
    {
        Strings options = m_options;
        options.insert(options.end(), {"-n_connectiontimeout", "60000"});
        test::Process launcher(command(options, java_home));
        test::wait_for_ended_child(launcher.pid());
        kill(launcher.pid(), SIGKILL);
        const std::string out = launcher.finish().out;
        EXPECT_EQ(m_servers.wait(), status);
        return out;
    }

    test::Servers m_servers;
    test::TemporaryDirectory m_installed;
    test::TemporaryDirectory m_directory;
    std::string m_record = m_directory.path() + "/record";
    Strings m_options = {"-n_classpath",    "c",
                         "-n_wolkresource", "r",
                         "-n_serverport",   std::to_string(test::free_port())};
};

TEST_F(JvmSearch, HelpAndVersionNeedNoJava)
{
    for (const char *option : {"-n_help", "-n_version"}) {
        const test::Outcome outcome = test::run(command({option}));
        EXPECT_EQ(outcome.status, 0) << option;
        EXPECT_TRUE(outcome.out.starts_with("QUILLON v5.3")) << outcome.out;
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(JvmSearch, PlacesSearchedAreNamedOnOneLine)
{
    struct Case
    {
        std::optional<std::string> java_home;
        const char *as_told;
    };
    for (const Case &c : {Case{std::nullopt, "JAVA_HOME (not set)"},
                          Case{"/no/such/home", "JAVA_HOME (/no/such/home)"}}) {
        const std::string out = cold_run(255, c.java_home);
        const std::string places = out.substr(0, out.find('\n'));
        EXPECT_TRUE(places.starts_with("QUILLON_createJVM:no Java VM found, set JAVA_HOME "));
        for (const char *place : {"libjvm.so", c.as_told, "java on PATH",
                                  "/usr/lib/jvm/default-java", "/usr/lib/jvm/*", "/opt/java/*"})
            EXPECT_NE(places.find(place), std::string::npos) << place << " in " << places;
        EXPECT_EQ(out.substr(places.size()), "\nQUILLON_createJVM:error creating JVM\n"
                                             "QUILLON_startCodeGenerator:error creating JVM\n"
                                             "main:error running code generator\n");
    }
}

TEST_F(JvmSearch, LauncherFails)
{
    m_options.insert(m_options.end(), {"-n_connectiontimeout", "100"});
    EXPECT_EQ(test::run(command(m_options)).status, 255);
    EXPECT_EQ(m_servers.wait(), 255);
}

TEST_F(JvmSearch, LibraryThatDoesNotLoadIsNamedWithTheReason)
{
    const std::string &home = m_directory.path();
    const std::string library = home + "/lib/server/libjvm.so";
    fs::create_directories(home + "/lib/server");
    test::write_file(library, "not a library");
    std::string out = cold_run(255, home);
    EXPECT_NE(out.substr(0, out.find('\n')).find("(" + library + ": "), std::string::npos) << out;
    // One that loads and is none of a VM.
    Dl_info libc = {};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(fopen), &libc), 0);
    fs::remove(library);
    fs::create_symlink(fs::canonical(libc.dli_fname), library);
    out = cold_run(255, home);
    EXPECT_NE(out.find("undefined symbol: JNI_CreateJavaVM)\n"), std::string::npos) << out;
}

TEST_F(JvmSearch, InstalledHomesAreTakenInOrder)
{
    if (!fs::exists("/usr/lib/jvm"))
        GTEST_SKIP() << "this machine has no /usr/lib/jvm to cover";
    const Strings names = {"default-java", "default", "another-vm"};
    for (const std::string &name : names) {
        fs::create_directories(m_installed.path() + "/" + name + "/lib/server");
        fs::create_symlink(STUB_JVM, m_installed.path() + "/" + name + "/lib/server/libjvm.so");
    }
    for (const std::string &name : names) {
        EXPECT_EQ(cold_run(0), "");
        EXPECT_TRUE(test::read_file(m_record).starts_with("library /usr/lib/jvm/" + name + "/"));
        fs::remove(m_record);
        fs::remove_all(m_installed.path() + "/" + name);
    }
}

} // namespace
