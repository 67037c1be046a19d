#include "dds/DataReaderResourceLimitsQosPolicy.h"
#include "dds/ReceiverPoolQosPolicy.h"
#include "dds/ResourceLimitsQosPolicy.h"
#include "dds/XmlHelper.h"
#include "tests/support/LogCapture.hpp"
#include "tests/xml/piecewise.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <expat.h>
#include <iterator>
#include <sstream>
#include <vector>

using test::Lines;
using test::LogCapture;

namespace {

using Reader = DDS_DataReaderResourceLimitsQosPolicy;
using Limits = DDS_ResourceLimitsQosPolicy;
using Pool = DDS_ReceiverPoolQosPolicy;

constexpr Reader kReaderDefaults = {-1, -1, -1, -1, 2, 2,  32, 2, -1, 1024, 0, 1024, 4, 256,
                                    -1, 1,  0,  -1, 2, -1, 2,  3, 4,  0,    1, 1,    -1};
constexpr Limits kLimitsDefaults = {-1, -1, -1, 32, 32, 1};

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

TEST(QosPolicy, RulesOfReaderResourceLimits)
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

TEST(QosPolicy, RulesOfResourceLimits)
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
}

TEST(QosPolicy, RulesOfReceiverPools)
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

/** Each of these words alone makes a difference, and survives the way through the lower layer. */
template <class Lower, class Policy, class To, class From>
void expect_fields(const Policy &policy, std::initializer_list<std::size_t> fields,
                   DDS_Boolean (*equals)(const Policy *, const Policy *), To to, From from)
{
    for (const std::size_t field : fields) {
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
    EXPECT_FALSE(equals(&policy, nullptr));
    EXPECT_FALSE(equals(nullptr, &policy));
}

#define EXPECT_FIELDS(POLICY, LAYER, LOWER, RECORD, ...)                                           \
    expect_fields<LOWER>(RECORD, {__VA_ARGS__}, POLICY##_equals, POLICY##_to_##LAYER,              \
                         POLICY##_from_##LAYER)

TEST(QosPolicy, FieldsAreComparedAndConverted)
{
    Reader reader;
    DDS_DataReaderResourceLimitsQosPolicy_get_default(&reader);
    EXPECT_TRUE(DDS_DataReaderResourceLimitsQosPolicy_equals(&reader, &kReaderDefaults));
    EXPECT_FIELDS(DDS_DataReaderResourceLimitsQosPolicy, presentation_qos_policy,
                  DDS_DataReaderResourceLimitsQosPolicyLower, reader, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9,
                  10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26);
    Limits limits;
    DDS_ResourceLimitsQosPolicy_get_default(&limits);
    EXPECT_TRUE(DDS_ResourceLimitsQosPolicy_equals(&limits, &kLimitsDefaults));
    EXPECT_FIELDS(DDS_ResourceLimitsQosPolicy, presentation_qos_policy,
                  DDS_ResourceLimitsQosPolicyLower, limits, 0, 1, 2, 3, 4, 5);
    Pool pool = {};
    ASSERT_TRUE(DDS_LongSeq_set_length(&pool.thread.cpu_list, 1)); // words 4 to 21
    EXPECT_FIELDS(DDS_ReceiverPoolQosPolicy, facade_property, DDS_ReceiverPoolFacadeProperty, pool,
                  0, 1, 2, 22, 24, 25, 26, 27, 28);
    DDS_ReceiverPoolQosPolicy_finalize(&pool);
    limits = {1, 2, 3, 4, 5, 6};
    DDS_ResourceLimitsQosPolicyLower lower = {{70, 71, 72, 73, 74, 75, 76, 77}};
    DDS_ResourceLimitsQosPolicy_to_presentation_qos_policy(&limits, &lower);
    EXPECT_TRUE(std::ranges::equal(lower.slot, std::vector{4, 1, 72, 5, 2, 75, 3, 6}));
}

TEST(QosPolicy, ReceiverPoolsAreCopiedWithTheirLists)
{
    LogCapture capture;
    Pool pool;
    Pool other = {};
    std::memset(&pool, 0xA5, sizeof pool);
    DDS_ReceiverPoolQosPolicy_initialize(&pool);
    DDS_ReceiverPoolQosPolicy_get_default(&other);
    EXPECT_EQ(std::exchange(other.thread.mask, 0u), 3u); // nowhere else the two defaults differ
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&pool, &other));
    DDS_ReceiverPoolFacadeProperty property;
    std::memset(&property, 0xFF, sizeof property);
    DDS_ReceiverPoolQosPolicy_to_facade_property(&pool, &property);
    const DDS_ReceiverPoolFacadeProperty expected = {0xFFFFFFFE, 0,  -9999999, -1, {},
                                                     -2,         16, 4,        -1, -1};
    EXPECT_EQ(std::memcmp(&property, &expected, sizeof property), 0);

    pool = {{4, 5, 6, pool.thread.cpu_list, 1}, 7, 8, 9, 10, DDS_BOOLEAN_FALSE};
    ASSERT_TRUE(DDS_LongSeq_set_length(&pool.thread.cpu_list, 2));
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&other, &pool), &other);
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&other, &pool));
    DDS_ReceiverPoolQosPolicy_finalize(&other); // the list is its own
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&other.thread.cpu_list, nullptr, 0, 0));
    const Pool before = other;
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&other, &pool), nullptr);
    EXPECT_TRUE(DDS_ReceiverPoolQosPolicy_equals(&other, &before));
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(nullptr, &pool), nullptr);
    EXPECT_EQ(DDS_ReceiverPoolQosPolicy_copy(&pool, nullptr), nullptr);
    DDS_ReceiverPoolQosPolicy_finalize(&pool);
    EXPECT_EQ(capture.lines(), Lines({"DDS_LongSeq_set_maximum:!assert buffer must not be loaned\n",
                                      "DDS_ThreadSettings_t_copy:!copy cpu_list\n",
                                      "DDS_ReceiverPoolQosPolicy_copy:!copy thread_settings\n",
                                      "DDS_ReceiverPoolQosPolicy_copy:bad parameter: self\n",
                                      "DDS_ReceiverPoolQosPolicy_copy:bad parameter: src\n"}));
}

/** A saved record: its tags and texts, and what the readers make of the texts. */
struct Document
{
    Lines words;
    std::vector<DDS_Long> numbers;
    std::string text;
};

void read(Document &document, const std::string &name, const char *text)
{
    ZOVXMLContext context = {};
    DDS_UnsignedLong mask = 0;
    DDS_Boolean flag = 0;
    DDS_Long number = 0;
    if (name == "cpu_rotation") // without a reader
        number = std::strcmp(text, "THREAD_SETTINGS_CPU_RR_ROTATION") == 0;
    else if (name == "mask")
        DDS_XMLHelper_str_to_thread_settings_kind_mask(&mask, text, &context);
    else if (text[0] == 't' || text[0] == 'f')
        DDS_XMLHelper_str_to_boolean(&flag, text, &context);
    else
        DDS_XMLHelper_str_to_int(&number, text, &context);
    EXPECT_FALSE(context.error) << name;
    document.words.emplace_back(text);
    document.numbers.push_back(static_cast<DDS_Long>(mask) + flag + number);
}

template <class Policy, class Save>
std::string text_of(const Policy &policy, Save save, ZOVBool error = ZOV_FALSE)
{
    const auto document = [&](ZOVXMLSaveContext &context) {
        context.error = error;
        save(&policy, "ignored", &context);
    };
    const std::string text = piecewise::outcome(document, 4096, 0);
    return text.substr(0, text.find_first_of({"\0#", 2}));
}

template <class Policy, class Save>
void expect_xml(const Policy &policy, Save save, const char *words,
                const std::vector<DDS_Long> &numbers)
{
    EXPECT_EQ(text_of(policy, save, ZOV_TRUE), "");
    const std::string text = text_of(policy, save);
    Document document;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &document);
    const auto begin = [](void *user, const XML_Char *name, const XML_Char **) {
        static_cast<Document *>(user)->words.emplace_back(name);
        static_cast<Document *>(user)->text.clear();
    };
    const auto end = [](void *user, const XML_Char *name) {
        auto &parsed = *static_cast<Document *>(user);
        if (parsed.words.back() == name)
            read(parsed, name, parsed.text.c_str());
    };
    XML_SetElementHandler(parser, begin, end);
    XML_SetCharacterDataHandler(parser, [](void *user, const XML_Char *part, int length) {
        static_cast<Document *>(user)->text.append(part, static_cast<std::size_t>(length));
    });
    EXPECT_TRUE(XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1));
    XML_ParserFree(parser);
    std::istringstream expected(words);
    EXPECT_EQ(document.words, Lines(std::istream_iterator<std::string>(expected), {}));
    EXPECT_EQ(document.numbers, numbers);
}

TEST(QosPolicy, XmlIsReadAsItWasWritten)
{
    const Reader reader = {-1, -1, -1, -1, 14, 15, -1, 16, -1, 18, 1, -2, 19, 20,
                           -1, 0,  -2, -1, 23, -1, 25, 26, 27, 28, 1, 29, -1};
    expect_xml(reader, DDS_DataReaderResourceLimitsQosPolicy_save, R"(reader_resource_limits
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
               initial_topic_queries 29 max_topic_queries LENGTH_UNLIMITED)",
               {-1, -1, -1, -1, 14, 15, -1, 16, -1, 18, 1, -2, 19,
                20, -1, 0,  -2, -1, 23, -1, 25, 27, 28, 1, 29, -1});
    EXPECT_NE(text_of(kReaderDefaults, DDS_DataReaderResourceLimitsQosPolicy_save)
                  .find("<max_total_instances>AUTO_MAX_TOTAL_INSTANCES<"),
              std::string::npos);
    expect_xml(Limits{1, 2, 3, 4, 5, 6}, DDS_ResourceLimitsQosPolicy_save,
               "resource_limits max_samples 1 max_instances 2 max_samples_per_instance 3 "
               "initial_samples 4 initial_instances 5 instance_hash_buckets 6",
               {1, 2, 3, 4, 5, 6});
    expect_xml(Limits{-1, -1, -1, -1, -1, -1}, DDS_ResourceLimitsQosPolicy_save, R"(resource_limits
               max_samples LENGTH_UNLIMITED max_instances LENGTH_UNLIMITED
               max_samples_per_instance LENGTH_UNLIMITED
               initial_samples -1 initial_instances -1 instance_hash_buckets -1)",
               {-1, -1, -1, -1, -1, -1});
    Pool pool = {{2, INT32_MIN, -1, {}, 1}, 4, 5, -2, 1024, 0};
    DDS_Long cpus[] = {1023, -1};
    ASSERT_TRUE(DDS_LongSeq_loan_contiguous(&pool.thread.cpu_list, cpus, 2, 2));
    expect_xml(pool, DDS_ReceiverPoolQosPolicy_save, R"(receiver_pool thread
               mask THREAD_SETTINGS_STDIO priority -2147483648 stack_size -1
               cpu_list element 1023 element -1 cpu_rotation THREAD_SETTINGS_CPU_RR_ROTATION
               buffer_size -2 buffer_alignment 1024)",
               {2, INT32_MIN, -1, 1023, -1, 1, -2, 1024});
}

} // namespace
