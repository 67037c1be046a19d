#include "launcher/JvmLibrary.hpp"

#include "launcher/Log.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <glob.h>
#include <string_view>

// Weak: nothing of Java is linked. Whoever links or preloads a VM, as tests do, is found by it.
extern "C" __attribute__((weak)) JNIEXPORT jint JNICALL JNI_CreateJavaVM(JavaVM **vm, void **env,
                                                                         void *arguments);

namespace {

using quillon::CreateJavaVM;

// Where VMs of different ages keep their library below a Java home.
constexpr std::array kBelowHome = {
    "lib/server",       "jre/lib/server",         "jre/lib/amd64/server",
    "lib/amd64/server", "jre/lib/aarch64/server", "lib/aarch64/server",
};

constexpr std::array kUsualHomes = {
    "/usr/lib/jvm/default-java",
    "/usr/lib/jvm/default",
    "/usr/lib/jvm/*",
    "/opt/java/*",
};

/** The search: tries place after place and remembers what may help when none has a VM. */
class Search
{
public:
    CreateJavaVM run()
    {
        if (JNI_CreateJavaVM != nullptr)
            return JNI_CreateJavaVM;
        CreateJavaVM create = load("libjvm.so");
        if (create == nullptr)
            create = look_in_java_home();
        if (create == nullptr)
            create = look_on_path();
        for (const char *pattern : kUsualHomes)
            if (create == nullptr)
                create = look_in_homes(pattern);
        if (create == nullptr)
            report();
        return create;
    }

private:
    CreateJavaVM load(const char *library)
    {
        void *handle = dlopen(library, RTLD_NOW | RTLD_GLOBAL);
        void *create = handle != nullptr ? dlsym(handle, "JNI_CreateJavaVM") : nullptr;
        if (create == nullptr)
            remember_refusal(library, dlerror());
        return reinterpret_cast<CreateJavaVM>(create);
    }

    /** Of a place without the file there is nothing to say. */
    void remember_refusal(const char *library, std::string_view error)
    {
        constexpr std::string_view kAbsent =
            ": cannot open shared object file: No such file or directory";
        if (m_refusal[0] == '\0' && !(error.starts_with(library) && error.ends_with(kAbsent)))
            ZOVLog_snprintf(m_refusal, sizeof m_refusal, " (%.*s)", static_cast<int>(error.size()),
                            error.data());
    }

    CreateJavaVM look_in_home(std::string_view home)
    {
        for (const char *below : kBelowHome) {
            char path[PATH_MAX];
            const int length = ZOVLog_snprintf(path, sizeof path, "%.*s/%s/libjvm.so",
                                               static_cast<int>(home.size()), home.data(), below);
            if (length < 0)
                continue;
            if (CreateJavaVM create = load(path))
                return create;
        }
        return nullptr;
    }

    CreateJavaVM look_in_java_home()
    {
        const char *home = std::getenv("JAVA_HOME");
        return home != nullptr && *home != '\0' ? look_in_home(home) : nullptr;
    }

    CreateJavaVM look_on_path()
    {
        const char *variable = std::getenv("PATH");
        std::string_view path = variable != nullptr ? variable : "";
        while (!path.empty()) {
            const std::string_view directory = path.substr(0, path.find(':'));
            path.remove_prefix(std::min(directory.size() + 1, path.size()));
            if (CreateJavaVM create = look_beside_java(directory))
                return create;
        }
        return nullptr;
    }

    /** A java on PATH is mostly a link into a home's bin. */
    CreateJavaVM look_beside_java(std::string_view directory)
    {
        char java[PATH_MAX];
        char real[PATH_MAX];
        if (ZOVLog_snprintf(java, sizeof java, "%.*s/java", static_cast<int>(directory.size()),
                            directory.data()) < 0 ||
            realpath(java, real) == nullptr)
            return nullptr;
        constexpr std::string_view kSuffix = "/bin/java";
        const std::string_view program = real;
        if (!program.ends_with(kSuffix))
            return nullptr;
        return look_in_home(program.substr(0, program.size() - kSuffix.size()));
    }

    CreateJavaVM look_in_homes(const char *pattern)
    {
        glob_t homes = {};
        CreateJavaVM create = nullptr;
        if (glob(pattern, 0, nullptr, &homes) == 0)
            for (std::size_t i = 0; i < homes.gl_pathc && create == nullptr; ++i)
                create = look_in_home(homes.gl_pathv[i]);
        globfree(&homes);
        return create;
    }

    void report() const
    {
        const char *home = std::getenv("JAVA_HOME");
        char line[900];
        ZOVLog_snprintf(line, sizeof line,
                        "no Java VM found, set JAVA_HOME to a JDK or JRE; tried libjvm.so by name, "
                        "JAVA_HOME (%s), java on PATH, %s, %s, %s, %s%s",
                        home != nullptr ? home : "not set", kUsualHomes[0], kUsualHomes[1],
                        kUsualHomes[2], kUsualHomes[3], m_refusal);
        QUILLON_LOG_AS(Exception, "QUILLON_createJVM", ZOV_LOG_ANY_s, line);
    }

    // Why the first library that exists did not load.
    char m_refusal[400] = {};
};

} // namespace

CreateJavaVM quillon::find_create_java_vm()
{
    return Search().run();
}
