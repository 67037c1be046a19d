/** The comparisons of ordered data types in a form that a search can inline. */
#ifndef WOLKCORE_KOBA_ORDERED_DATA_TYPE_HPP
#define WOLKCORE_KOBA_ORDERED_DATA_TYPE_HPP

#include "koba/OrderedDataType.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace koba::ordered {

/** A word of a key, whatever type of record the key is in. */
template <class Word>
Word word_of(const void *key, std::size_t index)
{
    Word word;
    std::memcpy(&word, static_cast<const char *>(key) + index * sizeof word, sizeof word);
    return word;
}

template <class Word, std::size_t words>
std::int32_t compare(const void *a, const void *b)
{
    for (std::size_t i = 0; i < words; ++i) {
        const auto left = word_of<Word>(a, i);
        const auto right = word_of<Word>(b, i);
        if (left != right)
            return left > right ? 1 : -1;
    }
    return 0;
}

#define MEMBER(NAME, WORDS, WORD) inline constexpr auto kCompare##NAME = compare<WORD, WORDS>;
KOBA_ORDERED_DATA_TYPE_COMPARISONS(MEMBER)
#undef MEMBER

} // namespace koba::ordered

#endif
