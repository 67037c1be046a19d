/** The sequences of the primitive types: DDS_CharSeq to DDS_BooleanSeq. See dds/Sequence.h. */
#ifndef WOLKCORE_DDS_PRIMITIVE_SEQ_H
#define WOLKCORE_DDS_PRIMITIVE_SEQ_H

#include "dds/Sequence.h"

ZOV_BEGIN_DECLARATIONS

/** The sequences: MEMBER(sequence, element). */
#define DDS_PRIMITIVE_SEQUENCES(MEMBER)                                                            \
    MEMBER(DDS_CharSeq, DDS_Char)                                                                  \
    MEMBER(DDS_WcharSeq, DDS_Wchar)                                                                \
    MEMBER(DDS_OctetSeq, DDS_Octet)                                                                \
    MEMBER(DDS_ShortSeq, DDS_Short)                                                                \
    MEMBER(DDS_UnsignedShortSeq, DDS_UnsignedShort)                                                \
    MEMBER(DDS_LongSeq, DDS_Long)                                                                  \
    MEMBER(DDS_UnsignedLongSeq, DDS_UnsignedLong)                                                  \
    MEMBER(DDS_LongLongSeq, DDS_LongLong)                                                          \
    MEMBER(DDS_UnsignedLongLongSeq, DDS_UnsignedLongLong)                                          \
    MEMBER(DDS_FloatSeq, DDS_Float)                                                                \
    MEMBER(DDS_DoubleSeq, DDS_Double)                                                              \
    MEMBER(DDS_LongDoubleSeq, DDS_LongDouble)                                                      \
    MEMBER(DDS_BooleanSeq, DDS_Boolean)

#define MEMBER(SEQUENCE, ELEMENT)                                                                  \
    DDS_SEQUENCE(SEQUENCE, ELEMENT);                                                               \
    DDS_SEQUENCE_OPERATIONS(SEQUENCE, ELEMENT);
DDS_PRIMITIVE_SEQUENCES(MEMBER)
#undef MEMBER

ZOV_END_DECLARATIONS

#endif
