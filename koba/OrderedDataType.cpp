#include "koba/OrderedDataType.hpp"

#include "koba/Log.hpp"
#include "koba/String.h"
#include "osapi/Stdio.h"

#include <cstdint>
#include <utility>

static_assert(offsetof(KOBAOrderedDataType, attribute) == 4);
static_assert(offsetof(KOBAOrderedDataType, compare) == 8);
static_assert(offsetof(KOBAOrderedDataType, print) == 16);
static_assert(offsetof(KOBAOrderedDataTypeStringTarget, buffer) == 8);

namespace {

/** Calls a function with the words of a key, one argument each. */
template <std::size_t words, class Function>
void with_words(const void *key, Function function)
{
    [&]<std::size_t... i>(std::index_sequence<i...>)
    {
        function(koba::ordered::word_of<std::uint32_t>(key, i)...);
    }
    (std::make_index_sequence<words>());
}

void print_label(const char *label, std::int32_t indent)
{
    KOBAString_printIndent(indent);
    if (label != nullptr)
        ZOVLog_debug("%s: ", label);
}

void fail_precondition(const char *condition)
{
    KOBA_LOG_AS(Exception, kSubmoduleOrderedDataType, "KOBAOrderedDataType_define",
                ZOV_LOG_PRECONDITION_FAILURE_s, condition);
    ZOVLog_onAssert();
}

} // namespace

#define MEMBER(NAME, WORDS, WORD)                                                                  \
    int32_t KOBAOrderedDataType_compare##NAME(const void *a, const void *b)                        \
    {                                                                                              \
        return koba::ordered::kCompare##NAME(a, b);                                                \
    }
KOBA_ORDERED_DATA_TYPE_COMPARISONS(MEMBER)
#undef MEMBER

int32_t KOBAOrderedDataType_comparePointerNullness(const void *a, const void *b)
{
    return static_cast<int32_t>(a != nullptr) - static_cast<int32_t>(b != nullptr);
}

int32_t KOBAOrderedDataType_compareUnsupported(const void *, const void *)
{
    KOBA_LOG(Exception, kSubmoduleOrderedDataType, ZOV_LOG_ANY_s,
             "NULL KOBAOrderedDataType_compare - unsupported size");
    return 0;
}

KOBAOrderedDataTypeCompareFcn KOBAOrderedDataType_defineCompareFromSize(int32_t size)
{
    switch (size) {
    case 4:
        return KOBAOrderedDataType_compareUInt;
    case 8:
        return KOBAOrderedDataType_compareDoubleUInt;
    case 12:
        return KOBAOrderedDataType_compareTripleUInt;
    case 16:
        return KOBAOrderedDataType_compareQuadUInt;
    case 20:
        return KOBAOrderedDataType_compareFiveUInt;
    case 24:
        return KOBAOrderedDataType_compareSixUInt;
    default:
        KOBA_LOG(Exception, kSubmoduleOrderedDataType, ZOV_LOG_CREATION_FAILURE_s,
                 "unsupported size");
        return KOBAOrderedDataType_compareUnsupported;
    }
}

void KOBAOrderedDataType_define(KOBAOrderedDataType *dataType, int32_t size, uint32_t attribute,
                                KOBAOrderedDataTypeCompareFcn compare,
                                KOBAOrderedDataTypePrintFcn print)
{
    if (dataType == nullptr)
        return fail_precondition("dataType == ((void *)0)");
    if (size < 0)
        return fail_precondition("size < 0");
    *dataType = {size, attribute, compare, print};
}

void *KOBAOrderedDataType_binarySearch(const void *key, const void *array, int32_t count,
                                       int32_t elementSize,
                                       int32_t (*compare)(const void *element, const void *key,
                                                          int32_t half))
{
    if (key == nullptr || array == nullptr || count < 1)
        return nullptr;
    const char *elements = static_cast<const char *>(array);
    int32_t low = 0;
    int32_t high = count - 1;
    while (low <= high) {
        const int32_t half = (high - low) / 2;
        const int32_t middle = low + half;
        const char *element = elements + std::ptrdiff_t{middle} * elementSize;
        const int32_t order = compare(element, key, half);
        if (order == 0)
            return const_cast<char *>(element);
        if (order > 0)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return nullptr;
}

// The format is a literal where it is used, so that the compiler holds it against the words.
#define MEMBER(NAME, WORDS, PRINT, TEXT, SIZE)                                                     \
    void KOBAOrderedDataType_print##NAME(const void *key, const char *label, int32_t indent)       \
    {                                                                                              \
        print_label(label, indent);                                                                \
        with_words<WORDS>(key, [](auto... words) { ZOVLog_debug(PRINT "\n", words...); });         \
    }                                                                                              \
    char *KOBAOrderedDataType_toString##NAME(const void *key,                                      \
                                             KOBAOrderedDataTypeStringTarget *target)              \
    {                                                                                              \
        if (target->capacity < SIZE)                                                               \
            return nullptr;                                                                        \
        with_words<WORDS>(key, [target](auto... words) {                                           \
            ZOVOsapiUtility_snprintf(target->buffer, static_cast<std::size_t>(target->capacity),   \
                                     TEXT, words...);                                              \
        });                                                                                        \
        target->capacity = SIZE;                                                                   \
        return target->buffer;                                                                     \
    }
KOBA_ORDERED_DATA_TYPE_FORMATS(MEMBER)
#undef MEMBER

void KOBAOrderedDataType_printPointer(const void *key, const char *label, int32_t indent)
{
    KOBAOrderedDataType_printDoubleInt(key, label, indent);
}
