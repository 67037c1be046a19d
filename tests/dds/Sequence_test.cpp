#include "dds/Log.h"
#include "osapi/heap.h"
#include "tests/dds/sequence_subject.hpp"
#include "tests/support/Faults.hpp"

#include <gtest/gtest.h>
#include <random>
#include <sstream>
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

/** What operations fail on. */
template <class Api>
struct Scene
{
    typename Api::Sequence *none = nullptr;
    typename Api::Sequence empty = {}, three = {}, loan = {};
    Array<typename Api::Element> array;
    DDS_TypeAllocationParams_t allocation = {};
    DDS_TypeDeallocationParams_t deallocation = {};
    void *token = nullptr;

    Scene()
    {
        Api::set_absolute_maximum(&empty, 100);
        Api::set_absolute_maximum(&three, 100);
        Api::ensure_length(&three, 2, 3);
        Api::loan_contiguous(&loan, array.elements, 1, 1);
        Api::set_read_tokenI(&three, this, this);
    }
    ~Scene() { Api::finalize(&three); }
    Scene(const Scene &) = delete;
    Scene &operator=(const Scene &) = delete;

    std::string records() const { return bytes_of(empty) + bytes_of(three) + bytes_of(loan); }
};

/** An operation, whose result is null, FALSE or zero, and what it reports. */
template <class Api>
struct Failure
{
    const char *lines; // each without the member's name before it and the end behind it
    bool (*operation)(Scene<Api> &s);

    Lines whole_lines() const
    {
        Lines whole;
        std::istringstream in(lines);
        for (std::string line; std::getline(in, line);)
            whole.push_back(std::string(Api::kName) + '_' + line + '\n');
        return whole;
    }
};

template <class Operation>
bool result_of(const Operation &operation)
{
    if constexpr (std::is_void_v<decltype(operation())>)
        return operation(), false;
    else
        return operation();
}

#define FAILS(LINES, ...)                                                                          \
    {                                                                                              \
        LINES, [](Scene<Api> &s) { return result_of([&s] { return __VA_ARGS__; }); }               \
    }
#define NO_SELF(S, OPERATION, ...) __VA_OPT__(NO_SELF_AS(OPERATION, __VA_ARGS__))
#define NO_SELF_AS(OPERATION, CONTEXT, ...)                                                        \
    FAILS(#CONTEXT ":bad parameter: self", Api::OPERATION(s.none __VA_OPT__(, ) __VA_ARGS__)),
#define NO_LOAN(TEXT, LENGTH, MAX)                                                                 \
    FAILS("loan_contiguous:" TEXT, Api::loan_contiguous(&s.empty, s.array.elements, LENGTH, MAX)), \
        FAILS("loan_discontiguous:" TEXT,                                                          \
              Api::loan_discontiguous(&s.empty, s.array.pointers, LENGTH, MAX))

template <class Api>
const Failure<Api> kFailures[] = {
    OPERATIONS(NO_SELF, _)
        FAILS("set_maximum:!assert max size must be positive", Api::set_maximum(&s.three, -1)),
    FAILS("set_maximum:!assert new max cannot be larger than absolute maximum",
          Api::set_maximum(&s.three, 101)),
    FAILS("set_maximum:!assert buffer must not be loaned", Api::set_maximum(&s.loan, 1)),
    FAILS("set_maximum:!assert buffer must not be loaned", Api::finalize(&s.loan)),
    FAILS("set_maximum:!assert new absolute max cannot be smaller than max",
          Api::set_absolute_maximum(&s.three, 2)),
    FAILS("set_length:insufficient space: 100 available, -1 needed", Api::set_length(&s.three, -1)),
    FAILS("set_length:insufficient space: 100 available, 101 needed",
          Api::set_length(&s.three, 101)),
    FAILS("ensure_length:!sequence does not own its buffer", Api::set_length(&s.loan, 2)),
    FAILS("ensure_length:insufficient space: 5 available, 3 needed",
          Api::ensure_length(&s.three, 5, 3)),
    FAILS("set_length:insufficient space: 100 available, -1 needed\nensure_length:!set length",
          Api::ensure_length(&s.three, -1, 3)),
    FAILS("set_maximum:!assert new max cannot be larger than absolute "
          "maximum\nensure_length:insufficient space: 3 available, 101 needed",
          Api::ensure_length(&s.three, 4, 101)),
    FAILS("get:!assert index out of bounds", Api::get(&s.three, 2)),
    FAILS("get:!assert index out of bounds", Api::get(&s.empty, 0)),
    FAILS("get_reference:!assert index out of bounds", Api::get_reference(&s.three, -1)),
    FAILS("unloan:!assert buffer must be loaned", Api::unloan(&s.three)),
    FAILS("copy_no_alloc:bad parameter: src", Api::copy_no_alloc(&s.three, nullptr)),
    FAILS("copy_no_allocI:bad parameter: src", Api::copy_no_allocI(&s.three, nullptr)),
    FAILS("copy:bad parameter: src", Api::copy(&s.three, nullptr)),
    FAILS("copy_no_alloc:!sequence does not own its buffer", Api::copy_no_alloc(&s.loan, &s.three)),
    FAILS("copy_no_allocI:insufficient space: 1 available, 2 needed",
          Api::copy_no_allocI(&s.loan, &s.three)),
    FAILS("copy_no_allocI:insufficient space: 0 available, 2 needed",
          Api::copy_no_alloc(&s.empty, &s.three)),
    FAILS("set_maximum:!assert buffer must not be loaned", Api::copy(&s.loan, &s.three)),
    FAILS("loan_contiguous:!assert NULL buffer can't have non-zero maximum\nfrom_array:!set loan "
          "contiguous array",
          Api::from_array(&s.three, nullptr, 1)),
    FAILS("set_maximum:!assert buffer must not be loaned\nfrom_array:!set copying array sequence",
          Api::from_array(&s.loan, s.array.elements, 2)),
    FAILS("loan_contiguous:!assert negative argument\nto_array:!set loan contiguous array",
          Api::to_array(&s.three, s.array.elements, -1)),
    FAILS("copy_no_allocI:insufficient space: 1 available, 2 needed\nto_array:!set copying array "
          "sequence",
          Api::to_array(&s.three, s.array.elements, 1)),
    FAILS("get_read_tokenI:!get token (NULL)",
          (Api::get_read_tokenI(&s.three, &s.token, nullptr), s.token)),
    FAILS("get_read_tokenI:!get token (NULL)",
          (Api::get_read_tokenI(&s.three, nullptr, &s.token), s.token)),
    FAILS("get_element_allocation_params:bad parameter: params",
          Api::get_element_allocation_params(&s.three, nullptr)),
    FAILS("set_element_allocation_params:bad parameter: params",
          Api::set_element_allocation_params(&s.three, nullptr)),
    FAILS("set_element_deallocation_params:bad parameter: params",
          Api::get_element_deallocation_params(&s.three, nullptr)),
    FAILS("set_element_deallocation_params:bad parameter: params",
          Api::set_element_deallocation_params(&s.three, nullptr)),
    FAILS("set_element_allocation_params:!assert Member allocation parameters can be configured "
          "only when the maximum size of the sequence is 0",
          Api::set_element_allocation_params(&s.three, &s.allocation)),
    FAILS("set_element_pointers_allocation:!assert Pointers allocation policy can be configured "
          "only when the maximum size of the sequence is 0",
          Api::set_element_pointers_allocation(&s.three, 0)),
    NO_LOAN("!assert negative argument", -1, 1),
    NO_LOAN("!assert negative argument", 1, -1),
    NO_LOAN("insufficient space: 1 available, 2 needed", 2, 1),
    NO_LOAN("!assert new_max greater than absolute maximum size", 1, 101),
    FAILS("loan_contiguous:!assert max size must be 0",
          Api::loan_contiguous(&s.loan, s.array.elements, 1, 1)),
    FAILS("loan_discontiguous:!assert max size must be 0",
          Api::loan_discontiguous(&s.three, s.array.pointers, 1, 1)),
    FAILS("loan_contiguous:!assert NULL buffer can't have non-zero maximum",
          Api::loan_contiguous(&s.empty, nullptr, 0, 1)),
    FAILS("loan_discontiguous:!assert NULL buffer can't have non-zero maximum",
          Api::loan_discontiguous(&s.empty, nullptr, 0, 1)),
};

TYPED_TEST(Sequences, ReportUnderTheirOwnNames)
{
    using Api = TypeParam;
    LogCapture capture;
    Scene<Api> scene;
    const std::string before = scene.records();
    for (const Failure<Api> &failure : kFailures<Api>) {
        capture.clear();
        EXPECT_FALSE(failure.operation(scene)) << failure.lines;
        EXPECT_EQ(capture.lines(), failure.whole_lines());
        EXPECT_EQ(scene.records(), before) << failure.lines;
    }
    capture.set_levels(0x5);
    capture.clear();
    EXPECT_TRUE(Api::ensure_length(&scene.three, 5, 100));
    EXPECT_EQ(capture.lines(),
              (Failure<Api>{"ensure_length:sequence memory grown from 3 to 100 elements", nullptr}
                   .whole_lines()));
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

TYPED_TEST(Sequences, GrowNotWithoutMemory)
{
    using Api = TypeParam;
    const std::size_t size = 3 * sizeof(typename Api::Element);
    const std::string name = Api::kName;
    test::for_each_fault(
        [] {
            typename Api::Sequence sequence = {};
            const bool grown = Api::ensure_length(&sequence, 2, 3);
            const DDS_Long maximum = Api::get_maximum(&sequence);
            Api::finalize(&sequence);
            return test::text_of(grown) + " " + std::to_string(maximum);
        },
        {"true 3"},
        {{"calloc 1",
          {{"false 0",
            test::no_memory("ZOVOsapiHeap_allocateArray", size) +
                Lines{name + "_set_maximum:!malloc " + std::to_string(size) + " bytes\n",
                      name + "_ensure_length:insufficient space: 0 available, 3 needed\n"}}}}});
}

constexpr int kSteps = 20'000;

template <class Api>
using SequenceModel = Sequences<Api>;
using ModelMembers = testing::Types<DDS_CharSeqApi, DDS_LongSeqApi, DDS_DoubleSeqApi,
                                    DDS_LongDoubleSeqApi, DDS_StringSeqApi>;
TYPED_TEST_SUITE(SequenceModel, ModelMembers);

TYPED_TEST(SequenceModel, HoldsForRandomOperations)
{
    using Api = TypeParam;
    const LogCapture capture; // of failures, which are many
    const std::int64_t blocks = ZOVOsapiHeap_g_allocCount;
    std::mt19937 random(1);
    const auto number = [&random](int from, int to) {
        return std::uniform_int_distribution(from, to)(random);
    };
    {
        Subject<Api> subjects[4];
        for (int step = 0; step < kSteps; ++step) {
            Subject<Api> &self = subjects[number(0, 3)];
            const Subject<Api> &source = subjects[number(0, 3)];
            const auto source_before = source.sequence;
            const int operation = number(0, Subject<Api>::kLastOperation), a = number(-1, kMost), b = number(-1, kMost);
            std::vector<int> numbers(kMost);
            for (int &n : numbers)
                n = number(0, 99);
            SCOPED_TRACE(testing::Message() << "step " << step << ", operation " << operation);
            const auto [result, expected] = self.apply(operation, source, a, b, numbers);
            ASSERT_EQ(result, expected);
            if (operation == Subject<Api>::kForget)
                continue; // the record's first use is the next step's
            ASSERT_EQ(self.is(), self.should_be());
            ASSERT_TRUE(&source == &self || are_same(source.sequence, source_before));
        }
        for (Subject<Api> &subject : subjects)
            EXPECT_TRUE(Api::unloan(&subject.sequence) || Api::finalize(&subject.sequence));
    }
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, blocks);
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
    DDS_StringSeq fresh;
    DDS_StringSeq_initialize(&fresh);
    EXPECT_TRUE(DDS_StringSeq_equals(&fresh, &DDS_STRING_SEQUENCE_EMPTY));
    EXPECT_EQ(fresh.init_mark, DDS_STRING_SEQUENCE_EMPTY.init_mark);
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
        DDS_StringSeq_finalize(&one);
    }
    // What lies behind the length is asked for by none.
    DDS_StringSeq shortened = strings({"a", "", nullptr});
    DDS_StringSeq_set_length(&shortened, 1);
    EXPECT_FALSE(DDS_StringSeq_contains_empty_strings(&shortened));
    EXPECT_FALSE(DDS_StringSeq_contains_null_strings(&shortened));
    const LogCapture capture;
    EXPECT_FALSE(DDS_StringSeq_equals(&shortened, nullptr));
    EXPECT_FALSE(DDS_StringSeq_contains_empty_strings(nullptr));
    EXPECT_FALSE(DDS_StringSeq_contains_null_strings(nullptr));
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_StringSeq_equals:bad parameter: self\n",
                     "DDS_StringSeq_contains_empty_strings:bad parameter: self\n",
                     "DDS_StringSeq_contains_null_strings:bad parameter: self\n"}));
    DDS_StringSeq_finalize(&shortened);
}

/** The elements, or what there is in their slots. */
std::string text_of(const DDS_StringSeq &sequence)
{
    std::string text = std::to_string(sequence.length) + " of " + std::to_string(sequence.maximum);
    for (std::size_t i = 0; i < sequence.maximum; ++i)
        text += std::string(" ") +
                (sequence.contiguous_buffer[i] != nullptr ? sequence.contiguous_buffer[i] : "null");
    return text;
}

TEST(StringSequence, KeepsOrUndoesWhatFindsNoMemory)
{
    const Lines no_copy = {"DDS_StringSeq_from_array:!set copying array sequence\n"};
    const auto no_string = [&](std::size_t size) {
        return test::no_memory("ZOVOsapiHeap_reallocateString", size) + no_copy;
    };
    const auto scenario = [] {
        DDS_StringSeq sequence;
        {
            const test::Aside aside;
            sequence = strings({"x", "yy"});
        }
        const char *const texts[] = {"abc", nullptr, "defg"};
        const bool copied =
            DDS_StringSeq_from_array(&sequence, const_cast<char *const *>(texts), 3);
        std::string result = test::text_of(copied) + ", " + text_of(sequence);
        const test::Aside aside;
        DDS_StringSeq_finalize(&sequence);
        return result;
    };
    test::for_each_fault(
        scenario, {"true, 3 of 3 abc null defg"},
        {{"calloc 1",
          {{"false, 2 of 2 x yy", test::no_memory("ZOVOsapiHeap_allocateArray", 24) +
                                      Lines{"DDS_StringSeq_set_maximum:!malloc 24 bytes\n"} +
                                      no_copy}}},
         // Growing copies the strings: those that are copied already are freed again.
         {"calloc 2", {{"false, 2 of 2 x yy", no_string(2)}}},
         {"calloc 3", {{"false, 2 of 2 x yy", no_string(3)}}},
         // A copy leaves what it has done.
         {"realloc 1", {{"false, 3 of 3 x yy null", no_string(4)}}},
         {"calloc 4", {{"false, 3 of 3 abc null null", no_string(5)}}}});

    char *slot = DDS_String_dup("old"), *text = DDS_String_dup("new");
    const auto copy_string = [&] {
        EXPECT_EQ(DDS_StringSeq_copy_string(&slot, &text), &slot);
        return std::string(slot);
    };
    {
        const LogCapture capture;
        const test::Fault fault("realloc 1");
        EXPECT_EQ(copy_string(), "old");
    }
    EXPECT_EQ(copy_string(), "new");
    DDS_String_free(text);
    text = nullptr;
    EXPECT_EQ(*DDS_StringSeq_copy_string(&slot, &text), nullptr);
}

} // namespace
