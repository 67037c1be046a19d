/**
 * Copies the generator's output to standard output and finds the return code at its end.
 *
 * The output ends with the 26 bytes "Code generator returned ", a digit and a newline, which are
 * not printed. A ring of that size holds the last bytes back. It does so truly only for pieces of
 * at least 26 bytes: every piece is written from the ring's beginning, so that a shorter piece
 * displaces the oldest bytes by position, not by age, and the line is recognised only as the end
 * of a piece of at least 26 bytes. Generators know this and send the line in one go.
 */
#ifndef QUILLON_LAUNCHER_OUTPUT_RELAY_H
#define QUILLON_LAUNCHER_OUTPUT_RELAY_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** The bytes of the line that ends the output. */
#define QUILLON_RETCODE_BUFFER_SIZE 26

/** The return-code ring. */
struct QUILLONRetcodeBuffer
{
    char data[QUILLON_RETCODE_BUFFER_SIZE]; /**< the bytes that are held back */
    int32_t start; /**< where the next write begins and reading in order starts */
    int32_t count; /**< valid bytes */
};
typedef struct QUILLONRetcodeBuffer QUILLONRetcodeBuffer;

/**
 * Relays the output of a connected socket until its end.
 *
 * @return TRUE when the output ended with return code 0.
 *
 * Errors: FALSE for any other code, which is not reported; for an output that does not end with the
 * line, which is then printed whole; when receiving failed and the line had not come; and when
 * there is no memory for the pieces.
 */
ZOVBool QUILLON_readOutput(int socket);

/** Empties the ring and fills it with zero bytes. */
void QUILLON_retcodeBufferInitialize(struct QUILLONRetcodeBuffer *ring) ZOV_NONNULL();
/**
 * Splits n bytes from index start on into the part up to the end of the ring and the part from its
 * beginning on; together they are at most the ring.
 */
void QUILLON_retcodeBufferGetSizesForStream(int32_t start, int32_t n, int32_t *first,
                                            int32_t *second) ZOV_NONNULL();
/** Puts a piece of n bytes into the ring and prints what it displaces. */
void QUILLON_retcodeBufferAddAndPrint(struct QUILLONRetcodeBuffer *ring, const char *data,
                                      int32_t n) ZOV_NONNULL();
/** Prints the valid bytes. */
void QUILLON_retcodeBufferPrintBuffer(const struct QUILLONRetcodeBuffer *ring) ZOV_NONNULL();
/**
 * Looks for a text at the beginning of the last spanLength bytes.
 *
 * @return the index of the byte that follows the text, or -1.
 */
int32_t QUILLON_retcodeBufferReverseFind(const struct QUILLONRetcodeBuffer *ring,
                                         int32_t spanLength, const char *needle) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
