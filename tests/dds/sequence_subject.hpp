/** A sequence and its model, to which the same operations are applied. */
#ifndef TESTS_DDS_SEQUENCE_SUBJECT_HPP
#define TESTS_DDS_SEQUENCE_SUBJECT_HPP

#include "tests/dds/sequence_api.hpp"
#include "tests/dds/sequence_model.hpp"

#include <tuple>

constexpr int kMost = 12;
using Numbers = std::vector<int>;

/** A sequence, what it should be, and memory to lend to it. */
template <class Api>
struct Subject
{
    typename Api::Sequence sequence = {};
    Model model;
    Array<typename Api::Element, kMost> lent;

    /** Ownership, slots, what `get` and `get_reference` have for indices around the length. */
    using State = std::tuple<bool, Numbers, Numbers>;

    State is()
    {
        Numbers slots, elements;
        auto **const pointers = Api::get_discontiguous_buffer(&sequence);
        for (DDS_Long i = 0; i < Api::get_maximum(&sequence); ++i)
            slots.push_back(number_in(
                pointers != nullptr ? *pointers[i] : Api::get_contiguous_buffer(&sequence)[i]));
        for (DDS_Long i = -1; i <= Api::get_length(&sequence); ++i) {
            elements.push_back(number_in(Api::get(&sequence, i)));
            const auto *slot = Api::get_reference(&sequence, i);
            elements.push_back(slot != nullptr ? number_in(*slot) : -1);
        }
        return {Api::has_ownership(&sequence), slots, elements};
    }
    State should_be() const
    {
        Numbers elements;
        const auto add_no_element = [&] {
            for (const int number : {model.slots.empty() ? 0 : model.slots[0], -1})
                elements.push_back(number);
            for (const std::string operation : {"get", "get_reference"})
                Model::report(operation + ":!assert index out of bounds");
        };
        add_no_element();
        for (std::size_t i = 0; i < model.length; ++i)
            elements.insert(elements.end(), 2, model.slots[i]);
        add_no_element();
        return {model.owned, model.slots, elements};
    }
};

/** What an operation returned, and what it should have. */
using Results = std::pair<bool, bool>;

template <class Api>
Results lend(Subject<Api> &self, bool by_pointers, int length, int max, Numbers numbers)
{
    const bool is_null = numbers[0] < 5;
    if (self.model.slots.empty())
        self.lent.fill(numbers);
    auto *sequence = &self.sequence;
    auto *elements = is_null ? nullptr : self.lent.elements;
    auto **pointers = is_null ? nullptr : self.lent.pointers;
    if (by_pointers)
        std::ranges::reverse(numbers);
    return {by_pointers ? Api::loan_discontiguous(sequence, pointers, length, max)
                        : Api::loan_contiguous(sequence, elements, length, max),
            self.model.loan(by_pointers ? "loan_discontiguous" : "loan_contiguous",
                            is_null ? nullptr : &numbers, length, max)};
}

template <class Api>
Results copy_array(Subject<Api> &self, bool is_source, int length, Numbers numbers)
{
    const bool is_null = numbers[0] < 5;
    Array<typename Api::Element, kMost> array;
    array.fill(numbers);
    auto *elements = is_null ? nullptr : array.elements;
    auto *expected = is_null ? nullptr : &numbers;
    const Results results = {is_source ? Api::from_array(&self.sequence, elements, length)
                                       : Api::to_array(&self.sequence, elements, length),
                             is_source ? self.model.from_array(expected, length)
                                       : self.model.to_array(expected, length)};
    return {results.first && array.numbers() == numbers, results.second};
}

template <class Api>
Results put_all(Subject<Api> &self, const Numbers &numbers)
{
    for (std::size_t i = 0; i < self.model.length; ++i)
        put(*Api::get_reference(&self.sequence, static_cast<DDS_Long>(i)),
            self.model.slots[i] = numbers[i]);
    return {};
}

/** Leaves a record as one that was never used. */
template <class Api>
Results forget(Subject<Api> &self)
{
    const Results results = {Api::finalize(&self.sequence), self.model.set_maximum(0)};
    if (results.first) {
        std::memset(&self.sequence, 0xA5, sizeof self.sequence);
        self.model = {};
    }
    return results;
}

/** A step that random numbers choose. */
template <class Api>
using Step = Results (*)(Subject<Api> &s, const Subject<Api> &from, int a, int b,
                         const Numbers &numbers);
#define STEP(...)                                                                                  \
    [](Subject<Api> &s, const Subject<Api> &from, int a, int b,                                    \
       const Numbers &numbers) -> Results {                                                        \
        static_cast<void>(std::tie(from, a, b, numbers));                                          \
        return __VA_ARGS__;                                                                        \
    }
#define COMPARED(OPERATION, ...)                                                                   \
    STEP({Api::OPERATION(&s.sequence __VA_OPT__(, ) __VA_ARGS__), s.model.OPERATION(__VA_ARGS__)})
#define COPIED(OPERATION)                                                                          \
    STEP({Api::OPERATION(&s.sequence, &from.sequence) != 0, s.model.OPERATION(from.model)})

template <class Api>
const Step<Api> kOperations[] = {
    COMPARED(set_maximum, a),
    COMPARED(set_length, a),
    COMPARED(ensure_length, a, b),
    COMPARED(set_absolute_maximum, a + b),
    COMPARED(unloan),
    COPIED(copy),
    COPIED(copy_no_alloc),
    COPIED(copy_no_allocI),
    STEP(lend(s, true, a, b, numbers)),
    STEP(lend(s, false, a, b, numbers)),
    STEP(copy_array(s, true, a, numbers)),
    STEP(copy_array(s, false, a, numbers)),
    STEP(put_all(s, numbers)),
    STEP(forget(s)),
};

#endif
