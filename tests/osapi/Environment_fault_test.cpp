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
using test::Lines;
using test::os_failure;
using test::unnoticed;

namespace {

namespace fs = std::filesystem;

std::string text_of(ZOVBool result)
{
    return result != 0 ? "true" : "false";
}

class EnvironmentFaults : public testing::Test
{
protected:
    EnvironmentFaults()
    {
        ZOVOsapiHeap_free(ZOVOsapiHeap_malloc(1)); // reads the limit
        test::write_file(m_file, "one two\n");
    }

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
    test::for_each_fault(
        [] { return text_of(ZOVOsapi_envVarSet("QUILLON_TEST=1")); }, {"true"},
        {{"setenv 1",
          {{"false",
            {"ZOVOsapi_envVarSet:error setting environment variable QUILLON_TEST=1\n"}}}}});
    test::for_each_fault([] { return text_of(ZOVOsapi_envVarUnset("QUILLON_TEST")); }, {"true"},
                         {{"unsetenv 1", {{"false", {"ZOVOsapi_envVarUnset:!unsetenv\n"}}}}});
}

TEST_F(EnvironmentFaults, OfWholeFiles)
{
    const auto read = [this]() -> std::string {
        int64_t length = -1;
        char *text = ZOVOsapi_fileGetVerbatim(m_file.c_str(), &length);
        if (text == nullptr)
            return length == -1 ? "null" : "null, and a length";
        const std::string copy(text, static_cast<std::size_t>(length));
        ZOVOsapiHeap_freeString(text);
        return copy;
    };
    test::for_each_fault(
        read, {"one two\n"},
        {{"fopen 1", {{"null", unreadable("ZOVOsapi_fileGetVerbatim")}}},
         {"calloc 1", {{"null", test::no_memory("ZOVOsapiHeap_reallocateString", 4097)}}},
         {"fread 1", {{""}}}, // nothing, and no error of the stream: the end of the file
         {"fclose 1", unnoticed}});
}

TEST_F(EnvironmentFaults, OfItemsFromAFile)
{
    const auto read = [this]() -> std::string {
        char items[4096] = "as before";
        const bool found =
            ZOVOsapi_envVarOrFileGet(items, sizeof items, nullptr, m_file.c_str(), ',', '#') != 0;
        return (found ? "true " : "false ") + std::string(items);
    };
    test::for_each_fault(
        read, {"true one,two"},
        {{"fopen 1", {{"false as before", unreadable("ZOVOsapi_envVarOrFileGet")}}},
         {"fread 1", {{"true "}}},
         {"fclose 1", unnoticed}});
}

TEST_F(EnvironmentFaults, OfRemovals)
{
    test::for_each_fault(
        [this] {
            {
                const Aside preparation;
                test::write_file(m_file, "");
            }
            return text_of(ZOVOsapi_removeFile(m_file.c_str()));
        },
        {"true"}, {{"unlink 1", {{"false", {os_failure("ZOVOsapi_removeFile", "unlink")}}}}});

    const std::string tree = m_directory.path() + "/tree";
    const std::string operation = "ZOVOsapiUtility_deleteDirectory";
    const Expected not_opened = {"false", {os_failure(operation, "openat")}};
    const Expected not_unlinked = {"false", {os_failure(operation, "unlinkat")}};
    test::for_each_fault(
        [&] {
            {
                const Aside preparation;
                fs::create_directories(tree + "/below");
            }
            const std::string result = text_of(ZOVOsapiUtility_deleteDirectory(tree.c_str()));
            const Aside look;
            EXPECT_EQ(fs::exists(tree), result == "false");
            return result;
        },
        {"true"}, {{"openat", not_opened}, {"fdopendir", not_opened}, {"unlinkat", not_unlinked}});
}

TEST_F(EnvironmentFaults, OfNamesAndPlaces)
{
    test::for_each_fault(
        [] {
            char path[PATH_MAX] = "as before";
            const bool made =
                ZOVOsapiUtility_createTempDirectory(path, sizeof path, "quillon-") != 0;
            const Aside look;
            EXPECT_EQ(made, fs::remove(path));
            return text_of(made);
        },
        {"true"},
        {{"mkdtemp 1",
          {{"false", {os_failure("ZOVOsapiUtility_createTempDirectory", "mkdtemp")}}}}});
    test::for_each_fault(
        [] {
            char path[PATH_MAX];
            return text_of(ZOVOsapiUtility_getExecutablePath(path, sizeof path));
        },
        {"true"},
        {{"readlink 1",
          {{"false", {os_failure("ZOVOsapiUtility_getExecutablePath", "readlink")}}}}});
    setenv("USER", "somebody-else", 1);
    test::for_each_fault(
        [] {
            char name[64];
            EXPECT_TRUE(ZOVOsapiUtility_getUsername(name, sizeof name));
            return std::string(name) == "somebody-else" ? "USER's" : "the platform's";
        },
        {"the platform's"}, {{"getpwuid_r 1", {{"USER's"}}}});
}

} // namespace
