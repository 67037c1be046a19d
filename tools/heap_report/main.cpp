#include "tools/heap_report/html_report.hpp"
#include "tools/heap_report/text.hpp"
#include "tools/heap_report/text_report.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <getopt.h>
#include <optional>

namespace {

using namespace heap_report;

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr char kHelp[] = R"(usage: wolk-heap-report [--html FILE] SNAPSHOT [SNAPSHOT]

Tells what a heap snapshot holds (ZOVOsapiHeap_snapshot writes one), by allocating operation, type,
topic and activity. With two snapshots it tells what changed from the first to the second.

  --html FILE   also write a page with a treemap and a sortable table
  --help        print this and exit
  --version     print the version and exit

The exit status is 1 when a file cannot be read, is no snapshot, or cannot be written, and 2 for
wrong arguments.
)";

struct Arguments
{
    std::vector<std::string> snapshots;
    std::string page; /**< empty: none */
};

int fail(int status, const std::string &what)
{
    std::fprintf(stderr, "wolk-heap-report: %s\n", what.c_str());
    return status;
}

int fail_file(const std::string &file, int error)
{
    return fail(kFailed, printable(file) + ": " + std::strerror(error));
}

int print(const std::string &text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return fail_file("standard output", errno);
    return 0;
}

int write_page(const std::string &file, const std::string &page)
{
    std::FILE *stream = std::fopen(file.c_str(), "wbe");
    if (stream == nullptr)
        return fail_file(file, errno);
    int error = std::fwrite(page.data(), 1, page.size(), stream) == page.size() ? 0 : errno;
    if (std::fclose(stream) != 0 && error == 0)
        error = errno;
    return error == 0 ? 0 : fail_file(file, error);
}

/** The exit status when there is nothing more to do. */
std::optional<int> parse(int argc, char **argv, Arguments &arguments)
{
    constexpr option kOptions[] = {{"help", no_argument, nullptr, 'h'},
                                   {"html", required_argument, nullptr, 'p'},
                                   {"version", no_argument, nullptr, 'v'},
                                   {}};
    char name[] = "wolk-heap-report"; // what getopt_long calls the program in its messages
    if (argc > 0)
        argv[0] = name;
    for (int found; (found = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        if (found == 'h')
            return print(kHelp);
        if (found == 'v')
            return print("wolk-heap-report " PROGRAM_VERSION "\n");
        if (found != 'p')
            return kWrongUsage;
        arguments.page = optarg;
        if (arguments.page.empty())
            return fail(kWrongUsage, "option '--html' needs the name of a file");
    }
    arguments.snapshots.assign(argv + optind, argv + argc);
    if (arguments.snapshots.empty() || arguments.snapshots.size() > 2)
        return fail(kWrongUsage, "one snapshot or two are expected; --help tells more");
    for (const std::string &snapshot : arguments.snapshots) {
        std::error_code ignored;
        if (std::filesystem::equivalent(snapshot, arguments.page, ignored))
            return fail(kWrongUsage, "the page would replace the snapshot " + printable(snapshot));
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    if (const std::optional<int> status = parse(argc, argv, arguments))
        return *status;
    std::vector<Snapshot> snapshots(arguments.snapshots.size());
    for (std::size_t i = 0; i < snapshots.size(); ++i) {
        std::string error;
        if (!read_snapshot(arguments.snapshots[i], snapshots[i], error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return kFailed;
        }
    }
    const Report report(snapshots);
    if (const int status = print(text_report(report)); status != 0)
        return status;
    return arguments.page.empty() ? 0 : write_page(arguments.page, html_report(report));
}
