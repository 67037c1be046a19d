#include "tests/support/Faults.hpp"

#include "osapi/heap.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <set>
#include <thread>

namespace test {
namespace {

enum class Function {
#define WRAP(STYLE, NAME, RESULT, COUNT, ...) NAME,
#include "tests/support/faults.def"
#undef WRAP
};

constexpr std::array kNames = {
#define WRAP(STYLE, NAME, RESULT, COUNT, ...) #NAME,
#include "tests/support/faults.def"
#undef WRAP
};

enum class Style { Number, NumberAfter, Errno, ErrnoAfter, Own };

/** A function in the scenario's thread, or in another one. */
constexpr std::size_t kPlaces = kNames.size() * 2;

std::string name_of(std::size_t place)
{
    std::string name = kNames[place / 2];
    if (name.ends_with("_fscanf"))
        name = "fscanf"; // as it reads in the source, whatever the C library turns it into
    return (place % 2 != 0 ? "child " : "") + name;
}

constinit std::atomic<bool> g_armed = false;
constinit std::atomic_flag g_lock = {};
thread_local int t_aside = 0;

// Under the lock, which is none of pthread's: those are wrapped.
std::string g_failing;
int g_error = 0;
pthread_t g_home;
std::array<int, kPlaces> g_calls;
std::set<void *> g_live;
std::map<void *, void *> g_shifted; // by what the caller has, what the platform has

class Lock
{
public:
    Lock()
    {
        while (g_lock.test_and_set(std::memory_order_acquire))
            sched_yield();
    }
    ~Lock() { g_lock.clear(std::memory_order_release); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;
};

bool is_allocator(Function function)
{
    return function <= Function::strdup;
}

/** Counts a call. The error that it is to fail with, or 0. */
int failure_of(Function function)
{
    if (!g_armed || t_aside > 0)
        return 0;
    const Lock lock;
    const bool is_child = pthread_equal(pthread_self(), g_home) == 0;
    const std::size_t place = static_cast<std::size_t>(function) * 2 + (is_child ? 1 : 0);
    g_calls[place] += 1;
    if (name_of(place) + " " + std::to_string(g_calls[place]) != g_failing)
        return 0;
    if (g_error != 0)
        return g_error;
    return is_allocator(function) ? ENOMEM : EPERM;
}

template <Style style, class Result, class... Arguments>
Result call(Function function, Result (*real)(Arguments...), Result (*instead)(Arguments...),
            Arguments... arguments)
{
    const int error = failure_of(function);
    if (error == 0)
        return (instead != nullptr ? instead : real)(arguments...);
    if constexpr (style == Style::NumberAfter || style == Style::ErrnoAfter)
        real(arguments...);
    if constexpr (style == Style::Number || style == Style::NumberAfter)
        return error;
    errno = error;
    h_errno = HOST_NOT_FOUND;
    if constexpr (std::is_signed_v<Result>)
        return -1;
    else
        return Result{};
}

void *noted(void *block)
{
    if (g_armed && t_aside == 0 && block != nullptr) {
        const Lock lock;
        g_live.insert(block);
    }
    return block;
}

/** The platform's address of a block, which is no longer of account. */
void *forgotten(void *block)
{
    const Lock lock;
    g_live.erase(block);
    const auto shifted = g_shifted.find(block);
    if (shifted == g_shifted.end())
        return block;
    void *const base = shifted->second;
    g_shifted.erase(shifted);
    return base;
}

void *shifted_block(std::size_t size)
{
    char *const base = static_cast<char *>(__real_calloc(1, size + block_shift));
    const Lock lock;
    g_shifted[base + block_shift] = base;
    return base + block_shift;
}

bool is_out_of_memory(Function function)
{
    const int error = failure_of(function);
    if (error != 0)
        errno = error;
    return error != 0;
}

} // namespace

// The wrappers. Variadic calls pass these few arguments like any others where the tests run.
#define PARAMETERS_0()
#define PARAMETERS_1(A) A a
#define PARAMETERS_2(A, B) A a, B b
#define PARAMETERS_3(A, B, C) A a, B b, C c
#define PARAMETERS_4(A, B, C, D) A a, B b, C c, D d
#define PARAMETERS_5(A, B, C, D, E) A a, B b, C c, D d, E e
#define PARAMETERS_6(A, B, C, D, E, F) A a, B b, C c, D d, E e, F f
#define ARGUMENTS_0
#define ARGUMENTS_1 , a
#define ARGUMENTS_2 , a, b
#define ARGUMENTS_3 , a, b, c
#define ARGUMENTS_4 , a, b, c, d
#define ARGUMENTS_5 , a, b, c, d, e
#define ARGUMENTS_6 , a, b, c, d, e, f
#define WRAP_Own(...)
#define WRAP_Number(...) WRAPPER(Number, __VA_ARGS__)
#define WRAP_NumberAfter(...) WRAPPER(NumberAfter, __VA_ARGS__)
#define WRAP_Errno(...) WRAPPER(Errno, __VA_ARGS__)
#define WRAP_ErrnoAfter(...) WRAPPER(ErrnoAfter, __VA_ARGS__)
#define WRAPPER(STYLE, NAME, RESULT, COUNT, ...)                                                   \
    RESULT __wrap_##NAME(PARAMETERS_##COUNT(__VA_ARGS__))                                          \
    {                                                                                              \
        return call<Style::STYLE>(Function::NAME, __real_##NAME, instead::NAME ARGUMENTS_##COUNT); \
    }
#define WRAP(STYLE, ...) WRAP_##STYLE(__VA_ARGS__)

extern "C" {

#include "tests/support/faults.def"

void *__wrap_calloc(std::size_t count, std::size_t size)
{
    if (is_out_of_memory(Function::calloc))
        return nullptr;
    return noted(block_shift != 0 ? shifted_block(count * size) : __real_calloc(count, size));
}

void *__wrap_malloc(std::size_t size)
{
    return is_out_of_memory(Function::malloc) ? nullptr : noted(__real_malloc(size));
}

void *__wrap_realloc(void *old, std::size_t size)
{
    if (is_out_of_memory(Function::realloc))
        return nullptr;
    if (block_shift == 0) {
        void *const block = __real_realloc(old, size);
        if (block != nullptr)
            forgotten(old);
        return noted(block);
    }
    void *const block = shifted_block(size);
    void *const base = forgotten(old);
    const std::size_t held = malloc_usable_size(base) - (base == old ? 0 : block_shift);
    std::memcpy(block, old, std::min(size, held));
    __real_free(base);
    return noted(block);
}

char *__wrap_strdup(const char *text)
{
    if (is_out_of_memory(Function::strdup))
        return nullptr;
    return static_cast<char *>(noted(__real_strdup(text)));
}

void __wrap_free(void *block)
{
    if (g_armed || block_shift != 0 || !g_shifted.empty())
        block = forgotten(block);
    __real_free(block);
}

#define WRAP_FSCANF(NAME)                                                                          \
    int __wrap_##NAME(FILE *file, const char *format, ...)                                         \
    {                                                                                              \
        if (const int error = failure_of(Function::NAME)) {                                        \
            errno = error;                                                                         \
            return EOF;                                                                            \
        }                                                                                          \
        va_list arguments;                                                                         \
        va_start(arguments, format);                                                               \
        const int count = vfscanf(file, format, arguments);                                        \
        va_end(arguments);                                                                         \
        return count;                                                                              \
    }
WRAP_FSCANF(__isoc99_fscanf)
WRAP_FSCANF(__isoc23_fscanf)

} // extern "C"

#undef WRAP

Fault::Fault(const std::string &call, int error)
{
    const Lock lock;
    g_failing = call;
    g_error = error;
    g_home = pthread_self();
    g_calls = {};
    g_live.clear();
    g_armed = true;
}

Fault::~Fault()
{
    g_armed = false;
}

std::size_t live_blocks()
{
    const Lock lock;
    return g_live.size();
}

Aside::Aside()
{
    ++t_aside;
}

Aside::~Aside()
{
    --t_aside;
}

namespace {

/** What is left over stays reachable to the very end, for whoever looks for leaks then. */
std::vector<void *> &g_left_over = *new std::vector<void *>;

/** Threads of the scenario may still be about to free: together they get some seconds. */
int blocks_left(int expected)
{
    using namespace std::chrono_literals;
    static int patience = 5000;
    while (static_cast<int>(live_blocks()) > expected && patience-- > 0)
        std::this_thread::sleep_for(1ms);
    const Lock lock;
    g_left_over.insert(g_left_over.end(), g_live.begin(), g_live.end());
    return static_cast<int>(g_live.size());
}

std::string printed(const Expected &outcome)
{
    std::string text = "{\"" + outcome.result + "\", {";
    for (const std::string &line : outcome.lines)
        text += "\n    \"" + line.substr(0, line.size() - 1) + "\\n\",";
    return text + "}, " + std::to_string(outcome.leaks) + "}";
}

void run_at(uint32_t levels, const std::function<std::string()> &scenario, const std::string &call,
            const Expected &expected)
{
    LogCapture capture;
    capture.set_levels(levels);
    const int64_t count = ZOVOsapiHeap_g_allocCount;
    Expected outcome;
    {
        const Fault fault(call);
        outcome.result = scenario();
        outcome.leaks = blocks_left(expected.leaks);
    }
    EXPECT_EQ(ZOVOsapiHeap_g_allocCount, count + outcome.leaks) << call;
    ZOVOsapiHeap_g_allocCount = count;
    outcome.lines = capture.take();
    EXPECT_EQ(printed(outcome), printed(expected))
        << (call.empty() ? "without a fault" : call) << (levels == 0 ? ", in silence" : "");
}

/** A debug text, with a blank behind its context, is printed past the masks. */
bool is_debug_text(const std::string &line)
{
    const std::size_t colon = line.find(':');
    return colon + 1 < line.size() && line[colon + 1] == ' ';
}

/** Aloud, and in silence: what is reported changes nothing else. */
void run(const std::function<std::string()> &scenario, const std::string &call,
         const Expected &expected)
{
    run_at(0x3, scenario, call, expected);
    Expected silent = expected;
    std::erase_if(silent.lines, [](const std::string &line) { return !is_debug_text(line); });
    run_at(0, scenario, call, silent);
}

/** With the failed function, by its name in the source, for kOs. */
Expected spelled_out(Expected expected, const std::string &function)
{
    const std::string failure =
        os_failure("", function.substr(function.rfind(' ') + 1)).substr(1); // without the colon
    for (std::string &line : expected.lines)
        if (const std::size_t at = line.find(kOs); at != std::string::npos)
            line.replace(at, kOs.size(), failure, 0, failure.size() - 1);
    return expected;
}

/** The faults of the calls that the scenario makes, or of those that are named. */
void run_all(const std::function<std::string()> &scenario, const Expected &clean,
             const Faults &faults, bool of_every_call)
{
    ZOVOsapiHeap_free(ZOVOsapiHeap_malloc(1)); // reads the heap's limit, so that no scenario does
    run(scenario, "", clean);
    const std::array<int, kPlaces> calls = g_calls;
    std::set<std::string> used;
    for (std::size_t place = 0; place < kPlaces; ++place) {
        if (place / 2 == static_cast<std::size_t>(Function::free))
            continue;
        for (int number = 1; number <= calls[place]; ++number) {
            const std::string call = name_of(place) + " " + std::to_string(number);
            auto expected = faults.find(call);
            if (expected == faults.end())
                expected = faults.find(name_of(place));
            if (expected == faults.end()) {
                EXPECT_FALSE(of_every_call) << "nothing is expected of " << call;
                if (of_every_call)
                    run(scenario, call, {});
                continue;
            }
            used.insert(expected->first);
            if (expected->second && expected->second->result == infallible.result)
                continue;
            run(scenario, call, spelled_out(expected->second.value_or(clean), name_of(place)));
        }
    }
    for (const auto &[call, expected] : faults)
        EXPECT_TRUE(used.contains(call)) << call << " was never made";
}

} // namespace

void for_each_fault(const std::function<std::string()> &scenario, const Expected &clean,
                    const Faults &faults)
{
    run_all(scenario, clean, faults, true);
}

void for_these_faults(const std::function<std::string()> &scenario, const Expected &clean,
                      const Faults &faults)
{
    run_all(scenario, clean, faults, false);
}

std::string text_of(ZOVBool result)
{
    return result != 0 ? "true" : "false";
}

std::string warning(const std::string &line)
{
    return "(warning) " + line;
}

std::string os_failure(const std::string &operation, const std::string &function, int error,
                       const std::string &details)
{
    char code[16];
    std::snprintf(code, sizeof code, "%#X", static_cast<unsigned>(error));
    return operation + ":OS " + function + "() failure, error " + code + ": " +
           std::strerror(error) + details + "\n";
}

Lines no_memory(const std::string &operation, std::size_t size)
{
    return {warning(operation + ":!malloc " + std::to_string(size) + " bytes\n"),
            warning(operation + ":errno = 12\n")};
}

Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

} // namespace test
