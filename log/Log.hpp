/**
 * How the system's own sources report: a statement tests both masks of its module before it
 * evaluates any argument, and its arguments are checked against the message's format when it is
 * compiled.
 */
#ifndef WOLKCORE_LOG_LOG_HPP
#define WOLKCORE_LOG_LOG_HPP

#include "log/Log.h"
#include "log/Relaxed.hpp"

#include <cstdint>

namespace zov::log {

enum class Level : std::uint32_t {
    Exception = 0x1,
    Warning = 0x2,
    Local = 0x4,
    Debug = 0x10,
};

inline constexpr std::uint32_t kCodeBase = 0x02000000;

// Formats as constants: the message itself is a record in another translation unit, which the
// compiler cannot look into when it checks arguments.
namespace format {
#define MSG(INDEX, NAME, FORMAT) inline constexpr char NAME[] = FORMAT;
#include "log/Log_normal.msg"
#undef MSG
} // namespace format

/** Never called: its attribute checks the arguments of a statement. */
int check_arguments(const char *format, ...) ZOV_PRINTF(1, 2);

inline bool is_on(std::uint32_t &mask, std::uint32_t bit)
{
    return (relaxed_load(mask) & bit) != 0;
}

inline bool is_on(std::uint32_t &levels, std::uint32_t &submodules, Level level,
                  std::uint32_t submodule)
{
    return is_on(levels, static_cast<std::uint32_t>(level)) && is_on(submodules, submodule);
}

/** Tells the level hook, when there is one. */
void announce(Level level);

/** For the one module that tells the level hook nothing. */
inline void announce_nothing(Level) {}

} // namespace zov::log

/** Whether a statement of this level and submodule would be printed. */
#define ZOV_LOG_IS_ON(MODULE, LEVEL, SUBMODULE)                                                    \
    ::zov::log::is_on(MODULE##_g_instrumentationMask, MODULE##_g_submoduleMask,                    \
                      ::zov::log::Level::LEVEL, SUBMODULE)

/**
 * The statement that the modules' own macros are made of. What varies is the message and its
 * arguments.
 */
#define ZOV_LOG(MODULE, ANNOUNCE, LEVEL, SUBMODULE, CONTEXT, ...)                                  \
    do {                                                                                           \
        if (ZOV_LOG_IS_ON(MODULE, LEVEL, SUBMODULE)) [[unlikely]] {                                \
            static_cast<void>(                                                                     \
                sizeof(::zov::log::check_arguments(::zov::log::format::__VA_ARGS__)));             \
            ANNOUNCE(::zov::log::Level::LEVEL);                                                    \
            ZOVLog_printContextAndMsg(CONTEXT, &__VA_ARGS__);                                      \
        }                                                                                          \
    } while (false)

/** Defines what ZOV_LOG_MODULE declares; every module starts with exceptions switched on. */
#define ZOV_LOG_DEFINE_MODULE(MODULE, SUBMODULES)                                                  \
    constinit uint32_t MODULE##_g_submoduleMask = SUBMODULES;                                      \
    constinit uint32_t MODULE##_g_instrumentationMask = 0x1;                                       \
    void MODULE##_getBitmaps(uint32_t *submoduleOut, uint32_t *instrumentationOut)                 \
    {                                                                                              \
        if (submoduleOut != nullptr)                                                               \
            *submoduleOut = zov::relaxed_load(MODULE##_g_submoduleMask);                           \
        if (instrumentationOut != nullptr)                                                         \
            *instrumentationOut = zov::relaxed_load(MODULE##_g_instrumentationMask);               \
    }                                                                                              \
    void MODULE##_setBitmaps(uint32_t submodule, uint32_t instrumentation)                         \
    {                                                                                              \
        zov::relaxed_store(MODULE##_g_submoduleMask, submodule);                                   \
        zov::relaxed_store(MODULE##_g_instrumentationMask, instrumentation);                       \
    }                                                                                              \
    void MODULE##_setVerbosity(uint32_t submodule, int32_t verbosity)                              \
    {                                                                                              \
        MODULE##_setBitmaps(submodule, zov::log::levels_of_verbosity(verbosity));                  \
    }                                                                                              \
    static_assert(true, "takes the semicolon")

namespace zov::log {

// Kept: the shift count wraps, so that verbosity 31 silences a module.
constexpr std::uint32_t levels_of_verbosity(std::int32_t verbosity)
{
    if (verbosity < 0)
        return 0;
    return (1u << ((static_cast<std::uint32_t>(verbosity) + 1) % 32)) - 1;
}

} // namespace zov::log

#endif
