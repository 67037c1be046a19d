#include "koba/OrderedDataType.h"
#include "tests/support/LogCapture.hpp"

#include <array>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>

using test::Lines;
using test::LogCapture;

namespace {

constexpr struct
{
    KOBAOrderedDataTypeCompareFcn compare;
    std::size_t words;
    std::size_t word_size;
    bool is_signed;
} kComparisons[] = {
    {KOBAOrderedDataType_compareUInt, 1, 4, false},
    {KOBAOrderedDataType_compareDoubleUInt, 2, 4, false},
    {KOBAOrderedDataType_compareTripleUInt, 3, 4, false},
    {KOBAOrderedDataType_compareQuadUInt, 4, 4, false},
    {KOBAOrderedDataType_compareFiveUInt, 5, 4, false},
    {KOBAOrderedDataType_compareSixUInt, 6, 4, false},
    {KOBAOrderedDataType_compareNineUInt, 9, 4, false},
    {KOBAOrderedDataType_compareInt, 1, 4, true},
    {KOBAOrderedDataType_compareDoubleInt, 2, 4, true},
    {KOBAOrderedDataType_compareTripleInt, 3, 4, true},
    {KOBAOrderedDataType_compareQuadInt, 4, 4, true},
    {KOBAOrderedDataType_compareFiveInt, 5, 4, true},
    {KOBAOrderedDataType_comparePointer, 1, 8, false},
    {KOBAOrderedDataType_compareQuadPointer, 4, 8, false},
};

TEST(Comparison, TheFirstPairThatDiffersDecides)
{
    for (const auto &[compare, words, word_size, is_signed] : kComparisons)
        for (std::size_t word = 0; word <= words; ++word) {
            char a[80] = {};
            char b[80] = {};
            std::memset(a + word * word_size, 0xFF, word_size); // the greatest, or minus one
            std::memset(b + word * word_size, 0x01, word_size);
            std::memset(b + (word + 1) * word_size, is_signed ? 0x80 : 0xFF, word_size);
            const int32_t order = word == words ? 0 : is_signed ? -1 : 1; // none behind the key
            EXPECT_EQ(compare(a, b), order) << words << ", " << word;
            EXPECT_EQ(compare(b, a), -order) << words << ", " << word;
        }
    const uint64_t low = 0x00000001FFFFFFFF;
    const uint64_t high = 0x0000000200000000;
    EXPECT_EQ(KOBAOrderedDataType_comparePointer(&low, &high), -1) << "not word by word";
    EXPECT_EQ(KOBAOrderedDataType_comparePointerNullness(nullptr, nullptr), 0);
    EXPECT_EQ(KOBAOrderedDataType_comparePointerNullness(nullptr, &low), -1);
    EXPECT_EQ(KOBAOrderedDataType_comparePointerNullness(&low, nullptr), 1);
    EXPECT_EQ(KOBAOrderedDataType_comparePointerNullness(&low, &high), 0);
}

TEST(OrderedDataType, HasAComparisonForSomeSizesOfKeys)
{
    const LogCapture capture;
    for (std::size_t words = 1; words <= 6; ++words)
        EXPECT_EQ(KOBAOrderedDataType_defineCompareFromSize(static_cast<int32_t>(4 * words)),
                  kComparisons[words - 1].compare);
    Lines expected;
    for (const int32_t size : {INT_MIN, -4, 0, 1, 5, 28, 36}) {
        EXPECT_EQ(KOBAOrderedDataType_defineCompareFromSize(size)("a", "b"), 0);
        expected.emplace_back(
            "KOBAOrderedDataType_defineCompareFromSize:!create unsupported size\n");
        expected.emplace_back("KOBAOrderedDataType_compareUnsupported:NULL "
                              "KOBAOrderedDataType_compare - unsupported size\n");
    }
    KOBAOrderedDataType type = {};
    KOBAOrderedDataType_define(&type, 0, UINT_MAX, KOBAOrderedDataType_compareInt, nullptr);
    KOBAOrderedDataType_define(&type, -1, 2, nullptr, nullptr);
    KOBAOrderedDataType_define(nullptr, -1, 2, nullptr, nullptr);
    EXPECT_EQ(type.attribute, UINT_MAX) << "overwritten by what failed";
    EXPECT_EQ(type.compare, KOBAOrderedDataType_compareInt);
    expected.emplace_back("KOBAOrderedDataType_define:!precondition: size < 0\n");
    expected.emplace_back("KOBAOrderedDataType_define:!precondition: dataType == ((void *)0)\n");
    EXPECT_EQ(capture.lines(), expected);
}

/** A text of words of which all but the first are the greatest. */
std::string joined(int words, const std::string &first, const std::string &next)
{
    std::string text = first;
    for (int i = 1; i < words; ++i)
        text += next;
    return text;
}

TEST(OrderedDataType, PrintsAKeyAndWritesItIntoTheRoomThereIs)
{
    uint32_t key[9];
    std::fill_n(key, 9, UINT_MAX);
    key[0] = 0xABCDEF01;
    LogCapture capture;
#define MEMBER(NAME, WORDS, PRINT, TEXT, SIZE)                                                     \
    {KOBAOrderedDataType_print##NAME, KOBAOrderedDataType_toString##NAME, WORDS, SIZE},
    constexpr struct
    {
        KOBAOrderedDataTypePrintFcn print;
        char *(*to_string)(const void *, KOBAOrderedDataTypeStringTarget *);
        int words;
        int32_t required;
    } kForms[] = {KOBA_ORDERED_DATA_TYPE_FORMATS(MEMBER)};
#undef MEMBER
    for (const auto &[print, to_string, words, required] : kForms) {
        const std::string printed = words < 3 ? joined(words, "0XABCDEF01", ",0XFFFFFFFF")
                                              : joined(words, "0xabcdef01", ", 0XFFFFFFFF");
        print(key, "key", 2);
        print(key, nullptr, 0);
        const Lines lines = capture.take();
        EXPECT_EQ(std::accumulate(lines.begin(), lines.end(), std::string()),
                  "      key: " + printed + "\n" + printed + "\n");
        const std::string text = words == 3 ? joined(words, "0xABCDEF01", ",0xFFFFFFFF")
                                            : joined(words, "0XABCDEF01", ",0XFFFFFFFF");
        EXPECT_EQ(required, std::min(11 * words, 55));
        // Nine words have 98 characters, though they ask for less: those without room are cut off.
        for (const int32_t capacity : {required - 1, required, 98, 99}) {
            std::string buffer(100, '#');
            KOBAOrderedDataTypeStringTarget target = {capacity, buffer.data()};
            const bool fits = capacity >= required;
            EXPECT_EQ(to_string(key, &target), fits ? buffer.data() : nullptr);
            EXPECT_EQ(target.capacity, fits ? required : capacity);
            const std::string written = text.substr(0, static_cast<std::size_t>(capacity) - 1);
            EXPECT_EQ(buffer.substr(0, buffer.find('#')), fits ? written + '\0' : "");
        }
    }
    KOBAOrderedDataType_printPointer(key, nullptr, 0);
    EXPECT_EQ(capture.lines().back(), "0XABCDEF01,0XFFFFFFFF\n");
}

std::vector<int32_t> g_halves;

int32_t compare_elements(const void *element, const void *key, int32_t half)
{
    g_halves.push_back(half);
    return KOBAOrderedDataType_compareInt(element, key);
}

TEST(BinarySearch, FindsWhatIsThere)
{
    int32_t elements[20][3];
    const auto find = [&](const int32_t *key, const void *array, int32_t count) {
        return KOBAOrderedDataType_binarySearch(key, array, count, sizeof *elements,
                                                compare_elements);
    };
    for (int32_t count = 1; count <= 20; ++count) {
        elements[count - 1][0] = 2 * count;
        for (int32_t key = 1; key <= 2 * count + 1; ++key)
            EXPECT_EQ(find(&key, elements, count), key % 2 == 0 ? elements[key / 2 - 1] : nullptr)
                << key << " of " << count;
    }
    g_halves.clear();
    const int32_t key = 27;
    EXPECT_EQ(find(&key, nullptr, 20), nullptr);
    EXPECT_EQ(find(nullptr, elements, 20), nullptr);
    for (const int32_t count : {0, -1, INT_MIN, 20})
        EXPECT_EQ(find(&key, elements, count), nullptr);
    EXPECT_EQ(g_halves, std::vector<int32_t>({9, 4, 1, 0, 0})) << "asked of no empty array";
}

} // namespace
