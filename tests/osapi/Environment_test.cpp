#include "dds/ProductVersion.h"
#include "osapi/Environment.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"
#include "tests/support/Process.hpp"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sstream>
#include <tuple>
#include <unistd.h>

using test::Aside;
using test::Lines;
using test::os_failure;
using test::said_by;
using test::text_of;
using test::unnoticed;

namespace {

namespace fs = std::filesystem;

constexpr char kVariable[] = "WOLK_ENVIRONMENT_TEST";

using TextOperation = ZOVBool (*)(char *, std::size_t);

class Environment : public testing::Test
{
protected:
    ~Environment() override { unsetenv(kVariable); }

    [[nodiscard]] std::string path(const std::string &name) const
    {
        return m_directory.path() + "/" + name;
    }
    Lines lines() { return capture.take(); }

    /** What it gives, checked against the smallest buffer and one that is a byte too small. */
    std::string given_by(TextOperation operation, const std::string &name)
    {
        char text[PATH_MAX];
        EXPECT_TRUE(operation(text, sizeof text));
        const std::size_t size = std::strlen(text) + 1;
        std::vector<char> exact(size, '#');
        EXPECT_FALSE(operation(exact.data(), size - 1));
        EXPECT_EQ(exact, std::vector<char>(size, '#'));
        EXPECT_EQ(lines(), Lines({name + ":insufficient space: " + std::to_string(size - 1) +
                                  " available, " + std::to_string(size) + " needed\n"}));
        EXPECT_TRUE(operation(exact.data(), size));
        return exact.data();
    }

    test::LogCapture capture;

private:
    test::TemporaryDirectory m_directory;
};

TEST_F(Environment, VariablesAreSetAndTakenAway)
{
    const std::string name(512, 'N');
    for (const char *value : {"first", "second=2", ""}) {
        EXPECT_TRUE(ZOVOsapi_envVarSet((name + "=" + value).c_str()));
        EXPECT_STREQ(std::getenv(name.c_str()), value);
    }
    EXPECT_TRUE(ZOVOsapi_envVarUnset(name.c_str()));
    EXPECT_EQ(std::getenv(name.c_str()), nullptr);
    EXPECT_TRUE(ZOVOsapi_envVarUnset(name.c_str()));
    EXPECT_EQ(lines(), Lines());
    const std::string prefix = "ZOVOsapi_envVarSet:error setting environment variable ";
    for (const std::string &assignment : {std::string("NAME"), std::string("=x"), name + "N=x"}) {
        EXPECT_FALSE(ZOVOsapi_envVarSet(assignment.c_str()));
        EXPECT_EQ(lines(), Lines({prefix + assignment + "\n"}));
    }
    EXPECT_FALSE(ZOVOsapi_envVarUnset("NAME=x"));
    EXPECT_EQ(lines(), Lines({"ZOVOsapi_envVarUnset:invalid environment variable format\n"}));
    EXPECT_TRUE(ZOVOsapi_isEnvVarSetSupported());
}

/** ZOVOsapi_envVarOrFileGet into a buffer that must be left alone by a failure. */
std::string get(const char *variable, const char *file, char separator = ',', char comment = '#')
{
    std::vector<char> buffer(4096, '~');
    buffer.back() = '\0';
    const std::string untouched = buffer.data();
    if (ZOVOsapi_envVarOrFileGet(buffer.data(), 4096, variable, file, separator, comment))
        return buffer.data();
    EXPECT_EQ(buffer.data(), untouched);
    return "failed";
}

TEST_F(Environment, VariableWinsOverFile)
{
    const std::string operation = "ZOVOsapi_envVarOrFileGet:";
    const std::string file = path("items");
    test::write_file(file, "a b\n");
    const std::string whole(4095, 'v');
    const std::string variable = std::string("environment variable ") + kVariable;
    const Lines too_long = {"using " + variable, variable + " longer than 4095 characters"};
    // The value of the variable, "-" for none; the two arguments; the result and the lines.
    const std::tuple<std::string, const char *, const char *, std::string, Lines> cases[] = {
        {" a,, b #", kVariable, file.c_str(), " a,, b #", {"using " + variable}},
        {"", kVariable, file.c_str(), "", {"using " + variable}},
        {whole, kVariable, nullptr, whole, {"using " + variable}},
        {"unasked", nullptr, file.c_str(), "a,b", {"using file " + file}},
        {"-", kVariable, file.c_str(), "a,b", {variable + " not found", "using file " + file}},
        {"-", kVariable, nullptr, "failed", {variable + " not found"}},
        {"-", nullptr, "/none", "failed", {"file /none not found"}},
        {"-", nullptr, "/", "failed", {"using file /", "error 21 reading file /"}},
        {"-", nullptr, nullptr, "failed", {"!precondition"}},
        // The file does not stand in for a variable that is too long.
        {whole + "v", kVariable, file.c_str(), "failed", too_long},
    };
    capture.set_levels(0x7);
    for (const auto &[value, variable_name, file_name, result, messages] : cases) {
        value == "-" ? unsetenv(kVariable) : setenv(kVariable, value.c_str(), 1);
        EXPECT_EQ(get(variable_name, file_name), result);
        Lines expected;
        for (const std::string &line : messages)
            expected.push_back(operation + line + "\n");
        EXPECT_EQ(lines(), expected);
    }
    capture.set_levels(0x1);
    unsetenv(kVariable);
    EXPECT_EQ(get(kVariable, nullptr), "failed");
    EXPECT_EQ(lines(), Lines()) << "a variable that is not set is no exception";
    char small[4095] = "small";
    EXPECT_FALSE(ZOVOsapi_envVarOrFileGet(small, 4095, kVariable, file.c_str(), ',', '#'));
    EXPECT_EQ(lines(), Lines({operation + "!precondition\n"}));
    EXPECT_STREQ(small, "small");
}

TEST_F(Environment, ItemsOfAFileAreJoined)
{
    const std::string file = path("items");
    const std::string long_item(2047, 'i');
    const std::tuple<std::string, char, char, std::string> cases[] = {
        {" ,\t\r\n,,# a, b", ',', '#', ""},
        {"\n a\tb ,, c\r\nd,", ',', '#', "a,b,c,d"},
        {"a,b;c", ';', '#', "a,b;c"},
        {"a#x y\nb # z\r#\nc", ',', '#', "a,b,c"},
        {"a#x\n;comment\nb", ',', ';', "a#x,b"},
        {"a#b", ',', '\0', "a#b"},
        {std::string("a\0b", 3), ',', '\0', "a,b"},
        {long_item + "  " + long_item + "\n", ',', '#', long_item + "," + long_item},
        {long_item + " " + long_item + "i", ' ', '#', "failed"},
        {std::string(9000, '#') + "\nb" + std::string(9000, ' '), ',', '#', "b"},
    };
    for (const auto &[content, separator, comment, joined] : cases) {
        test::write_file(file, content);
        EXPECT_EQ(get(nullptr, file.c_str(), separator, comment), joined);
        const std::string line =
            "ZOVOsapi_envVarOrFileGet:file " + file + " longer than 4096 item characters\n";
        EXPECT_EQ(lines(), joined == "failed" ? Lines({line}) : Lines());
    }
}

TEST_F(Environment, FilesAreReadAsTheyAreAndRemoved)
{
    const std::string file = path("file");
    EXPECT_FALSE(ZOVOsapiUtility_fileExists(file.c_str()));
    const int64_t count = ZOVOsapiHeap_g_allocCount;
    for (const std::size_t size : {0u, 4095u, 4096u, 4097u, 100000u}) {
        std::string content;
        for (std::size_t i = 0; i < size; ++i)
            content += static_cast<char>(i * 7);
        test::write_file(file, content);
        int64_t length = -1;
        char *text = ZOVOsapi_fileGetVerbatim(file.c_str(), &length);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(std::string(text, static_cast<std::size_t>(length) + 1), content + '\0');
        ZOVOsapiHeap_freeString(text);
    }
    EXPECT_TRUE(ZOVOsapiUtility_fileExists(file.c_str()));
    EXPECT_TRUE(ZOVOsapi_removeFile(file.c_str()));
    EXPECT_EQ(lines(), Lines());
    EXPECT_FALSE(ZOVOsapi_removeFile(file.c_str()));
    int64_t length = -1;
    EXPECT_EQ(ZOVOsapi_fileGetVerbatim(file.c_str(), &length), nullptr);
    EXPECT_EQ(ZOVOsapi_fileGetVerbatim("/", &length), nullptr);
    EXPECT_EQ(length, -1);
    const std::string read = "ZOVOsapi_fileGetVerbatim:";
    EXPECT_EQ(lines(),
              Lines({os_failure("ZOVOsapi_removeFile", "unlink", ENOENT),
                     read + "file " + file + " not found\n", read + "error 21 reading file /\n"}));
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, count);
}

TEST(Path, NormalFormOfATextualPath)
{
    std::istringstream cases("=. .=. ./=. a/..=. a//b/./../c=a/c a/b/=a/b ..=.. ../..=../.. "
                             "a/../..=.. ../a/..=.. ../a/../../b=../../b ./../x=../x /=/ ///=/ "
                             "/..=/ /../a=/a /a/../..//b=/b //a/b/../..=/ ab/cd/../ef/../..=. "
                             "a/.b/..c/...=a/.b/..c/...");
    for (std::string form; cases >> form;) {
        const std::size_t length = form.find('=');
        std::vector<char> path(std::max<std::size_t>(length + 1, 2));
        form.copy(path.data(), length);
        EXPECT_TRUE(ZOVOsapiUtility_normalizePath(path.data()));
        EXPECT_EQ(path.data(), form.substr(length + 1)) << form;
    }
    const std::pair<const char *, int> counts[] = {{"", 0}, {",", 0}, {",a,,b c,", 2}, {"a,b", 2}};
    for (const auto &[text, count] : counts)
        EXPECT_EQ(ZOVOsapiUtility_getTokenCount(text, ','), count) << text;
}

TEST_F(Environment, ProgramUserAndTimeAreThoseOfTheProcess)
{
    const std::string program = fs::read_symlink("/proc/self/exe");
    const char kExecutable[] = "ZOVOsapiUtility_getExecutablePath";
    EXPECT_EQ(given_by(ZOVOsapiUtility_getExecutablePath, kExecutable), program);
    EXPECT_EQ(given_by(ZOVOsapiUtility_getSelfFullpath, kExecutable), program);
    const passwd *entry = getpwuid(getuid());
    const char kUser[] = "ZOVOsapiUtility_getUsername";
    const std::string user = given_by(ZOVOsapiUtility_getUsername, kUser);
    EXPECT_TRUE(entry == nullptr || user == entry->pw_name) << user;

    const std::time_t before = std::time(nullptr);
    const std::string now =
        given_by(ZOVOsapiUtility_getExecutionTimestamp, "ZOVOsapiUtility_getExecutionTimestamp");
    tm utc = {};
    EXPECT_STREQ(strptime(now.c_str(), "%Y%m%dT%H%M%SZ", &utc), "") << now;
    EXPECT_EQ(now.size(), 16u);
    EXPECT_GE(timegm(&utc), before);
    EXPECT_LE(timegm(&utc), std::time(nullptr));
    EXPECT_NE(std::strstr(WOLK_Config_Version_get_core_build_number_string(),
                          ZOVOsapiUtility_getCreationTimestamp()),
              nullptr);
    EXPECT_NE(std::strstr(ZOVOsapiUtility_getTarget(), "Linux-"), nullptr);
    EXPECT_EQ(ZOVOsapiUtility_get_double_precision(), 53);
}

TEST_F(Environment, TemporaryDirectoryIsMadeAndDeletedWithoutFollowingLinks)
{
    const std::string outside = path("outside");
    fs::create_directory(outside);
    test::write_file(outside + "/kept", "");
    setenv("TMPDIR", path("").c_str(), 1);
    char made[PATH_MAX] = "as before";
    EXPECT_FALSE(ZOVOsapiUtility_createTempDirectory(made, path("/preXXXXXX").size(), "pre"));
    EXPECT_EQ(lines().size(), 1u);
    EXPECT_FALSE(
        ZOVOsapiUtility_createTempDirectory(made, sizeof made, std::string(PATH_MAX, 'p').c_str()));
    EXPECT_STREQ(made, "as before");
    EXPECT_EQ(lines(),
              Lines({os_failure("ZOVOsapiUtility_createTempDirectory", "mkdtemp", ENAMETOOLONG)}));
    EXPECT_EQ(std::distance(fs::directory_iterator(path("")), {}), 1);
    ASSERT_TRUE(ZOVOsapiUtility_createTempDirectory(made, sizeof made, "pre"));
    unsetenv("TMPDIR");
    const std::string root = made;
    EXPECT_EQ(root.find(path("/pre")), 0u) << root;
    EXPECT_EQ(fs::status(root).permissions(), fs::perms::owner_all);

    fs::create_directories(root + "/a/b/c");
    for (const char *name : {"/1", "/a/2", "/a/b/.3", "/a/b/c/4"})
        test::write_file(root + name, "x");
    fs::create_directory_symlink(outside, root + "/a/link");
    fs::create_symlink("nowhere", root + "/a/dangling");
    fs::create_directory_symlink(root, path("link"));
    for (const char *name : {"link", "link/", "outside/kept", "missing"})
        EXPECT_FALSE(ZOVOsapiUtility_deleteDirectory(path(name).c_str())) << name;
    const auto refusal = [](int error) {
        return os_failure("ZOVOsapiUtility_deleteDirectory", "openat", error);
    };
    EXPECT_FALSE(ZOVOsapiUtility_deleteDirectory(std::string(PATH_MAX, 'p').c_str()));
    EXPECT_EQ(lines(), Lines({refusal(ENOTDIR), refusal(ENOTDIR), refusal(ENOTDIR), refusal(ENOENT),
                              refusal(ENAMETOOLONG)}));
    EXPECT_TRUE(fs::exists(root + "/a/b/c/4"));
    EXPECT_TRUE(ZOVOsapiUtility_deleteDirectory((root + "//").c_str()));
    EXPECT_FALSE(fs::exists(root));
    EXPECT_TRUE(fs::exists(outside + "/kept"));

    ASSERT_TRUE(ZOVOsapiUtility_createTempDirectory(made, sizeof made, nullptr));
    EXPECT_EQ(std::string(made).find("/tmp/"), 0u) << made;
    EXPECT_TRUE(ZOVOsapiUtility_deleteDirectory(made));
    EXPECT_EQ(lines(), Lines());
}

constexpr char kAllWell[] = "set:true unset:true made:true found:true user:own read:5007 "
                            "items:one,two removed:true deleted:true ";

/** Every operation that calls the platform, and what came of it. */
std::string results_of_all(const std::string &file, const std::string &tree)
{
    std::string results;
    const auto note = [&results](const std::string &what, const std::string &result) {
        results += what + ":" + result + " ";
    };
    /** What it stored, or that it did not. */
    const auto stored_by = [](TextOperation operation) {
        char text[PATH_MAX] = "kept";
        const ZOVBool is_stored = operation(text, sizeof text);
        EXPECT_EQ(is_stored == 0, std::string(text) == "kept");
        return std::string(text);
    };
    note("set", text_of(ZOVOsapi_envVarSet("QUILLON_TEST=1")));
    note("unset", text_of(ZOVOsapi_envVarUnset("QUILLON_TEST")));
    const std::string made = stored_by([](char *text, std::size_t size) {
        return ZOVOsapiUtility_createTempDirectory(text, size, "quillon-");
    });
    const std::string program = stored_by(ZOVOsapiUtility_getExecutablePath);
    const std::string user = stored_by(ZOVOsapiUtility_getUsername);
    int64_t length = -1;
    char *content = ZOVOsapi_fileGetVerbatim(file.c_str(), &length);
    ZOVOsapiHeap_freeString(content);
    EXPECT_EQ(content == nullptr, length == -1);
    const std::string items = get(nullptr, file.c_str());
    {
        const Aside aside;
        note("made", fs::remove(made) ? "true" : made);
        note("found", program == fs::read_symlink("/proc/self/exe") ? "true" : program);
        note("user", user == "kept" || user == "USER's" ? user : "own");
        fs::create_directories(tree + "/below");
        test::write_file(tree + "/file", "");
        test::write_file(tree + "/below/file", "");
    }
    note("read", std::to_string(length));
    note("items", items);
    note("removed", text_of(ZOVOsapi_removeFile((tree + "/file").c_str())));
    note("deleted", text_of(ZOVOsapiUtility_deleteDirectory(tree.c_str())));
    const Aside look;
    EXPECT_EQ(fs::exists(tree), results.ends_with("deleted:false "));
    return results;
}

TEST_F(Environment, EveryPlatformFailureIsReported)
{
    const std::string file = path("file");
    test::write_file(file, "one two" + std::string(5000, ' '));
    const auto but = [](const std::string &result, const Lines &lines = {}) {
        return test::but(kAllWell, result, lines);
    };
    const std::string read = "ZOVOsapi_fileGetVerbatim";
    const std::string reallocate = "ZOVOsapiHeap_reallocateString";
    const std::string deletion = "ZOVOsapiUtility_deleteDirectory";
    const std::string unreadable = ":error 1 reading file " + file + "\n";
    setenv("USER", "USER's", 1);
    test::for_each_fault(
        [&] { return results_of_all(file, path("tree")); }, {kAllWell},
        {{"setenv 1",
          but("set:false",
              {"ZOVOsapi_envVarSet:error setting environment variable QUILLON_TEST=1\n"})},
         {"unsetenv 1", but("unset:false", {"ZOVOsapi_envVarUnset:!unsetenv\n"})},
         {"mkdtemp 1", but("made:kept", said_by("ZOVOsapiUtility_createTempDirectory"))},
         {"readlink 1", but("found:kept", said_by("ZOVOsapiUtility_getExecutablePath"))},
         {"getpwuid_r 1", but("user:USER's")},
         {"fopen 1", but("read:-1", {read + unreadable})},
         {"calloc 1", but("read:-1", test::no_memory(reallocate, 4097))},
         {"realloc 1", but("read:-1", test::no_memory(reallocate, 8193))},
         {"fread 1", but("read:0")}, // nothing, and no error of the stream: the end of the file
         {"fread 2", but("read:4096")},
         {"fopen 2", but("items:failed", {"ZOVOsapi_envVarOrFileGet" + unreadable})},
         {"fread 3", but("items:")},
         {"fread", unnoticed}, // behind the last item
         {"fclose", unnoticed},
         {"unlink 1", but("removed:false", said_by("ZOVOsapi_removeFile"))},
         {"openat", but("deleted:false", said_by(deletion))},
         {"fdopendir", but("deleted:false", {os_failure(deletion, "openat")})},
         {"unlinkat", but("deleted:false", said_by(deletion))}});
    unsetenv("USER");
    const test::Fault fault("getpwuid_r 1");
    char name[] = "as before";
    EXPECT_FALSE(ZOVOsapiUtility_getUsername(name, sizeof name));
    EXPECT_STREQ(name, "as before");
    EXPECT_EQ(lines(), Lines({"ZOVOsapiUtility_getUsername:!get user name\n"}));
}

} // namespace
