/**
 * The operations of all sequences, written once over the type of the sequence and a policy of its
 * elements; a source stamps the C functions of a type with DDS_DEFINE_SEQUENCE.
 *
 * A policy says what a copy of elements is, which may fail behind the heap's report, and what goes
 * with them when their buffer does:
 *
 *     struct Elements
 *     {
 *         static bool copy(T *to, const T *from, DDS_UnsignedLong count);
 *         static bool copy_one(T *to, const T *from);
 *         static void release(T *slots, DDS_UnsignedLong count);
 *     };
 */
#ifndef WOLKCORE_DDS_SEQUENCE_HPP
#define WOLKCORE_DDS_SEQUENCE_HPP

#include "dds/Sequence.h"
#include "dds/sequence_report.hpp"
#include "osapi/Owned.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <utility>

namespace dds::sequence {

/** The name of a sequence type. */
template <class Sequence>
constexpr const char *kTypeName = nullptr;

/** Elements that are nothing but their bytes. */
template <class T>
struct ValueElements
{
    static bool copy(T *to, const T *from, DDS_UnsignedLong count)
    {
        if (count == 0)
            return true;
        const auto distance =
            reinterpret_cast<std::uintptr_t>(to) - reinterpret_cast<std::uintptr_t>(from);
        if (distance - 1 < count * sizeof(T) - 1) [[unlikely]]
            copy_on(to, from, count);
        else
            std::memmove(to, from, count * sizeof(T));
        return true;
    }

    // Elements are copied first to last: where a loan begins within the source, what was copied is
    // copied on.
    [[gnu::cold, gnu::noinline]] static void copy_on(T *to, const T *from, DDS_UnsignedLong count)
    {
        for (DDS_UnsignedLong i = 0; i < count; ++i)
            copy_one(to + i, from + i);
    }

    // All bytes, also those that an assignment of a long double leaves out.
    static bool copy_one(T *to, const T *from)
    {
        std::memmove(to, from, sizeof(T));
        return true;
    }

    static void release(T *, DDS_UnsignedLong) {}
};

template <class Sequence>
bool is_initialized(const Sequence *sequence)
{
    return sequence->init_mark == DDS_SEQUENCE_INITIALIZED;
}

/** A sequence that is only read is not initialised at its first use: it is empty. */
template <class Sequence>
DDS_UnsignedLong length_of(const Sequence *source)
{
    return is_initialized(source) ? source->length : 0;
}

template <class Sequence>
auto *slot_of(const Sequence *sequence, DDS_UnsignedLong i)
{
    if (sequence->discontiguous_buffer != nullptr) [[unlikely]]
        return sequence->discontiguous_buffer[i];
    return sequence->contiguous_buffer + i;
}

template <class Sequence>
constexpr Sequence kInitial = {
    .owned = DDS_BOOLEAN_TRUE,
    .contiguous_buffer = nullptr,
    .discontiguous_buffer = nullptr,
    .maximum = 0,
    .length = 0,
    .init_mark = DDS_SEQUENCE_INITIALIZED,
    .read_token1 = nullptr,
    .read_token2 = nullptr,
    .element_allocation_params = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_FALSE, DDS_BOOLEAN_TRUE},
    .element_deallocation_params = {DDS_BOOLEAN_TRUE, DDS_BOOLEAN_TRUE},
    .absolute_maximum = DDS_SEQUENCE_ABSOLUTE_MAXIMUM,
};

template <class Sequence, class Elements>
class Operations
{
    // The heap takes the name of the element type from here: in a snapshot it reads "T".
    using T = std::remove_pointer_t<decltype(Sequence::contiguous_buffer)>;

    template <Text operation>
    static constexpr std::array kJoined = joined(kTypeName<Sequence>, operation);
    template <Text operation>
    static constexpr const char *kName = kJoined<operation>.data();

    /** A buffer with elements in its slots that nobody else owns. */
    struct OwnedBuffer
    {
        zov::heap::Owned<T, zov::heap::Kind::Array> slots;
        DDS_UnsignedLong count;
        ~OwnedBuffer() { Elements::release(slots.get(), count); }
    };

    [[gnu::cold, gnu::noinline]] static bool make_ready(Sequence *self, const char *operation)
    {
        if (self == nullptr) {
            bad_parameter(operation, "self");
            return false; // said here, where the static analysis sees it
        }
        *self = kInitial<Sequence>;
        return true;
    }

    /** What operations begin with. Without a sequence it reports so and returns false. */
    static bool is_ready(Sequence *self, const char *operation)
    {
        if (self == nullptr || !is_initialized(self)) [[unlikely]]
            return make_ready(self, operation);
        return true;
    }

    /** The same for operations that take a record as it is. */
    static bool is_there(const void *self, const void *params, const char *operation)
    {
        if (self == nullptr)
            return bad_parameter(operation, "self");
        return params != nullptr || bad_parameter(operation, "params");
    }

    /** A record that was never used has no elements, whatever it holds. */
    static bool is_element(const Sequence *self, DDS_Long i)
    {
        return self != nullptr && is_initialized(self) &&
               static_cast<DDS_UnsignedLong>(i) < self->length; // a negative one is a large one
    }

    // Kept: a bad index has no other answer, and callers count on the first element.
    [[gnu::cold, gnu::noinline]] static T get_first(Sequence *self)
    {
        constexpr const char *kOperation = kName<"get">;
        if (!is_ready(self, kOperation))
            return {};
        assertion_failed(kOperation, "index out of bounds");
        return self->maximum > 0 ? *slot_of(self, 0) : T{};
    }

    static bool is_above(DDS_Long number, DDS_UnsignedLong bound)
    {
        return static_cast<DDS_UnsignedLong>(number) > bound;
    }

    /** Whether a length may be set at all. */
    static bool is_length(const Sequence *self, DDS_Long length)
    {
        if (length < 0 || is_above(length, self->absolute_maximum)) [[unlikely]]
            return no_space(kName<"set_length">, self->absolute_maximum, length);
        return true;
    }

    static bool grow(Sequence *self, DDS_Long max)
    {
        constexpr const char *kOperation = kName<"ensure_length">;
        if (!self->owned)
            return not_owner(kOperation);
        const auto old = static_cast<DDS_Long>(self->maximum);
        DDS_LOG_AS(Local, kSubmoduleSequence, kOperation, DDS_LOG_MEMORY_ALLOCATED_dd, old, max);
        return set_maximum(self, max) || no_space(kOperation, old, max);
    }

    // What the loan of an array for a copy takes is inlined: its record is never written to memory.

    [[gnu::always_inline]] static bool is_loan_possible(const Sequence *self, const void *buffer,
                                                        DDS_Long new_length, DDS_Long new_max,
                                                        const char *operation)
    {
        if (self->maximum != 0)
            return assertion_failed(operation, "max size must be 0");
        if (new_length < 0 || new_max < 0)
            return assertion_failed(operation, "negative argument");
        if (new_length > new_max)
            return no_space(operation, new_max, new_length);
        if (new_max > 0 && buffer == nullptr)
            return assertion_failed(operation, "NULL buffer can't have non-zero maximum");
        if (is_above(new_max, self->absolute_maximum))
            return assertion_failed(operation, "new_max greater than absolute maximum size");
        return true;
    }

    static void hold(Sequence *self, bool owned, T *contiguous, T **discontiguous, DDS_Long length,
                     DDS_Long max)
    {
        self->owned = owned;
        self->contiguous_buffer = contiguous;
        self->discontiguous_buffer = discontiguous;
        self->maximum = static_cast<DDS_UnsignedLong>(max);
        self->length = static_cast<DDS_UnsignedLong>(length);
    }

    /** Copies from or to an array, which is on loan for that while. */
    template <class Copy>
    static bool copy_array(T *array, DDS_Long length, const char *operation, const Copy &copy)
    {
        Sequence loan = kInitial<Sequence>;
        if (!loan_contiguous(&loan, array, length, length))
            return set_failed(operation, "loan contiguous array");
        if (!copy(&loan))
            return set_failed(operation, "copying array sequence");
        if (!unloan(&loan))
            set_failed(operation, "unloan contiguous array");
        return true;
    }

    [[gnu::always_inline]] static bool copy_elements(Sequence *self, const Sequence *src)
    {
        constexpr const char *kOperation = kName<"copy_no_allocI">;
        const DDS_UnsignedLong length = length_of(src);
        if (length > self->maximum)
            return no_space(kOperation, self->maximum, length);
        if (!is_length(self, static_cast<DDS_Long>(length)))
            return no_space(kOperation, self->absolute_maximum, length);
        self->length = length;
        if (self->contiguous_buffer != nullptr && src->contiguous_buffer != nullptr)
            return Elements::copy(self->contiguous_buffer, src->contiguous_buffer, length);
        for (DDS_UnsignedLong i = 0; i < length; ++i)
            if (!Elements::copy_one(slot_of(self, i), slot_of(src, i)))
                return false;
        return true;
    }

    static bool is_copyable(Sequence *self, const Sequence *src, const char *operation)
    {
        if (!is_ready(self, operation))
            return false;
        return src != nullptr || bad_parameter(operation, "src");
    }

public:
    static bool initialize(Sequence *self)
    {
        if (self == nullptr)
            return bad_parameter(kName<"initialize">, "self");
        *self = kInitial<Sequence>;
        return true;
    }

    static bool finalize(Sequence *self)
    {
        return is_ready(self, kName<"finalize">) && set_maximum(self, 0);
    }

    static DDS_Long get_maximum(Sequence *self)
    {
        return is_ready(self, kName<"get_maximum">) ? static_cast<DDS_Long>(self->maximum) : 0;
    }

    static DDS_Long get_length(Sequence *self)
    {
        return is_ready(self, kName<"get_length">) ? static_cast<DDS_Long>(self->length) : 0;
    }

    static bool has_ownership(Sequence *self)
    {
        return is_ready(self, kName<"has_ownership">) && self->owned;
    }

    static T *get_contiguous_bufferI(Sequence *self)
    {
        return is_ready(self, kName<"get_contiguous_bufferI">) ? self->contiguous_buffer : nullptr;
    }

    static T *get_contiguous_buffer(Sequence *self) { return get_contiguous_bufferI(self); }

    static T **get_discontiguous_bufferI(Sequence *self)
    {
        return is_ready(self, kName<"get_discontiguous_bufferI">) ? self->discontiguous_buffer
                                                                  : nullptr;
    }

    static T **get_discontiguous_buffer(Sequence *self) { return get_discontiguous_bufferI(self); }

    static bool set_maximum(Sequence *self, DDS_Long new_max)
    {
        constexpr const char *kOperation = kName<"set_maximum">;
        if (!is_ready(self, kOperation))
            return false;
        if (new_max < 0)
            return assertion_failed(kOperation, "max size must be positive");
        if (is_above(new_max, self->absolute_maximum))
            return assertion_failed(kOperation, "new max cannot be larger than absolute maximum");
        if (!self->owned)
            return assertion_failed(kOperation, "buffer must not be loaned");
        const auto count = static_cast<DDS_UnsignedLong>(new_max);
        if (count == self->maximum)
            return true;
        OwnedBuffer buffer = {.slots = {}, .count = count};
        if (count > 0 && ZOVOsapiHeap_allocateArray(buffer.slots.address(), count, T) == nullptr)
            return no_memory(kOperation, ZOVOsapiHeap_productSize(count, sizeof(T)));
        const DDS_UnsignedLong kept = std::min(count, self->length);
        if (!Elements::copy(buffer.slots.get(), self->contiguous_buffer, kept))
            return false;
        std::swap(*buffer.slots.address(), self->contiguous_buffer);
        std::swap(buffer.count, self->maximum);
        self->length = kept;
        return true;
    }

    static bool set_absolute_maximum(Sequence *self, DDS_Long new_abs_max)
    {
        // Kept: the reports name the operation that the bound is for.
        constexpr const char *kOperation = kName<"set_maximum">;
        if (!is_ready(self, kOperation))
            return false;
        const auto bound = static_cast<DDS_UnsignedLong>(new_abs_max);
        if (bound < self->maximum)
            return assertion_failed(kOperation, "new absolute max cannot be smaller than max");
        self->absolute_maximum = bound;
        return true;
    }

    static bool set_length(Sequence *self, DDS_Long new_length)
    {
        if (!is_ready(self, kName<"set_length">) || !is_length(self, new_length))
            return false;
        if (is_above(new_length, self->maximum))
            return ensure_length(self, new_length, new_length);
        self->length = static_cast<DDS_UnsignedLong>(new_length);
        return true;
    }

    static bool ensure_length(Sequence *self, DDS_Long length, DDS_Long max)
    {
        constexpr const char *kOperation = kName<"ensure_length">;
        if (!is_ready(self, kOperation))
            return false;
        if (length > max)
            return no_space(kOperation, length, max);
        if (length > static_cast<DDS_Long>(self->maximum) && !grow(self, max))
            return false;
        return set_length(self, length) || set_failed(kOperation, "length");
    }

    static T get(Sequence *self, DDS_Long i)
    {
        if (is_element(self, i)) [[likely]]
            return *slot_of(self, static_cast<DDS_UnsignedLong>(i));
        return get_first(self);
    }

    static T *get_reference(Sequence *self, DDS_Long i)
    {
        constexpr const char *kOperation = kName<"get_reference">;
        if (is_element(self, i)) [[likely]]
            return slot_of(self, static_cast<DDS_UnsignedLong>(i));
        if (is_ready(self, kOperation))
            assertion_failed(kOperation, "index out of bounds");
        return nullptr;
    }

    static bool loan_contiguous(Sequence *self, T *buffer, DDS_Long new_length, DDS_Long new_max)
    {
        constexpr const char *kOperation = kName<"loan_contiguous">;
        if (!is_ready(self, kOperation) ||
            !is_loan_possible(self, buffer, new_length, new_max, kOperation))
            return false;
        hold(self, false, buffer, nullptr, new_length, new_max);
        return true;
    }

    static bool loan_discontiguous(Sequence *self, T **buffer, DDS_Long new_length,
                                   DDS_Long new_max)
    {
        constexpr const char *kOperation = kName<"loan_discontiguous">;
        if (!is_ready(self, kOperation) ||
            !is_loan_possible(self, buffer, new_length, new_max, kOperation))
            return false;
        hold(self, false, nullptr, buffer, new_length, new_max);
        return true;
    }

    static bool unloan(Sequence *self)
    {
        constexpr const char *kOperation = kName<"unloan">;
        if (!is_ready(self, kOperation))
            return false;
        if (self->owned)
            return assertion_failed(kOperation, "buffer must be loaned");
        hold(self, true, nullptr, nullptr, 0, 0);
        return true;
    }

    static bool copy_no_allocI(Sequence *self, const Sequence *src)
    {
        return is_copyable(self, src, kName<"copy_no_allocI">) && copy_elements(self, src);
    }

    [[gnu::always_inline]] static bool copy_no_alloc(Sequence *self, const Sequence *src)
    {
        constexpr const char *kOperation = kName<"copy_no_alloc">;
        if (!is_copyable(self, src, kOperation))
            return false;
        if (!self->owned && length_of(src) > self->maximum)
            return not_owner(kOperation);
        return copy_elements(self, src);
    }

    [[gnu::always_inline]] static Sequence *copy(Sequence *self, const Sequence *src)
    {
        if (!is_copyable(self, src, kName<"copy">))
            return nullptr;
        if (self->maximum < length_of(src) &&
            !set_maximum(self, static_cast<DDS_Long>(src->maximum)))
            return nullptr;
        return copy_no_alloc(self, src) ? self : nullptr;
    }

    static bool from_array(Sequence *self, const T *array, DDS_Long length)
    {
        constexpr const char *kOperation = kName<"from_array">;
        if (!is_ready(self, kOperation))
            return false;
        return copy_array(const_cast<T *>(array), length, kOperation,
                          [self](const Sequence *loan) { return copy(self, loan) != nullptr; });
    }

    static bool to_array(Sequence *self, T *array, DDS_Long length)
    {
        constexpr const char *kOperation = kName<"to_array">;
        if (!is_ready(self, kOperation))
            return false;
        return copy_array(array, length, kOperation,
                          [self](Sequence *loan) { return copy_no_allocI(loan, self); });
    }

    static void set_read_tokenI(Sequence *self, void *token1, void *token2)
    {
        if (!is_ready(self, kName<"set_read_tokenI">))
            return;
        self->read_token1 = token1;
        self->read_token2 = token2;
    }

    static void get_read_tokenI(Sequence *self, void **token1_out, void **token2_out)
    {
        constexpr const char *kOperation = kName<"get_read_tokenI">;
        if (!is_ready(self, kOperation))
            return;
        if (token1_out == nullptr || token2_out == nullptr) {
            no_token(kOperation);
            return;
        }
        *token1_out = self->read_token1;
        *token2_out = self->read_token2;
    }

    static void get_element_allocation_params(const Sequence *self,
                                              DDS_TypeAllocationParams_t *params_out)
    {
        if (is_there(self, params_out, kName<"get_element_allocation_params">))
            *params_out = self->element_allocation_params;
    }

    static bool set_element_allocation_params(Sequence *self,
                                              const DDS_TypeAllocationParams_t *params)
    {
        constexpr const char *kOperation = kName<"set_element_allocation_params">;
        if (!is_there(self, params, kOperation))
            return false;
        if (self->maximum != 0)
            return assertion_failed(kOperation, "Member allocation parameters can be configured "
                                                "only when the maximum size of the sequence is 0");
        self->element_allocation_params = *params;
        return true;
    }

    static void get_element_deallocation_params(const Sequence *self,
                                                DDS_TypeDeallocationParams_t *params_out)
    {
        // Kept: the reports name the operation that sets them.
        if (is_there(self, params_out, kName<"set_element_deallocation_params">))
            *params_out = self->element_deallocation_params;
    }

    static bool set_element_deallocation_params(Sequence *self,
                                                const DDS_TypeDeallocationParams_t *params)
    {
        if (!is_there(self, params, kName<"set_element_deallocation_params">))
            return false;
        self->element_deallocation_params = *params;
        return true;
    }

    static bool set_element_pointers_allocation(Sequence *self, DDS_Boolean flag)
    {
        if (self->maximum != 0)
            return assertion_failed(kName<"set_element_pointers_allocation">,
                                    "Pointers allocation policy can be configured only when the "
                                    "maximum size of the sequence is 0");
        self->element_allocation_params.allocate_pointers = flag;
        self->element_deallocation_params.delete_pointers = flag;
        return true;
    }

    static DDS_Boolean get_element_pointers_allocation(const Sequence *self)
    {
        return self->element_allocation_params.allocate_pointers;
    }
};

} // namespace dds::sequence

/** Defines the C function of an operation with so many parameters behind the sequence. */
#define DDS_FORWARD_0(SEQUENCE, RESULT, OPERATION)                                                 \
    RESULT SEQUENCE##_##OPERATION(struct SEQUENCE *self)                                           \
    {                                                                                              \
        return SEQUENCE##Operations::OPERATION(self);                                              \
    }
#define DDS_FORWARD_1(SEQUENCE, RESULT, OPERATION, A)                                              \
    RESULT SEQUENCE##_##OPERATION(struct SEQUENCE *self, A a)                                      \
    {                                                                                              \
        return SEQUENCE##Operations::OPERATION(self, a);                                           \
    }
#define DDS_FORWARD_2(SEQUENCE, RESULT, OPERATION, A, B)                                           \
    RESULT SEQUENCE##_##OPERATION(struct SEQUENCE *self, A a, B b)                                 \
    {                                                                                              \
        return SEQUENCE##Operations::OPERATION(self, a, b);                                        \
    }
#define DDS_FORWARD_3(SEQUENCE, RESULT, OPERATION, A, B, C)                                        \
    RESULT SEQUENCE##_##OPERATION(struct SEQUENCE *self, A a, B b, C c)                            \
    {                                                                                              \
        return SEQUENCE##Operations::OPERATION(self, a, b, c);                                     \
    }

/** Defines the C functions of a sequence type: its name, its elements, and their policy. */
#define DDS_DEFINE_SEQUENCE(SEQUENCE, ELEMENT, ...)                                                \
    static_assert(sizeof(SEQUENCE) == 72 && offsetof(SEQUENCE, maximum) == 24 &&                   \
                  offsetof(SEQUENCE, read_token1) == 40 &&                                         \
                  offsetof(SEQUENCE, absolute_maximum) == 64);                                     \
    template <>                                                                                    \
    constexpr dds::sequence::Text dds::sequence::kTypeName<SEQUENCE> = #SEQUENCE;                  \
    using SEQUENCE##Operations = dds::sequence::Operations<SEQUENCE, __VA_ARGS__>;                 \
    DDS_FORWARD_0(SEQUENCE, DDS_Boolean, initialize)                                               \
    DDS_FORWARD_0(SEQUENCE, DDS_Boolean, finalize)                                                 \
    DDS_FORWARD_0(SEQUENCE, DDS_Long, get_maximum)                                                 \
    DDS_FORWARD_0(SEQUENCE, DDS_Long, get_length)                                                  \
    DDS_FORWARD_0(SEQUENCE, DDS_Boolean, has_ownership)                                            \
    DDS_FORWARD_0(SEQUENCE, ELEMENT *, get_contiguous_buffer)                                      \
    DDS_FORWARD_0(SEQUENCE, ELEMENT *, get_contiguous_bufferI)                                     \
    DDS_FORWARD_0(SEQUENCE, ELEMENT **, get_discontiguous_buffer)                                  \
    DDS_FORWARD_0(SEQUENCE, ELEMENT **, get_discontiguous_bufferI)                                 \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_maximum, DDS_Long)                                    \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_absolute_maximum, DDS_Long)                           \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_length, DDS_Long)                                     \
    DDS_FORWARD_2(SEQUENCE, DDS_Boolean, ensure_length, DDS_Long, DDS_Long)                        \
    /* In a cache line of its own: it is called in loops. */                                       \
    DDS_FORWARD_1(SEQUENCE, [[gnu::aligned(64)]] ELEMENT, get, DDS_Long)                           \
    DDS_FORWARD_1(SEQUENCE, ELEMENT *, get_reference, DDS_Long)                                    \
    DDS_FORWARD_3(SEQUENCE, DDS_Boolean, loan_contiguous, ELEMENT *, DDS_Long, DDS_Long)           \
    DDS_FORWARD_3(SEQUENCE, DDS_Boolean, loan_discontiguous, ELEMENT **, DDS_Long, DDS_Long)       \
    DDS_FORWARD_0(SEQUENCE, DDS_Boolean, unloan)                                                   \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, copy_no_alloc, const struct SEQUENCE *)                   \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, copy_no_allocI, const struct SEQUENCE *)                  \
    DDS_FORWARD_1(SEQUENCE, struct SEQUENCE *, copy, const struct SEQUENCE *)                      \
    DDS_FORWARD_2(SEQUENCE, DDS_Boolean, from_array, ELEMENT const *, DDS_Long)                    \
    DDS_FORWARD_2(SEQUENCE, DDS_Boolean, to_array, ELEMENT *, DDS_Long)                            \
    DDS_FORWARD_2(SEQUENCE, void, set_read_tokenI, void *, void *)                                 \
    DDS_FORWARD_2(SEQUENCE, void, get_read_tokenI, void **, void **)                               \
    DDS_FORWARD_1(SEQUENCE, void, get_element_allocation_params,                                   \
                  struct DDS_TypeAllocationParams_t *)                                             \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_element_allocation_params,                            \
                  const struct DDS_TypeAllocationParams_t *)                                       \
    DDS_FORWARD_1(SEQUENCE, void, get_element_deallocation_params,                                 \
                  struct DDS_TypeDeallocationParams_t *)                                           \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_element_deallocation_params,                          \
                  const struct DDS_TypeDeallocationParams_t *)                                     \
    DDS_FORWARD_1(SEQUENCE, DDS_Boolean, set_element_pointers_allocation, DDS_Boolean)             \
    DDS_FORWARD_0(SEQUENCE, DDS_Boolean, get_element_pointers_allocation)

#endif
