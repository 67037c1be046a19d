// Runs a target without libFuzzer: on each file of a corpus, then on mutations of them.
// usage: TARGET [--seconds N] [--runs N] [--seed S] FILE_OR_DIRECTORY...
//
// The same seed and corpus give the same inputs. The input that runs is kept in the file
// crash-TARGET, which is deleted only when all have run: whatever ends the program leaves it.
#include "fuzz/fuzz.hpp"

#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;
using Inputs = std::vector<std::string>;

constexpr std::size_t kMostBytes = 4096;

[[noreturn]] void fail(const std::string &what)
{
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(2);
}

struct Options
{
    unsigned long seconds = 0;
    unsigned long runs = 0;
    unsigned long seed = 1;
    std::vector<fs::path> files;
};

unsigned long number_in(const char *text)
{
    char *end = nullptr;
    const unsigned long number = text != nullptr ? std::strtoul(text, &end, 10) : 0;
    if (end == nullptr || end == text || *end != '\0')
        fail("a number is missing behind an option");
    return number;
}

void add_files(const fs::path &path, std::vector<fs::path> &files)
{
    if (!fs::is_directory(path)) {
        files.push_back(path);
        return;
    }
    const std::size_t first = files.size();
    for (const fs::directory_entry &entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
}

Options read_options(char **arguments)
{
    Options options;
    for (; *arguments != nullptr; ++arguments) {
        const std::string argument = *arguments;
        unsigned long *const option = argument == "--seconds" ? &options.seconds
                                      : argument == "--runs"  ? &options.runs
                                      : argument == "--seed"  ? &options.seed
                                                              : nullptr;
        if (option != nullptr)
            *option = number_in(*++arguments);
        else
            add_files(argument, options.files);
    }
    if (options.files.empty())
        fail("usage: TARGET [--seconds N] [--runs N] [--seed S] FILE_OR_DIRECTORY...");
    return options;
}

std::string contents_of(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string contents{std::istreambuf_iterator<char>(in), {}};
    if (!in)
        fail("cannot read " + path.string());
    return contents;
}

class Runner
{
public:
    explicit Runner(const std::string &file)
        : m_file(file), m_descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666))
    {
        if (m_descriptor < 0)
            fail("cannot write " + file);
    }

    void run(const std::string &input)
    {
        const auto size = static_cast<ssize_t>(input.size());
        if (ftruncate(m_descriptor, size) != 0 ||
            pwrite(m_descriptor, input.data(), input.size(), 0) != size)
            fail("cannot write " + m_file);
        // A copy of its own size: what is read behind it is found.
        const std::vector<std::uint8_t> copy(input.begin(), input.end());
        LLVMFuzzerTestOneInput(copy.data(), copy.size());
        ++m_runs;
    }
    [[nodiscard]] unsigned long runs() const { return m_runs; }

    ~Runner()
    {
        close(m_descriptor);
        fs::remove(m_file);
    }
    Runner(const Runner &) = delete;
    Runner &operator=(const Runner &) = delete;

private:
    std::string m_file;
    int m_descriptor;
    unsigned long m_runs = 0;
};

class Mutator
{
public:
    Mutator(const Inputs &corpus, unsigned long seed) : m_corpus(corpus), m_random(seed) {}

    std::string next()
    {
        std::string input = any();
        for (std::size_t edits = 1 + below(8); edits > 0; --edits)
            edit(input);
        return input.substr(0, kMostBytes);
    }

private:
    std::size_t below(std::size_t limit) { return m_random() % limit; }
    const std::string &any() { return m_corpus[below(m_corpus.size())]; }

    void edit(std::string &input)
    {
        const std::size_t at = below(input.size() + 1);
        const auto byte = static_cast<char>(below(256));
        const std::string &other = any();
        switch (below(5)) {
        case 0: // other bits
            if (at < input.size())
                input[at] = static_cast<char>(input[at] ^ 1 << below(8));
            break;
        case 1: // another byte
            input.replace(at, 1, 1, byte);
            break;
        case 2: // more
            input.insert(at, 1 + below(4), byte);
            break;
        case 3: // less
            input.erase(at, 1 + below(8));
            break;
        default: // a part of another one
            input.replace(at, below(8), other, below(other.size() + 1), below(32));
        }
    }

    const Inputs &m_corpus;
    std::mt19937_64 m_random;
};

} // namespace

int main(int, char **arguments)
{
    using Clock = std::chrono::steady_clock;
    const std::string target = fs::path(arguments[0]).filename();
    const Options options = read_options(arguments + 1);
    const auto end = Clock::now() + std::chrono::seconds(options.seconds);
    Inputs corpus;
    Runner runner("crash-" + target);
    for (const fs::path &file : options.files)
        runner.run(corpus.emplace_back(contents_of(file)));
    Mutator mutator(corpus, options.seed);
    for (unsigned long i = 0; i < options.runs || Clock::now() < end; ++i)
        runner.run(mutator.next());
    std::printf("%s: %lu runs, seed %lu\n", target.c_str(), runner.runs(), options.seed);
    return 0;
}
