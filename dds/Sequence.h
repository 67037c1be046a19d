/**
 * The form of all sequences: a growable array of one element type, which owns its buffer or has it
 * on loan.
 *
 * A loaned buffer has one of two layouts: elements one after the other (contiguous), or pointers to
 * elements (discontiguous). While it is on loan the sequence neither grows nor frees it.
 *
 * Invariants: length <= maximum <= absolute maximum; at most one of the buffers is set; an owned
 * sequence has no discontiguous one.
 *
 * A record of zeros, or of anything else without the mark of an initialised one, becomes an empty
 * owned sequence at its first use: sequences within records need no initialisation. A source of a
 * copy is not written; without the mark it is empty.
 *
 * Threads: a sequence belongs to one thread at a time.
 *
 *     struct DDS_LongSeq primes = {0};
 *     if (!DDS_LongSeq_ensure_length(&primes, 3, 16))
 *         return false;
 *     *DDS_LongSeq_get_reference(&primes, 0) = 2;
 *     ...
 *     DDS_LongSeq_finalize(&primes);
 */
#ifndef WOLKCORE_DDS_SEQUENCE_H
#define WOLKCORE_DDS_SEQUENCE_H

#include "dds/AllocationParams.h"
#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

/** The mark of an initialised sequence; it stays after finalize. */
#define DDS_SEQUENCE_INITIALIZED 0x7344
/** The absolute maximum of a new sequence. */
#define DDS_SEQUENCE_ABSOLUTE_MAXIMUM 0x7FFFFFFF

/** The record of a sequence type. Visible for its size; use the operations. */
#define DDS_SEQUENCE(SEQUENCE, ELEMENT)                                                            \
    /** A growable array, which owns its buffer or has it on loan: see dds/Sequence.h. */          \
    struct SEQUENCE                                                                                \
    {                                                                                              \
        DDS_Boolean owned;              /**< TRUE but for a loan */                                \
        ELEMENT *contiguous_buffer;     /**< the elements, or null */                              \
        ELEMENT **discontiguous_buffer; /**< of a loan: pointers to the elements, or null */       \
        DDS_UnsignedLong maximum;       /**< element slots of the buffer */                        \
        DDS_UnsignedLong length;        /**< valid elements */                                     \
        DDS_Long init_mark;             /**< DDS_SEQUENCE_INITIALIZED */                           \
        void *read_token1;              /**< of a reader that lent the buffer */                   \
        void *read_token2;              /**< of a reader that lent the buffer */                   \
        struct DDS_TypeAllocationParams_t element_allocation_params;     /**< only kept */         \
        struct DDS_TypeDeallocationParams_t element_deallocation_params; /**< only kept */         \
        DDS_UnsignedLong absolute_maximum; /**< bounds the maximum */                              \
    };                                                                                             \
    typedef struct SEQUENCE SEQUENCE

/**
 * The operations of a sequence type: DDS_LongSeq_get_length, and so on.
 *
 * Errors, unless said otherwise: FALSE, null or 0 and an exception under the operation's name; the
 * sequence stays as it was. A null sequence is "bad parameter: self\n".
 */
#define DDS_SEQUENCE_OPERATIONS(SEQUENCE, ELEMENT)                                                 \
    /** Writes the state of a new sequence, over whatever there is. */                             \
    DDS_Boolean SEQUENCE##_initialize(struct SEQUENCE *self);                                      \
    /** Frees an owned buffer; the sequence is then empty. Errors: those of set_maximum, for a     \
        loan. */                                                                                   \
    DDS_Boolean SEQUENCE##_finalize(struct SEQUENCE *self);                                        \
    /** The element slots of the buffer. */                                                        \
    DDS_Long SEQUENCE##_get_maximum(struct SEQUENCE *self);                                        \
    /** The valid elements. */                                                                     \
    DDS_Long SEQUENCE##_get_length(struct SEQUENCE *self);                                         \
    /** FALSE while the buffer is on loan. */                                                      \
    DDS_Boolean SEQUENCE##_has_ownership(struct SEQUENCE *self);                                   \
    /** The elements one after the other; null without a buffer, and for a discontiguous one. */   \
    ELEMENT *SEQUENCE##_get_contiguous_buffer(struct SEQUENCE *self);                              \
    /** The same as get_contiguous_buffer, which reports under this name. */                       \
    ELEMENT *SEQUENCE##_get_contiguous_bufferI(struct SEQUENCE *self);                             \
    /** The pointers to elements of a loan of that layout; else null. */                           \
    ELEMENT **SEQUENCE##_get_discontiguous_buffer(struct SEQUENCE *self);                          \
    /** The same as get_discontiguous_buffer, which reports under this name. */                    \
    ELEMENT **SEQUENCE##_get_discontiguous_bufferI(struct SEQUENCE *self);                         \
    /** Gives an owned sequence a buffer of exactly this many elements, with the elements that     \
        fit; 0 frees it. Errors: "!assert ..." with "max size must be positive", "new max          \
        cannot be larger than absolute maximum" or "buffer must not be loaned"; "!malloc ...       \
        bytes". */                                                                                 \
    DDS_Boolean SEQUENCE##_set_maximum(struct SEQUENCE *self, DDS_Long new_max);                   \
    /** Bounds the maximum; a negative number is a large one. Errors: "!assert new absolute        \
        max cannot be smaller than max", under the name of set_maximum. */                         \
    DDS_Boolean SEQUENCE##_set_absolute_maximum(struct SEQUENCE *self, DDS_Long new_abs_max);      \
    /** Makes the first new_length elements valid, growing the buffer to exactly that many         \
        when it is shorter; new elements are not cleared. Errors: "insufficient space: ..."        \
        for a length that is negative or above the absolute maximum; also those of                 \
        ensure_length. */                                                                          \
    DDS_Boolean SEQUENCE##_set_length(struct SEQUENCE *self, DDS_Long new_length);                 \
    /** Sets the length, growing the buffer to max elements when it is too short: the caller       \
        chooses the headroom. Errors: "insufficient space: ..." for a length above max, and        \
        for a buffer that cannot grow, behind the reason; "!sequence does not own its buffer";     \
        "!set length". */                                                                          \
    DDS_Boolean SEQUENCE##_ensure_length(struct SEQUENCE *self, DDS_Long length, DDS_Long max);    \
    /** The element i. Errors: element 0, after "!assert index out of bounds", for an index        \
        out of range; a zero value when there is no buffer at all, and for a null sequence. */     \
    ELEMENT SEQUENCE##_get(struct SEQUENCE *self, DDS_Long i);                                     \
    /** The address of element i, for as long as the buffer lives. Errors: "!assert index out      \
        of bounds". */                                                                             \
    ELEMENT *SEQUENCE##_get_reference(struct SEQUENCE *self, DDS_Long i);                          \
    /** Borrows a buffer of new_max elements until unloan. Ownership: it stays the lender's.       \
        Errors: "!assert ..." with "max size must be 0" (set_maximum 0 first), "negative           \
        argument", "NULL buffer can't have non-zero maximum" or "new_max greater than absolute     \
        maximum size"; "insufficient space: ..." for a length above the maximum. */                \
    DDS_Boolean SEQUENCE##_loan_contiguous(struct SEQUENCE *self, ELEMENT *buffer,                 \
                                           DDS_Long new_length, DDS_Long new_max);                 \
    /** Borrows a buffer of pointers to elements, as loan_contiguous does one of elements. */      \
    DDS_Boolean SEQUENCE##_loan_discontiguous(struct SEQUENCE *self, ELEMENT **buffer,             \
                                              DDS_Long new_length, DDS_Long new_max);              \
    /** Gives up a borrowed buffer, which is not touched; the sequence is then empty and           \
        owned. Errors: "!assert buffer must be loaned". */                                         \
    DDS_Boolean SEQUENCE##_unloan(struct SEQUENCE *self);                                          \
    /** Makes the elements those of another sequence, within the maximum that there is; first      \
        to last, also where loans overlap. Errors: "bad parameter: src"; "!sequence does not       \
        own its buffer" for a loan that is too small; "insufficient space: ...", under the         \
        name of copy_no_allocI. */                                                                 \
    DDS_Boolean SEQUENCE##_copy_no_alloc(struct SEQUENCE *self, const struct SEQUENCE *src);       \
    /** The core of copy_no_alloc, which does not ask about ownership. */                          \
    DDS_Boolean SEQUENCE##_copy_no_allocI(struct SEQUENCE *self, const struct SEQUENCE *src);      \
    /** The same as copy_no_alloc, but grows to the maximum of the other sequence when its         \
        length does not fit. Returns self. Errors: also those of set_maximum. */                   \
    struct SEQUENCE *SEQUENCE##_copy(struct SEQUENCE *self, const struct SEQUENCE *src);           \
    /** Makes the elements those of an array, growing as copy does. Errors: "!set loan             \
        contiguous array" or "!set copying array sequence", behind the reason. */                  \
    DDS_Boolean SEQUENCE##_from_array(struct SEQUENCE *self, ELEMENT const *array,                 \
                                      DDS_Long length);                                            \
    /** Copies all elements to an array that has room for so many. Errors: as from_array, when     \
        they are more. */                                                                          \
    DDS_Boolean SEQUENCE##_to_array(struct SEQUENCE *self, ELEMENT *array, DDS_Long length);       \
    /** Keeps two pointers for a lender. */                                                        \
    void SEQUENCE##_set_read_tokenI(struct SEQUENCE *self, void *token1, void *token2);            \
    /** Reads the two pointers. Errors: "!get token (NULL)" for a null output, and nothing is      \
        written. */                                                                                \
    void SEQUENCE##_get_read_tokenI(struct SEQUENCE *self, void **token1_out, void **token2_out);  \
    /** Reads the parameters of the record as it is. Errors: "bad parameter: params". */           \
    void SEQUENCE##_get_element_allocation_params(struct SEQUENCE *self,                           \
                                                  struct DDS_TypeAllocationParams_t *params_out);  \
    /** Writes them to the record as it is: in one that was never used they are lost with its      \
        first use. Errors: "bad parameter: params"; "!assert Member allocation parameters can      \
        be configured only when the maximum size of the sequence is 0". */                         \
    DDS_Boolean SEQUENCE##_set_element_allocation_params(                                          \
        struct SEQUENCE *self, const struct DDS_TypeAllocationParams_t *params);                   \
    /** Reads the parameters of the record as it is. Errors: "bad parameter: params", under        \
        the name of set_element_deallocation_params. */                                            \
    void SEQUENCE##_get_element_deallocation_params(                                               \
        struct SEQUENCE *self, struct DDS_TypeDeallocationParams_t *params_out);                   \
    /** Writes them to the record as it is, whatever its maximum. Errors: "bad parameter:          \
        params". */                                                                                \
    DDS_Boolean SEQUENCE##_set_element_deallocation_params(                                        \
        struct SEQUENCE *self, const struct DDS_TypeDeallocationParams_t *params);                 \
    /** Sets the first flag of both blocks of a sequence that is not null. Errors: "!assert        \
        Pointers allocation policy can be configured only when the maximum size of the             \
        sequence is 0". */                                                                         \
    DDS_Boolean SEQUENCE##_set_element_pointers_allocation(struct SEQUENCE *self,                  \
                                                           DDS_Boolean flag);                      \
    /** The first allocation flag of a sequence that is not null. */                               \
    DDS_Boolean SEQUENCE##_get_element_pointers_allocation(struct SEQUENCE *self)

ZOV_END_DECLARATIONS

#endif
