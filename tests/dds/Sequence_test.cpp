#include "dds/Log.h"
#include "osapi/heap.h"
#include "tests/dds/sequence_subject.hpp"
#include "tests/support/Faults.hpp"

#include <gtest/gtest.h>
#include <random>
#include <type_traits>

using test::Lines;
using test::LogCapture;
using test::operator+;

namespace {

#define MEMBER(SEQUENCE, ELEMENT) SEQUENCE##Api,
using AllMembers = testing::Types<DDS_PRIMITIVE_SEQUENCES(MEMBER) DDS_StringSeqApi>;

template <class Api>
class Sequences : public testing::Test
{
};
TYPED_TEST_SUITE(Sequences, AllMembers);

template <class T>
std::string bytes_of(const T &object)
{
    return {reinterpret_cast<const char *>(&object), sizeof object};
}

template <class T>
bool are_same(const T &left, const T &right)
{
    return bytes_of(left) == bytes_of(right);
}

constexpr int kSteps = 2'000;

TYPED_TEST(Sequences, BehaveAsTheirModel)
{
    using Api = TypeParam;
    LogCapture capture;
    capture.set_levels(0x5);
    Model::type = Api::kName;
    const std::int64_t blocks = ZOVOsapiHeap_g_allocCount;
    std::mt19937 random(sizeof(typename Api::Element));
    const auto number = [&random](int from, int to) {
        return std::uniform_int_distribution(from, to)(random);
    };
    {
        Subject<Api> subjects[4];
        for (int step = 0; step < kSteps; ++step) {
            Subject<Api> &self = subjects[number(0, 3)];
            const Subject<Api> &source = subjects[number(0, 3)];
            const auto source_before = source.sequence;
            const int operation = number(0, std::size(kOperations<Api>) - 1);
            const int a = number(-1, kMost), b = number(-1, kMost);
            Numbers numbers(kMost);
            for (int &n : numbers)
                n = number(0, 99);
            SCOPED_TRACE(testing::Message() << "step " << step << ", operation " << operation);
            const auto [result, expected] =
                kOperations<Api>[operation](self, source, a, b, numbers);
            ASSERT_EQ(result, expected);
            // A record that is forgotten is first used by the next step.
            if (self.sequence.init_mark == DDS_SEQUENCE_INITIALIZED) {
                ASSERT_EQ(self.is(), self.should_be());
            }
            ASSERT_TRUE(&source == &self || are_same(source.sequence, source_before));
            ASSERT_EQ(capture.take(), std::exchange(Model::reports, {}));
        }
        for (Subject<Api> &subject : subjects)
            EXPECT_TRUE(Api::unloan(&subject.sequence) || Api::finalize(&subject.sequence));
    }
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
}

/** What an operation returns as true or false; false for one that returns nothing. */
template <class Operation>
bool result_of(const Operation &operation)
{
    if constexpr (std::is_void_v<decltype(operation())>)
        return operation(), false;
    else
        return operation() != decltype(operation()){};
}

TYPED_TEST(Sequences, RefuseWhatIsMissing)
{
    using Api = TypeParam;
    LogCapture capture;
    typename Api::Sequence three = {}, tight = {};
    Array<typename Api::Element> array;
    DDS_TypeAllocationParams_t allocation = {};
    DDS_TypeDeallocationParams_t deallocation = {};
    void *token = nullptr;
    for (auto *sequence : {&three, &tight})
        Api::ensure_length(sequence, 2, 3);
    Api::set_read_tokenI(&three, &array, &array);
    tight.absolute_maximum = 1; // as no operation leaves it
    const std::string before = bytes_of(three) + bytes_of(tight);
    const auto fails = [&](const Lines &reports, bool result) {
        EXPECT_FALSE(result) << reports[0];
        Lines expected;
        for (const std::string &report : reports)
            expected.push_back(std::string(Api::kName) + '_' + report + '\n');
        EXPECT_EQ(capture.take(), expected);
        EXPECT_EQ(bytes_of(three) + bytes_of(tight), before) << reports[0];
    };
#define FAILS(REPORT, ...) fails({REPORT}, result_of([&] { return __VA_ARGS__; }));
#define NO_SELF(SEQUENCE, OPERATION, ...) __VA_OPT__(NO_SELF_AS(OPERATION, __VA_ARGS__))
#define NO_SELF_AS(OPERATION, CONTEXT, ...)                                                        \
    FAILS(#CONTEXT ":bad parameter: self", Api::OPERATION(nullptr __VA_OPT__(, ) __VA_ARGS__))
#define NO_OTHER(OPERATION, CONTEXT, WORD)                                                         \
    FAILS(#CONTEXT ":bad parameter: " #WORD, Api::OPERATION(&three, nullptr))
#define NOT_EMPTY(OPERATION, WHAT, ARGUMENT)                                                       \
    FAILS(#OPERATION ":!assert " WHAT " can be configured only when the maximum size of the "      \
                     "sequence is 0",                                                              \
          Api::OPERATION(&three, ARGUMENT))
    OPERATIONS(NO_SELF, _)
    NO_OTHER(copy_no_alloc, copy_no_alloc, src)
    NO_OTHER(copy_no_allocI, copy_no_allocI, src)
    NO_OTHER(copy, copy, src)
    NO_OTHER(get_element_allocation_params, get_element_allocation_params, params)
    NO_OTHER(set_element_allocation_params, set_element_allocation_params, params)
    NO_OTHER(get_element_deallocation_params, set_element_deallocation_params, params)
    NO_OTHER(set_element_deallocation_params, set_element_deallocation_params, params)
    NOT_EMPTY(set_element_allocation_params, "Member allocation parameters", &allocation)
    NOT_EMPTY(set_element_pointers_allocation, "Pointers allocation policy", 0)
    FAILS("get_read_tokenI:!get token (NULL)", Api::get_read_tokenI(&three, &token, nullptr))
    FAILS("get_read_tokenI:!get token (NULL)", Api::get_read_tokenI(&three, nullptr, &token))
    EXPECT_EQ(token, nullptr);
    fails({"set_length:insufficient space: 1 available, 2 needed",
           "copy_no_allocI:insufficient space: 1 available, 2 needed"},
          Api::copy_no_allocI(&tight, &three));
    EXPECT_TRUE(Api::finalize(&three) && Api::finalize(&tight));
}

TYPED_TEST(Sequences, KeepWhatTheyAreGiven)
{
    using Api = TypeParam;
    typename Api::Sequence sequence = {};
    DDS_TypeAllocationParams_t allocation = {2, 2, 2};
    DDS_TypeDeallocationParams_t deallocation = {2, 2};
    // Parameters are those of the record as it is: the first use begins with the default ones.
    EXPECT_TRUE(Api::set_element_allocation_params(&sequence, &allocation));
    EXPECT_TRUE(Api::set_element_deallocation_params(&sequence, &deallocation));
    EXPECT_EQ(Api::get_length(&sequence), 0);
    Api::get_element_allocation_params(&sequence, &allocation);
    Api::get_element_deallocation_params(&sequence, &deallocation);
    EXPECT_TRUE(are_same(allocation, DDS_TYPE_ALLOCATION_PARAMS_DEFAULT));
    EXPECT_TRUE(are_same(deallocation, DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT));

    EXPECT_TRUE(Api::set_element_pointers_allocation(&sequence, DDS_BOOLEAN_FALSE));
    EXPECT_FALSE(Api::get_element_pointers_allocation(&sequence));
    EXPECT_TRUE(are_same(sequence.element_allocation_params, {0, 0, 1}));
    EXPECT_TRUE(are_same(sequence.element_deallocation_params, {0, 1}));

    // A buffer keeps those of allocation from being set, until it is gone.
    EXPECT_TRUE(Api::set_maximum(&sequence, 1));
    deallocation = {1, 0};
    EXPECT_TRUE(Api::set_element_deallocation_params(&sequence, &deallocation));
    EXPECT_TRUE(Api::finalize(&sequence));
    EXPECT_TRUE(Api::set_element_allocation_params(&sequence, &allocation));
    EXPECT_TRUE(are_same(sequence.element_allocation_params, allocation));
    EXPECT_TRUE(are_same(sequence.element_deallocation_params, deallocation));

    void *tokens[2];
    Api::set_read_tokenI(&sequence, &allocation, &deallocation);
    Api::get_read_tokenI(&sequence, &tokens[0], &tokens[1]);
    EXPECT_TRUE(tokens[0] == &allocation && tokens[1] == &deallocation);
    EXPECT_EQ(sequence.init_mark, 0x7344);
    EXPECT_TRUE(Api::initialize(&sequence));
    EXPECT_TRUE(sequence.read_token1 == nullptr && sequence.element_allocation_params.third);
}

/** Where loans of the same memory overlap, elements are copied first to last. */
TYPED_TEST(Sequences, CopyForward)
{
    using Api = TypeParam;
    for (const bool is_up : {true, false}) {
        Array<typename Api::Element, 6> array;
        array.fill({1, 2, 3, 4, 5, 6});
        typename Api::Sequence low = {}, high = {};
        Api::loan_contiguous(&low, array.elements, 4, 4);
        Api::loan_contiguous(&high, array.elements + 2, 4, 4);
        EXPECT_TRUE(is_up ? Api::copy(&high, &low) : Api::copy(&low, &high));
        EXPECT_EQ(array.numbers(),
                  is_up ? std::vector({1, 2, 1, 2, 1, 2}) : std::vector({3, 4, 5, 6, 5, 6}));
    }
}

// Also the bytes that a long double does not use are copied, in all layouts.
TEST(LongDoubleSequence, CopiesSixteenBytes)
{
    Array<DDS_LongDouble, 4> from, to;
    DDS_LongDoubleSeq sequences[2][2] = {};
    for (const bool is_source : {true, false}) {
        auto &array = is_source ? from : to;
        DDS_LongDoubleSeq_loan_contiguous(&sequences[is_source][0], array.elements, 4, 4);
        DDS_LongDoubleSeq_loan_discontiguous(&sequences[is_source][1], array.pointers, 4, 4);
    }
    for (int layouts = 0; layouts < 4; ++layouts) {
        std::memset(from.elements, 0x11 * (layouts + 1), sizeof from.elements);
        EXPECT_TRUE(DDS_LongDoubleSeq_copy(&sequences[0][layouts / 2], &sequences[1][layouts % 2]));
        EXPECT_TRUE(are_same(from.elements, to.elements));
    }
}

DDS_StringSeq strings(const std::vector<const char *> &texts)
{
    DDS_StringSeq sequence = DDS_STRING_SEQUENCE_EMPTY;
    DDS_StringSeq_from_array(&sequence, const_cast<char *const *>(texts.data()),
                             static_cast<DDS_Long>(texts.size()));
    return sequence;
}

TEST(StringSequence, AnswersQueries)
{
    const LogCapture capture;
    DDS_StringSeq fresh;
    DDS_StringSeq_initialize(&fresh);
    EXPECT_TRUE(DDS_StringSeq_equals(&fresh, &DDS_STRING_SEQUENCE_EMPTY) &&
                fresh.init_mark == DDS_STRING_SEQUENCE_EMPTY.init_mark);
    const struct
    {
        std::vector<const char *> texts;
        bool has_empty, has_null; // the first is not to be asked for where the second is
    } cases[] = {{{}, false, false},           {{"a"}, false, false},    {{"b"}, false, false},
                 {{""}, true, false},          {{"a", ""}, true, false}, {{nullptr}, false, true},
                 {{"a", nullptr}, false, true}};
    for (const auto &left : cases) {
        DDS_StringSeq one = strings(left.texts);
        EXPECT_EQ(DDS_StringSeq_contains_null_strings(&one), left.has_null);
        EXPECT_EQ(!left.has_null && DDS_StringSeq_contains_empty_strings(&one), left.has_empty);
        for (const auto &right : cases) {
            DDS_StringSeq other = strings(right.texts);
            EXPECT_EQ(DDS_StringSeq_equals(&one, &other), &left == &right);
            DDS_StringSeq_finalize(&other);
        }
        // What lies behind the length is asked for by none.
        DDS_StringSeq_set_length(&one, 0);
        EXPECT_TRUE(DDS_StringSeq_equals(&one, &fresh));
        EXPECT_FALSE(DDS_StringSeq_contains_empty_strings(&one) ||
                     DDS_StringSeq_contains_null_strings(&one));
        DDS_StringSeq_finalize(&one);
    }
    EXPECT_FALSE(DDS_StringSeq_equals(&fresh, nullptr) || DDS_StringSeq_equals(nullptr, &fresh) ||
                 DDS_StringSeq_contains_empty_strings(nullptr) ||
                 DDS_StringSeq_contains_null_strings(nullptr));
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_StringSeq_equals:bad parameter: self\n",
                     "DDS_StringSeq_equals:bad parameter: self\n",
                     "DDS_StringSeq_contains_empty_strings:bad parameter: self\n",
                     "DDS_StringSeq_contains_null_strings:bad parameter: self\n"}));
}

TEST(StringSequence, KeepsOrUndoesWhatFindsNoMemory)
{
    const Lines no_copy = {"DDS_StringSeq_from_array:!set copying array sequence\n"};
    const auto no_string = [&](const char *result, std::size_t size) {
        return test::Expected{result,
                              test::no_memory("ZOVOsapiHeap_reallocateString", size) + no_copy};
    };
    test::for_each_fault(
        [] {
            std::optional<test::Aside> aside(std::in_place);
            DDS_StringSeq sequence = strings({"x", "yy"});
            const char *const texts[] = {"abc", nullptr, "defg"};
            aside.reset();
            std::string result = test::text_of(
                DDS_StringSeq_from_array(&sequence, const_cast<char *const *>(texts), 3));
            aside.emplace();
            result += ", " + std::to_string(sequence.length);
            for (std::size_t i = 0; i < sequence.maximum; ++i) {
                const char *text = sequence.contiguous_buffer[i];
                result += std::string(" ") + (text != nullptr ? text : "null");
            }
            DDS_StringSeq_finalize(&sequence);
            return result;
        },
        {"true, 3 abc null defg"},
        {{"calloc 1",
          {{"false, 2 x yy", test::no_memory("ZOVOsapiHeap_allocateArray", 24) +
                                 Lines{"DDS_StringSeq_set_maximum:!malloc 24 bytes\n"} + no_copy}}},
         // Growing copies the strings: those that are copied already are freed again.
         {"calloc 2", no_string("false, 2 x yy", 2)},
         {"calloc 3", no_string("false, 2 x yy", 3)},
         // A copy leaves what it has done.
         {"realloc 1", no_string("false, 3 x yy null", 4)},
         {"calloc 4", no_string("false, 3 abc null null", 5)}});

    test::for_each_fault(
        [] {
            std::string result;
            char *slot = nullptr;
            for (const char *text : {"old", "new", static_cast<const char *>(nullptr)}) {
                EXPECT_EQ(DDS_StringSeq_copy_string(&slot, const_cast<char **>(&text)), &slot);
                result += std::string(" ") + (slot != nullptr ? slot : "null");
            }
            return result;
        },
        {" old new null"},
        {{"calloc 1", {{" null new null", test::no_memory("ZOVOsapiHeap_reallocateString", 4)}}},
         {"realloc 1", {{" old old null", test::no_memory("ZOVOsapiHeap_reallocateString", 4)}}}});
}

} // namespace
