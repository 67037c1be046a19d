/** The primitive types of the DDS layer. */
#ifndef WOLKCORE_DDS_TYPES_H
#define WOLKCORE_DDS_TYPES_H

#include "log/Base.h"

#include <wchar.h>

typedef char DDS_Char;                 /**< 8 bits, a character */
typedef wchar_t DDS_Wchar;             /**< a wide character, 32 bits */
typedef unsigned char DDS_Octet;       /**< 8 bits */
typedef unsigned char DDS_Boolean;     /**< DDS_BOOLEAN_TRUE or DDS_BOOLEAN_FALSE */
typedef int16_t DDS_Short;             /**< 16 bits with a sign */
typedef uint16_t DDS_UnsignedShort;    /**< 16 bits */
typedef int32_t DDS_Long;              /**< 32 bits with a sign */
typedef uint32_t DDS_UnsignedLong;     /**< 32 bits */
typedef int64_t DDS_LongLong;          /**< 64 bits with a sign */
typedef uint64_t DDS_UnsignedLongLong; /**< 64 bits */
typedef float DDS_Float;               /**< single precision */
typedef double DDS_Double;             /**< double precision */
typedef long double DDS_LongDouble;    /**< the widest that the platform has */

#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)  /**< 1 */
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0) /**< 0 */

/** What an operation says that has more to say than TRUE or FALSE. */
typedef enum {
    DDS_RETCODE_OK = 0,               /**< done */
    DDS_RETCODE_BAD_PARAMETER = 3,    /**< an argument cannot be */
    DDS_RETCODE_OUT_OF_RESOURCES = 5, /**< no memory, or no room */
    DDS_RETCODE_NO_DATA = 11          /**< there was nothing */
} DDS_ReturnCode_t;

#endif
