#include "koba/String.h"
#include "tests/support/Faults.hpp"

#include <gtest/gtest.h>

using test::no_memory;
using test::operator+;

namespace {

TEST(StringFaults, OfCopies)
{
    const auto scenario = []() -> std::string {
        char *copy = KOBAString_duplicate("abc");
        if (copy == nullptr)
            return "null";
        const char *replaced = KOBAString_replace(&copy, "longer");
        const std::string result = std::string(copy) + (replaced == copy ? "" : ", and null");
        EXPECT_EQ(KOBAString_replace(&copy, nullptr), nullptr);
        EXPECT_EQ(copy, nullptr);
        return result;
    };
    test::for_each_fault(
        scenario, {"longer"},
        {{"calloc 1", {{"null", no_memory("ZOVOsapiHeap_allocateString", 4)}}},
         {"realloc 1", {{"abc, and null", no_memory("ZOVOsapiHeap_reallocateString", 7)}}}});
}

TEST(StringFaults, OfTheClosestName)
{
    const auto scenario = []() -> std::string {
        const char *const candidates[] = {"abcd", "ab", "name", ""};
        int32_t index = -1;
        int32_t distance = -1;
        const ZOVBool result = KOBAString_validateName(&index, &distance, "name", candidates, 1);
        return std::to_string(index) + ' ' + std::to_string(distance) + (result ? " found" : "");
    };
    const auto failure = [](std::size_t size) {
        return no_memory("ZOVOsapiHeap_allocateArray", size) +
               test::Lines{"KOBAString_validateName:!error allocating memory\n"};
    };
    test::for_each_fault(scenario, {"2 0 found"},
                         {{"calloc 1", {{"-1 -1", failure(100)}}},
                          {"calloc 2", {{"0 4", failure(60)}}},
                          {"calloc 3", {{"1 3", failure(100)}}}});
}

} // namespace
