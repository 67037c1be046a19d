// The launcher on a machine without Java, or with what a test installs: in a mount namespace of its
// own a directory of the test stands in the usual places.
#include "tests/support/Servers.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using test::Outcome;
using Strings = std::vector<std::string>;
using Value = std::optional<std::string>;

class JvmSearch : public testing::Test
{
protected:
    void SetUp() override
    {
        if (dlopen("libjvm.so", RTLD_LAZY) != nullptr)
            GTEST_SKIP() << "this machine has a libjvm.so that is found by its bare name";
        if (test::run({.arguments = {"true"}, .in_child = m_cover_usual_places}).status != 0)
            GTEST_SKIP() << "this machine allows no mount namespaces";
    }

    [[nodiscard]] bool cover(const char *place) const
    {
        return !fs::exists(place) ||
               mount(m_installed.path().c_str(), place, nullptr, MS_BIND, nullptr) == 0;
    }

    Outcome host(const Value &java_home = {}, const Value &path = "/nonexistent",
                 const char *verbosity = "1")
    {
        return m_servers.host(
            {.arguments = {QUILLON, "-n_classpath", "c", "-n_wolkresource", "r", "-n_serverport",
                           std::to_string(test::free_port()), "-n_connectiontimeout", "60000",
                           "-n_verbosity", verbosity},
             .environment = {{"PATH", path},
                             {"JAVA_HOME", java_home},
                             {"LD_LIBRARY_PATH", std::nullopt},
                             {"STUB_JVM_RECORD", m_record}},
             .in_child = m_cover_usual_places});
    }

    test::Servers m_servers;
    test::TemporaryDirectory m_installed;
    test::TemporaryDirectory m_directory;
    std::string m_record = m_directory.path() + "/record";
    std::function<bool()> m_cover_usual_places = [this] {
        return unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               cover("/usr/lib/jvm") && cover("/opt/java");
    };
};

TEST_F(JvmSearch, PlacesSearchedAreNamedOnOneLine)
{
    const std::string long_name(5000, 'x'); // too long for a path
    for (const auto &[home, path] : {std::pair<Value, Value>({}, "/nonexistent"),
                                     {"/no/home", std::nullopt},
                                     {"", "/nonexistent"},
                                     {long_name, long_name}}) {
        const std::string line =
            "no Java VM found, set JAVA_HOME to a JDK or JRE; tried libjvm.so by name, JAVA_HOME "
            "(" +
            home.value_or("not set") +
            "), java on PATH, /usr/lib/jvm/default-java, /usr/lib/jvm/default, /usr/lib/jvm/*, "
            "/opt/java/*";
        const Outcome hosted = host(home, path);
        EXPECT_EQ(hosted.status, 255);
        EXPECT_EQ(hosted.out, "QUILLON_createJVM:" + line.substr(0, 899) +
                                  "\nQUILLON_createJVM:error creating JVM\n"
                                  "QUILLON_startCodeGenerator:error creating JVM\n"
                                  "main:error running code generator\n");
    }
    EXPECT_EQ(host({}, {}, "0").out, "");
}

TEST_F(JvmSearch, LibraryThatDoesNotLoadIsNamedWithTheReason)
{
    const std::string &home = m_directory.path();
    const std::string library = home + "/lib/server/libjvm.so";
    fs::create_directories(home + "/lib/server");
    test::write_file(library, "not a library");
    std::string out = host(home).out;
    EXPECT_NE(out.substr(0, out.find('\n')).find("(" + library + ": "), std::string::npos) << out;
    // One that loads and is no VM's.
    Dl_info libc = {};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(getppid), &libc), 0);
    fs::remove(library);
    fs::create_symlink(fs::canonical(libc.dli_fname), library);
    out = host(home).out;
    EXPECT_NE(out.find("undefined symbol: JNI_CreateJavaVM)\n"), std::string::npos) << out;
}

TEST_F(JvmSearch, InstalledHomesAreTakenInOrder)
{
    if (!fs::exists("/usr/lib/jvm"))
        GTEST_SKIP() << "this machine has no /usr/lib/jvm to cover";
    const Strings names = {"/default-java", "/default", "/another-vm", "/yet-another-vm"};
    for (const std::string &name : names) {
        fs::create_directories(m_installed.path() + name + "/lib/server");
        fs::create_symlink(STUB_JVM, m_installed.path() + name + "/lib/server/libjvm.so");
    }
    for (const std::string &name : names) {
        EXPECT_EQ(host().out, "");
        EXPECT_TRUE(test::read_file(m_record).starts_with("library /usr/lib/jvm" + name + "/"));
        fs::remove(m_record);
        fs::remove_all(m_installed.path() + name);
    }
}

} // namespace
