/** What an operation returns as true or false; false for one that returns nothing. */
#ifndef TESTS_DDS_RESULT_OF_HPP
#define TESTS_DDS_RESULT_OF_HPP

#include <type_traits>

template <class Operation>
bool result_of(const Operation &operation)
{
    if constexpr (std::is_void_v<decltype(operation())>)
        return operation(), false;
    else
        return static_cast<bool>(operation());
}

#endif
