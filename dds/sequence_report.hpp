/** The names of the operations of sequences, and what they report. */
#ifndef WOLKCORE_DDS_SEQUENCE_REPORT_HPP
#define WOLKCORE_DDS_SEQUENCE_REPORT_HPP

#include "dds/Log.hpp"
#include "dds/Types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace dds::sequence {

/** A text that can be a template's argument. */
template <std::size_t size>
struct Text
{
    char characters[size];
    consteval Text(const char (&text)[size]) { std::copy_n(text, size, characters); }
};

/** The name of an operation: the type's and its own. */
template <std::size_t m, std::size_t n>
consteval std::array<char, m + n> joined(const Text<m> &type, const Text<n> &operation)
{
    std::array<char, m + n> name = {};
    std::copy_n(type.characters, m - 1, name.begin());
    name[m - 1] = '_';
    std::copy_n(operation.characters, n, name.begin() + m);
    return name;
}

// Reports. All of them return false, so that a failure is one line.

inline constexpr auto bad_parameter = dds::bad_parameter<kSubmoduleSequence>;

[[gnu::cold, gnu::noinline]] inline bool assertion_failed(const char *context,
                                                          const char *assertion)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, ZOV_LOG_ASSERT_FAILURE_s, assertion);
    return false;
}

[[gnu::cold, gnu::noinline]] inline bool set_failed(const char *context, const char *what)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, DDS_LOG_SET_FAILURE_s, what);
    return false;
}

[[gnu::cold, gnu::noinline]] inline bool not_owner(const char *context)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, DDS_LOG_SEQUENCE_NOT_OWNER);
    return false;
}

[[gnu::cold, gnu::noinline]] inline bool no_token(const char *context)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, DDS_LOG_GET_FAILURE_s, "token (NULL)");
    return false;
}

[[gnu::cold, gnu::noinline]] inline bool no_memory(const char *context, std::uint64_t bytes)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, ZOV_LOG_MALLOC_FAILURE_d,
               static_cast<unsigned long>(bytes));
    return false;
}

/** Bounds are unsigned: one above 0x7FFFFFFF is printed as a negative number. */
[[gnu::cold, gnu::noinline]] inline bool no_space(const char *context, std::int64_t available,
                                                  std::int64_t needed)
{
    DDS_LOG_AS(Exception, kSubmoduleSequence, context, ZOV_LOG_INSUFFICIENT_SPACE_FAILURE_dd,
               static_cast<DDS_Long>(available), static_cast<DDS_Long>(needed));
    return false;
}

} // namespace dds::sequence

#endif
