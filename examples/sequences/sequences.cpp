/*
 * Sequences that own their buffer, sequences that borrow one, and the sequence of strings.
 *
 * What a sequence refuses, the library reports in a line "operation:reason".
 */
#include "dds/PrimitiveSeq.h"
#include "dds/String.h"
#include "dds/StringSeq.h"
#include "osapi/heap.h"

#include <array>
#include <cstdio>
#include <memory>

namespace {

/* What must be given back at the end of a scope, on every way out of it. */
struct Release
{
    void operator()(DDS_LongSeq *sequence) const { DDS_LongSeq_finalize(sequence); }
    void operator()(DDS_StringSeq *sequence) const { DDS_StringSeq_finalize(sequence); }
    void operator()(char *text) const { ZOVOsapiHeap_freeArray(text); }
};
template <class T>
using Scoped = std::unique_ptr<T, Release>;

void print(const char *what, DDS_LongSeq *sequence)
{
    std::printf("%s: %d of %d, %s:", what, DDS_LongSeq_get_length(sequence),
                DDS_LongSeq_get_maximum(sequence),
                DDS_LongSeq_has_ownership(sequence) ? "owned" : "on loan");
    for (DDS_Long i = 0; i < DDS_LongSeq_get_length(sequence); ++i)
        std::printf(" %d", DDS_LongSeq_get(sequence, i));
    std::putchar('\n');
}

/** Owned: the sequence allocates, grows and frees. */
bool fill_with_squares(DDS_LongSeq *squares)
{
    // Growing copies all elements, so ask for headroom: length 3 now, a buffer of 8 elements.
    if (!DDS_LongSeq_ensure_length(squares, 3, 8))
        return false;
    for (DDS_Long i = 0; i < 3; ++i)
        *DDS_LongSeq_get_reference(squares, i) = i * i;
    print("squares", squares);
    return true;
}

/** On loan: a view of a buffer that somebody else owns. Nothing is allocated or copied. */
bool lend_a_buffer(DDS_LongSeq *kept)
{
    std::array<DDS_Long, 4> samples = {10, 20, 30, 40}; // outlives the loan
    DDS_LongSeq window = {};
    if (!DDS_LongSeq_loan_contiguous(&window, samples.data(), 3, 4))
        return false;
    print("window", &window);
    *DDS_LongSeq_get_reference(&window, 0) = 11;
    std::printf("the lender sees it: %d\n", samples[0]);

    // Within the buffer the length may change. The buffer may neither grow, nor be freed, nor be
    // replaced by another one.
    const bool longer = DDS_LongSeq_set_length(&window, 4);
    const bool refused = !DDS_LongSeq_ensure_length(&window, 5, 5) &&
                         !DDS_LongSeq_finalize(&window) &&
                         !DDS_LongSeq_loan_contiguous(&window, samples.data(), 1, 1);
    print("window, unharmed", &window);

    // A copy has a buffer of its own, and so survives the end of the loan.
    const bool copied = DDS_LongSeq_copy(kept, &window) != nullptr;
    const bool returned = DDS_LongSeq_unloan(&window);
    print("window, after unloan", &window);
    print("copy", kept);
    return longer && refused && copied && returned;
}

/** Strings: an owned sequence also owns the texts of its elements. */
bool edit_names()
{
    DDS_StringSeq names = DDS_STRING_SEQUENCE_EMPTY;
    const Scoped<DDS_StringSeq> names_owner(&names);
    if (DDS_StringSeq_from_delimited_string(&names, "red,green,blue", ',') != DDS_RETCODE_OK)
        return false;
    // Never assign to an element: replacing it frees the old text and copies the new one.
    if (DDS_String_replace(DDS_StringSeq_get_reference(&names, 1), "yellow") == nullptr)
        return false;

    char *text = nullptr;
    DDS_Long size = 0;
    if (DDS_StringSeq_to_delimited_string_w_alloc(&names, &text, &size, ';') != DDS_RETCODE_OK)
        return false;
    const Scoped<char> text_owner(text);
    std::printf("%d names: %s\n", DDS_StringSeq_get_length(&names), text);
    return true;
}

} // namespace

int main()
{
    DDS_LongSeq numbers = {}; // zeros: an empty sequence that owns its buffer
    const Scoped<DDS_LongSeq> owner(&numbers);
    const bool done = fill_with_squares(&numbers) && lend_a_buffer(&numbers) && edit_names();
    return done && std::fflush(stdout) == 0 ? 0 : 1;
}
