#include "tests/support/LogCapture.hpp"

#include "dds/Log.h"
#include "koba/Log.h"
#include "launcher/Log.h"
#include "osapi/Log.h"
#include "tests/support/Faults.hpp"
#include "xml/Log.h"

#include <array>
#include <mutex>
#include <utility>

// Weak: most tests link the library alone.
extern "C" __attribute__((weak)) uint32_t QUILLONLog_g_submoduleMask;
extern "C" __attribute__((weak)) uint32_t QUILLONLog_g_instrumentationMask;

namespace test {
namespace {

std::mutex g_mutex;
Lines g_lines;
std::vector<bool> g_are_warnings;
thread_local int t_level = 0;

void capture(const char *message)
{
    const Aside aside; // the lock below is no call of what is tested
    const std::lock_guard lock(g_mutex);
    g_lines.emplace_back(message);
    g_are_warnings.push_back(std::exchange(t_level, 0) == 2);
}

/** The masks of a module. */
#define MASKS(MODULE) &MODULE##_g_submoduleMask, &MODULE##_g_instrumentationMask

// First the submodules, then the levels; null for the launcher where it is not linked.
const std::array kMasks = {MASKS(QUILLONLog), MASKS(ZOVOsapiLog), MASKS(ZOVClockLog),
                           MASKS(KOBALog),    MASKS(ZOVXMLLog),   MASKS(DDSLog)};

} // namespace

struct LogCapture::Saved
{
    ZOVLogOnMessageMethod message = ZOVLog_onMessage;
    ZOVLogOnMessageMethod debug = ZOVLog_onMessageDebug;
    ZOVLogSetLogLevelMethod level = ZOVLog_setLogLevel;
    uint32_t print_mask = ZOVLog_printMask;
    std::array<uint32_t, kMasks.size()> masks = {};
};

LogCapture::LogCapture() : m_saved(new Saved)
{
    for (std::size_t i = 0; i < kMasks.size(); ++i)
        if (kMasks[i] != nullptr)
            m_saved->masks[i] = *kMasks[i];
    clear();
    ZOVLog_onMessage = capture;
    ZOVLog_onMessageDebug = capture;
    ZOVLog_setLogLevel = [](int level) { t_level = level; };
}

LogCapture::~LogCapture()
{
    ZOVLog_onMessage = m_saved->message;
    ZOVLog_onMessageDebug = m_saved->debug;
    ZOVLog_setLogLevel = m_saved->level;
    ZOVLog_printMask = m_saved->print_mask;
    for (std::size_t i = 0; i < kMasks.size(); ++i)
        if (kMasks[i] != nullptr)
            *kMasks[i] = m_saved->masks[i];
    delete m_saved;
}

Lines LogCapture::lines() const
{
    const std::lock_guard lock(g_mutex);
    return g_lines;
}

void LogCapture::clear()
{
    const std::lock_guard lock(g_mutex);
    g_lines.clear();
    g_are_warnings.clear();
}

Lines LogCapture::take()
{
    const std::lock_guard lock(g_mutex);
    Lines lines;
    for (std::size_t i = 0; i < g_lines.size(); ++i)
        lines.push_back(g_are_warnings[i] ? warning(g_lines[i]) : g_lines[i]);
    g_lines.clear();
    g_are_warnings.clear();
    return lines;
}

void LogCapture::set_levels(uint32_t instrumentation)
{
    for (std::size_t i = 1; i < kMasks.size(); i += 2)
        if (kMasks[i] != nullptr)
            *kMasks[i] = instrumentation;
}

} // namespace test
