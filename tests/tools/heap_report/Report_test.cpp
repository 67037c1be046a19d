#include "tests/tools/heap_report/Snapshots.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace {

class HeapReport : public test::Snapshots
{
};

TEST_F(HeapReport, OneSnapshotIsCountedByEachDimension)
{
    const test::Outcome outcome = report({before});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Heap snapshot: " + before + R"(

Process virtual memory   9,000,000
Process physical memory    800,000
Current heap usage           2,000
High watermark               2,000
Alloc count                      3
Free count                       0

By operation                    bytes  blocks   share
-----------------------------------------------------
ZOVOsapiHeap_allocateStructure  1,200       1   60.0%
ZOVOsapiHeap_allocateString       800       2   40.0%
Total                           2,000       3  100.0%

By type                         bytes  blocks   share
-----------------------------------------------------
struct Order                    1,200       1   60.0%
char                              800       2   40.0%
Total                           2,000       3  100.0%

By topic                        bytes  blocks   share
-----------------------------------------------------
orders                          1,500       2   75.0%
n/a                               500       1   25.0%
Total                           2,000       3  100.0%

By activity                     bytes  blocks   share
-----------------------------------------------------
reading                         1,200       1   60.0%
n/a                               800       2   40.0%
Total                           2,000       3  100.0%
)");
}

TEST_F(HeapReport, TwoSnapshotsAreComparedAndTheLargestChangeComesFirst)
{
    const test::Outcome outcome = report({before, after});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Before: " + before + "\nAfter:  " + after + R"(

Process                     before      after      change
---------------------------------------------------------
Process virtual memory   9,000,000  9,000,000           0
Process physical memory    800,000    800,000           0
Current heap usage           2,000  1,235,407  +1,233,407
High watermark               2,000  1,235,407  +1,233,407
Alloc count                      3          5          +2
Free count                       0          1          +1

                                                 bytes                         blocks
By operation                                    before      after      change  before  after  change
----------------------------------------------------------------------------------------------------
ZOVOsapiHeap_allocateArray                           0  1,234,567  +1,234,567       0      1      +1
ZOVOsapiHeap_allocateStructure                   1,200         40      -1,160       1      1       0
(1 unchanged)                                      800        800           0       2      2       0
Total                                            2,000  1,235,407  +1,233,407       3      4      +1

                                                 bytes                         blocks
By type                                         before      after      change  before  after  change
----------------------------------------------------------------------------------------------------
</script><script>docum...roken & out"</script>       0  1,234,567  +1,234,567       0      1      +1
struct Order                                     1,200         40      -1,160       1      1       0
(1 unchanged)                                      800        800           0       2      2       0
Total                                            2,000  1,235,407  +1,233,407       3      4      +1

                                                 bytes                         blocks
By topic                                        before      after      change  before  after  change
----------------------------------------------------------------------------------------------------
""                                                   0  1,234,567  +1,234,567       0      1      +1
orders                                           1,500        340      -1,160       2      2       0
(1 unchanged)                                      500        500           0       1      1       0
Total                                            2,000  1,235,407  +1,233,407       3      4      +1

                                                 bytes                         blocks
By activity                                     before      after      change  before  after  change
----------------------------------------------------------------------------------------------------
reading                                          1,200  1,234,567  +1,233,367       1      1       0
writing                                              0         40         +40       0      1      +1
(1 unchanged)                                      800        800           0       2      2       0
Total                                            2,000  1,235,407  +1,233,407       3      4      +1
)");
    const std::string back = report({after, before}).out;
    EXPECT_LT(back.find("\nZOVOsapiHeap_allocateArray"),
              back.find("\nZOVOsapiHeap_allocateStructure"))
        << "a loss counts as much as a gain";
}

TEST_F(HeapReport, WithoutBlocksThereAreNoGroups)
{
    const std::string text = test::read_file(before);
    test::write_file(before, text.substr(0, text.find("block_id")));
    const test::Outcome outcome = report({before, after, "--html", page});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("\nFree count                       0          1          +1\n\n"
                               "No groups: " +
                               before + " was taken without its blocks.\n"),
              std::string::npos)
        << outcome.out;
}

constexpr char kFigures[] = "Process virtual memory: 1\nProcess physical memory: 1\n"
                            "Current heap usage: -1\nHigh watermark: 1\nAlloc count: 1\n"
                            "Free count: 0\n";
constexpr char kColumns[] =
    "block_id, timestamp, block_size, pool_alloc, pool_buffer_size, pool_buffer_count, topic_name, "
    "activity, alloc_method_name, type_name\n";

TEST_F(HeapReport, DamagedFilesAreRefusedWhole)
{
    const std::string start = std::string(kFigures) + kColumns;
    const std::string block = "1, -5, 8, POOL, -9, 7, a, b, c, d\n";
    const auto changed = [&](const std::string &what, const std::string &by) {
        std::string text = start + block;
        return text.replace(text.find(what), what.size(), by);
    };
    const struct
    {
        std::string text;
        std::string error;
    } cases[] = {
        {"", ":1: not a heap snapshot: \"Process virtual memory: NUMBER\" is missing here"},
        {"#!/bin/sh\n",
         ":1: not a heap snapshot: \"Process virtual memory: NUMBER\" is missing here"},
        {"Process virtual memory: 12", ":1: the file ends within this line"},
        {"Process virtual memory: 12\n",
         ":2: not a heap snapshot: \"Process physical memory: NUMBER\" is missing here"},
        {changed("usage: -1", "usage: 1 MB"), ":3: Current heap usage is not a number: \"1 MB\""},
        {changed("count: 1", "count: "), ":5: Alloc count is not a number: \"\""},
        {std::string(kFigures) + block,
         ":7: not a heap snapshot: \"block_id, timestamp, ...\" is missing here"},
        {start + block.substr(0, 20), ":8: the file ends within this line"},
        {start + "1, -5, 8\n", ":8: a block has 10 fields, not 3"},
        {start + "\n", ":8: a block has 10 fields, not 1"},
        {changed(", d", ", d, e"),
         ":8: a block has 10 fields, not 11; a name with \", \" in it cannot be read"},
        {start + block + block, ":9: block_id is not above that of the block before: 1"},
        {changed("-5", "+5"), ":8: timestamp is not a number: \"+5\""},
        {changed("-5", "2147483648"), ":8: timestamp is out of range: \"2147483648\""},
        {changed(" 8", " -8"), ":8: block_size is out of range: \"-8\""},
        {changed(" 8", " 99999999999999999999"),
         ":8: block_size is out of range: \"99999999999999999999\""},
        {changed(" 8", " 9007199254740991") + "2, 0, 1, MALLOC, 0, 0, a, b, c, d\n",
         ":9: the blocks up to here have more bytes than an address space"},
        {changed("POOL", "pool\x1b"), ":8: pool_alloc is neither POOL nor MALLOC: \"pool\\x1B\""},
        {changed("-9", "0x9"), ":8: pool_buffer_size is not a number: \"0x9\""},
    };
    for (const auto &[text, error] : cases) {
        test::write_file(after, text);
        const test::Outcome outcome = report({before, after});
        EXPECT_EQ(outcome.err, after + error + "\n");
        EXPECT_EQ(outcome.out, "") << error;
        EXPECT_EQ(outcome.status, 1) << error;
    }
}

TEST_F(HeapReport, NamesAreShownAsWhatATerminalCanPrint)
{
    test::write_file(before,
                     std::string(kFigures) + kColumns +
                         "1, 0, 3, MALLOC, 0, 0, \x1b[2J, gr\xC3\xB6\xC3\x9F\x65, \xFF, \n");
    const std::string out = report({before}).out;
    for (const char *line :
         {"\n\\x1B[2J           3       1  100.0%\n",
          "\ngr\xC3\xB6\xC3\x9F\x65             3       1  100.0%\n",
          "\n\\xFF              3       1  100.0%\n", "\n\"\"                3       1  100.0%\n"})
        EXPECT_EQ(test::count(out, line), 1u) << line << out;
}

TEST_F(HeapReport, WrongUseAndFilesThatFailAreOneLine)
{
    const std::string name = "wolk-heap-report: ";
    const std::string missing = directory.path() + "/missing/page";
    const std::string snapshots = name + "one snapshot or two are expected; --help tells more\n";
    const struct
    {
        std::vector<std::string> arguments;
        int status;
        std::string error;
    } cases[] = {
        {{}, 2, snapshots},
        {{before, before, before}, 2, snapshots},
        {{"--frobnicate", before}, 2, name + "unrecognized option '--frobnicate'\n"},
        {{before, "--html"}, 2, name + "option '--html' requires an argument\n"},
        {{before, "--html="}, 2, name + "option '--html' needs the name of a file\n"},
        {{"--html", before, before},
         2,
         name + "the page would replace the snapshot " + before + "\n"},
        {{missing}, 1, missing + ": No such file or directory\n"},
        {{directory.path()}, 1, directory.path() + ": Is a directory\n"},
        {{before, "--html", missing}, 1, name + missing + ": No such file or directory\n"},
        {{before, "--html", "/dev/full"}, 1, name + "/dev/full: No space left on device\n"},
        {{"--help"}, 0, ""},
        {{"--version"}, 0, ""},
    };
    for (const auto &[arguments, status, error] : cases) {
        const test::Outcome outcome = report(arguments);
        EXPECT_EQ(outcome.err, error);
        EXPECT_EQ(outcome.status, status) << error;
    }
    EXPECT_EQ(report({"--version"}).out, "wolk-heap-report " HEAP_REPORT_VERSION "\n");
    const test::Outcome full =
        test::run({.arguments = {HEAP_REPORT, before}, .in_child = [] {
                       return dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO) >= 0;
                   }});
    EXPECT_EQ(full.err, name + "standard output: No space left on device\n");
    EXPECT_EQ(full.status, 1);
}

} // namespace
