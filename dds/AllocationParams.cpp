#include "dds/AllocationParams.h"

#include "dds/Log.hpp"

#include <cstring>

static_assert(sizeof(DDS_TypeAllocationParams_t) == 3);
static_assert(sizeof(DDS_TypeDeallocationParams_t) == 2);

const DDS_TypeAllocationParams_t DDS_TYPE_ALLOCATION_PARAMS_DEFAULT = {
    .allocate_pointers = DDS_BOOLEAN_TRUE,
    .second = DDS_BOOLEAN_FALSE,
    .third = DDS_BOOLEAN_TRUE,
};
const DDS_TypeDeallocationParams_t DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT = {
    .delete_pointers = DDS_BOOLEAN_TRUE,
    .second = DDS_BOOLEAN_TRUE,
};

namespace {

constexpr auto is_given = dds::is_given<dds::kSubmoduleAllocationParams>;

template <class Params>
Params *copy(Params *self, const Params *src, const char *operation)
{
    if (!is_given(self, "self", operation) || !is_given(src, "src", operation))
        return nullptr;
    *self = *src;
    return self;
}

template <class Params>
DDS_Boolean are_equal(const Params *left, const Params *right)
{
    if (left == nullptr || right == nullptr)
        return left == right;
    return std::memcmp(left, right, sizeof *left) == 0;
}

} // namespace

// Kept: what is reported has the name of the block without its "_t".
#define BLOCK(NAME, DEFAULT)                                                                       \
    DDS_Boolean NAME##_t_initialize(NAME##_t *self)                                                \
    {                                                                                              \
        return copy(self, &DEFAULT, #NAME "_initialize") != nullptr;                               \
    }                                                                                              \
    DDS_Boolean NAME##_t_finalize(NAME##_t *self)                                                  \
    {                                                                                              \
        return is_given(self, "self", #NAME "_finalize");                                          \
    }                                                                                              \
    NAME##_t *NAME##_t_copy(NAME##_t *self, const NAME##_t *src)                                   \
    {                                                                                              \
        return copy(self, src, #NAME "_copy");                                                     \
    }                                                                                              \
    DDS_Boolean NAME##_t_equals(const NAME##_t *left, const NAME##_t *right)                       \
    {                                                                                              \
        return are_equal(left, right);                                                             \
    }

BLOCK(DDS_TypeAllocationParams, DDS_TYPE_ALLOCATION_PARAMS_DEFAULT)
BLOCK(DDS_TypeDeallocationParams, DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT)

#undef BLOCK
