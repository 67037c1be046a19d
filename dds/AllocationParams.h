/**
 * How a sequence obtains and releases its elements: flags that are kept, copied and compared, and
 * that nothing acts on.
 *
 * Threads: the operations touch only their arguments.
 */
#ifndef WOLKCORE_DDS_ALLOCATION_PARAMS_H
#define WOLKCORE_DDS_ALLOCATION_PARAMS_H

#include "dds/Types.h"

ZOV_BEGIN_DECLARATIONS

/** How elements are obtained. */
struct DDS_TypeAllocationParams_t
{
    DDS_Boolean allocate_pointers; /**< whether element pointers are allocated */
    DDS_Boolean second;            /**< only kept */
    DDS_Boolean third;             /**< only kept */
};
typedef struct DDS_TypeAllocationParams_t DDS_TypeAllocationParams_t;

/** How elements are released. */
struct DDS_TypeDeallocationParams_t
{
    DDS_Boolean delete_pointers; /**< whether element pointers are released */
    DDS_Boolean second;          /**< only kept */
};
typedef struct DDS_TypeDeallocationParams_t DDS_TypeDeallocationParams_t;

extern const struct DDS_TypeAllocationParams_t
    DDS_TYPE_ALLOCATION_PARAMS_DEFAULT; /**< TRUE, FALSE, TRUE */
extern const struct DDS_TypeDeallocationParams_t
    DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT; /**< TRUE, TRUE */

/* Errors of all but equals: FALSE or null with "bad parameter: self\n" or "bad parameter: src\n"
 * for null, under the operation's name without the "_t" in it. */

/** Writes the default. Returns TRUE. */
DDS_Boolean DDS_TypeAllocationParams_t_initialize(struct DDS_TypeAllocationParams_t *self);
/** Does nothing: the block owns nothing. Returns TRUE. */
DDS_Boolean DDS_TypeAllocationParams_t_finalize(struct DDS_TypeAllocationParams_t *self);
/** Copies all flags. Returns self. */
struct DDS_TypeAllocationParams_t *
DDS_TypeAllocationParams_t_copy(struct DDS_TypeAllocationParams_t *self,
                                const struct DDS_TypeAllocationParams_t *src);
/** Whether all flags are equal. Two nulls are equal, one is equal to nothing. */
DDS_Boolean DDS_TypeAllocationParams_t_equals(const struct DDS_TypeAllocationParams_t *left,
                                              const struct DDS_TypeAllocationParams_t *right);

/** Writes the default. Returns TRUE. */
DDS_Boolean DDS_TypeDeallocationParams_t_initialize(struct DDS_TypeDeallocationParams_t *self);
/** Does nothing: the block owns nothing. Returns TRUE. */
DDS_Boolean DDS_TypeDeallocationParams_t_finalize(struct DDS_TypeDeallocationParams_t *self);
/** Copies all flags. Returns self. */
struct DDS_TypeDeallocationParams_t *
DDS_TypeDeallocationParams_t_copy(struct DDS_TypeDeallocationParams_t *self,
                                  const struct DDS_TypeDeallocationParams_t *src);
/** Whether all flags are equal. Two nulls are equal, one is equal to nothing. */
DDS_Boolean DDS_TypeDeallocationParams_t_equals(const struct DDS_TypeDeallocationParams_t *left,
                                                const struct DDS_TypeDeallocationParams_t *right);

ZOV_END_DECLARATIONS

#endif
