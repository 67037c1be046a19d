#include "koba/String.h"
#include "launcher/GeneratorConnection.h"
#include "launcher/GeneratorHost.h"
#include "launcher/Log.hpp"
#include "launcher/OutputRelay.h"
#include "launcher/ParameterManager.h"
#include "launcher/ServerProcess.hpp"
#include "launcher/StandardStreams.hpp"
#include "osapi/Socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

constexpr char kMain[] = "main";
constexpr int kSuccess = 0;
constexpr int kFailure = -1; // the process exits with 255
constexpr std::uint32_t kProbeTimeoutMs = 30;

/** What the options say. */
struct Options
{
    const char *classpath = nullptr;
    const char *resource_dir = nullptr;
    const char *home_dir = nullptr;
    std::int32_t server_port = 14662;
    std::int32_t server_timeout_ms = 20000;
    std::int32_t connection_timeout_ms = 5000;
    ZOVBool resolve_loopback = ZOV_FALSE;
};

enum class Role { Launcher, Server, Neither };

bool fail(const char *text)
{
    QUILLON_LOG_AS(Exception, kMain, ZOV_LOG_ANY_s, text);
    return false;
}

bool is_prefix(const char *argument, const char *option)
{
    return KOBAString_inCompare(argument, option,
                                static_cast<std::uint32_t>(std::strlen(argument))) == 0;
}

/** Answers the first argument that asks for the help or the version, wherever it stands. */
bool answer_question(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (is_prefix(argv[i], "-n_help")) {
            QUILLONParameterManager_printHelp("quillon");
            return true;
        }
        if (is_prefix(argv[i], "-n_version")) {
            QUILLONParameterManager_printVersion();
            return true;
        }
    }
    return false;
}

// Kept: the help says [0-6], and 4 and more mean exceptions only, as does everything unknown.
std::uint32_t levels_of(std::int32_t verbosity)
{
    switch (verbosity) {
    case 0:
        return 0x0;
    case 2:
        return 0x3;
    case 3:
        return 0xF;
    default:
        return 0x1;
    }
}

/** Only a number can be wrong. */
bool read_options(QUILLONParameterManager *manager, Options &options)
{
    const auto read_string = [manager](int parameter, const char **value) {
        QUILLONParameterManager_getParameter(manager, value, nullptr, parameter,
                                             QUILLON_PARAMETER_KIND_STRING);
    };
    const auto read_integer = [manager](int parameter, std::int32_t *value) {
        return QUILLONParameterManager_getParameter(manager, value, nullptr, parameter,
                                                    QUILLON_PARAMETER_KIND_INTEGER) != 0;
    };
    read_string(QUILLON_PARAMETER_CLASSPATH, &options.classpath);
    read_string(QUILLON_PARAMETER_WOLK_RESOURCE, &options.resource_dir);
    read_string(QUILLON_PARAMETER_WOLK_HOME, &options.home_dir);
    QUILLONParameterManager_getParameter(manager, nullptr, &options.resolve_loopback,
                                         QUILLON_PARAMETER_RESOLVE_LOOPBACK,
                                         QUILLON_PARAMETER_KIND_FLAG);
    std::int32_t verbosity = 1;
    if (!read_integer(QUILLON_PARAMETER_VERBOSITY, &verbosity))
        return false;
    // Before the numbers are read: what is wrong with them is told as the user wished.
    QUILLONLog_setBitmaps(0xFFFF, levels_of(verbosity));
    return read_integer(QUILLON_PARAMETER_SERVER_PORT, &options.server_port) &&
           read_integer(QUILLON_PARAMETER_SERVER_TIMEOUT, &options.server_timeout_ms) &&
           read_integer(QUILLON_PARAMETER_CONNECTION_TIMEOUT, &options.connection_timeout_ms);
}

bool make_address(const Options &options, sockaddr_in &address)
{
    address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(options.server_port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return !options.resolve_loopback ||
           ZOVOsapiSocket_getHostByName(&address.sin_addr, "localhost") == 0 ||
           fail("error connecting to code generator");
}

bool serve(const Options &options)
{
    QUILLON_LOG_AS(Local, kMain, QUILLON_LOG_QUILLON_STARTING_CODEGEN);
    return QUILLON_startCodeGenerator(options.classpath, options.resource_dir, options.home_dir,
                                      options.server_port, options.server_timeout_ms) ||
           fail("error running code generator");
}

/** Forks. The child has become the server when this returns in it. */
Role start_server(int &socket)
{
    quillon::Lifeline lifeline;
    std::fflush(nullptr); // or the child would print what waits in a buffer once more
    const int error = errno;
    const pid_t child = quillon::open_lifeline(lifeline) ? fork() : -1;
    if (child == -1) {
        fail("error creating code generator process");
        return Role::Neither;
    }
    if (child == 0) {
        quillon::become_server(socket, lifeline);
        return Role::Server;
    }
    close(lifeline.server_end);
    errno = error;
    return Role::Launcher;
}

bool connect_to_started_server(int socket, const sockaddr_in &address, const Options &options)
{
    if (QUILLON_socketConnect(socket, &address,
                              static_cast<std::uint32_t>(options.connection_timeout_ms)))
        return true;
    QUILLON_LOG_AS(Exception, kMain, QUILLON_LOG_QUILLON_CONNECTION_TIMEOUT_dXs,
                   options.connection_timeout_ms, errno, zov::osapi::ErrorText(errno).text());
    return false;
}

bool send_and_relay(int socket, const sockaddr_in &address, const QUILLONJArgsBuffer &arguments)
{
    if (!QUILLON_socketSend(socket, &address, &arguments)) {
        QUILLON_LOG_OS_FAILURE_AS(kMain, "send", errno);
        return false;
    }
    const bool success = QUILLON_readOutput(socket) != 0;
    return quillon::finish_output() && success;
}

/** Everything that happens while there is a socket; the server's life is part of it. */
bool generate(int &socket, const Options &options, const QUILLONJArgsBuffer &arguments)
{
    sockaddr_in address;
    if (!make_address(options, address))
        return false;
    if (!QUILLON_socketConnect(socket, &address, kProbeTimeoutMs)) {
        const Role role = start_server(socket);
        if (role == Role::Server)
            return serve(options);
        if (role == Role::Neither || !connect_to_started_server(socket, address, options))
            return false;
    }
    return send_and_relay(socket, address, arguments);
}

/** What a run holds and gives back at its end, in this order. */
struct Holdings
{
    QUILLONParameterManager *manager = nullptr;
    int socket = -1;
    bool module_initialized = false;
};

bool run(Holdings &holdings)
{
    Options options;
    if (!read_options(holdings.manager, options))
        return fail("error getting parameter");
    const QUILLONJArgsBuffer *arguments = QUILLONParameterManager_getJArgsBuffer(holdings.manager);
    QUILLON_DEBUG("%s: Java Parameters:\n(\n%s)\n", kMain, arguments->text);
    holdings.module_initialized = ZOVOsapiSocketModule_init() != 0;
    if (!holdings.module_initialized)
        return fail("error initializing socket module");
    holdings.socket = ZOVOsapiSocket_create(ZOV_OSAPI_SOCKET_KIND_STREAM);
    if (holdings.socket < 0)
        return fail("error connecting to code generator");
    return generate(holdings.socket, options, *arguments);
}

void clean_up(const Holdings &holdings)
{
    QUILLONParameterManager_delete(holdings.manager);
    if (holdings.socket >= 0)
        close(holdings.socket);
    if (holdings.module_initialized)
        ZOVOsapiSocketModule_finalize();
}

} // namespace

int main(int argc, char **argv)
{
    quillon::fill_closed_standard_descriptors();
    if (answer_question(argc, argv))
        return quillon::finish_output() ? kSuccess : kFailure;
    Holdings holdings = {.manager = QUILLONParameterManager_new(argc, argv)};
    if (holdings.manager == nullptr) {
        fail("error creating parameter manager");
        return kFailure;
    }
    const bool success = run(holdings);
    clean_up(holdings);
    return success ? kSuccess : kFailure;
}
