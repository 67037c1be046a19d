#include "dds/Log.h"
#include "koba/Log.h"
#include "launcher/Log.hpp"
#include "log/Log.h"
#include "osapi/Log.hpp"
#include "tests/support/LogCapture.hpp"
#include "tests/support/Process.hpp"
#include "xml/Log.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <tuple>
#include <utility>

using test::Lines;
using test::LogCapture;

namespace {

constexpr char kTooLong[] = "warning: string too long, truncated to 1024\n";

// A message of another module, with a code that shows in the module tag.
constexpr ZOVLogMessage kNumber = {0x02112034, "number %d\n"};
constexpr ZOVLogMessage kText = {0x02000005, "%s\n"};
constexpr ZOVLogMessage kNothing = {0x02000006, nullptr};
constexpr ZOVLogMessage kEmpty = {0x02000007, ""};

TEST(Log, PrintMaskSelectsWhatALineHolds)
{
    const LogCapture capture;
    const std::tuple<uint32_t, const char *, const char *> cases[] = {
        {0x2, "main", "main:number 7\n"},
        {0x2, nullptr, "number 7\n"},
        {0x2, "", ":number 7\n"},
        {0x1, "main", "main:ZOV0x2112034:"},
        {0x3, "main", "main:ZOV0x2112034:number 7\n"},
        {0x0, "main", "main:"},
        {0x0, nullptr, ""},
        {0x3E, "main", "main:number 7\n"},
    };
    Lines expected;
    for (const auto &[mask, context, line] : cases) {
        ZOVLog_printMask = mask;
        EXPECT_EQ(ZOVLog_printContextAndMsg(context, &kNumber, 7),
                  static_cast<int>(expected.emplace_back(line).size()));
    }
    EXPECT_EQ(capture.lines(), expected);
}

TEST(Log, FlushBringsOutWhatTheDefaultHookPrinted)
{
    const test::TemporaryDirectory directory;
    const std::string path = directory.path() + "/out";
    FILE *before = std::exchange(stdout, std::fopen(path.c_str(), "w"));
    ZOVLog_getDefaultOnMessageMethod()("line\n");
    EXPECT_EQ(test::read_file(path), "");
    ZOVLog_flush();
    EXPECT_EQ(test::read_file(path), "line\n");
    std::fclose(std::exchange(stdout, before));
}

TEST(Log, LocationIsJoinedFromThePlacesOfThePrintMask)
{
    const LogCapture capture;
    const std::pair<uint32_t, const char *> cases[] = {
        {0x3E, "Mx11/f/door.c:12:number 7\n"},
        {0x2, "number 7\n"},
        {0x6, "Mx11:number 7\n"},
        {0xA, "f:number 7\n"},
        {0x12, "door.c:number 7\n"},
        {0x22, ":12:number 7\n"},
        {0x32, "door.c:12:number 7\n"},
        {0x2A, "f:12:number 7\n"},
        {0x1A, "f/door.c:number 7\n"},
        {0x3F, "Mx11/f/door.c:12:ZOV0x2112034:number 7\n"},
    };
    Lines expected;
    for (const auto &[mask, line] : cases) {
        ZOVLog_printMask = mask;
        ZOVLog_printLocationContextAndMsg(0x2112000, "f", "door.c", 12, &kNumber, 7);
        expected.emplace_back(line);
    }
    ZOVLog_printMask = 0x3E;
    ZOVLog_printLocationContextAndMsg(0x2112000, nullptr, nullptr, 12, &kNumber, 7);
    expected.emplace_back("Mx11:12:number 7\n");
    EXPECT_EQ(capture.lines(), expected);
}

TEST(Log, LongTextIsCutBehindAWarning)
{
    LogCapture capture;
    // The text and its newline fill what the context and its colon leave of 1023 characters.
    ZOVLog_printContextAndMsg("c", &kText, std::string(1020, 'x').c_str());
    EXPECT_EQ(capture.lines(), Lines({"c:" + std::string(1020, 'x') + "\n"}));
    capture.clear();
    EXPECT_EQ(ZOVLog_printContextAndMsg("c", &kText, std::string(1021, 'x').c_str()), 1023);
    EXPECT_EQ(capture.lines(), Lines({kTooLong, "c:" + std::string(1021, 'x')}));
}

TEST(Log, LongContextLeavesNoRoom)
{
    LogCapture capture;
    ZOVLog_printContextAndMsg(std::string(2000, 'c').c_str(), &kText, "text");
    EXPECT_EQ(capture.lines(), Lines({kTooLong, std::string(1023, 'c')}));
    capture.clear();
    ZOVLog_printContextAndFatalMsg(std::string(300, 'c').c_str(), &kText, "text");
    ZOVLog_printContextAndFatalMsg("main", &kText, "text");
    ZOVLog_printContextAndFatalMsg(nullptr, &kText, "text");
    ZOVLog_printContextAndMsg("main", &kNothing);
    ZOVLog_printContextAndMsg("main", &kEmpty);
    EXPECT_EQ(capture.lines(), Lines({"[FATAL] " + std::string(247, 'c') + ":text\n",
                                      "[FATAL] main:text\n", "[FATAL] :text\n", "main:", "main:"}));
}

TEST(Log, DebugTextIsPassedAsItIsAndCut)
{
    LogCapture capture;
    EXPECT_EQ(ZOVLog_debug("%s|%d", "a", 5), 3);
    EXPECT_EQ(ZOVLog_debug("%s", std::string(1500, 'd').c_str()), 1023);
    EXPECT_EQ(capture.lines(), Lines({"a|5", std::string(1023, 'd')}));
}

TEST(Log, SnprintfTellsWhatDidNotFit)
{
    char buffer[5] = "....";
    EXPECT_EQ(ZOVLog_snprintf(buffer, 4, "%s", "abcd"), -1);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(ZOVLog_snprintf(buffer, 4, "%s", "abc"), 3);
    EXPECT_EQ(ZOVLog_snprintf(nullptr, 4, "%s", "abcdefgh"), 8);
    EXPECT_EQ(ZOVLog_snprintf(buffer, 0, "%s", ""), -1);
    EXPECT_EQ(ZOVLog_snprintf(nullptr, 4, "%ls", L"\x100"), -1) << "no character of the C locale";
    EXPECT_EQ(ZOVLog_snprintf(buffer, 4, "%ls", L"\x100"), -1);
    EXPECT_EQ(ZOVOsapiUtility_snprintf(buffer, 4, "%s", "abcd"), -1);
    EXPECT_EQ(ZOVOsapiUtility_snprintfAdv(nullptr, 0, 9, "%s", "abcd"), 4);
}

void first_hook(const char *) {}
void second_hook(const char *) {}

TEST(Log, DebugHookFollowsTheMessageHookWhileTheyAreTheSame)
{
    const LogCapture restore;
    ZOVLog_onMessage = ZOVLog_onMessageDebug = ZOVLog_onMessageImpl;
    EXPECT_EQ(ZOVLog_registerOnMessageMethod(first_hook), first_hook);
    EXPECT_EQ(ZOVLog_onMessageDebug, first_hook);
    EXPECT_EQ(ZOVLog_registerOnDebugMessageMethod(second_hook), second_hook);
    EXPECT_EQ(ZOVLog_onMessage, first_hook);
    EXPECT_EQ(ZOVLog_registerOnMessageMethod(nullptr), ZOVLog_getDefaultOnMessageMethod());
    EXPECT_EQ(ZOVLog_onMessage, ZOVLog_onMessageImpl);
    EXPECT_EQ(ZOVLog_onMessageDebug, second_hook);
    EXPECT_EQ(ZOVLog_registerOnDebugMessageMethod(nullptr), ZOVLog_onMessageImpl);
}

TEST(Log, DefaultHookPrintsToStandardOutputAndIgnoresNull)
{
    testing::internal::CaptureStdout();
    ZOVLog_onMessageImpl("100%s\n");
    ZOVLog_onMessageImpl(nullptr);
    ZOVLog_print(&kNumber, 3);
    ZOVLog_flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "100%s\nnumber 3\n");
    EXPECT_EQ(ZOVLog_onAssert(), -1);
}

TEST(Log, ReportingKeepsErrno)
{
    const LogCapture restore;
    ZOVLog_registerOnMessageMethod([](const char *) { errno = EIO; });
    ZOVLog_registerOnDebugMessageMethod([](const char *) { errno = EIO; });
    errno = ENOENT;
    ZOVLog_print(&kNumber, 1);
    ZOVLog_debug("x");
    EXPECT_EQ(errno, ENOENT);
}

struct Module
{
    const char *name;
    uint32_t initial_submodules;
    uint32_t *submodules;
    uint32_t *levels;
    void (*get)(uint32_t *, uint32_t *);
    void (*set)(uint32_t, uint32_t);
    void (*set_verbosity)(uint32_t, int32_t);
};

#define MODULE(NAME, INITIAL)                                                                      \
    {                                                                                              \
#NAME, INITIAL, &NAME##_g_submoduleMask, &NAME##_g_instrumentationMask, NAME##_getBitmaps, \
            NAME##_setBitmaps, NAME##_setVerbosity                                                 \
    }

TEST(Log, MasksOfEachModule)
{
    const LogCapture restore;
    const Module modules[] = {MODULE(QUILLONLog, 0xFFFF),  MODULE(DDSLog, 0xFFFFFF),
                              MODULE(KOBALog, 0xFFFF),     MODULE(ZOVClockLog, 0xFFFF),
                              MODULE(ZOVOsapiLog, 0xFFFF), MODULE(ZOVXMLLog, 0xFFFF)};
    const std::pair<int32_t, uint32_t> levels_of_verbosity[] = {
        {-1, 0x0}, {-77, 0x0}, {0, 0x1}, {1, 0x3},         {2, 0x7},
        {3, 0xF},  {4, 0x1F},  {31, 0},  {30, 0x7FFFFFFF}, {32, 0x1}};
    for (const Module &module : modules) {
        SCOPED_TRACE(module.name);
        uint32_t submodules = 0;
        uint32_t levels = 0;
        module.get(&submodules, &levels);
        EXPECT_EQ(submodules, module.initial_submodules);
        EXPECT_EQ(levels, 0x1u);
        for (const auto &[verbosity, expected] : levels_of_verbosity) {
            module.set_verbosity(0x40, verbosity);
            EXPECT_EQ(*module.submodules, 0x40u);
            EXPECT_EQ(*module.levels, expected) << verbosity;
        }
        module.set(module.initial_submodules, 0x1);
        module.get(nullptr, nullptr);
        EXPECT_EQ(*module.levels, 0x1u);
    }
}

TEST(Log, StatementEvaluatesItsArgumentsOnlyWhenBothMasksAllow)
{
    LogCapture capture;
    int evaluated = 0;
    const auto number = [&evaluated] { return ++evaluated; };
    static int told_level;
    told_level = 0;
    ZOVLog_registerSetLogLevelMethod([](int level) { told_level = level; });
    const std::pair<uint32_t, uint32_t> off[] = {{0x2, 0xFFFF}, {0x1, 0x8}, {0x0, 0x0}};
    for (const auto &[levels, submodules] : off) {
        ZOVOsapiLog_setBitmaps(submodules, levels);
        OSAPI_LOG(Exception, kSubmoduleThread, ZOV_LOG_ERRNO_d, number());
    }
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(told_level, 0);
    ZOVOsapiLog_setBitmaps(0x10, 0x3);
    OSAPI_LOG(Warning, kSubmoduleThread, ZOV_LOG_ERRNO_d, number());
    EXPECT_EQ(told_level, 2);
    OSAPI_LOG_AS(Exception, kSubmoduleThread, "other", ZOV_LOG_ERRNO_d, number());
    EXPECT_EQ(told_level, 1);
    ZOVLog_registerSetLogLevelMethod(nullptr);
    OSAPI_LOG_AS(Exception, kSubmoduleThread, "other", ZOV_LOG_ERRNO_d, number());
    ZOVLog_registerSetLogLevelMethod([](int level) { told_level = level; });
    told_level = 0;
    QUILLON_LOG_AS(Exception, "main", ZOV_LOG_ANY_s, "x");
    EXPECT_EQ(told_level, 0) << "the launcher tells the level hook nothing";
    EXPECT_EQ(capture.lines(), Lines({"TestBody:errno = 1\n", "other:errno = 2\n",
                                      "other:errno = 3\n", "main:x\n"}));
}

struct Entry
{
    const char *name;
    const ZOVLogMessage *message;
    uint32_t index;
};

#define MSG(INDEX, NAME, FORMAT) {#NAME, &NAME, INDEX},
const Entry kCatalog[] = {
#include "dds/Log_normal.msg"
#include "launcher/Log_normal.msg"
#include "log/Log_normal.msg"
#include "osapi/Log_normal.msg"
#include "xml/Log_normal.msg"
};
#undef MSG

/** The conversions of a format, as a name would spell them. */
std::string conversions_of(const std::string &format)
{
    std::string letters;
    for (std::size_t at = format.find('%'); at != std::string::npos; at = format.find('%', at)) {
        at = format.find_first_not_of("%#08", at);
        const std::size_t length = format[at] == 'l' ? 2 : 1;
        letters += format.substr(at, length);
    }
    return letters;
}

TEST(Catalogs, CodesAreUniqueAndNamesTellTheArguments)
{
    // Names that have been wrong for so long that they stay.
    const std::map<std::string, std::string> exceptions = {
        {"ZOV_LOG_MALLOC_FAILURE_d", "lu"},
        {"QUILLON_LOG_QUILLON_CONNECTION_TIMEOUT_dXs", "dds"},
    };
    // Entries of a catalog: an index at or beyond it is out of range.
    const std::map<uint32_t, uint32_t> sizes = {{0x000, 49}, {0x021, 12}, {0x022, 7}, {0x024, 9},
                                                {0x026, 9},  {0x030, 4},  {0x034, 2}, {0x0F0, 120},
                                                {0x112, 11}, {0x1B1, 18}};
    std::set<uint32_t> codes;
    for (const Entry &entry : kCatalog) {
        SCOPED_TRACE(entry.name);
        const std::string name = entry.name;
        const std::string format = entry.message->format;
        EXPECT_EQ(entry.message->code, 0x02000000 + entry.index);
        EXPECT_TRUE(codes.insert(entry.message->code).second);
        EXPECT_LT(entry.index & 0xFFF, sizes.at(entry.index >> 12));
        EXPECT_EQ(format.back(), '\n');
        std::string suffix = name.substr(name.rfind('_') + 1);
        if (suffix.find_first_not_of("sdXxlup") != std::string::npos)
            suffix.clear();
        const auto exception = exceptions.find(name);
        EXPECT_EQ(conversions_of(format),
                  exception == exceptions.end() ? suffix : exception->second);
    }
    EXPECT_EQ(ZOV_LOG_OS_FAILURE_sXs.code, 0x200001Eu);
    EXPECT_EQ(QUILLON_LOG_QUILLON_UNEXPECTED_CONNECTION_ERROR.code, 0x211200Au);
}

} // namespace
