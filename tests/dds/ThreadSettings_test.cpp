#include "dds/ThreadSettings.h"
#include "tests/support/LogCapture.hpp"
#include "tests/xml/piecewise.hpp"

#include <algorithm>
#include <random>
#include <set>
#include <vector>

using test::Lines;
using test::LogCapture;

namespace {

using Numbers = std::vector<DDS_Long>;

/** Settings with a list of CPUs, finalised at the end. */
struct Settings : DDS_ThreadSettings_t
{
    explicit Settings(const Numbers &cpus = {})
    {
        std::memset(this, 0xA5, sizeof *this);
        DDS_ThreadSettings_t_initialize(this);
        DDS_LongSeq_from_array(&cpu_list, cpus.data(), static_cast<DDS_Long>(cpus.size()));
    }
    ~Settings() { DDS_ThreadSettings_t_finalize(this); }
    Settings(const Settings &) = delete;
    Settings &operator=(const Settings &) = delete;
};

TEST(ThreadSettings, AreEqualWhenTheyNameTheSameCpus)
{
    LogCapture capture;
    Settings one({5, 3, 3, 1024});
    const Settings same({3, 5, -1, 5});
    const Settings shorter({3, 5, 1024});
    const Settings other({3, 6, 3, 1024});
    EXPECT_TRUE(DDS_ThreadSettings_is_equal(&one, &same));
    EXPECT_FALSE(DDS_ThreadSettings_is_equal(&one, &shorter));
    EXPECT_FALSE(DDS_ThreadSettings_is_equal(&one, &other));
    EXPECT_TRUE(DDS_ThreadSettings_is_consistentI(&one));
    one.mask = one.priority = one.stack_size = one.cpu_rotation = 1;
    DDS_ThreadSettings_get_default(&one); // gives the list back
    EXPECT_TRUE(one.mask == 0 && one.priority == -9999999 && one.stack_size == -1);
    EXPECT_TRUE(one.cpu_rotation == 0 && one.cpu_list.maximum == 0 && one.cpu_list.owned);
    const Settings defaults;
    EXPECT_TRUE(DDS_ThreadSettings_is_equal(&one, &defaults));
    EXPECT_EQ(DDS_ThreadSettings_t_copy(nullptr, &one), nullptr);
    EXPECT_EQ(DDS_ThreadSettings_t_copy(&one, nullptr), nullptr);
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&one.cpu_list, nullptr, 0, 0));
    DDS_ThreadSettings_t_finalize(&one);
    DDS_LongSeq_unloan(&one.cpu_list);
    EXPECT_EQ(capture.lines(),
              Lines({"DDS_ThreadSettings_t_copy:bad parameter: self\n",
                     "DDS_ThreadSettings_t_copy:bad parameter: from\n",
                     "DDS_LongSeq_set_maximum:!assert buffer must not be loaned\n",
                     "DDS_ThreadSettings_t_finalize:!sequence does not own its buffer\n"}));
}

TEST(ThreadSettings, ListsAndBitmapsNameTheSameCpus)
{
    LogCapture capture;
    std::mt19937 random(5);
    Settings back({4, 4, 4});
    for (int round = 0; round < 500; ++round) {
        Numbers cpus(random() % 1500);
        const int first = static_cast<int>(random() % 1100) - 40;
        for (DDS_Long &cpu : cpus)
            cpu = first + static_cast<int>(random() % 300);
        std::set<DDS_Long> model(cpus.begin(), cpus.end());
        std::erase_if(model, [](DDS_Long cpu) { return cpu < 0 || cpu > 1023; });
        const DDS_Long rotation = round % 3; // of which 2 is none
        const DDS_ReturnCode_t result = rotation < 2 ? DDS_RETCODE_OK : DDS_RETCODE_BAD_PARAMETER;
        const Settings settings(cpus);
        ZOVOsapiCpuBitmap bitmap;
        std::memset(&bitmap, 0xA5, sizeof bitmap);
        ASSERT_EQ(DDS_ThreadSettings_CpuListToBitmap(&bitmap, &settings.cpu_list, rotation),
                  result);
        for (DDS_Long cpu = 0; cpu < 1024; ++cpu)
            ASSERT_EQ(bitmap.word[cpu / 32] >> (cpu % 32) & 1, model.count(cpu)) << cpu;
        EXPECT_EQ(bitmap.count, static_cast<DDS_Long>(model.size()));
        EXPECT_EQ(bitmap.rotation, rotation % 2u);
        EXPECT_EQ(bitmap.index, 0);
        bitmap.rotation = static_cast<uint32_t>(rotation);
        ASSERT_EQ(DDS_ThreadSettings_CpuListFromBitmap(&bitmap, &back.cpu_list, &back.cpu_rotation),
                  model.empty() ? DDS_RETCODE_OK : result);
        ASSERT_EQ(back.cpu_list.length, model.size());
        EXPECT_TRUE(std::equal(model.begin(), model.end(), back.cpu_list.contiguous_buffer));
        EXPECT_EQ(back.cpu_rotation, model.empty() ? 0 : rotation % 2);
        Lines expected(rotation / 2,
                       "DDS_ThreadSettings_CpuListToBitmap:bad parameter: rotation\n");
        if (rotation == 2 && !model.empty())
            expected.emplace_back("DDS_ThreadSettings_CpuListFromBitmap:bad parameter: rotation\n");
        EXPECT_EQ(capture.take(), expected);
    }
    const ZOVOsapiCpuBitmap none = {{}, 0, 2, 0}; // whatever its count says
    DDS_ThreadSettings_CpuListFromBitmap(&none, &back.cpu_list, &back.cpu_rotation);
    EXPECT_EQ(back.cpu_list.length, 0u);
    ASSERT_TRUE(DDS_LongSeq_set_maximum(&back.cpu_list, 0));
    ASSERT_TRUE(DDS_LongSeq_set_absolute_maximum(&back.cpu_list, 1));
    const ZOVOsapiCpuBitmap two = {{3}, 0, 2, 0};
    EXPECT_EQ(DDS_ThreadSettings_CpuListFromBitmap(&two, &back.cpu_list, &back.cpu_rotation),
              DDS_RETCODE_OUT_OF_RESOURCES);
}

/** What is written, and how the context stands then. */
std::string saved(const DDS_ThreadSettings_t &settings)
{
    const auto save = [&](ZOVXMLSaveContext &context) {
        DDS_ThreadSettings_save("thread", &settings, &context);
        DDS_ThreadSettings_save("another", &settings, &context);
    };
    const std::string text = piecewise::outcome(save, 4096, 0);
    return text.substr(0, text.find("<another>")) + text.substr(text.find(" error"));
}

TEST(ThreadSettings, AreWrittenAsXml)
{
    LogCapture capture;
    Settings settings({0, 2});
    settings.mask = 0x1F;
    settings.priority = 10;
    settings.stack_size = 65536;
    settings.cpu_rotation = 1;
    const std::string head =
        R"(<thread>
    <mask>THREAD_SETTINGS_FLOATING_POINT | THREAD_SETTINGS_STDIO | )"
        R"(THREAD_SETTINGS_REALTIME_PRIORITY | THREAD_SETTINGS_PRIORITY_ENFORCE</mask>
    <priority>10</priority>
    <stack_size>65536</stack_size>
    <cpu_list>
        <element>0</element>
        <element>2</element>
    </cpu_list>
)";
    const std::string tail =
        "    <cpu_rotation>THREAD_SETTINGS_CPU_RR_ROTATION</cpu_rotation>\n</thread>\n";
    EXPECT_EQ(saved(settings), head + tail + " error 0 depth 0");
    settings.cpu_rotation = 2;
    const std::string stopped = saved(settings);
    EXPECT_TRUE(stopped.starts_with(head) && stopped.ends_with(" error 1 depth 1"));
    EXPECT_EQ(stopped.find_first_not_of({"\0#", 2}, head.size()), stopped.find(" length"));
    EXPECT_EQ(capture.lines(),
              Lines(1, "DDS_ThreadSettings_save:!save thread: inconsistent cpu_rotation\n"));
    static const DDS_ThreadSettings_t never_used = {0x04, 0, 0, {}, 0}; // in read-only memory
    const std::string text = saved(never_used);
    EXPECT_NE(text.find("<mask></mask>\n"), std::string::npos);
    EXPECT_NE(text.find("<cpu_rotation>THREAD_SETTINGS_CPU_NO_ROTATION<"), std::string::npos);
}

} // namespace
