/**
 * One line out: every module of the system reports through this small core.
 *
 * A module has two 32-bit masks. A call site tests them itself (the core never filters) and, when
 * both allow, hands over a context (the name of the operation), a message from a catalog, and the
 * message's arguments. The core builds one line of at most 1023 characters on the stack and gives
 * it to the message hook in one call; the hook that is there at the start writes it to standard
 * output. With the print mask as it is at the start a line reads "context:text".
 *
 * Reporting leaves errno as it was, so that it can be read after a report too.
 *
 * Threads: any thread may report. Masks and hooks are plain words without a lock: a change is seen
 * by other threads soon, never in the middle of a line. A hook may be called by several threads at
 * once.
 *
 *     ZOVOsapiLog_setVerbosity(0xFFFF, 1);                 // exceptions and warnings
 *     ZOVLog_registerOnMessageMethod(writeToMyLogFile);
 *     ZOVLog_printContextAndMsg("main", &ZOV_LOG_ANY_s, "out of paper");   // main:out of paper
 */
#ifndef WOLKCORE_LOG_LOG_H
#define WOLKCORE_LOG_LOG_H

#include "log/Base.h"

#include <stdarg.h>

ZOV_BEGIN_DECLARATIONS

/**
 * A message of a catalog.
 *
 * The name of a message tells its arguments behind the last underscore: s string, d decimal,
 * X and x hexadecimal, lu unsigned long.
 */
struct ZOVLogMessage
{
    uint32_t code;      /**< 0x02000000 + module number * 0x1000 + index; never renumbered */
    const char *format; /**< printf format that ends in a newline */
};
typedef struct ZOVLogMessage ZOVLogMessage;

/** Takes a line, which is valid during the call only. */
typedef void (*ZOVLogOnMessageMethod)(const char *message);
/** Takes the level of the message that follows: 1 exception, 2 warning, 4 local information. */
typedef void (*ZOVLogSetLogLevelMethod)(int level);

/* Bits of ZOVLog_printMask; those of places count for ZOVLog_printLocationContextAndMsg alone. */
#define ZOV_LOG_PRINT_CODE 0x1u   /**< the code of the message, as in "ZOV0x2022001:" */
#define ZOV_LOG_PRINT_TEXT 0x2u   /**< the text of the message */
#define ZOV_LOG_PRINT_MODULE 0x4u /**< place: the module, as in "Mx02" */
#define ZOV_LOG_PRINT_METHOD 0x8u /**< place: the operation */
#define ZOV_LOG_PRINT_FILE 0x10u  /**< place: the source file */
#define ZOV_LOG_PRINT_LINE 0x20u  /**< place: the line in it */

/** What a line holds; at the start the text alone. */
extern uint32_t ZOVLog_printMask;
/** Where lines go: to standard output at the start. Never null. */
extern ZOVLogOnMessageMethod ZOVLog_onMessage;
/** Where debug texts go: to standard output at the start. Never null. */
extern ZOVLogOnMessageMethod ZOVLog_onMessageDebug;
/**
 * Told the level just before each message of the library's modules, of debug texts and the
 * launcher's messages nothing; null at the start.
 */
extern ZOVLogSetLogLevelMethod ZOVLog_setLogLevel;

/** The hook of the start: prints to standard output; does nothing for null. */
void ZOVLog_onMessageImpl(const char *message);

/**
 * Prints one line: the context and a colon when there is a context, the code when the print mask
 * asks for it, and the text. The arguments are those that the message's format asks for.
 *
 * A text that does not fit is cut, and the line "warning: string too long, truncated to 1024"
 * comes before it.
 *
 * @return the number of characters in the line.
 */
int ZOVLog_printContextAndMsg(const char *context, const struct ZOVLogMessage *messageTemplate, ...)
    ZOV_NONNULL(2);
/** The same with an argument list. */
int ZOVLog_vprintContextAndMsg(const char *context, const struct ZOVLogMessage *messageTemplate,
                               va_list arguments) ZOV_NONNULL(2);
/** The same with "[FATAL] " before the context; both together are cut at 255 characters. */
int ZOVLog_printContextAndFatalMsg(const char *context, const struct ZOVLogMessage *messageTemplate,
                                   ...) ZOV_NONNULL(2);
/**
 * The same with a context made of the places that the print mask selects, joined by "/": module
 * tag "Mx%02X" (bits 16 to 23 of the code), method, file, and ":%d" with the line behind the file.
 * A null method or file is left out; with no place selected the line has no context.
 */
int ZOVLog_printLocationContextAndMsg(uint32_t moduleCode, const char *method, const char *file,
                                      int line, const struct ZOVLogMessage *messageTemplate, ...)
    ZOV_NONNULL(5);
/** A line without context. */
int ZOVLog_print(const struct ZOVLogMessage *messageTemplate, ...) ZOV_NONNULL(1);

/**
 * Formats a text, cut at 1023 characters, and hands it to the debug hook as it is.
 *
 * @return the number of characters handed over.
 */
int ZOVLog_debug(const char *format, ...) ZOV_PRINTF(1, 2);
/** The same with an argument list. */
int ZOVLog_vdebug(const char *format, va_list arguments) ZOV_PRINTF(1, 0);

/**
 * Formats into a buffer of `size` bytes.
 *
 * @return the length of the text; -1 when it did not fit (the buffer then holds its terminated
 * beginning). With a null buffer nothing is written and the result is the length of the full text.
 */
int ZOVLog_snprintf(char *buffer, size_t size, const char *format, ...) ZOV_PRINTF(3, 4);
/** The same with an argument list. */
int ZOVLog_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
    ZOV_PRINTF(3, 0);

/**
 * Installs the message hook; null brings back the one of the start. The debug hook follows when it
 * was the same function before the change.
 *
 * @return the hook that is now installed.
 */
ZOVLogOnMessageMethod ZOVLog_registerOnMessageMethod(ZOVLogOnMessageMethod method);
/** Installs the debug hook alone; null brings back the one of the start. Returns it. */
ZOVLogOnMessageMethod ZOVLog_registerOnDebugMessageMethod(ZOVLogOnMessageMethod method);
/** Installs the level hook; null takes it away. Returns what is now installed. */
ZOVLogSetLogLevelMethod ZOVLog_registerSetLogLevelMethod(ZOVLogSetLogLevelMethod method);
/** The message hook of the start. */
ZOVLogOnMessageMethod ZOVLog_getDefaultOnMessageMethod(void);

/** Flushes standard output. */
void ZOVLog_flush(void);

/** Called after a failed precondition was reported; a place for a breakpoint. Returns -1. */
int ZOVLog_onAssert(void);

/** The masks of a module and their three operations, declared by each module's Log.h. */
#define ZOV_LOG_MODULE(MODULE)                                                                     \
    /** Which parts of the module report: a bit for each of its submodules. */                     \
    extern uint32_t MODULE##_g_submoduleMask;                                                      \
    /** Which levels are reported: 1 exception, 2 warning, 4 local information. */                 \
    extern uint32_t MODULE##_g_instrumentationMask;                                                \
    /** Stores both masks; a null pointer is left out. */                                          \
    void MODULE##_getBitmaps(uint32_t *submoduleOut, uint32_t *instrumentationOut);                \
    /** Replaces both masks. */                                                                    \
    void MODULE##_setBitmaps(uint32_t submodule, uint32_t instrumentation);                        \
    /** Replaces the submodule mask, and selects levels: a negative verbosity none, else the low   \
        (verbosity + 1) bits, counted modulo 32, so that 31 selects none again. */                 \
    void MODULE##_setVerbosity(uint32_t submodule, int32_t verbosity)

/* The messages that all modules share. */
#define MSG(INDEX, NAME, FORMAT) extern const struct ZOVLogMessage NAME;
#include "log/Log_normal.msg"
#undef MSG

ZOV_END_DECLARATIONS

#endif
