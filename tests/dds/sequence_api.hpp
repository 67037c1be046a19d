/** All sequences under one set of names, and elements that are told apart as small numbers. */
#ifndef TESTS_DDS_SEQUENCE_API_HPP
#define TESTS_DDS_SEQUENCE_API_HPP

#include "dds/PrimitiveSeq.h"
#include "dds/String.h"
#include "dds/StringSeq.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

// The operations: the name under which one reports that there is no sequence, and arguments for
// that.
#define OPERATIONS(OPERATION, S)                                                                   \
    OPERATION(S, initialize, initialize)                                                           \
    OPERATION(S, finalize, finalize)                                                               \
    OPERATION(S, get_maximum, get_maximum)                                                         \
    OPERATION(S, get_length, get_length)                                                           \
    OPERATION(S, has_ownership, has_ownership)                                                     \
    OPERATION(S, get_contiguous_buffer, get_contiguous_bufferI)                                    \
    OPERATION(S, get_contiguous_bufferI, get_contiguous_bufferI)                                   \
    OPERATION(S, get_discontiguous_buffer, get_discontiguous_bufferI)                              \
    OPERATION(S, get_discontiguous_bufferI, get_discontiguous_bufferI)                             \
    OPERATION(S, set_maximum, set_maximum, 1)                                                      \
    OPERATION(S, set_absolute_maximum, set_maximum, 1)                                             \
    OPERATION(S, set_length, set_length, 1)                                                        \
    OPERATION(S, ensure_length, ensure_length, 1, 1)                                               \
    OPERATION(S, get, get, 0)                                                                      \
    OPERATION(S, get_reference, get_reference, 0)                                                  \
    OPERATION(S, loan_contiguous, loan_contiguous, array.elements, 1, 1)                           \
    OPERATION(S, loan_discontiguous, loan_discontiguous, array.pointers, 1, 1)                     \
    OPERATION(S, unloan, unloan)                                                                   \
    OPERATION(S, copy_no_alloc, copy_no_alloc, &three)                                             \
    OPERATION(S, copy_no_allocI, copy_no_allocI, &three)                                           \
    OPERATION(S, copy, copy, &three)                                                               \
    OPERATION(S, from_array, from_array, array.elements, 1)                                        \
    OPERATION(S, to_array, to_array, array.elements, 1)                                            \
    OPERATION(S, set_read_tokenI, set_read_tokenI, nullptr, nullptr)                               \
    OPERATION(S, get_read_tokenI, get_read_tokenI, &token, &token)                                 \
    OPERATION(S, get_element_allocation_params, get_element_allocation_params, &allocation)        \
    OPERATION(S, set_element_allocation_params, set_element_allocation_params, &allocation)        \
    OPERATION(S, get_element_deallocation_params, set_element_deallocation_params, &deallocation)  \
    OPERATION(S, set_element_deallocation_params, set_element_deallocation_params, &deallocation)  \
    OPERATION(S, set_element_pointers_allocation)                                                  \
    OPERATION(S, get_element_pointers_allocation)

/** The operations of a member under names without its own, so that a test is written once. */
#define NAME(SEQUENCE, OPERATION, ...) static constexpr auto OPERATION = SEQUENCE##_##OPERATION;
#define API(SEQUENCE, ELEMENT)                                                                     \
    struct SEQUENCE##Api                                                                           \
    {                                                                                              \
        using Sequence = SEQUENCE;                                                                 \
        using Element = ELEMENT;                                                                   \
        static constexpr char kName[] = #SEQUENCE;                                                 \
        OPERATIONS(NAME, SEQUENCE)                                                                 \
    };
DDS_PRIMITIVE_SEQUENCES(API)
API(DDS_StringSeq, char *)

// Tests speak of elements as of small numbers; 0 is what a fresh buffer holds.

template <class T>
void put(T &slot, int number)
{
    slot = static_cast<T>(number);
}

inline void put(char *&slot, int number)
{
    const std::string text(static_cast<std::size_t>(std::max(number - 1, 0)), 'x');
    DDS_String_replace(&slot, number == 0 ? nullptr : text.c_str());
}

template <class T>
int number_in(T slot)
{
    return static_cast<int>(slot);
}

inline int number_in(char *slot)
{
    return slot == nullptr ? 0 : static_cast<int>(std::strlen(slot)) + 1;
}

/** Elements in memory that no sequence owns. */
template <class Element, std::size_t count = 12>
struct Array
{
    Element elements[count] = {};
    Element *pointers[count]; // last to first

    Array()
    {
        for (std::size_t i = 0; i < count; ++i)
            pointers[i] = &elements[count - 1 - i];
    }
    ~Array() { fill(std::vector<int>(count)); }
    Array(const Array &) = delete;
    Array &operator=(const Array &) = delete;

    void fill(const std::vector<int> &numbers)
    {
        for (std::size_t i = 0; i < count; ++i)
            put(elements[i], numbers[i]);
    }
    std::vector<int> numbers() const
    {
        std::vector<int> numbers;
        for (const Element &element : elements)
            numbers.push_back(number_in(element));
        return numbers;
    }
};

#endif
