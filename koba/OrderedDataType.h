/**
 * Order and printed form of keys: runs of 32-bit words, or of pointers, at the start of a record.
 *
 * The comparisons go word by word from the first one on; the first pair that differs decides. A
 * skiplist recognises most of the unsigned and pointer ones and compares without a call.
 *
 * Threads: all operations only read what they are given.
 *
 *     struct Sample { uint32_t key[2]; double value; };
 *     if (KOBAOrderedDataType_compareDoubleUInt(left, right) < 0)
 *         swap(left, right);
 */
#ifndef WOLKCORE_KOBA_ORDERED_DATA_TYPE_H
#define WOLKCORE_KOBA_ORDERED_DATA_TYPE_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** 1 when the first key is the greater, -1 when it is the smaller, 0 when they are equal. */
typedef int32_t (*KOBAOrderedDataTypeCompareFcn)(const void *a, const void *b);
/** Prints a key to the log's debug output: indentation, the label if any, the words, a newline. */
typedef void (*KOBAOrderedDataTypePrintFcn)(const void *key, const char *label, int32_t indent);

/** Binds a key size to its operations. */
struct KOBAOrderedDataType
{
    int32_t size;                          /**< in bytes */
    uint32_t attribute;                    /**< the creator's; only kept */
    KOBAOrderedDataTypeCompareFcn compare; /**< orders two keys */
    KOBAOrderedDataTypePrintFcn print;     /**< prints one */
};
typedef struct KOBAOrderedDataType KOBAOrderedDataType;

/** Where a toString operation writes. */
struct KOBAOrderedDataTypeStringTarget
{
    int32_t capacity; /**< bytes in the buffer; becomes the bytes that the operation reserved */
    char *buffer;     /**< the caller's */
};
typedef struct KOBAOrderedDataTypeStringTarget KOBAOrderedDataTypeStringTarget;

/** The comparisons: MEMBER(name, words of the key, type of a word). */
#define KOBA_ORDERED_DATA_TYPE_COMPARISONS(MEMBER)                                                 \
    MEMBER(UInt, 1, uint32_t)                                                                      \
    MEMBER(DoubleUInt, 2, uint32_t)                                                                \
    MEMBER(TripleUInt, 3, uint32_t)                                                                \
    MEMBER(QuadUInt, 4, uint32_t)                                                                  \
    MEMBER(FiveUInt, 5, uint32_t)                                                                  \
    MEMBER(SixUInt, 6, uint32_t)                                                                   \
    MEMBER(NineUInt, 9, uint32_t)                                                                  \
    MEMBER(Int, 1, int32_t)                                                                        \
    MEMBER(DoubleInt, 2, int32_t)                                                                  \
    MEMBER(TripleInt, 3, int32_t)                                                                  \
    MEMBER(QuadInt, 4, int32_t)                                                                    \
    MEMBER(FiveInt, 5, int32_t)                                                                    \
    MEMBER(Pointer, 1, uint64_t)                                                                   \
    MEMBER(QuadPointer, 4, uint64_t)

/* KOBAOrderedDataType_compareUInt, and so on for each of the list. */
#define MEMBER(NAME, WORDS, WORD)                                                                  \
    /** Compares two keys of the words that its name tells; pointers as unsigned words. */         \
    int32_t KOBAOrderedDataType_compare##NAME(const void *a, const void *b) ZOV_NONNULL();
KOBA_ORDERED_DATA_TYPE_COMPARISONS(MEMBER)
#undef MEMBER

/** Compares the two addresses by whether they are null: null is the smaller, others are equal. */
int32_t KOBAOrderedDataType_comparePointerNullness(const void *a, const void *b);

/**
 * Stands in for a comparison of keys of an odd size: all are equal.
 *
 * Errors: the exception "NULL KOBAOrderedDataType_compare - unsupported size\n", each time.
 */
int32_t KOBAOrderedDataType_compareUnsupported(const void *a, const void *b);

/**
 * The comparison of unsigned words for keys of 4, 8, 12, 16, 20 or 24 bytes.
 *
 * Errors: KOBAOrderedDataType_compareUnsupported, with "!create unsupported size\n", for others.
 */
KOBAOrderedDataTypeCompareFcn KOBAOrderedDataType_defineCompareFromSize(int32_t size);

/**
 * Fills the record.
 *
 * Errors: "!precondition: dataType == ((void *)0)\n" or "!precondition: size < 0\n", then the log's
 * assertion hook; the record stays as it was.
 */
void KOBAOrderedDataType_define(struct KOBAOrderedDataType *dataType, int32_t size,
                                uint32_t attribute, KOBAOrderedDataTypeCompareFcn compare,
                                KOBAOrderedDataTypePrintFcn print);

/**
 * Finds an element in a sorted array.
 *
 * @param compare called as (element, key, half of the span that is left): positive when the element
 * is the greater.
 *
 * @return the element; null when there is none, and for a null key or array.
 */
void *KOBAOrderedDataType_binarySearch(const void *key, const void *array, int32_t count,
                                       int32_t elementSize,
                                       int32_t (*compare)(const void *element, const void *key,
                                                          int32_t half)) ZOV_NONNULL(5);

/**
 * Printing and texts: MEMBER(name, words, format of printing, format of the text, bytes it asks
 * for). The formats are as programs that read them expect, and so is the room that nine words ask
 * for.
 */
#define KOBA_ORDERED_DATA_TYPE_FORMATS(MEMBER)                                                     \
    MEMBER(Int, 1, "%#X", "%#X", 11)                                                               \
    MEMBER(DoubleInt, 2, "%#X,%#X", "%#X,%#X", 22)                                                 \
    MEMBER(TripleInt, 3, "%#x, %#X, %#X", "0x%08X,0x%08X,0x%08X", 33)                              \
    MEMBER(QuadInt, 4, "%#x, %#X, %#X, %#X", "%#X,%#X,%#X,%#X", 44)                                \
    MEMBER(FiveInt, 5, "%#x, %#X, %#X, %#X, %#X", "%#X,%#X,%#X,%#X,%#X", 55)                       \
    MEMBER(NineInt, 9, "%#x, %#X, %#X, %#X, %#X, %#X, %#X, %#X, %#X",                              \
           "%#X,%#X,%#X,%#X,%#X,%#X,%#X,%#X,%#X", 55)

/* KOBAOrderedDataType_printInt, KOBAOrderedDataType_toStringInt, and so on for each of the list. */
#define MEMBER(NAME, WORDS, PRINT, TEXT, SIZE)                                                     \
    /** Prints a key of the words that its name tells, as a KOBAOrderedDataTypePrintFcn. */        \
    void KOBAOrderedDataType_print##NAME(const void *key, const char *label, int32_t indent)       \
        ZOV_NONNULL(1);                                                                            \
    /** Writes a key's words into the target, cut to the room that it has: the text of nine words  \
        needs up to 99 bytes, though only 55 are asked for. Returns the target's buffer; the       \
        capacity is now the bytes asked for. Errors: null, with nothing written, when the target   \
        has less than these. */                                                                    \
    char *KOBAOrderedDataType_toString##NAME(                                                      \
        const void *key, struct KOBAOrderedDataTypeStringTarget *target) ZOV_NONNULL();
KOBA_ORDERED_DATA_TYPE_FORMATS(MEMBER)
#undef MEMBER

/** A pointer is shown as its two 32-bit halves, as KOBAOrderedDataType_printDoubleInt does. */
void KOBAOrderedDataType_printPointer(const void *key, const char *label, int32_t indent)
    ZOV_NONNULL(1);

ZOV_END_DECLARATIONS

#endif
