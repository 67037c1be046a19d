#include "launcher/ParameterManager.h"

#include "dds/ProductVersion.h"
#include "koba/String.h"
#include "launcher/Log.hpp"
#include "osapi/Owned.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <unistd.h>

const QUILLONParameterDescription QUILLONParameterManager_g_parameterDesc[] = {
    {"n_help", QUILLON_PARAMETER_KIND_FLAG, 0, "", ZOV_FALSE, 1},
    {"n_version", QUILLON_PARAMETER_KIND_FLAG, 0, "", ZOV_FALSE, 1},
    {"n_verbosity", QUILLON_PARAMETER_KIND_INTEGER, 0, "", ZOV_FALSE, 1},
    {"n_classpath", QUILLON_PARAMETER_KIND_STRING, 0, "", ZOV_TRUE, 1},
    {"n_wolkresource", QUILLON_PARAMETER_KIND_STRING, 0, "", ZOV_TRUE, 1},
    {"n_wolkhome", QUILLON_PARAMETER_KIND_STRING, 0, "", ZOV_FALSE, 1},
    {"n_serverport", QUILLON_PARAMETER_KIND_INTEGER, 0, "", ZOV_FALSE, 1},
    {"n_servertimeout", QUILLON_PARAMETER_KIND_INTEGER, 0, "", ZOV_FALSE, 1},
    {"n_resolvelo", QUILLON_PARAMETER_KIND_FLAG, 0, "", ZOV_FALSE, 1},
    {"n_jprocess", QUILLON_PARAMETER_KIND_FLAG, 0, "", ZOV_FALSE, 1},
    {"n_connectiontimeout", QUILLON_PARAMETER_KIND_INTEGER, 0, "", ZOV_FALSE, 1},
};
static_assert(std::size(QUILLONParameterManager_g_parameterDesc) == QUILLON_PARAMETER_COUNT);
const char *const QUILLONParameterManager_g_parameterTypeDesc[] = {"", "<string>", "<integer>"};

namespace {

constexpr std::int32_t kInitialized = 0x7344;
constexpr std::int32_t kFinalized = 0x7345;

constexpr std::uint32_t kTextCapacity = 16384;
// Room for the closing newline and the NUL stays free.
constexpr std::uint32_t kArgumentsLimit = kTextCapacity - 2;
constexpr std::size_t kDirectorySize = 256;

constexpr int kNoParameter = -1;

/** The option that an argument names, or kNoParameter. */
int find_parameter(const char *argument)
{
    if (*argument == '\0')
        return kNoParameter;
    const char *name = argument + 1;
    const auto length = static_cast<std::uint32_t>(std::strlen(name));
    for (int i = 0; i < QUILLON_PARAMETER_COUNT; ++i)
        if (KOBAString_inCompare(name, QUILLONParameterManager_g_parameterDesc[i].name, length) ==
            0)
            return i;
    return kNoParameter;
}

ZOVBool QUILLONParameterManager_appendStringToBuffer(QUILLONJArgsBuffer *buffer,
                                                     std::uint32_t limit, const char *string)
{
    const std::size_t length = std::strlen(string);
    if (length + 1 + buffer->length > limit) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "parameter line too long");
        return ZOV_FALSE;
    }
    char *end = buffer->text + buffer->length;
    std::memcpy(end, string, length);
    std::memcpy(end + length, "\n", 2);
    buffer->length += static_cast<std::uint32_t>(length + 1);
    return ZOV_TRUE;
}

ZOVBool QUILLONParameterManager_appendWorkingDirectory(QUILLONParameterManager *manager)
{
    char directory[kDirectorySize];
    if (getcwd(directory, sizeof directory) == nullptr) {
        QUILLON_LOG(Exception, QUILLON_LOG_QUILLON_FAIL_GET_WORKING_DIRECTORY);
        return ZOV_FALSE;
    }
    if (!QUILLONParameterManager_appendStringToBuffer(&manager->jArgs, kArgumentsLimit,
                                                      "-workingDirectory")) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_s, "parameter -workingDirectory too long");
        return ZOV_FALSE;
    }
    if (!QUILLONParameterManager_appendStringToBuffer(&manager->jArgs, kArgumentsLimit,
                                                      directory)) {
        QUILLON_LOG(Exception, ZOV_LOG_ANY_ss, "working directory too long: ", directory);
        return ZOV_FALSE;
    }
    return ZOV_TRUE;
}

constexpr char kInitialize[] = "QUILLONParameterManager_initialize";

bool read_arguments(QUILLONParameterManager *manager, std::span<char *> arguments)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const int parameter = find_parameter(arguments[i]);
        if (parameter == kNoParameter) {
            if (!QUILLONParameterManager_appendStringToBuffer(&manager->jArgs, kArgumentsLimit,
                                                              arguments[i]))
                return false;
            continue;
        }
        auto &slot = manager->slot[parameter];
        slot.present = ZOV_TRUE;
        if (QUILLONParameterManager_g_parameterDesc[parameter].kind == QUILLON_PARAMETER_KIND_FLAG)
            continue;
        if (i + 1 == arguments.size()) {
            QUILLON_LOG_AS(Exception, kInitialize, QUILLON_LOG_QUILLON_BAD_PARAMETER_s,
                           arguments[i] + 1);
            return false;
        }
        slot.value = arguments[++i];
    }
    return true;
}

/** The empty line, and the NUL, which is sent too: the receiver takes it for the end. */
void close_buffer(QUILLONJArgsBuffer *buffer)
{
    std::memcpy(buffer->text + buffer->length, "\n", 2);
    buffer->length += 2;
}

bool has_required_parameters(const QUILLONParameterManager *manager)
{
    for (int i = 0; i < QUILLON_PARAMETER_COUNT; ++i) {
        const QUILLONParameterDescription &parameter = QUILLONParameterManager_g_parameterDesc[i];
        if (parameter.required && !manager->slot[i].present) {
            QUILLON_LOG_AS(Exception, kInitialize, QUILLON_LOG_QUILLON_BAD_PARAMETER_s,
                           parameter.name);
            return false;
        }
    }
    return true;
}

void free_buffer(QUILLONJArgsBuffer *buffer)
{
    ZOVOsapiHeap_freeString(buffer->text);
    buffer->text = nullptr;
}

} // namespace

ZOVBool QUILLONParameterManager_initialize(QUILLONParameterManager *manager, int argc, char **argv)
{
    if (manager->state == kInitialized)
        return ZOV_TRUE;
    for (auto &slot : manager->slot)
        slot = {};
    manager->jArgs.length = 0;
    if (ZOVOsapiHeap_allocateString(&manager->jArgs.text, kTextCapacity) == nullptr) {
        QUILLON_LOG(Exception, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRING_d,
                    static_cast<int>(kTextCapacity - 1));
        return ZOV_FALSE;
    }
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    const bool complete = read_arguments(manager, arguments.subspan(arguments.empty() ? 0 : 1)) &&
                          QUILLONParameterManager_appendWorkingDirectory(manager);
    if (complete)
        close_buffer(&manager->jArgs);
    if (!complete || !has_required_parameters(manager)) {
        free_buffer(&manager->jArgs);
        return ZOV_FALSE;
    }
    manager->state = kInitialized;
    return ZOV_TRUE;
}

QUILLONParameterManager *QUILLONParameterManager_new(int argc, char **argv)
{
    zov::heap::Owned<QUILLONParameterManager, zov::heap::Kind::Structure> manager;
    if (ZOVOsapiHeap_allocateStructure(manager.address(), struct QUILLONParameterManager) ==
        nullptr) {
        QUILLON_LOG(Exception, ZOV_OSAPI_MEMORY_LOG_OUT_OF_HEAP_STRUCT_d,
                    static_cast<int>(sizeof *manager));
        return nullptr;
    }
    if (!QUILLONParameterManager_initialize(manager.get(), argc, argv)) {
        QUILLON_LOG(Exception, ZOV_LOG_INIT_FAILURE_s, "parameter manager");
        return nullptr;
    }
    return manager.release();
}

void QUILLONParameterManager_finalize(QUILLONParameterManager *manager)
{
    free_buffer(&manager->jArgs);
    manager->state = kFinalized;
}

void QUILLONParameterManager_delete(QUILLONParameterManager *manager)
{
    QUILLONParameterManager_finalize(manager);
    ZOVOsapiHeap_freeStructure(manager);
}

ZOVBool QUILLONParameterManager_getParameter(QUILLONParameterManager *manager, void *value,
                                             ZOVBool *present, int32_t index, uint32_t kind)
{
    const auto &slot = manager->slot[index];
    if (present != nullptr)
        *present = slot.present;
    if (!slot.present || value == nullptr)
        return ZOV_TRUE;
    if (kind == QUILLON_PARAMETER_KIND_STRING)
        *static_cast<const char **>(value) = slot.value;
    if (kind == QUILLON_PARAMETER_KIND_INTEGER) {
        char *end = nullptr;
        const long number = std::strtol(slot.value, &end, 10);
        if (end == slot.value) {
            QUILLON_LOG(Exception, QUILLON_LOG_QUILLON_BAD_PARAMETER_s,
                        QUILLONParameterManager_g_parameterDesc[index].name);
            return ZOV_FALSE;
        }
        *static_cast<int32_t *>(value) = static_cast<int32_t>(number);
    }
    return ZOV_TRUE;
}

QUILLONJArgsBuffer *QUILLONParameterManager_getJArgsBuffer(QUILLONParameterManager *manager)
{
    return &manager->jArgs;
}

void QUILLONParameterManager_printHelp(const char *programName)
{
    QUILLONParameterManager_printVersion();
    std::printf("Usage: %s [options]\nOptions:\n", programName);
    std::puts(" -n_classpath                         <path> QUILLON classpath\n"
              " -n_wolkresource                      <path> QUILLON resource directory\n"
              " -n_wolkhome                          <path> WOLKHOME directory\n"
              " -n_serverport                        <port> Server port\n"
              "                                             Default: 14662\n"
              " -n_servertimeout                     <milli> Server timeout in milli\n"
              "                                             Default: 20000\n"
              " -n_connectiontimeout                 <milli> Server connection timeout in milli\n"
              "                                             Default: 5000\n"
              " -n_resolvelo                                Resolve loopback address\n"
              " -n_jprocess                                 Only for Windows usage\n"
              " -n_verbosity                         [0-6]  QUILLON verbosity\n"
              "                                             * 0 - silent\n"
              "                                             * 1 - exceptions\n"
              "                                             * 2 - warnings\n"
              "                                             * 3 - information\n"
              "                                             Default: 1 (exceptions)\n"
              " -n_version                                  Prints the QUILLON version\n"
              " -n_help                                     Displays this information");
}

void QUILLONParameterManager_printUsage(const char *programName)
{
    QUILLONParameterManager_printHelp(programName);
}

void QUILLONParameterManager_printVersion(void)
{
    const DDS_ProductVersion_t *version = WOLK_Config_Version_get_product_version();
    // Kept: the release is a number that is printed as a character, a NUL byte for release 0.
    std::printf("%s v%d.%d%c\n", "QUILLON", version->major, version->minor, version->release);
}
