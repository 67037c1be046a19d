// Any file, separator and comment character: the items are those of its lines without comments. A
// variable that is set wins. What does not fit is refused and leaves the buffer alone.
#include "dds/StringSeq.h"
#include "fuzz/fuzz.hpp"
#include "osapi/Environment.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using fuzz::require;

namespace {

constexpr char kName[] = "QUILLON_FUZZ_TEXT";
constexpr std::size_t kSize = 4096;

std::vector<std::string> split(const std::string &text, const std::string &delimiters)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0, end = 0; end != text.npos; begin = end + 1) {
        end = text.find_first_of(delimiters, begin);
        parts.push_back(text.substr(begin, end - begin));
    }
    return parts;
}

std::vector<std::string> items_of(const std::string &text, char separator, char comment)
{
    std::vector<std::string> items;
    for (const std::string &line : split(text, "\n\r")) {
        const std::size_t end = comment != '\0' ? line.find(comment) : line.npos;
        for (const std::string &item :
             split(line.substr(0, end), std::string(" \t") + '\0' + separator))
            if (!item.empty())
                items.push_back(item);
    }
    return items;
}

/** A file of memory alone, under a name. */
class File
{
public:
    const std::string &filled_with(const std::string &contents)
    {
        const auto size = static_cast<ssize_t>(contents.size());
        require(ftruncate(m_descriptor, 0) == 0 &&
                pwrite(m_descriptor, contents.data(), contents.size(), 0) == size);
        return m_name;
    }

private:
    int m_descriptor = memfd_create("fuzz", MFD_CLOEXEC);
    std::string m_name = "/proc/self/fd/" + std::to_string(m_descriptor);
};

void check_text(const char *variable, const char *file, bool is_found, const std::string &expected,
                char separator, char comment)
{
    const std::vector<char> untouched(kSize, 'u');
    std::vector<char> buffer = untouched;
    require(
        !ZOVOsapi_envVarOrFileGet(buffer.data(), kSize - 1, variable, file, separator, comment));
    require(is_found == (ZOVOsapi_envVarOrFileGet(buffer.data(), kSize, variable, file, separator,
                                                  comment) != ZOV_FALSE));
    require(is_found ? std::strcmp(buffer.data(), expected.c_str()) == 0 : buffer == untouched);
}

void check_elements(const char *file, const std::vector<std::string> &items, char separator,
                    char comment)
{
    DDS_StringSeq sequence = DDS_STRING_SEQUENCE_EMPTY;
    require(DDS_StringSeq_from_environment_variable_or_file(&sequence, nullptr, file, separator,
                                                            comment) == DDS_RETCODE_OK);
    require(sequence.length == items.size());
    for (std::size_t i = 0; i < items.size(); ++i)
        require(DDS_StringSeq_get(&sequence, static_cast<DDS_Long>(i)) == items[i]);
    DDS_StringSeq_finalize(&sequence);
}

} // namespace

void fuzz::test(Input input)
{
    static File file;
    static constexpr char kSeparators[] = ",;: \n";
    static constexpr char kComments[] = "#;,ab";
    const bool is_set = input.below(8) == 7;
    const char separator = kSeparators[input.below(sizeof kSeparators)]; // also '\0'
    const char comment = kComments[input.below(sizeof kComments)];
    const unsigned times = 1 + (input.below(4) == 3 ? input.byte() : 0);
    const std::string part = input.rest();
    std::string text;
    for (unsigned i = 0; i < times && text.size() < 3 * kSize; ++i)
        text += part;
    const char *const name = file.filled_with(text).c_str();

    unsetenv(kName);
    if (is_set) {
        static std::string assignment; // is the environment's
        assignment = std::string(kName) + "=" + text;
        putenv(assignment.data());
        check_text(kName, name, std::strlen(text.c_str()) < kSize, text, separator, comment);
    }
    const std::vector<std::string> items = items_of(text, separator, comment);
    std::string joined;
    for (const std::string &item : items)
        joined += item + separator;
    const bool fits = joined.size() <= kSize;
    joined.resize(joined.size() - (joined.empty() ? 0 : 1));
    check_text(is_set ? nullptr : kName, name, fits, joined, separator, comment);
    if (fits && separator != '\0')
        check_elements(name, items, separator, comment);
}
