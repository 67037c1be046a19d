/** The primitive types of the DDS layer. */
#ifndef WOLKCORE_DDS_TYPES_H
#define WOLKCORE_DDS_TYPES_H

#include "log/Base.h"

#include <wchar.h>

typedef char DDS_Char;
typedef wchar_t DDS_Wchar;
typedef unsigned char DDS_Octet;
typedef unsigned char DDS_Boolean; /**< DDS_BOOLEAN_TRUE or DDS_BOOLEAN_FALSE */
typedef int16_t DDS_Short;
typedef uint16_t DDS_UnsignedShort;
typedef int32_t DDS_Long;
typedef uint32_t DDS_UnsignedLong;
typedef int64_t DDS_LongLong;
typedef uint64_t DDS_UnsignedLongLong;
typedef float DDS_Float;
typedef double DDS_Double;
typedef long double DDS_LongDouble;

#define DDS_BOOLEAN_TRUE ((DDS_Boolean)1)
#define DDS_BOOLEAN_FALSE ((DDS_Boolean)0)

/** What an operation says that has more to say than TRUE or FALSE. */
typedef enum {
    DDS_RETCODE_OK = 0,
    DDS_RETCODE_BAD_PARAMETER = 3,
    DDS_RETCODE_OUT_OF_RESOURCES = 5,
    DDS_RETCODE_NO_DATA = 11
} DDS_ReturnCode_t;

#endif
