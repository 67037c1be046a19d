/**
 * A Java VM that runs nothing. It appends each call, with its arguments, as a line to the file
 * $STUB_JVM_RECORD, objects by the text they were made from, and behaves as $STUB_JVM_MODE says:
 *
 *     no-env          the creation fails
 *     env-with-error  the creation gives an environment, and yet an error
 *     no-class        there is no main class
 *     no-method       it has no main method
 *
 * In every other mode main is there, and returns at once. What the launcher has no business to call
 * is null.
 */
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <jni.h>
#include <string>
#include <string_view>

namespace {

std::deque<std::string> g_objects;

bool mode_is(std::string_view mode)
{
    const char *variable = std::getenv("STUB_JVM_MODE");
    return variable != nullptr && variable == mode;
}

__attribute__((format(printf, 1, 2))) void record(const char *format, ...)
{
    const char *path = std::getenv("STUB_JVM_RECORD");
    FILE *file = path != nullptr ? std::fopen(path, "ae") : nullptr;
    if (file == nullptr)
        return;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(file, format, arguments);
    va_end(arguments);
    std::fclose(file);
}

template <class Handle>
Handle make(const char *text)
{
    return reinterpret_cast<Handle>(&g_objects.emplace_back(text));
}

const char *text_of(const void *handle)
{
    return handle != nullptr ? static_cast<const std::string *>(handle)->c_str() : "null";
}

jclass find_class(JNIEnv *, const char *name)
{
    record("FindClass %s\n", name);
    return mode_is("no-class") && std::strstr(name, "Main") != nullptr ? nullptr
                                                                       : make<jclass>(name);
}

jmethodID get_static_method_id(JNIEnv *, jclass type, const char *name, const char *signature)
{
    record("GetStaticMethodID %s %s %s\n", text_of(type), name, signature);
    return mode_is("no-method") ? nullptr : make<jmethodID>(name);
}

jobjectArray new_object_array(JNIEnv *, jsize size, jclass type, jobject initial)
{
    record("NewObjectArray %d %s %s\n", size, text_of(type), text_of(initial));
    return make<jobjectArray>("array");
}

jstring new_string_utf(JNIEnv *, const char *text)
{
    record("NewStringUTF %s\n", text);
    return make<jstring>(text);
}

void set_object_array_element(JNIEnv *, jobjectArray array, jsize index, jobject element)
{
    record("SetObjectArrayElement %s %d %s\n", text_of(array), index, text_of(element));
}

void call_static_void_method_v(JNIEnv *, jclass type, jmethodID method, va_list arguments)
{
    record("CallStaticVoidMethod %s %s %s\n", text_of(type), text_of(method),
           text_of(va_arg(arguments, jobject)));
}

JNINativeInterface_ g_native = {};
JNIInvokeInterface_ g_invoke = {};
JNIEnv g_env = {&g_native};
JavaVM g_vm = {&g_invoke};

} // namespace

jint JNI_CreateJavaVM(JavaVM **vm, void **env, void *arguments)
{
    Dl_info self = {};
    dladdr(&g_env, &self);
    const auto *args = static_cast<const JavaVMInitArgs *>(arguments);
    record("library %s\nJNI_CreateJavaVM %#x, %d options, ignoreUnrecognized %d\n", self.dli_fname,
           static_cast<unsigned>(args->version), args->nOptions, args->ignoreUnrecognized);
    for (jint i = 0; i < args->nOptions; ++i)
        record("option %s%s\n", args->options[i].optionString,
               args->options[i].extraInfo != nullptr ? " with extraInfo" : "");
    if (mode_is("no-env"))
        return JNI_ENOMEM;
    g_native.FindClass = find_class;
    g_native.GetStaticMethodID = get_static_method_id;
    g_native.NewObjectArray = new_object_array;
    g_native.NewStringUTF = new_string_utf;
    g_native.SetObjectArrayElement = set_object_array_element;
    g_native.CallStaticVoidMethodV = call_static_void_method_v;
    *vm = &g_vm;
    *env = &g_env;
    return mode_is("env-with-error") ? JNI_EEXIST : JNI_OK;
}
