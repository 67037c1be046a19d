#include "log/Log.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#define MSG(INDEX, NAME, FORMAT)                                                                   \
    constinit const ZOVLogMessage NAME = {zov::log::kCodeBase + (INDEX), FORMAT};
#include "log/Log_normal.msg"
#undef MSG

constinit uint32_t ZOVLog_printMask = ZOV_LOG_PRINT_TEXT;
constinit ZOVLogOnMessageMethod ZOVLog_onMessage = ZOVLog_onMessageImpl;
constinit ZOVLogOnMessageMethod ZOVLog_onMessageDebug = ZOVLog_onMessageImpl;
constinit ZOVLogSetLogLevelMethod ZOVLog_setLogLevel = nullptr;

namespace {

using zov::relaxed_load;
using zov::relaxed_store;

constexpr std::size_t kLineSize = 1024;
constexpr std::size_t kFatalContextSize = 256;
constexpr std::size_t kCodeSize = 21;

/** Keeps errno for the caller: a hook does output, and the caller may still want its own error. */
class ErrnoKeeper
{
public:
    ErrnoKeeper() : m_errno(errno) {}
    ~ErrnoKeeper() { errno = m_errno; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

private:
    int m_errno;
};

/** A line in the making: always terminated, never longer than its buffer. */
template <std::size_t Size>
class Line
{
public:
    Line() { m_text[0] = '\0'; } // and not the rest, which would cost more than most lines

    void append(std::string_view text)
    {
        const std::size_t count = std::min(text.size(), Size - 1 - m_length);
        std::memcpy(m_text + m_length, text.data(), count);
        m_length += count;
        m_text[m_length] = '\0';
    }

    /** FALSE when the text was cut. */
    bool append_formatted(const char *format, va_list arguments)
    {
        const int length = ZOVLog_vsnprintf(m_text + m_length, Size - m_length, format, arguments);
        m_length += length < 0 ? std::strlen(m_text + m_length) : static_cast<std::size_t>(length);
        return length >= 0;
    }

    [[nodiscard]] const char *text() const { return m_text; }
    [[nodiscard]] int length() const { return static_cast<int>(m_length); }

private:
    char m_text[Size];
    std::size_t m_length = 0;
};

void append_code(Line<kLineSize> &line, std::uint32_t code)
{
    char text[kCodeSize];
    std::snprintf(text, sizeof text, "ZOV0x%x:", code);
    line.append(text);
}

void append_location(Line<kLineSize> &context, std::uint32_t moduleCode, const char *method,
                     const char *file, int line)
{
    const std::uint32_t mask = relaxed_load(ZOVLog_printMask);
    const auto append_place = [&context](std::string_view place) {
        if (context.length() > 0)
            context.append("/");
        context.append(place);
    };
    char text[16];
    if ((mask & ZOV_LOG_PRINT_MODULE) != 0) {
        std::snprintf(text, sizeof text, "Mx%02X", (moduleCode >> 16) & 0xFF);
        append_place(text);
    }
    if ((mask & ZOV_LOG_PRINT_METHOD) != 0 && method != nullptr)
        append_place(method);
    if ((mask & ZOV_LOG_PRINT_FILE) != 0 && file != nullptr)
        append_place(file);
    if ((mask & ZOV_LOG_PRINT_LINE) != 0) {
        std::snprintf(text, sizeof text, ":%d", line);
        context.append(text);
    }
}

} // namespace

void zov::log::announce(Level level)
{
    const ErrnoKeeper keeper; // the arguments of the statement may still read it
    if (const ZOVLogSetLogLevelMethod hook = relaxed_load(ZOVLog_setLogLevel))
        hook(static_cast<int>(level));
}

void ZOVLog_onMessageImpl(const char *message)
{
    if (message != nullptr)
        std::fputs(message, stdout);
}

int ZOVLog_vprintContextAndMsg(const char *context, const ZOVLogMessage *messageTemplate,
                               va_list arguments)
{
    const ErrnoKeeper keeper;
    const std::uint32_t mask = relaxed_load(ZOVLog_printMask);
    const ZOVLogOnMessageMethod hook = relaxed_load(ZOVLog_onMessage);
    Line<kLineSize> line;
    if (context != nullptr) {
        line.append(context);
        line.append(":");
    }
    if ((mask & ZOV_LOG_PRINT_CODE) != 0)
        append_code(line, messageTemplate->code);
    if ((mask & ZOV_LOG_PRINT_TEXT) != 0 && messageTemplate->format != nullptr &&
        !line.append_formatted(messageTemplate->format, arguments))
        hook("warning: string too long, truncated to 1024\n");
    hook(line.text());
    return line.length();
}

int ZOVLog_printContextAndMsg(const char *context, const ZOVLogMessage *messageTemplate, ...)
{
    va_list arguments;
    va_start(arguments, messageTemplate);
    const int length = ZOVLog_vprintContextAndMsg(context, messageTemplate, arguments);
    va_end(arguments);
    return length;
}

int ZOVLog_printContextAndFatalMsg(const char *context, const ZOVLogMessage *messageTemplate, ...)
{
    Line<kFatalContextSize> fatal;
    fatal.append("[FATAL] ");
    if (context != nullptr)
        fatal.append(context);
    va_list arguments;
    va_start(arguments, messageTemplate);
    const int length = ZOVLog_vprintContextAndMsg(fatal.text(), messageTemplate, arguments);
    va_end(arguments);
    return length;
}

int ZOVLog_printLocationContextAndMsg(uint32_t moduleCode, const char *method, const char *file,
                                      int line, const ZOVLogMessage *messageTemplate, ...)
{
    Line<kLineSize> context;
    append_location(context, moduleCode, method, file, line);
    va_list arguments;
    va_start(arguments, messageTemplate);
    const int length = ZOVLog_vprintContextAndMsg(context.length() > 0 ? context.text() : nullptr,
                                                  messageTemplate, arguments);
    va_end(arguments);
    return length;
}

int ZOVLog_print(const ZOVLogMessage *messageTemplate, ...)
{
    va_list arguments;
    va_start(arguments, messageTemplate);
    const int length = ZOVLog_vprintContextAndMsg(nullptr, messageTemplate, arguments);
    va_end(arguments);
    return length;
}

int ZOVLog_vdebug(const char *format, va_list arguments)
{
    const ErrnoKeeper keeper;
    Line<kLineSize> line;
    line.append_formatted(format, arguments);
    relaxed_load(ZOVLog_onMessageDebug)(line.text());
    return line.length();
}

int ZOVLog_debug(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = ZOVLog_vdebug(format, arguments);
    va_end(arguments);
    return length;
}

int ZOVLog_vsnprintf(char *buffer, size_t size, const char *format, va_list arguments)
{
    const int length = std::vsnprintf(buffer, buffer == nullptr ? 0 : size, format, arguments);
    if (buffer == nullptr || length < 0)
        return length;
    return static_cast<std::size_t>(length) < size ? length : -1;
}

int ZOVLog_snprintf(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = ZOVLog_vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

ZOVLogOnMessageMethod ZOVLog_registerOnMessageMethod(ZOVLogOnMessageMethod method)
{
    const ZOVLogOnMessageMethod installed = method != nullptr ? method : ZOVLog_onMessageImpl;
    const bool follows = relaxed_load(ZOVLog_onMessageDebug) == relaxed_load(ZOVLog_onMessage);
    relaxed_store(ZOVLog_onMessage, installed);
    if (follows)
        relaxed_store(ZOVLog_onMessageDebug, installed);
    return installed;
}

ZOVLogOnMessageMethod ZOVLog_registerOnDebugMessageMethod(ZOVLogOnMessageMethod method)
{
    const ZOVLogOnMessageMethod installed = method != nullptr ? method : ZOVLog_onMessageImpl;
    relaxed_store(ZOVLog_onMessageDebug, installed);
    return installed;
}

ZOVLogSetLogLevelMethod ZOVLog_registerSetLogLevelMethod(ZOVLogSetLogLevelMethod method)
{
    relaxed_store(ZOVLog_setLogLevel, method);
    return method;
}

ZOVLogOnMessageMethod ZOVLog_getDefaultOnMessageMethod(void)
{
    return ZOVLog_onMessageImpl;
}

void ZOVLog_flush(void)
{
    std::fflush(stdout);
}

int ZOVLog_onAssert(void)
{
    return -1;
}
