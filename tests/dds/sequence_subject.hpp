/** A sequence and its model, to which the same operations are applied. */
#ifndef TESTS_DDS_SEQUENCE_SUBJECT_HPP
#define TESTS_DDS_SEQUENCE_SUBJECT_HPP

#include "tests/dds/sequence_api.hpp"
#include "tests/dds/sequence_model.hpp"

#include <tuple>
#include <utility>

constexpr int kMost = 12;

/** What an operation returned, and what it should have. */
using Results = std::pair<bool, bool>;

/** A sequence, what it should be, and memory to lend to it. */
template <class Api>
struct Subject
{
    typename Api::Sequence sequence = {};
    Model model;
    Array<typename Api::Element, kMost> lent;

    static constexpr int kForget = 12; // leaves a record to be used for the first time
    static constexpr int kLastOperation = 13;

    /** Ownership, slots up to the maximum, and what `get` answers for indices around the length. */
    using State = std::tuple<bool, std::vector<int>, std::vector<int>>;

    State is()
    {
        std::vector<int> slots, elements;
        const DDS_Long length = Api::get_length(&sequence);
        for (DDS_Long i = 0; i < Api::get_maximum(&sequence); ++i)
            slots.push_back(number_in(i < length ? *Api::get_reference(&sequence, i) : raw(i)));
        for (DDS_Long i = -1; i <= length; ++i)
            elements.push_back(number_in(Api::get(&sequence, i)));
        return {Api::has_ownership(&sequence), slots, elements};
    }
    State should_be() const
    {
        std::vector<int> elements = model.slots;
        elements.resize(model.length);
        const int first = model.slots.empty() ? 0 : model.slots[0];
        elements.insert(elements.begin(), first);
        elements.push_back(first);
        return {model.owned, model.slots, elements};
    }

    Results apply(int operation, const Subject &source, int a, int b, std::vector<int> &numbers)
    {
        const auto *const src = &source.sequence;
        switch (operation) {
        case 0:
            return {Api::set_maximum(&sequence, a), model.set_maximum(a)};
        case 1:
            return {Api::set_length(&sequence, a), model.set_length(a)};
        case 2:
            return {Api::ensure_length(&sequence, a, b), model.ensure_length(a, b)};
        case 3:
            return {Api::set_absolute_maximum(&sequence, a + b), model.set_absolute_maximum(a + b)};
        case 4:
            return {Api::copy(&sequence, src) == &sequence, model.copy(source.model)};
        case 5:
            return {Api::copy_no_alloc(&sequence, src), model.copy_no_alloc(source.model)};
        case 6:
            return {Api::copy_no_allocI(&sequence, src), model.copy_no_alloc(source.model)};
        case 7:
            return {Api::unloan(&sequence), model.unloan()};
        case 8:
        case 9:
            return loan(operation == 8, a, b, numbers);
        case 10:
            return from_array(a, numbers);
        case 11:
            return to_array(a, numbers);
        case kForget:
            return forget();
        default:
            for (std::size_t i = 0; i < model.length; ++i)
                put(*Api::get_reference(&sequence, static_cast<DDS_Long>(i)),
                    model.slots[i] = numbers[i]);
            return {};
        }
    }

private:
    typename Api::Element raw(DDS_Long i)
    {
        auto **const pointers = Api::get_discontiguous_buffer(&sequence);
        return pointers != nullptr ? *pointers[i] : Api::get_contiguous_buffer(&sequence)[i];
    }

    Results loan(bool by_pointers, int length, int max, std::vector<int> &numbers)
    {
        if (model.slots.empty())
            lent.fill(numbers);
        const bool result = by_pointers
                                ? Api::loan_discontiguous(&sequence, lent.pointers, length, max)
                                : Api::loan_contiguous(&sequence, lent.elements, length, max);
        if (by_pointers)
            std::reverse(numbers.begin(), numbers.end());
        return {result, model.loan(numbers, length, max)};
    }

    Results from_array(int length, std::vector<int> &numbers)
    {
        Array<typename Api::Element, kMost> array;
        array.fill(numbers);
        const bool result = Api::from_array(&sequence, array.elements, length);
        numbers.resize(static_cast<std::size_t>(std::max(length, 0)));
        return {result, length >= 0 && model.copy({.slots = numbers, .length = numbers.size()})};
    }

    Results to_array(int length, std::vector<int> &numbers)
    {
        Array<typename Api::Element, kMost> array;
        array.fill(numbers);
        const bool result = Api::to_array(&sequence, array.elements, length);
        const bool expected = length >= static_cast<int>(model.length);
        if (expected)
            std::copy_n(model.slots.begin(), model.length, numbers.begin());
        return {result && array.numbers() == numbers, expected};
    }

    Results forget()
    {
        const bool result = Api::finalize(&sequence), expected = model.owned;
        if (expected) {
            std::memset(&sequence, 0xA5, sizeof sequence);
            model = {};
        }
        return {result, expected};
    }
};

#endif
