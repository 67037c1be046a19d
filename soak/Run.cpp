#include "soak/Run.hpp"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kLongestRunSeconds = 120;
constexpr char kResources[] = EXAMPLES_DIRECTORY "/generator/resource";

test::Command launcher(const Server &server, const Job &job, const std::string &directory,
                       const std::function<void()> &in_child)
{
    test::Command command = {
        .arguments = {QUILLON, "-n_classpath", GENERATOR_JAR, "-n_wolkresource", kResources,
                      "-n_serverport", std::to_string(server.port), "-n_servertimeout",
                      std::to_string(server.idle_ms), "-n_connectiontimeout", "20000"},
        .directory = directory,
        // What a VM and the sanitizers do not understand of each other.
        .environment = {{"JAVA_TOOL_OPTIONS", std::nullopt},
                        {"_JAVA_OPTIONS", std::nullopt},
                        {"ASAN_OPTIONS", "detect_leaks=0"},
                        {"TSAN_OPTIONS", "ignore_noninstrumented_modules=1"}},
        .in_child = [in_child] {
            if (in_child)
                in_child();
            alarm(kLongestRunSeconds); // outlives exec, and a forked server does not inherit it
            return true;
        }};
    command.arguments.insert(command.arguments.end(), job.arguments.begin(), job.arguments.end());
    return command;
}

/** How much of the text is what was expected. */
std::size_t common_length(const std::string &text, const std::string &expected)
{
    const auto ends = std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
    return static_cast<std::size_t>(ends.first - text.begin());
}

/** The messages of launcher and server in one line, or nothing when that is not what they are. */
std::string message_of(const std::string &text)
{
    std::istringstream lines(text);
    std::string message;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("QUILLON_") && !line.starts_with("main:") &&
            !line.starts_with("generator server, port "))
            return "";
        message += (message.empty() ? "" : " / ") + line;
    }
    return message;
}

std::string excerpt(const std::string &text)
{
    constexpr std::size_t kLongest = 200;
    return text.size() <= kLongest ? text : "..." + text.substr(text.size() - kLongest);
}

} // namespace

Job make_job(const std::vector<std::string> &inputs)
{
    Job job = {.arguments = {"-verbose", "-d", "out"}, .out = {}, .headers = {}};
    job.arguments.insert(job.arguments.end(), inputs.begin(), inputs.end());
    const test::TemporaryDirectory directory;
    test::Command java = {.arguments = {JAVA, std::string("-DWOLK_RESOURCE_DIR=") + kResources,
                                        "-cp", GENERATOR_JAR, "com.zov.wolk.wolkgen.Main"},
                          .directory = directory.path()};
    java.arguments.insert(java.arguments.end(), job.arguments.begin(), job.arguments.end());
    const test::Outcome outcome = test::run(java);
    if (outcome.status != 0)
        throw std::runtime_error("the generator alone fails: " + outcome.out + outcome.err);
    job.out = outcome.out;
    for (const auto &header : fs::directory_iterator(directory.path() + "/out"))
        job.headers[header.path().filename()] = test::read_file(header.path());
    return job;
}

Run::Run(const Server &server, const Job &job, std::string directory,
         const std::function<void()> &in_child)
    : m_job(job), m_directory(std::move(directory)),
      m_process(launcher(server, job, m_directory, in_child))
{
}

Result Run::finish()
{
    return judge(m_process.finish());
}

Result Run::finish_cut(int signal, bool &was_cut)
{
    const test::Outcome outcome = m_process.finish();
    was_cut = outcome.status == 128 + signal;
    if (!was_cut)
        return judge(outcome);
    if (common_length(outcome.out, m_job.out) != outcome.out.size() || !outcome.err.empty())
        return {Verdict::Wrong, "cut output: " + excerpt(outcome.out + outcome.err)};
    const std::string wrong = wrong_header(true);
    return {wrong.empty() ? Verdict::Right : Verdict::Wrong, wrong};
}

std::string Run::wrong_header(bool may_be_missing) const
{
    for (const auto &[name, text] : m_job.headers) {
        const std::string path = m_directory + "/out/" + name;
        if (!(may_be_missing && !fs::exists(path)) && test::read_file(path) != text)
            return "header " + name + " is missing or wrong";
    }
    return "";
}

Result Run::judge(const test::Outcome &outcome) const
{
    const std::size_t common = common_length(outcome.out, m_job.out);
    const std::string rest = outcome.out.substr(common);
    const bool whole = common == m_job.out.size() && rest.empty();
    const std::string message = message_of(rest);
    const std::string wrong = wrong_header(outcome.status != 0);
    if (outcome.status == 128 + SIGALRM)
        return {Verdict::Wrong, "hangs"};
    if (!wrong.empty())
        return {Verdict::Wrong, wrong};
    if (outcome.status == 0 && whole && outcome.err.empty())
        return {Verdict::Right, ""};
    if (outcome.status == 255 && !message.empty() && outcome.err.empty())
        return {Verdict::Failed, message};
    return {Verdict::Wrong, "status " + std::to_string(outcome.status) + ", output after " +
                                std::to_string(common) + " of " + std::to_string(m_job.out.size()) +
                                " right bytes: " + excerpt(rest + outcome.err)};
}

} // namespace soak
