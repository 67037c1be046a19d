/** Runs programs the way a shell would, and tells what came of it. */
#ifndef TESTS_SUPPORT_PROCESS_HPP
#define TESTS_SUPPORT_PROCESS_HPP

#include <functional>
#include <map>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

struct Command
{
    std::vector<std::string> arguments; /**< the first is the program, looked up on PATH */
    std::string directory = {};         /**< empty: the current one */
    std::map<std::string, std::optional<std::string>> environment = {}; /**< nullopt unsets */
    /** Between fork and exec, for descriptors and namespaces. False ends the child with 126. */
    std::function<bool()> in_child = {};
};

struct Outcome
{
    int status; /**< exit status, or 128 and the signal that ended it */
    std::string out;
    std::string err;
};

/** A program that runs. Its output is captured; standard input is /dev/null. */
class Process
{
public:
    explicit Process(const Command &command);
    /** Kills it when it still runs. */
    ~Process();
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    /** Waits for some output (both streams) and returns all that came so far. */
    std::string wait_for_output(const std::string &text);
    /** Waits for the end of both streams, as command substitution does, and for the process. */
    Outcome finish();

private:
    bool read_some();

    pid_t m_pid;
    int m_out;
    int m_err;
    Outcome m_outcome = {};
};

/** Runs it to its end. */
Outcome run(const Command &command);
/** What an operation of this process writes to the standard output stream. */
std::string printed_by(const std::function<void()> &operation);

/** A directory of its own, removed with all that is in it. */
class TemporaryDirectory
{
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    [[nodiscard]] const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

/** How often a text has a part. */
std::size_t count(const std::string &text, const std::string &part);
std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);

/** A loopback port that nobody listens on, below the range of client ports; differs each time. */
int free_port();
sockaddr_in loopback(int port);

} // namespace test

#endif
