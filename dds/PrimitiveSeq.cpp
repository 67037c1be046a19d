#include "dds/PrimitiveSeq.h"

#include "dds/Sequence.hpp"

#define MEMBER(SEQUENCE, ELEMENT)                                                                  \
    DDS_DEFINE_SEQUENCE(SEQUENCE, ELEMENT, dds::sequence::ValueElements<ELEMENT>)
DDS_PRIMITIVE_SEQUENCES(MEMBER)
