#include "osapi/Environment.h"
#include "osapi/heap.h"
#include "tests/support/Faults.hpp"
#include "tests/support/Process.hpp"

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

using test::Aside;
using test::Expected;
using test::kOs;
using test::Lines;
using test::os_failure;
using test::text_of;
using test::unnoticed;

namespace {

namespace fs = std::filesystem;

/** That the operation fails, and says so of the platform's function. */
Expected reported_by(const std::string &operation)
{
    return {"false", {operation + ":" + kOs + "\n"}};
}

class EnvironmentFaults : public testing::Test
{
protected:
    EnvironmentFaults() { test::write_file(m_file, "one two" + std::string(5000, ' ')); }

    /** What an operation reports when it cannot open its file. */
    [[nodiscard]] Lines unreadable(const std::string &operation) const
    {
        return {operation + ":error 1 reading file " + m_file + "\n"};
    }

    test::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path() + "/file";
};

TEST_F(EnvironmentFaults, OfVariables)
{
    const Lines not_set = {
        "ZOVOsapi_envVarSet:error setting environment variable QUILLON_TEST=1\n"};
    test::for_each_fault([] { return text_of(ZOVOsapi_envVarSet("QUILLON_TEST=1")); }, {"true"},
                         {{"setenv 1", {{"false", not_set}}}});
    test::for_each_fault([] { return text_of(ZOVOsapi_envVarUnset("QUILLON_TEST")); }, {"true"},
                         {{"unsetenv 1", {{"false", {"ZOVOsapi_envVarUnset:!unsetenv\n"}}}}});
}

TEST_F(EnvironmentFaults, OfFiles)
{
    const auto no_memory = [](std::size_t size) {
        return Expected{"null", test::no_memory("ZOVOsapiHeap_reallocateString", size)};
    };
    test::for_each_fault(
        [this]() -> std::string {
            int64_t length = -1;
            char *text = ZOVOsapi_fileGetVerbatim(m_file.c_str(), &length);
            ZOVOsapiHeap_freeString(text);
            return text != nullptr ? std::to_string(length) : length == -1 ? "null" : "a length";
        },
        {"5007"},
        {{"fopen 1", {{"null", unreadable("ZOVOsapi_fileGetVerbatim")}}},
         {"calloc 1", no_memory(4097)},
         {"realloc 1", no_memory(8193)},
         {"fread 1", {{"0"}}}, // nothing, and no error of the stream: the end of the file
         {"fread 2", {{"4096"}}},
         {"fclose 1", unnoticed}});
    test::for_these_faults(
        [this] {
            char items[4096] = "as before";
            const ZOVBool found =
                ZOVOsapi_envVarOrFileGet(items, sizeof items, nullptr, m_file.c_str(), ',', '#');
            return text_of(found) + " " + items;
        },
        {"true one,two"},
        {{"fopen 1", {{"false as before", unreadable("ZOVOsapi_envVarOrFileGet")}}},
         {"fread 1", {{"true "}}}});
}

TEST_F(EnvironmentFaults, OfRemovals)
{
    const std::string tree = m_directory.path() + "/tree";
    const auto with_tree = [tree](ZOVBool (*remove)(const char *), const std::string &path) {
        return [=] {
            {
                const Aside preparation;
                fs::create_directories(tree + "/below");
                test::write_file(tree + "/below/file", "");
            }
            const std::string result = text_of(remove(path.c_str()));
            const Aside look;
            EXPECT_EQ(fs::exists(path), result == "false");
            return result;
        };
    };
    test::for_each_fault(with_tree(ZOVOsapi_removeFile, tree + "/below/file"), {"true"},
                         {{"unlink 1", reported_by("ZOVOsapi_removeFile")}});
    const std::string operation = "ZOVOsapiUtility_deleteDirectory";
    test::for_each_fault(with_tree(ZOVOsapiUtility_deleteDirectory, tree), {"true"},
                         {{"openat", reported_by(operation)},
                          {"fdopendir", {{"false", {os_failure(operation, "openat")}}}},
                          {"unlinkat", reported_by(operation)}});
}

TEST_F(EnvironmentFaults, OfNamesAndPlaces)
{
    test::for_each_fault(
        [] {
            char path[PATH_MAX] = "as before";
            const ZOVBool made = ZOVOsapiUtility_createTempDirectory(path, sizeof path, "quillon-");
            const Aside look;
            EXPECT_EQ(made != 0, fs::remove(path));
            return made != 0 ? "made" : text_of(made) + " " + path;
        },
        {"made"},
        {{"mkdtemp 1",
          {{"false as before", {"ZOVOsapiUtility_createTempDirectory:" + kOs + "\n"}}}}});
    test::for_each_fault(
        [] {
            char path[PATH_MAX] = "as before";
            const ZOVBool found = ZOVOsapiUtility_getExecutablePath(path, sizeof path);
            EXPECT_TRUE(found || std::string(path) == "as before");
            return text_of(found);
        },
        {"true"}, {{"readlink 1", reported_by("ZOVOsapiUtility_getExecutablePath")}});
    setenv("USER", "somebody-else", 1);
    test::for_each_fault(
        [] {
            char name[64];
            EXPECT_TRUE(ZOVOsapiUtility_getUsername(name, sizeof name));
            return std::string(name) == "somebody-else" ? "USER's" : "the platform's";
        },
        {"the platform's"}, {{"getpwuid_r 1", {{"USER's"}}}});
    unsetenv("USER");
    test::LogCapture capture;
    const test::Fault fault("getpwuid_r 1");
    char name[] = "as before";
    EXPECT_FALSE(ZOVOsapiUtility_getUsername(name, sizeof name));
    EXPECT_STREQ(name, "as before");
    EXPECT_EQ(capture.lines(), Lines({"ZOVOsapiUtility_getUsername:!get user name\n"}));
}

} // namespace
