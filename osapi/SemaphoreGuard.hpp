/** Holds a semaphore for a block, so that no path gives it back by hand. */
#ifndef WOLKCORE_OSAPI_SEMAPHORE_GUARD_HPP
#define WOLKCORE_OSAPI_SEMAPHORE_GUARD_HPP

#include "log/Log.hpp"
#include "osapi/Semaphore.h"

#include <utility>

namespace zov {

/**
 * Takes a mutex in its constructor and gives it in its destructor. A failure of either is reported
 * by the module's function under the caller's context: "!take mutex\n", "!give mutex\n".
 */
class SemaphoreGuard
{
public:
    using Report = void (*)(const char *context, const ZOVLogMessage &message);

    SemaphoreGuard(ZOVOsapiSemaphore *semaphore, const char *context, Report report)
        : m_semaphore(semaphore), m_context(context), m_report(report)
    {
        m_held = ZOVOsapiSemaphore_take(semaphore, nullptr) == ZOV_OSAPI_SEMAPHORE_STATUS_OK;
        if (!m_held)
            m_report(m_context, ZOV_LOG_MUTEX_TAKE_FAILURE);
    }
    ~SemaphoreGuard() { give(); }
    SemaphoreGuard(const SemaphoreGuard &) = delete;
    SemaphoreGuard &operator=(const SemaphoreGuard &) = delete;

    [[nodiscard]] bool is_held() const { return m_held; }

    /** Gives it before the end of the block. False, reported, when that fails. */
    bool give()
    {
        if (!std::exchange(m_held, false) ||
            ZOVOsapiSemaphore_give(m_semaphore) == ZOV_OSAPI_SEMAPHORE_STATUS_OK)
            return true;
        m_report(m_context, ZOV_LOG_MUTEX_GIVE_FAILURE);
        return false;
    }

private:
    ZOVOsapiSemaphore *m_semaphore;
    const char *m_context;
    Report m_report;
    bool m_held = false;
};

} // namespace zov

#endif
