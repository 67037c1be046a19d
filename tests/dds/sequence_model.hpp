/** What a sequence should be, its elements as small numbers, and what it should report. */
#ifndef TESTS_DDS_SEQUENCE_MODEL_HPP
#define TESTS_DDS_SEQUENCE_MODEL_HPP

#include "tests/support/LogCapture.hpp"

#include <algorithm>
#include <utility>

struct Model
{
    inline static std::string type;
    inline static test::Lines reports;

    bool owned = true;
    std::vector<int> slots = {}; // up to the maximum
    std::size_t length = 0;
    std::int64_t absolute = 0x7FFFFFFF;

    static bool report(const std::string &line)
    {
        reports.push_back(type + '_' + line + '\n');
        return false;
    }
    static bool no_space(const std::string &operation, std::int64_t available, std::int64_t needed)
    {
        return report(operation +
                      ":insufficient space: " + std::to_string(static_cast<int>(available)) +
                      " available, " + std::to_string(needed) + " needed");
    }
    std::int64_t maximum() const { return static_cast<std::int64_t>(slots.size()); }

    bool set_maximum(int max)
    {
        if (max < 0)
            return report("set_maximum:!assert max size must be positive");
        if (max > absolute)
            return report("set_maximum:!assert new max cannot be larger than absolute maximum");
        if (!owned)
            return report("set_maximum:!assert buffer must not be loaned");
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
        if (static_cast<std::uint32_t>(max) < slots.size())
            return report("set_maximum:!assert new absolute max cannot be smaller than max");
        absolute = static_cast<std::uint32_t>(max);
        return true;
    }
    bool grow(int max)
    {
        const std::int64_t old = maximum();
        if (!owned)
            return report("ensure_length:!sequence does not own its buffer");
        report("ensure_length:sequence memory grown from " + std::to_string(old) + " to " +
               std::to_string(max) + " elements");
        return set_maximum(max) || no_space("ensure_length", old, max);
    }
    bool ensure_length(int new_length, int max)
    {
        if (new_length > max)
            return no_space("ensure_length", new_length, max);
        if (new_length > maximum() && !grow(max))
            return false;
        return set_length(new_length) || report("ensure_length:!set length");
    }
    bool set_length(int new_length)
    {
        if (new_length < 0 || new_length > absolute)
            return no_space("set_length", absolute, new_length);
        if (new_length > maximum())
            return ensure_length(new_length, new_length);
        length = static_cast<std::size_t>(new_length);
        return true;
    }
    bool loan(const std::string &operation, const std::vector<int> *numbers, int new_length,
              int max)
    {
        if (!slots.empty())
            return report(operation + ":!assert max size must be 0");
        if (new_length < 0 || max < 0)
            return report(operation + ":!assert negative argument");
        if (new_length > max)
            return no_space(operation, max, new_length);
        if (numbers == nullptr && max > 0)
            return report(operation + ":!assert NULL buffer can't have non-zero maximum");
        if (max > absolute)
            return report(operation + ":!assert new_max greater than absolute maximum size");
        owned = false;
        slots.clear();
        if (max > 0)
            slots.assign(numbers->begin(), numbers->begin() + max);
        length = static_cast<std::size_t>(new_length);
        return true;
    }
    bool unloan()
    {
        if (owned)
            return report("unloan:!assert buffer must be loaned");
        *this = {.absolute = absolute};
        return true;
    }
    bool copy_no_allocI(const Model &src)
    {
        if (src.length > slots.size())
            return no_space("copy_no_allocI", maximum(), static_cast<int>(src.length));
        length = src.length;
        std::copy_n(src.slots.begin(), length, slots.begin());
        return true;
    }
    bool copy_no_alloc(const Model &src)
    {
        if (!owned && src.length > slots.size())
            return report("copy_no_alloc:!sequence does not own its buffer");
        return copy_no_allocI(src);
    }
    bool copy(const Model &src)
    {
        return (src.length <= slots.size() || set_maximum(static_cast<int>(src.maximum()))) &&
               copy_no_alloc(src);
    }
    bool from_array(const std::vector<int> *numbers, int count)
    {
        Model array;
        if (!array.loan("loan_contiguous", numbers, count, count))
            return report("from_array:!set loan contiguous array");
        return copy(array) || report("from_array:!set copying array sequence");
    }
    bool to_array(std::vector<int> *numbers, int count) const
    {
        Model array;
        if (!array.loan("loan_contiguous", numbers, count, count))
            return report("to_array:!set loan contiguous array");
        if (!array.copy_no_allocI(*this))
            return report("to_array:!set copying array sequence");
        if (count > 0)
            std::ranges::copy(array.slots, numbers->begin());
        return true;
    }
};

#endif
