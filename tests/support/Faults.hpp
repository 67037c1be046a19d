/**
 * Lets platform functions fail, one call at a time, and does so for every call of a scenario.
 *
 * A call has a name: the function's and its number, counted from the start of the scenario, as in
 * "calloc 2"; calls of other threads than the scenario's own are counted apart: "child calloc 1".
 *
 *     test::for_each_fault(makeAndDelete, {"made"},
 *                          {{"calloc 1", {{"null", {"Thing_new:!malloc\n"}}}},
 *                           {"pthread_cond_init", test::unnoticed}});
 */
#ifndef TESTS_SUPPORT_FAULTS_HPP
#define TESTS_SUPPORT_FAULTS_HPP

#include "tests/support/LogCapture.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <functional>
#include <map>
#include <netdb.h>
#include <optional>
#include <pthread.h>
#include <pwd.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

using ThreadStart = void *(*)(void *);
using KeyDestructor = void (*)(void *);

extern "C" {
#define WRAP(STYLE, NAME, RESULT, COUNT, ...) RESULT __real_##NAME(__VA_ARGS__);
#include "tests/support/faults.def"
#undef WRAP
}

namespace test {

/** What is called in the place of a platform function, if anything; set by Replacement. */
namespace instead {
#define WRAP(STYLE, NAME, RESULT, COUNT, ...) inline RESULT (*NAME)(__VA_ARGS__) = nullptr;
#include "tests/support/faults.def"
#undef WRAP
} // namespace instead

/** How many bytes the blocks of calloc and realloc are off their alignment. */
inline std::size_t block_shift = 0;

/** Replaces one of these for a block: Replacement clock(instead::clock_gettime, double). */
template <class Function>
class Replacement
{
public:
    Replacement(Function &place, Function double_) : m_place(place) { m_place = double_; }
    ~Replacement() { m_place = {}; }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

private:
    Function &m_place;
};
template <class Function, class Double>
Replacement(Function &, Double) -> Replacement<Function>;

/** Calls and blocks are counted, and the call with this name, if any, fails. One at a time. */
class Fault
{
public:
    /** 0 stands for ENOMEM of the allocator's functions, and EPERM of all others. */
    explicit Fault(const std::string &call = "", int error = 0);
    ~Fault();
    Fault(const Fault &) = delete;
    Fault &operator=(const Fault &) = delete;
};

/** Platform blocks that were obtained since the fault was set up, and not given back. */
std::size_t live_blocks();

/** Calls of this thread neither count nor fail: for what a test does in the midst of a scenario. */
class Aside
{
public:
    Aside();
    ~Aside();
    Aside(const Aside &) = delete;
    Aside &operator=(const Aside &) = delete;
};

/** What came of a scenario. */
struct Expected
{
    std::string result; /**< what it returned */
    /** Exceptions and warnings of all threads, in order; kOs is what is said of the failed call. */
    Lines lines = {};
    int leaks = 0; /**< blocks that stay behind by contract */
};

/** In an expected line: "OS function() failure, error ...", of the function that failed. */
inline const std::string kOs = "OS()";
/** As the first line: what lower layers report before the others is for their own tests. */
inline const std::string kBelow = "below";

/** By the name of a call, or by that of a function for all its calls not named themselves. */
using Faults = std::map<std::string, std::optional<Expected>>;
/** Nothing looks at whether this call fails. */
inline constexpr std::nullopt_t unnoticed = std::nullopt;
/** This call is not let fail: the platform knows no failure of it, and nothing looks for one. */
inline const Expected infallible = {"infallible"};

/**
 * Runs the scenario once as it is, and then once for every call that it made, with that call
 * failing. There must be an expectation for each, and no other; no platform block and none of the
 * heap's count may be left but those that an expectation names.
 */
void for_each_fault(const std::function<std::string()> &scenario, const Expected &clean,
                    const Faults &faults);
/** The same with these calls alone, of a scenario whose other calls another one has. */
void for_these_faults(const std::function<std::string()> &scenario, const Expected &clean,
                      const Faults &faults);

/** What a scenario says of an operation's result. */
std::string text_of(ZOVBool result);

/** A line as a warning; the other lines are exceptions. */
std::string warning(const std::string &line);
/** The line of a failed platform function: "operation:OS function() failure, error ...". */
std::string os_failure(const std::string &operation, const std::string &function, int error = EPERM,
                       const std::string &details = "");
/** The line of an operation about the platform function that failed. */
Lines said_by(const std::string &operation);
/** What is expected when of the results "name:value " of a scenario one is another. */
Expected but(std::string results, const std::string &result, const Lines &lines = {});
/** The two lines of the heap without memory. */
Lines no_memory(const std::string &operation, std::size_t size);
/** Lines one after the other. */
Lines operator+(Lines first, const Lines &second);

} // namespace test

#endif
