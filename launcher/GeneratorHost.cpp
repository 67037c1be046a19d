#include "launcher/GeneratorHost.h"

#include "launcher/JvmLibrary.hpp"
#include "launcher/Log.hpp"
#include "osapi/Stdio.h"

#include <array>

namespace {

constexpr char kMainClass[] = "com/zov/wolk/wolkgen/Main";
constexpr std::size_t kOptionSize = 256;
constexpr std::size_t kNumberSize = 64;

using OptionText = std::array<char, kOptionSize>;

constexpr char kCreateJVM[] = "QUILLON_createJVM";

bool format_option(OptionText &text, const char *prefix, const char *value, const char *complaint)
{
    if (ZOVOsapiUtility_snprintf(text.data(), text.size(), "%s%s", prefix, value) > 0)
        return true;
    QUILLON_LOG_AS(Exception, kCreateJVM, ZOV_LOG_ANY_s, complaint);
    return false;
}

/** Null when no VM can be found or created. */
void *create_vm(std::array<OptionText, 3> &texts)
{
    const quillon::CreateJavaVM create = quillon::find_create_java_vm();
    if (create == nullptr)
        return nullptr;
    std::array<JavaVMOption, 3> options = {};
    for (std::size_t i = 0; i < options.size(); ++i)
        options[i].optionString = texts[i].data();
    JavaVMInitArgs arguments = {.version = JNI_VERSION_1_2,
                                .nOptions = static_cast<jint>(options.size()),
                                .options = options.data(),
                                .ignoreUnrecognized = JNI_FALSE};
    JavaVM *vm = nullptr;
    void *env = nullptr;
    // The environment decides, not the result: a VM that cannot be used has none.
    create(&vm, &env, &arguments);
    return env;
}

} // namespace

void *QUILLON_createJVM(const char *classpath, const char *resourceDir, const char *homeDir)
{
    std::array<OptionText, 3> texts;
    // Kept: without a home directory the property is two double quotes.
    if (!format_option(texts[0], "-Djava.class.path=", classpath, "classpath too long") ||
        !format_option(texts[1], "-DWOLK_RESOURCE_DIR=", resourceDir, "wolkResourceDir too long") ||
        !format_option(texts[2], "-DWOLKHOME=", homeDir != nullptr ? homeDir : "\"\"",
                       "wolkHomeDir too long"))
        return nullptr;
    QUILLON_DEBUG("%s: Loading JVM:\n\tclasspath: %s\n\twolk_resource_dir: %s\n"
                  "\twolk_home_dir: %s\n",
                  __func__, classpath, resourceDir, homeDir != nullptr ? homeDir : "");
    void *env = create_vm(texts);
    if (env == nullptr)
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "error creating JVM");
    return env;
}

ZOVBool QUILLON_invokeMainClass(void *env, int32_t serverPort, int32_t serverTimeout)
{
    auto *jni = static_cast<JNIEnv *>(env);
    const jclass mainClass = jni->FindClass(kMainClass);
    if (mainClass == nullptr) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "error loading Main class");
        return ZOV_FALSE;
    }
    const jmethodID method = jni->GetStaticMethodID(mainClass, "main", "([Ljava/lang/String;)V");
    char port[kNumberSize];
    char timeout[kNumberSize];
    ZOVOsapiUtility_snprintf(port, sizeof port, "%d", serverPort);
    ZOVOsapiUtility_snprintf(timeout, sizeof timeout, "%d", serverTimeout);

    const std::array texts = {"-server", "-serverPort", static_cast<const char *>(port),
                              "-serverTimeout", static_cast<const char *>(timeout)};
    constexpr auto kCount = static_cast<jsize>(texts.size());
    const jclass stringClass = jni->FindClass("java/lang/String");
    const jobjectArray arguments = jni->NewObjectArray(kCount, stringClass, nullptr);
    std::array<jstring, texts.size()> strings;
    for (std::size_t i = 0; i < texts.size(); ++i)
        strings[i] = jni->NewStringUTF(texts[i]);
    QUILLON_DEBUG("%s: Running Java QUILLON:\n\tserverPort: %s\n\tserverTimeout: %s\n", __func__,
                  port, timeout);
    for (jsize i = 0; i < kCount; ++i)
        jni->SetObjectArrayElement(arguments, i, strings[static_cast<std::size_t>(i)]);
    jni->CallStaticVoidMethod(mainClass, method, arguments);
    return ZOV_TRUE;
}

ZOVBool QUILLON_startCodeGenerator(const char *classpath, const char *resourceDir,
                                   const char *homeDir, int32_t serverPort, int32_t serverTimeout)
{
    void *env = QUILLON_createJVM(classpath, resourceDir, homeDir);
    if (env == nullptr) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "error creating JVM");
        return ZOV_FALSE;
    }
    if (!QUILLON_invokeMainClass(env, serverPort, serverTimeout)) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "error invoking Main class");
        return ZOV_FALSE;
    }
    return ZOV_TRUE;
}
