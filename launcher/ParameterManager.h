/**
 * Splits the command line in two: the launcher's own options, found by index, and everything else,
 * which is the generator's.
 *
 * The generator's arguments wait in a buffer in the form in which they are sent: each followed by a
 * newline, then "-workingDirectory" and the current directory in the same form, then an empty line
 * and a NUL byte.
 *
 * An option is recognised behind its first character, whatever that is, by any prefix of its name
 * in any case; the first option of the table that fits wins.
 *
 * Threads: a manager belongs to one thread at a time.
 *
 *     QUILLONParameterManager *manager = QUILLONParameterManager_new(argc, argv);
 *     int32_t port = 14662;
 *     QUILLONParameterManager_getParameter(manager, &port, NULL, QUILLON_PARAMETER_SERVER_PORT,
 *                                          QUILLON_PARAMETER_KIND_INTEGER);
 */
#ifndef QUILLON_LAUNCHER_PARAMETER_MANAGER_H
#define QUILLON_LAUNCHER_PARAMETER_MANAGER_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** Indices of the options, in the order of the table. */
enum {
    QUILLON_PARAMETER_HELP,               /**< -n_help, a flag */
    QUILLON_PARAMETER_VERSION,            /**< -n_version, a flag */
    QUILLON_PARAMETER_VERBOSITY,          /**< -n_verbosity, 0 to 3 */
    QUILLON_PARAMETER_CLASSPATH,          /**< -n_classpath, required */
    QUILLON_PARAMETER_WOLK_RESOURCE,      /**< -n_wolkresource, required */
    QUILLON_PARAMETER_WOLK_HOME,          /**< -n_wolkhome */
    QUILLON_PARAMETER_SERVER_PORT,        /**< -n_serverport */
    QUILLON_PARAMETER_SERVER_TIMEOUT,     /**< -n_servertimeout, in milliseconds */
    QUILLON_PARAMETER_RESOLVE_LOOPBACK,   /**< -n_resolvelo, a flag */
    QUILLON_PARAMETER_JAVA_PROCESS,       /**< -n_jprocess, a flag without a meaning here */
    QUILLON_PARAMETER_CONNECTION_TIMEOUT, /**< -n_connectiontimeout, in milliseconds */
    QUILLON_PARAMETER_COUNT               /**< how many there are */
};

/** What an option takes. */
enum {
    QUILLON_PARAMETER_KIND_FLAG,   /**< nothing */
    QUILLON_PARAMETER_KIND_STRING, /**< a text, the next argument */
    QUILLON_PARAMETER_KIND_INTEGER /**< a decimal number, the next argument */
};

/** A row of the option table. */
struct QUILLONParameterDescription
{
    const char *name;        /**< without the leading dash */
    uint32_t kind;           /**< QUILLON_PARAMETER_KIND_... */
    uint32_t reserved;       /**< 0 */
    const char *description; /**< empty: the help has its own text */
    ZOVBool required;        /**< TRUE when a run fails without it */
    uint32_t enabled;        /**< 1 */
};
typedef struct QUILLONParameterDescription QUILLONParameterDescription;

/** The options, by index. */
extern const struct QUILLONParameterDescription
    QUILLONParameterManager_g_parameterDesc[QUILLON_PARAMETER_COUNT];
/** What stands for a value in a display, by kind: "", "<string>", "<integer>". */
extern const char *const QUILLONParameterManager_g_parameterTypeDesc[3];

/** The generator's arguments. When finished, length counts the terminating NUL too. */
struct QUILLONJArgsBuffer
{
    uint32_t length; /**< bytes of the text */
    char *text;      /**< heap string of 16384 characters */
};

/** A command line that has been read. Visible for its size; use the operations. */
struct QUILLONParameterManager
{
    int32_t state; /**< 0x7344 once initialised, 0x7345 once finalised */
    /** What was given, by the index of the option. */
    struct
    {
        ZOVBool present;   /**< TRUE when the option was given */
        const char *value; /**< borrowed from the argument vector */
    } slot[QUILLON_PARAMETER_COUNT];
    struct QUILLONJArgsBuffer jArgs; /**< what is to be sent */
};
typedef struct QUILLONParameterManager QUILLONParameterManager;

/**
 * Reads a command line; argv[0] is skipped.
 *
 * Errors: null, with the reason reported and then "!init parameter manager\n": an option without
 * its value, a required option that is missing (only the first one is named), arguments of more
 * than 16382 bytes, a current directory of more than 255 characters, no memory.
 * Ownership: the caller's; the argument vector must live as long.
 */
ZOV_MUST_USE QUILLONParameterManager *QUILLONParameterManager_new(int argc, char **argv);

/**
 * The same in place, in a record filled with zeros; on a record that is initialised it does
 * nothing. Returns FALSE, and owns no buffer, when it fails.
 */
ZOVBool QUILLONParameterManager_initialize(QUILLONParameterManager *manager, int argc, char **argv);

/** Frees the buffer. Finalising twice is harmless. */
void QUILLONParameterManager_finalize(QUILLONParameterManager *manager);
/** Finalises and frees the record. */
void QUILLONParameterManager_delete(QUILLONParameterManager *manager);

/**
 * Reads an option.
 *
 * @param value receives a const char * for the string kind and an int32_t for the integer kind when
 * the option was given, and is left alone otherwise; null asks for the presence alone.
 * @param present receives whether the option was given, unless null.
 * @return TRUE; an option that was not given is no failure.
 *
 * Errors: FALSE, with the option reported, for an integer that does not start with a digit or a
 * sign and a digit; characters behind the digits are ignored.
 */
ZOVBool QUILLONParameterManager_getParameter(QUILLONParameterManager *manager, void *value,
                                             ZOVBool *present, int32_t index, uint32_t kind);

/** What is to be sent to the generator; the manager's. */
struct QUILLONJArgsBuffer *QUILLONParameterManager_getJArgsBuffer(QUILLONParameterManager *manager);

/** Prints the version line, the usage line and the options to standard output. */
void QUILLONParameterManager_printHelp(const char *programName);
/** The same as QUILLONParameterManager_printHelp. */
void QUILLONParameterManager_printUsage(const char *programName);
/** Prints the version line to standard output; a NUL byte stands before its newline. */
void QUILLONParameterManager_printVersion(void);

ZOV_END_DECLARATIONS

#endif
