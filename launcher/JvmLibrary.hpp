/**
 * Finds the Java VM's library, at run time and only where a VM is really needed: a launcher that
 * finds a warm server, or prints its help, needs no Java and does not pay for it.
 */
#ifndef QUILLON_LAUNCHER_JVM_LIBRARY_HPP
#define QUILLON_LAUNCHER_JVM_LIBRARY_HPP

#include <jni.h>

namespace quillon {

using CreateJavaVM = jint(JNICALL *)(JavaVM **vm, void **env, void *arguments);

/**
 * The VM's JNI_CreateJavaVM: the one that is linked or preloaded, or that of the first library that
 * loads, looked for as libjvm.so by its bare name, below $JAVA_HOME, beside each java on PATH, and
 * in the usual places of /usr/lib/jvm and /opt/java.
 *
 * Errors: null, with one line that lists the places under the name of QUILLON_createJVM.
 */
CreateJavaVM find_create_java_vm();

} // namespace quillon

#endif
