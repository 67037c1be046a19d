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

/** The record of a sequence type. */
#define DDS_SEQUENCE(SEQUENCE, ELEMENT)                                                            \
    struct SEQUENCE                                                                                \
    {                                                                                              \
        DDS_Boolean owned;                                                                         \
        ELEMENT *contiguous_buffer;                                                                \
        ELEMENT **discontiguous_buffer;                                                            \
        DDS_UnsignedLong maximum; /* element slots of the buffer */                                \
        DDS_UnsignedLong length;  /* valid elements */                                             \
        DDS_Long init_mark;       /* DDS_SEQUENCE_INITIALIZED */                                   \
        void *read_token1;        /* of a reader that lent the buffer */                           \
        void *read_token2;                                                                         \
        struct DDS_TypeAllocationParams_t element_allocation_params;                               \
        struct DDS_TypeDeallocationParams_t element_deallocation_params;                           \
        DDS_UnsignedLong absolute_maximum;                                                         \
    };                                                                                             \
    typedef struct SEQUENCE SEQUENCE

/*
 * What the operations of every sequence type do, told of DDS_LongSeq.
 *
 * Errors, unless said otherwise: FALSE, null or 0 and an exception under the operation's name; the
 * sequence stays as it was. A null sequence is "bad parameter: self\n".
 *
 * DDS_LongSeq_initialize: writes the state of a new sequence, over whatever there is.
 *
 * DDS_LongSeq_finalize: frees an owned buffer. Errors: those of set_maximum, for a loan.
 *
 * DDS_LongSeq_get_maximum, _get_length, _has_ownership, _get_contiguous_buffer(I),
 * _get_discontiguous_buffer(I): read the record.
 *
 * DDS_LongSeq_set_maximum: gives an owned sequence a buffer of exactly this many elements, with the
 * elements that fit; 0 frees it. Errors: "!assert ...\n" with "max size must be positive", "new max
 * cannot be larger than absolute maximum" or "buffer must not be loaned"; "!malloc ... bytes\n".
 *
 * DDS_LongSeq_set_absolute_maximum: bounds the maximum. Errors: "!assert new absolute max cannot be
 * smaller than max\n", under the name of set_maximum.
 *
 * DDS_LongSeq_set_length: makes the first new_length elements valid, growing the buffer to exactly
 * that many when it is shorter; new elements are not cleared. Errors: "insufficient space: ...\n"
 * for a length that is negative or above the absolute maximum; those of ensure_length.
 *
 * DDS_LongSeq_ensure_length: sets the length, growing the buffer to `max` elements when it is too
 * short: the caller chooses the headroom. Errors: "insufficient space: ...\n" for a length above
 * max, and for a buffer that cannot grow, behind the reason; "!sequence does not own its buffer\n";
 * "!set length\n".
 *
 * DDS_LongSeq_get: the element i; element 0, after "!assert index out of bounds\n", for an index
 * out of range; a zero value when there is no buffer at all. The sequence must not be null.
 *
 * DDS_LongSeq_get_reference: the address of element i, for as long as the buffer lives. Errors:
 * "!assert index out of bounds\n".
 *
 * DDS_LongSeq_loan_contiguous, _loan_discontiguous: borrow a buffer, which stays the lender's,
 * until unloan. Errors: "!assert ...\n" with "max size must be 0" (set_maximum 0 first), "negative
 * argument", "NULL buffer can't have non-zero maximum" or "new_max greater than absolute maximum
 * size"; "insufficient space: ...\n" for a length above the maximum.
 *
 * DDS_LongSeq_unloan: gives up a borrowed buffer, which is not touched. Errors: "!assert buffer
 * must be loaned\n".
 *
 * DDS_LongSeq_copy: makes the elements those of another sequence, growing to its maximum when its
 * length does not fit. @return self. DDS_LongSeq_copy_no_alloc: the same within the maximum that
 * there is. DDS_LongSeq_copy_no_allocI: its core, which does not ask about ownership. Elements are
 * copied first to last, also where loans overlap. Errors: "bad parameter: src\n", "!sequence does
 * not own its buffer\n" for a loan that is too small, "insufficient space: ...\n", those of
 * set_maximum.
 *
 * DDS_LongSeq_from_array, _to_array: copy from, and all elements to, a plain array. Errors: "!set
 * loan contiguous array\n" or "!set copying array sequence\n" behind the reason; "!set unloan
 * contiguous array\n" without failing.
 *
 * DDS_LongSeq_set_read_tokenI, _get_read_tokenI: keep two pointers for a lender. Errors: "!get
 * token (NULL)\n" for a null output, and nothing is written. The sequence must not be null.
 *
 * DDS_LongSeq_get_element_allocation_params, _set_..., _get_element_deallocation_params, _set_...:
 * read and write the parameter blocks of the record as it is: what is set in one that was never
 * used is lost with its first use. Those of allocation can be set only while the maximum is 0, else
 * "!assert Member allocation parameters can be configured only when the maximum size of the
 * sequence is 0\n". Errors: "bad parameter: params\n".
 *
 * DDS_LongSeq_set_element_pointers_allocation: sets the first flag of both blocks, while the
 * maximum is 0, else "!assert Pointers allocation policy can be configured only when the maximum
 * size of the sequence is 0\n". DDS_LongSeq_get_element_pointers_allocation: the first allocation
 * flag. Neither takes null or a record that was never used.
 */
#define DDS_SEQUENCE_OPERATIONS(SEQUENCE, ELEMENT)                                                 \
    DDS_Boolean SEQUENCE##_initialize(struct SEQUENCE *self);                                      \
    DDS_Boolean SEQUENCE##_finalize(struct SEQUENCE *self);                                        \
    DDS_Long SEQUENCE##_get_maximum(struct SEQUENCE *self);                                        \
    DDS_Long SEQUENCE##_get_length(struct SEQUENCE *self);                                         \
    DDS_Boolean SEQUENCE##_has_ownership(struct SEQUENCE *self);                                   \
    ELEMENT *SEQUENCE##_get_contiguous_buffer(struct SEQUENCE *self);                              \
    ELEMENT *SEQUENCE##_get_contiguous_bufferI(struct SEQUENCE *self);                             \
    ELEMENT **SEQUENCE##_get_discontiguous_buffer(struct SEQUENCE *self);                          \
    ELEMENT **SEQUENCE##_get_discontiguous_bufferI(struct SEQUENCE *self);                         \
    DDS_Boolean SEQUENCE##_set_maximum(struct SEQUENCE *self, DDS_Long new_max);                   \
    DDS_Boolean SEQUENCE##_set_absolute_maximum(struct SEQUENCE *self, DDS_Long new_abs_max);      \
    DDS_Boolean SEQUENCE##_set_length(struct SEQUENCE *self, DDS_Long new_length);                 \
    DDS_Boolean SEQUENCE##_ensure_length(struct SEQUENCE *self, DDS_Long length, DDS_Long max);    \
    ELEMENT SEQUENCE##_get(struct SEQUENCE *self, DDS_Long i);                                     \
    ELEMENT *SEQUENCE##_get_reference(struct SEQUENCE *self, DDS_Long i);                          \
    DDS_Boolean SEQUENCE##_loan_contiguous(struct SEQUENCE *self, ELEMENT *buffer,                 \
                                           DDS_Long new_length, DDS_Long new_max);                 \
    DDS_Boolean SEQUENCE##_loan_discontiguous(struct SEQUENCE *self, ELEMENT **buffer,             \
                                              DDS_Long new_length, DDS_Long new_max);              \
    DDS_Boolean SEQUENCE##_unloan(struct SEQUENCE *self);                                          \
    DDS_Boolean SEQUENCE##_copy_no_alloc(struct SEQUENCE *self, const struct SEQUENCE *src);       \
    DDS_Boolean SEQUENCE##_copy_no_allocI(struct SEQUENCE *self, const struct SEQUENCE *src);      \
    struct SEQUENCE *SEQUENCE##_copy(struct SEQUENCE *self, const struct SEQUENCE *src);           \
    DDS_Boolean SEQUENCE##_from_array(struct SEQUENCE *self, ELEMENT const *array,                 \
                                      DDS_Long length);                                            \
    DDS_Boolean SEQUENCE##_to_array(struct SEQUENCE *self, ELEMENT *array, DDS_Long length);       \
    void SEQUENCE##_set_read_tokenI(struct SEQUENCE *self, void *token1, void *token2);            \
    void SEQUENCE##_get_read_tokenI(struct SEQUENCE *self, void **token1_out, void **token2_out);  \
    void SEQUENCE##_get_element_allocation_params(struct SEQUENCE *self,                           \
                                                  struct DDS_TypeAllocationParams_t *params_out);  \
    DDS_Boolean SEQUENCE##_set_element_allocation_params(                                          \
        struct SEQUENCE *self, const struct DDS_TypeAllocationParams_t *params);                   \
    void SEQUENCE##_get_element_deallocation_params(                                               \
        struct SEQUENCE *self, struct DDS_TypeDeallocationParams_t *params_out);                   \
    DDS_Boolean SEQUENCE##_set_element_deallocation_params(                                        \
        struct SEQUENCE *self, const struct DDS_TypeDeallocationParams_t *params);                 \
    DDS_Boolean SEQUENCE##_set_element_pointers_allocation(struct SEQUENCE *self,                  \
                                                           DDS_Boolean flag);                      \
    DDS_Boolean SEQUENCE##_get_element_pointers_allocation(struct SEQUENCE *self)

ZOV_END_DECLARATIONS

#endif
