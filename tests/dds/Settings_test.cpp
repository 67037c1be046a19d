// The records of settings: consistency rules, fields, lists of CPUs, XML.
#include "dds/DataReaderResourceLimitsQosPolicy.h"
#include "dds/ReceiverPoolQosPolicy.h"
#include "dds/ResourceLimitsQosPolicy.h"
#include "tests/support/LogCapture.hpp"
#include "tests/support/Process.hpp"
#include "xml/Infrastructure.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <regex>
#include <set>
#include <vector>

using test::Lines;
using test::LogCapture;

namespace {

using Reader = DDS_DataReaderResourceLimitsQosPolicy;
using Limits = DDS_ResourceLimitsQosPolicy;
using Pool = DDS_ReceiverPoolQosPolicy;
using Numbers = std::vector<DDS_Long>;

constexpr Reader kReaderDefaults = {-1, -1, -1, -1, 2, 2,  32, 2, -1, 1024, 0, 1024, 4, 256,
                                    -1, 1,  0,  -1, 2, -1, 2,  3, 4,  0,    1, 1,    -1};
constexpr Limits kLimitsDefaults = {-1, -1, -1, 32, 32, 1};

/** A pool, whose thread settings have a list of CPUs; finalised at the end. */
struct OwnPool : Pool
{
    explicit OwnPool(const Numbers &cpus = {})
    {
        std::memset(static_cast<Pool *>(this), 0xA5, sizeof(Pool));
        DDS_ReceiverPoolQosPolicy_initialize(this);
        DDS_LongSeq_from_array(&thread.cpu_list, cpus.data(), static_cast<DDS_Long>(cpus.size()));
    }
    ~OwnPool() { DDS_ReceiverPoolQosPolicy_finalize(this); }
    OwnPool(const OwnPool &) = delete;
    OwnPool &operator=(const OwnPool &) = delete;
};

template <class Policy>
struct Rule
{
    DDS_Long Policy::*field;
    std::string report;
    std::vector<DDS_Long> kept_by;
    std::vector<DDS_Long> broken_by;
};
#define RULE(NAME, REPORT, ...) Rule<P>({&P::NAME, REPORT, __VA_ARGS__})
#define RANGE(NAME, MIN, MAX) RULE(NAME, #NAME, {MIN, MAX}, {MIN - 1, MAX + 1, INT32_MIN})
#define LIMIT(NAME, MAX) RULE(NAME, #NAME, {1, MAX, -1}, {0, MAX + 1, -2})
#define AT_MOST(NAME, OTHER) RULE(NAME, #NAME " and " #OTHER, {8, -1}, {9})
#define WITHIN(NAME, OTHER) RULE(NAME, #NAME " and " #OTHER, {0, 8}, {9, -1})
#define AT_LEAST(OTHER, NAME) RULE(NAME, #OTHER " and " #NAME, {8, -1}, {9})

constexpr DDS_Long kMillion = 1'000'000;

/** Keeps and breaks each rule in a record of eights that breaks all rules behind it, too. */
template <class P, class IsConsistent>
void walk(const std::string &operation, IsConsistent is_consistent, const P &defaults,
          const std::vector<Rule<P>> &rules)
{
    const auto report_of = [&](const P &policy) {
        LogCapture capture;
        const bool consistent = is_consistent(&policy);
        EXPECT_EQ(capture.lines().empty(), consistent);
        return capture.lines();
    };
    P policy = {};
    for (const Rule<P> &rule : rules)
        policy.*rule.field = 8;
    EXPECT_EQ(report_of(policy), Lines());
    EXPECT_EQ(report_of(defaults), Lines());
    for (auto rule = rules.rbegin(); rule != rules.rend(); ++rule) {
        const bool is_pair = rule->report.find(' ') != std::string::npos;
        const std::string noun = is_pair ? "inconsistent policies: " : "inconsistent policy: ";
        const Lines broken = {operation + ":" + noun + rule->report + "\n"};
        for (const DDS_Long value : rule->kept_by) {
            policy.*rule->field = value;
            EXPECT_NE(report_of(policy), broken) << value;
        }
        for (const DDS_Long value : rule->broken_by) {
            policy.*rule->field = value;
            EXPECT_EQ(report_of(policy), broken) << value;
        }
        if (std::any_of(rule + 1, rules.rend(), [&](auto &r) { return r.field == rule->field; }))
            policy.*rule->field = 8; // so that it keeps the rules before
    }
}

TEST(Settings, RulesOfReaderResourceLimits)
{
    using P = Reader;
    const auto is_consistent = DDS_DataReaderResourceLimitsQosPolicy_is_consistentI;
    walk<P>("DDS_DataReaderResourceLimitsQosPolicy_is_consistentI", is_consistent, kReaderDefaults,
            {
                LIMIT(max_remote_writers, kMillion),
                LIMIT(max_remote_writers_per_instance, 1024),
                AT_MOST(max_remote_writers_per_instance, max_remote_writers),
                LIMIT(max_samples_per_remote_writer, 5 * kMillion),
                RULE(max_infos, "max_info", {1, 5 * kMillion, -1}, {0, 5 * kMillion + 1, -2}),
                RANGE(initial_remote_writers, 1, kMillion),
                AT_MOST(initial_remote_writers, max_remote_writers),
                RANGE(initial_remote_writers_per_instance, 1, 1024),
                AT_MOST(initial_remote_writers_per_instance, max_remote_writers_per_instance),
                RANGE(initial_infos, 1, kMillion),
                AT_MOST(initial_infos, max_infos),
                LIMIT(max_outstanding_reads, 65536),
                RANGE(initial_outstanding_reads, 1, 65536),
                AT_MOST(initial_outstanding_reads, max_outstanding_reads),
                RANGE(max_samples_per_read, 1, 65536),
                RANGE(max_fragmented_samples, 0, kMillion),
                WITHIN(initial_fragmented_samples, max_fragmented_samples),
                WITHIN(max_fragmented_samples_per_remote_writer, max_fragmented_samples),
                RULE(max_fragments_per_sample, "max_fragments_per_sample", {1, -1, -2}, {0}),
                RULE(max_total_instances, "max_total_instances", {-2, -1, 0, 5}, {-3}),
                LIMIT(max_remote_virtual_writers, kMillion),
                RANGE(initial_remote_virtual_writers, 1, kMillion),
                LIMIT(max_remote_virtual_writers_per_instance, 1024),
                RANGE(initial_remote_virtual_writers_per_instance, 1, 1024),
                AT_MOST(initial_remote_virtual_writers_per_instance,
                        max_remote_virtual_writers_per_instance),
                AT_MOST(max_remote_virtual_writers_per_instance, max_remote_virtual_writers),
                RANGE(max_query_condition_filters, 0, 32),
                RANGE(max_remote_writers_per_sample, 1, 1024),
                AT_MOST(max_remote_writers_per_sample, max_remote_writers),
                RANGE(max_app_ack_response_length, 0, 65536),
                LIMIT(max_topic_queries, kMillion),
                RANGE(initial_topic_queries, 1, kMillion),
                AT_MOST(initial_topic_queries, max_topic_queries),
            });
    P policy = kReaderDefaults;
    policy.max_remote_writers = policy.max_remote_virtual_writers = 8;
    policy.initial_remote_virtual_writers = 20; // no rule holds it against its limit
    EXPECT_TRUE(is_consistent(&policy));
}

TEST(Settings, RulesOfResourceLimits)
{
    using P = Limits;
    const auto is_consistent = [](const P *policy) {
        return DDS_ResourceLimitsQosPolicy_is_consistentI(policy, nullptr);
    };
    walk<P>("DDS_ResourceLimitsQosPolicy_is_consistentI", is_consistent, kLimitsDefaults,
            {
                LIMIT(max_samples, 100 * kMillion),
                LIMIT(max_instances, kMillion),
                LIMIT(max_samples_per_instance, 100 * kMillion),
                AT_LEAST(max_samples, max_samples_per_instance),
                RANGE(initial_samples, 1, 100 * kMillion),
                AT_LEAST(max_samples, initial_samples),
                RANGE(initial_instances, 1, kMillion),
                AT_LEAST(max_instances, initial_instances),
                LIMIT(instance_hash_buckets, kMillion),
            });
    const std::string operation = "DDS_ResourceLimitsQosPolicy_is_consistent_w_historyI:"
                                  "inconsistent policies: history.depth and resource_limits.max_";
    LogCapture capture;
    for (const DDS_Long depth : {-1, 0, 4, 5}) {
        const DDS_HistoryQosPolicy history = {99, depth};
        const bool fits = depth == 0 || depth == 4;
        for (const auto &[limits, is_limit] : {std::pair{Limits{9, 1, 4, 1, 1, 1}, true},
                                               {{4, 1, -1, 1, 1, 1}, true},
                                               {{-1, 1, -1, 1, 1, 1}, false},
                                               {{4, 1, -2, 1, 1, 1}, false}})
            EXPECT_EQ(DDS_ResourceLimitsQosPolicy_is_consistent_w_historyI(&limits, &history),
                      fits || !is_limit);
        const Lines both = {operation + "samples_per_instance\n",
                            operation + "samples (max_samples_per_instance is unlimited)\n"};
        EXPECT_EQ(capture.take(), fits ? Lines() : both);
    }
    const Limits none = {0, 1, -1, 1, 1, 1};
    const DDS_HistoryQosPolicy history = {99, 1};
    EXPECT_FALSE(DDS_ResourceLimitsQosPolicy_is_consistent_w_historyI(&none, &history));
}

TEST(Settings, RulesOfReceiverPools)
{
    using P = Pool;
    P defaults = {};
    DDS_ReceiverPoolQosPolicy_get_default(&defaults);
    walk<P>("DDS_ReceiverPoolQosPolicy_is_consistentI", DDS_ReceiverPoolQosPolicy_is_consistentI,
            defaults,
            {
                RANGE(initial_receive_threads, 1, 10000),
                RULE(max_receive_threads, "initial_receive_threads and max_receive_threads",
                     {8, -1}, {7, 0, -2}),
                RULE(max_receive_threads, "max_receive_threads", {10000, -1}, {10001}),
                RULE(buffer_size, "buffer_size", {1, 1 << 30, -2}, {0, -1, (1 << 30) + 1}),
                RULE(buffer_alignment, "alignment", {1, 2, 4, 16, 512, 1024},
                     {3, 0, -1, 1023, 2048, INT32_MIN}),
            });
}

/** Each word of a record makes a difference, and survives the way through the lower layer. */
template <class Lower, class Policy, class To, class From>
void expect_fields(const Policy &policy, const std::vector<std::size_t> &not_compared,
                   DDS_Boolean (*equals)(const Policy *, const Policy *), To to, From from)
{
    for (std::size_t field = 0; field < sizeof(Policy) / 4; ++field) {
        if (std::ranges::count(not_compared, field) > 0)
            continue;
        auto words = std::bit_cast<std::array<uint32_t, sizeof(Policy) / 4>>(policy);
        words[field] ^= 1;
        const auto changed = std::bit_cast<Policy>(words);
        EXPECT_FALSE(equals(&policy, &changed)) << field;
        Lower lower = {};
        Policy back = policy;
        to(&changed, &lower);
        from(&back, &lower);
        EXPECT_TRUE(equals(&back, &changed)) << field;
    }
    EXPECT_TRUE(equals(nullptr, nullptr));
    EXPECT_FALSE(equals(&policy, nullptr) || equals(nullptr, &policy));
}

#define EXPECT_FIELDS(POLICY, LAYER, LOWER, RECORD, ...)                                           \
    expect_fields<LOWER>(RECORD, {__VA_ARGS__}, POLICY##_equals, POLICY##_to_##LAYER,              \
                         POLICY##_from_##LAYER)

TEST(Settings, FieldsAreComparedAndConverted)
{
    Reader reader;
    DDS_DataReaderResourceLimitsQosPolicy_get_default(&reader);
    EXPECT_TRUE(DDS_DataReaderResourceLimitsQosPolicy_equals(&reader, &kReaderDefaults));
    EXPECT_FIELDS(DDS_DataReaderResourceLimitsQosPolicy, presentation_qos_policy,
                  DDS_DataReaderResourceLimitsQosPolicyLower, reader);
    Limits limits;
    DDS_ResourceLimitsQosPolicy_get_default(&limits);
    EXPECT_TRUE(DDS_ResourceLimitsQosPolicy_equals(&limits, &kLimitsDefaults));
    EXPECT_FIELDS(DDS_ResourceLimitsQosPolicy, presentation_qos_policy,
                  DDS_ResourceLimitsQosPolicyLower, limits);
    limits = {1, 2, 3, 4, 5, 6};
    DDS_ResourceLimitsQosPolicyLower lower = {{70, 71, 72, 73, 74, 75, 76, 77}};
    DDS_ResourceLimitsQosPolicy_to_presentation_qos_policy(&limits, &lower);
    EXPECT_TRUE(std::ranges::equal(lower.slot, std::vector{4, 1, 72, 5, 2, 75, 3, 6}));
    const OwnPool pool({0}); // its list and the gaps of the record are left out
    EXPECT_FIELDS(DDS_ReceiverPoolQosPolicy, facade_property, DDS_ReceiverPoolFacadeProperty,
                  static_cast<const Pool &>(pool), 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16,
                  17, 18, 19, 20, 21, 23, 29);
}

TEST(Settings, PoolsHaveDefaultsAndAreCopiedWithTheirLists)
{
    LogCapture capture;
    OwnPool pool;
    OwnPool other({7, 8});
    other.thread.mask = other.thread.priority = other.thread.stack_size = 1;
    other.initial_receive_threads = other.buffer_alignment = other.thread.cpu_rotation = 1;
    DDS_ReceiverPoolQosPolicy_get_default(&other); // gives the list back
    EXPECT_TRUE(other.thread.cpu_list.maximum == 0 && other.thread.cpu_list.owned);
    EXPECT_EQ(std::exchange(other.thread.mask, 0u), 3u); // nowhere else the two defaults differ
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&pool, &other));
    DDS_ReceiverPoolFacadeProperty property;
    std::memset(&property, 0xFF, sizeof property);
    DDS_ReceiverPoolQosPolicy_to_facade_property(&pool, &property);
    const DDS_ReceiverPoolFacadeProperty expected = {0xFFFFFFFE, 0,  -9999999, -1, {},
                                                     -2,         16, 4,        -1, -1};
    EXPECT_EQ(std::memcmp(&property, &expected, sizeof property), 0);

    static_cast<Pool &>(pool) = {{4, 5, 6, pool.thread.cpu_list, 1}, 7, 8, 9, 10, 0};
    ASSERT_TRUE(DDS_LongSeq_set_length(&pool.thread.cpu_list, 2));
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&other, &pool), &other);
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&other, &pool));
    DDS_ReceiverPoolQosPolicy_finalize(&other); // the list is its own
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&other.thread.cpu_list, nullptr, 0, 0));
    const Pool before = other;
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&other, &pool), nullptr);
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&other, &before));
    DDS_ThreadSettings_t_finalize(&other.thread);
    DDS_LongSeq_unloan(&other.thread.cpu_list);
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(nullptr, &pool), nullptr);
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&pool, nullptr), nullptr);
    EXPECT_EQ(DDS_ThreadSettings_t_copy(nullptr, &pool.thread), nullptr);
    EXPECT_EQ(DDS_ThreadSettings_t_copy(&pool.thread, nullptr), nullptr);
    const std::string loaned = "DDS_LongSeq_set_maximum:!assert buffer must not be loaned\n";
    EXPECT_EQ(capture.lines(),
              Lines({loaned, "DDS_ThreadSettings_t_copy:!copy cpu_list\n",
                     "DDS_ReceiverPoolQosPolicy_copy:!copy thread_settings\n", loaned,
                     "DDS_ThreadSettings_t_finalize:!sequence does not own its buffer\n",
                     "DDS_ReceiverPoolQosPolicy_copy:bad parameter: self\n",
                     "DDS_ReceiverPoolQosPolicy_copy:bad parameter: src\n",
                     "DDS_ThreadSettings_t_copy:bad parameter: self\n",
                     "DDS_ThreadSettings_t_copy:bad parameter: from\n"}));
}

TEST(Settings, ListsAndBitmapsNameTheSameCpus)
{
    const std::string operation = "DDS_ThreadSettings_CpuList";
    LogCapture capture;
    std::mt19937 random(5);
    OwnPool back({4, 4, 4});
    DDS_LongSeq &list = back.thread.cpu_list;
    DDS_Long &rotation_back = back.thread.cpu_rotation;
    for (int round = 0; round < 500; ++round) {
        Numbers cpus(random() % 1500);
        const int first = static_cast<int>(random() % 1100) - 40;
        for (DDS_Long &cpu : cpus)
            cpu = first + static_cast<int>(random() % 300);
        std::set<DDS_Long> model(cpus.begin(), cpus.end());
        std::erase_if(model, [](DDS_Long cpu) { return cpu < 0 || cpu > 1023; });
        const DDS_Long rotation = round % 3; // of which 2 is none
        const DDS_ReturnCode_t result = rotation < 2 ? DDS_RETCODE_OK : DDS_RETCODE_BAD_PARAMETER;
        const OwnPool pool(cpus);
        ZOVOsapiCpuBitmap bitmap;
        std::memset(&bitmap, 0xA5, sizeof bitmap);
        ASSERT_EQ(DDS_ThreadSettings_CpuListToBitmap(&bitmap, &pool.thread.cpu_list, rotation),
                  result);
        for (DDS_Long cpu = 0; cpu < 1024; ++cpu)
            ASSERT_EQ(bitmap.word[cpu / 32] >> (cpu % 32) & 1, model.count(cpu)) << cpu;
        EXPECT_EQ(bitmap.count, static_cast<DDS_Long>(model.size()));
        EXPECT_TRUE(bitmap.rotation == (rotation == 1) && bitmap.index == 0);
        bitmap.rotation = static_cast<uint32_t>(rotation);
        ASSERT_EQ(DDS_ThreadSettings_CpuListFromBitmap(&bitmap, &list, &rotation_back),
                  model.empty() ? DDS_RETCODE_OK : result);
        EXPECT_TRUE(std::equal(model.begin(), model.end(), list.contiguous_buffer,
                               list.contiguous_buffer + list.length));
        EXPECT_EQ(rotation_back, model.empty() ? 0 : rotation % 2);
        Lines expected(rotation == 2, operation + "ToBitmap:bad parameter: rotation\n");
        if (rotation == 2 && !model.empty())
            expected.push_back(operation + "FromBitmap:bad parameter: rotation\n");
        EXPECT_EQ(capture.take(), expected);
    }
    const ZOVOsapiCpuBitmap none = {{}, 0, 2, 0}; // whatever its count says
    DDS_ThreadSettings_CpuListFromBitmap(&none, &list, &rotation_back);
    EXPECT_EQ(list.length, 0u);
    ASSERT_TRUE(DDS_LongSeq_set_maximum(&list, 0) && DDS_LongSeq_set_absolute_maximum(&list, 1));
    const ZOVOsapiCpuBitmap two = {{3}, 0, 2, 0};
    EXPECT_EQ(DDS_ThreadSettings_CpuListFromBitmap(&two, &list, &rotation_back),
              DDS_RETCODE_OUT_OF_RESOURCES);

    const std::pair<Numbers, bool> cases[] = {{{5, 3, 3, 1024}, true},
                                              {{3, 5, -1, 5}, true},
                                              {{3, 5, 1024}, false}, // shorter
                                              {{3, 6, 3, 1024}, false}};
    const OwnPool one(cases[0].first);
    for (const auto &[cpus, is_equal] : cases) {
        const OwnPool other(cpus);
        EXPECT_EQ(DDS_ThreadSettings_is_equal(&one.thread, &other.thread), is_equal);
    }
}

/** What is written, without angle brackets and the closing tags of lines, and the context then. */
std::string words_of(const std::function<void(ZOVXMLSaveContext &)> &save, ZOVBool error = 0)
{
    char text[4096] = "";
    ZOVXMLSaveContext context = {nullptr, text, sizeof text, 0, 0, error};
    save(context);
    EXPECT_TRUE(context.error || test::count(text, "<") == 2 * test::count(text, "</")) << text;
    const std::string open = std::regex_replace(text, std::regex(R"((\S)</\w+>)"), "$1");
    return std::regex_replace(open, std::regex(R"([<>\s]+)"), " ") + "error " +
           std::to_string(context.error) + " depth " + std::to_string(context.depth);
}

#define SAVES(TYPE, ...)                                                                           \
    [](ZOVXMLSaveContext &context) {                                                               \
        static const DDS_##TYPE##QosPolicy policy = __VA_ARGS__;                                   \
        DDS_##TYPE##QosPolicy_save(&policy, "ignored", &context);                                  \
    }

TEST(Settings, AreWrittenAsXml)
{
    LogCapture capture;
    const auto thread = [](DDS_UnsignedLong mask, const Numbers &cpus, DDS_Long rotation) {
        return [=](ZOVXMLSaveContext &context) {
            const OwnPool pool(cpus);
            const DDS_ThreadSettings_t settings = {mask, 10, -1, pool.thread.cpu_list, rotation};
            DDS_ThreadSettings_save("worker", &settings, &context);
            if (rotation > 1) // then this one is not written
                DDS_ThreadSettings_save("another", &settings, &context);
        };
    };
    const std::pair<std::function<void(ZOVXMLSaveContext &)>, const char *> cases[] = {
        {SAVES(DataReaderResourceLimits, {-1, -1, -1, -1, 14, 15, -1, 16, -1, 18, 1, -2, 19, 20,
                                          -1, 0,  -2, -1, 23, -1, 25, 26, 27, 28, 1, 29, -1}),
         R"( reader_resource_limits
             max_remote_writers LENGTH_UNLIMITED max_remote_writers_per_instance LENGTH_UNLIMITED
             max_samples_per_remote_writer LENGTH_UNLIMITED max_infos LENGTH_UNLIMITED
             initial_remote_writers 14 initial_remote_writers_per_instance 15 initial_infos -1
             initial_outstanding_reads 16 max_outstanding_reads LENGTH_UNLIMITED
             max_samples_per_read 18 disable_fragmentation_support true
             max_fragmented_samples -2 initial_fragmented_samples 19
             max_fragmented_samples_per_remote_writer 20
             max_fragments_per_sample LENGTH_UNLIMITED
             dynamically_allocate_fragmented_samples false max_total_instances LENGTH_AUTO
             max_remote_virtual_writers LENGTH_UNLIMITED initial_remote_virtual_writers 23
             max_remote_virtual_writers_per_instance LENGTH_UNLIMITED
             initial_remote_virtual_writers_per_instance 25 max_query_condition_filters 27
             max_app_ack_response_length 28 keep_minimum_state_for_instances true
             initial_topic_queries 29 max_topic_queries LENGTH_UNLIMITED
             /reader_resource_limits error 0 depth 0)"},
        {SAVES(ResourceLimits, {1, 2, 3, 4, 5, 6}),
         R"( resource_limits max_samples 1 max_instances 2 max_samples_per_instance 3
             initial_samples 4 initial_instances 5 instance_hash_buckets 6
             /resource_limits error 0 depth 0)"},
        {SAVES(ResourceLimits, {-1, -1, -1, -1, -1, -1}),
         R"( resource_limits max_samples LENGTH_UNLIMITED max_instances LENGTH_UNLIMITED
             max_samples_per_instance LENGTH_UNLIMITED
             initial_samples -1 initial_instances -1 instance_hash_buckets -1
             /resource_limits error 0 depth 0)"},
        // With settings that were never used, in read-only memory.
        {SAVES(ReceiverPool, {{4, INT32_MIN, 65536, {}, 0}, 4, 5, -2, 1024, 0}),
         R"( receiver_pool thread mask priority -2147483648 stack_size 65536 cpu_list /cpu_list
             cpu_rotation THREAD_SETTINGS_CPU_NO_ROTATION /thread
             buffer_size -2 buffer_alignment 1024 /receiver_pool error 0 depth 0)"},
        {thread(0x1F, {1023, -1}, 1),
         R"( worker mask THREAD_SETTINGS_FLOATING_POINT | THREAD_SETTINGS_STDIO |
             THREAD_SETTINGS_REALTIME_PRIORITY | THREAD_SETTINGS_PRIORITY_ENFORCE
             priority 10 stack_size -1 cpu_list element 1023 element -1 /cpu_list
             cpu_rotation THREAD_SETTINGS_CPU_RR_ROTATION /worker error 0 depth 0)"},
        {thread(2, {}, 2), R"( worker mask THREAD_SETTINGS_STDIO priority 10 stack_size -1
                               cpu_list /cpu_list error 1 depth 1)"},
    };
    for (const auto &[save, words] : cases) {
        EXPECT_EQ(words_of(save), std::regex_replace(words, std::regex(R"(\s+)"), " "));
        EXPECT_EQ(words_of(save, ZOV_TRUE), "error 1 depth 0");
    }
    for (const auto &[instances, text] :
         {std::pair{0, " AUTO_MAX_TOTAL_INSTANCES "}, {-1, " LENGTH_UNLIMITED "}, {7, " 7 "}}) {
        Reader policy = kReaderDefaults;
        policy.max_total_instances = instances;
        const std::string words = words_of([&policy](ZOVXMLSaveContext &context) {
            DDS_DataReaderResourceLimitsQosPolicy_save(&policy, "ignored", &context);
        });
        EXPECT_EQ(test::count(words, std::string("max_total_instances") + text), 1u) << words;
    }
    EXPECT_EQ(capture.lines(),
              Lines(1, "DDS_ThreadSettings_save:!save worker: inconsistent cpu_rotation\n"));
}

} // namespace
