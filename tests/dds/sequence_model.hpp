/** What a sequence should be, its elements as small numbers. */
#ifndef TESTS_DDS_SEQUENCE_MODEL_HPP
#define TESTS_DDS_SEQUENCE_MODEL_HPP

#include <algorithm>
#include <cstdint>
#include <vector>

struct Model
{
    bool owned = true;
    std::vector<int> slots = {}; // up to the maximum
    std::size_t length = 0;
    std::int64_t absolute = 0x7FFFFFFF;

    std::int64_t maximum() const { return static_cast<std::int64_t>(slots.size()); }

    bool set_maximum(int max)
    {
        if (max < 0 || max > absolute || !owned)
            return false;
        const auto count = static_cast<std::size_t>(max);
        if (count == slots.size())
            return true;
        length = std::min(length, count);
        slots.resize(length);
        slots.resize(count);
        return true;
    }
    bool set_absolute_maximum(int max)
    {
        const bool possible = static_cast<std::uint32_t>(max) >= slots.size();
        absolute = possible ? static_cast<std::uint32_t>(max) : absolute;
        return possible;
    }
    bool ensure_length(int new_length, int max)
    {
        if (new_length > max || (new_length > maximum() && !set_maximum(max)))
            return false;
        length = new_length < 0 ? length : static_cast<std::size_t>(new_length);
        return new_length >= 0;
    }
    bool set_length(int new_length) { return ensure_length(new_length, new_length); }
    bool loan(const std::vector<int> &numbers, int new_length, int max)
    {
        if (!slots.empty() || new_length < 0 || new_length > max || max > absolute)
            return false;
        *this = {false,
                 {numbers.begin(), numbers.begin() + max},
                 static_cast<std::size_t>(new_length),
                 absolute};
        return true;
    }
    bool unloan()
    {
        if (owned)
            return false;
        *this = {.absolute = absolute};
        return true;
    }
    bool copy_no_alloc(const Model &src)
    {
        if (src.length > slots.size())
            return false;
        length = src.length;
        std::copy_n(src.slots.begin(), length, slots.begin());
        return true;
    }
    bool copy(const Model &src)
    {
        return (src.length <= slots.size() || set_maximum(static_cast<int>(src.maximum()))) &&
               copy_no_alloc(src);
    }
};

#endif
