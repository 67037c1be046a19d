/**
 * The process's surroundings: environment variables, files, paths, and who and what is running.
 *
 * Operations report their failures in the utility submodule of ZOVOsapiLog, at exception level
 * unless something else is said. A failure leaves what the caller passed for results alone. A
 * buffer that is too small is a failure ("insufficient space: %d available, %d needed\n"), never a
 * shortened text.
 *
 * Threads: any, as long as no thread changes the environment while others use operations that read
 * it, which say so.
 */
#ifndef WOLKCORE_OSAPI_ENVIRONMENT_H
#define WOLKCORE_OSAPI_ENVIRONMENT_H

#include "log/Base.h"

#include <stdio.h>

ZOV_BEGIN_DECLARATIONS

/**
 * Sets an environment variable, also one that is set already.
 *
 * @param assignment "NAME=VALUE", with at most 512 characters in the name.
 *
 * Errors: FALSE with "error setting environment variable %s\n" and the whole assignment.
 * Threads: changes the environment.
 */
ZOVBool ZOVOsapi_envVarSet(const char *assignment) ZOV_NONNULL();
/**
 * Takes an environment variable away; one that is not set is no error.
 *
 * Errors: FALSE with "invalid environment variable format\n" for a name with an equals sign, with
 * "!unsetenv\n" for the empty name.
 * Threads: changes the environment.
 */
ZOVBool ZOVOsapi_envVarUnset(const char *name) ZOV_NONNULL();
/** TRUE. */
ZOVBool ZOVOsapi_isEnvVarSetSupported(void);

/**
 * Gets a setting from an environment variable or from a file.
 *
 * A variable that is set wins, even when it is empty, and is copied as it stands. Otherwise the
 * file's items are joined with the separator, one between each two of them. Items are what stands
 * between blanks, tabs, line ends, zero bytes and separators; the comment character begins a
 * comment, wherever it stands, that runs to the end of its line. A file without items gives the
 * empty text.
 *
 * @param size of the buffer in bytes, at least 4096. The text never has more than 4095 characters,
 * however large the buffer.
 * @param variableName may be null, and so may fileName, but not both.
 * @param commentCharacter '\0' for a file without comments.
 *
 * Errors: FALSE, and the buffer is left alone:
 * - "!precondition\n": a null buffer, a smaller one, or neither source given;
 * - "environment variable %s not found\n" at local level; a failure only without a file;
 * - "environment variable %s longer than %d characters\n", with 4095; the file is not tried;
 * - "file %s not found\n";
 * - "error %d reading file %s\n", with the platform's error number, also when the file is there and
 *   cannot be opened;
 * - "file %s longer than %d item characters\n", with 4096: the separator that was put behind the
 *   last item counts.
 * The source that is taken is reported at local level, "using environment variable %s\n" or "using
 * file %s\n".
 * Threads: reads the environment.
 */
ZOVBool ZOVOsapi_envVarOrFileGet(char *buffer, int32_t size, const char *variableName,
                                 const char *fileName, char separator, char commentCharacter);

/** The platform's fopen: null on failure, with errno set and nothing reported. */
ZOV_MUST_USE FILE *ZOVOsapi_fileOpen(const char *name, const char *mode) ZOV_NONNULL();
/** The platform's fclose: non-zero on failure, with errno set and nothing reported. */
int ZOVOsapi_fileClose(FILE *stream) ZOV_NONNULL();
/** Whether it opens for reading, which a directory does too. Reports nothing. */
ZOVBool ZOVOsapiUtility_fileExists(const char *name) ZOV_NONNULL();
/** Removes a file or a link, not a directory. FALSE with an OS failure of "unlink". */
ZOVBool ZOVOsapi_removeFile(const char *fileName) ZOV_NONNULL();
/**
 * Reads a whole file, byte by byte as it is, and puts a terminator behind it.
 *
 * @param lengthOut bytes without the terminator; may be null.
 *
 * Errors: null with "file %s not found\n" or "error %d reading file %s\n" (see
 * ZOVOsapi_envVarOrFileGet), or with the heap's own report.
 * Ownership: the caller's; ZOVOsapiHeap_freeString.
 */
ZOV_MUST_USE char *ZOVOsapi_fileGetVerbatim(const char *fileName, int64_t *lengthOut)
    ZOV_NONNULL(1);

/**
 * The absolute path of the program that runs, whatever it was called with. " (deleted)" stands
 * behind the path of a file that is gone.
 *
 * Errors: FALSE with an OS failure of "readlink".
 */
ZOVBool ZOVOsapiUtility_getExecutablePath(char *buffer, size_t size) ZOV_NONNULL();
/** The same as ZOVOsapiUtility_getExecutablePath. */
ZOVBool ZOVOsapiUtility_getSelfFullpath(char *buffer, size_t size) ZOV_NONNULL();
/**
 * Brings a path into its shortest form, in place: no empty or "." component, no ".." behind a
 * component that it takes back, no slash at the end. ".." stays at the beginning of a relative path
 * and means nothing at the root. The text alone counts; links are not looked at. A relative path of
 * which nothing is left becomes ".".
 *
 * @param path in a buffer of at least two bytes.
 * @return TRUE.
 */
ZOVBool ZOVOsapiUtility_normalizePath(char *path) ZOV_NONNULL();
/**
 * Finds the first component of a path, which is what stands between slashes and is not empty.
 *
 * @param tokenOut where it begins in the path; it has no terminator of its own.
 * @return what follows the component; null when there is none, and nothing is stored.
 *
 *     while ((path = ZOVOsapiUtility_getNextPathToken(path, &token, &length)) != NULL)
 *         printf("%.*s\n", length, token);
 */
const char *ZOVOsapiUtility_getNextPathToken(const char *path, const char **tokenOut,
                                             int *lengthOut) ZOV_NONNULL();
/** How many tokens, none of them empty, stand between the delimiters of a text. */
int32_t ZOVOsapiUtility_getTokenCount(const char *text, char delimiter) ZOV_NONNULL();
/**
 * Makes a new directory that only its owner may use, below TMPDIR or else /tmp.
 *
 * @param buffer where its path is stored.
 * @param prefix what its name begins with; may be null.
 *
 * Errors: FALSE with an OS failure of "mkdtemp", or with no room for the path; no directory then.
 * Threads: reads the environment.
 */
ZOVBool ZOVOsapiUtility_createTempDirectory(char *buffer, size_t size, const char *prefix)
    ZOV_NONNULL(1);
/**
 * Deletes a directory with everything in it. A link is deleted, never followed; a path that is a
 * link or a file itself is refused.
 *
 * Errors: FALSE with an OS failure of the function that failed; what was deleted before it stays
 * deleted.
 */
ZOVBool ZOVOsapiUtility_deleteDirectory(const char *path) ZOV_NONNULL();

/**
 * The name of the user who runs the process: from the user database, else from USER.
 *
 * Errors: FALSE with "!get user name\n".
 * Threads: reads the environment.
 */
ZOVBool ZOVOsapiUtility_getUsername(char *buffer, size_t size) ZOV_NONNULL();
/** What the library was built for: processor, system and compiler, as in "x64Linux-gcc". */
const char *ZOVOsapiUtility_getTarget(void);
/** When this release was created, "20170622T204835Z": the time in its build strings. */
const char *ZOVOsapiUtility_getCreationTimestamp(void);
/** The time now in UTC, as in "20240307T090500Z" (17 bytes). FALSE when there is no room. */
ZOVBool ZOVOsapiUtility_getExecutionTimestamp(char *buffer, size_t size) ZOV_NONNULL();
/** The bits of precision of a double, 53. Asks only; the processor's settings stay as they are. */
int32_t ZOVOsapiUtility_get_double_precision(void);

ZOV_END_DECLARATIONS

#endif
