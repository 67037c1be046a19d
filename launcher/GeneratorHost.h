/**
 * Runs the generator's Java main class, in server mode, in a Java VM in this process.
 *
 * The VM lives until the process ends; it is never destroyed.
 */
#ifndef QUILLON_LAUNCHER_GENERATOR_HOST_H
#define QUILLON_LAUNCHER_GENERATOR_HOST_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/**
 * Creates the VM and runs the main class; returns when the main method does.
 *
 * @param homeDir may be null.
 * @param serverPort passed on as it is.
 * @param serverTimeout in milliseconds.
 *
 * Errors: FALSE, reported, when one of the two steps fails.
 */
ZOVBool QUILLON_startCodeGenerator(const char *classpath, const char *resourceDir,
                                   const char *homeDir, int32_t serverPort, int32_t serverTimeout);

/**
 * Creates the VM.
 *
 * @return its JNIEnv, or null.
 *
 * Errors: null, reported, for a class path of more than 237 characters, a resource directory of
 * more than 235, a home directory of more than 244; for no VM on this machine, with the places
 * searched; and for a VM that does not start.
 */
void *QUILLON_createJVM(const char *classpath, const char *resourceDir, const char *homeDir);

/**
 * Calls the main method of com.zov.wolk.wolkgen.Main with "-server", "-serverPort", the port,
 * "-serverTimeout" and the timeout. A Java exception that it ends with is ignored.
 *
 * @param env the JNIEnv of this thread.
 *
 * Errors: FALSE, reported, when there is no such class.
 */
ZOVBool QUILLON_invokeMainClass(void *env, int32_t serverPort, int32_t serverTimeout);

ZOV_END_DECLARATIONS

#endif
