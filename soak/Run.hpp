/** Runs of the launcher with the example generator, held against what the generator alone makes. */
#ifndef SOAK_RUN_HPP
#define SOAK_RUN_HPP

#include "tests/support/Process.hpp"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace soak {

/** A request, and what must come of it byte for byte. */
struct Job
{
    std::vector<std::string> arguments;
    std::string out;
    std::map<std::string, std::string> headers; /**< by name in the directory "out" */
};

/** Runs the generator by itself, without launcher and server, on these input files. */
Job make_job(const std::vector<std::string> &inputs);

/** The port of a server, and how long it stays without work. */
struct Server
{
    int port;
    int idle_ms;
};

enum class Verdict {
    Right,
    Failed, /**< 255 with the launcher's message, and no output or header that is wrong */
    Wrong
};

struct Result
{
    Verdict verdict;
    std::string message; /**< of the launcher, or what is wrong */
};

/** A run that has started. One that lasts for minutes is ended, which is a wrong result. */
class Run
{
public:
    /** The directory is its working directory; headers go to "out" below it. */
    Run(const Server &server, const Job &job, std::string directory,
        const std::function<void()> &in_child = {});

    test::Process &process() { return m_process; }
    /** Waits for its end. */
    Result finish();
    /** The same for a run that such a signal is to end: Right also when it did. */
    Result finish_cut(int signal, bool &was_cut);

private:
    [[nodiscard]] std::string wrong_header(bool may_be_missing) const;
    [[nodiscard]] Result judge(const test::Outcome &outcome) const;

    const Job &m_job;
    std::string m_directory;
    test::Process m_process;
};

} // namespace soak

#endif
