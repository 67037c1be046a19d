#include "dds/Log.hpp"
#include "dds/ThreadSettings.h"
#include "dds/XmlContext.h"
#include "dds/XmlHelper.h"
#include "koba/String.h"
#include "osapi/Owned.hpp"
#include "xml/Log.hpp"
#include "xml/Utils.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <span>

namespace {

using String = zov::heap::Owned<char, zov::heap::Kind::String>;

constexpr char kInteger[] = "integer expected";
constexpr char kPrefix[] = "DDS_";
constexpr std::size_t kMaskSize = 2048;

enum class Form { Plain, OrPrefixed }; // a word may also begin with DDS_

struct Keyword
{
    const char *word;
    Form form;
    DDS_Long value;
};

constexpr Keyword kBooleans[] = {
    {"true", Form::Plain, 1},  {"yes", Form::Plain, 1},
    {"1", Form::Plain, 1},     {"BOOLEAN_TRUE", Form::OrPrefixed, 1},
    {"false", Form::Plain, 0}, {"no", Form::Plain, 0},
    {"0", Form::Plain, 0},     {"BOOLEAN_FALSE", Form::OrPrefixed, 0},
};
constexpr Keyword kUnsignedNumbers[] = {
    {"DURATION_INFINITE_NSEC", Form::OrPrefixed, 0x7FFFFFFF},
    {"DURATION_AUTO_NSEC", Form::OrPrefixed, 0},
    {"DURATION_ZERO_NSEC", Form::OrPrefixed, 0},
    {"RTPS_AUTO_ID", Form::OrPrefixed, 0},
};
constexpr Keyword kUnlimited[] = {{"LENGTH_UNLIMITED", Form::OrPrefixed, -1}};
// Kept: priorities by name all are the default; they are not mapped to numbers.
constexpr Keyword kNumbers[] = {
    {"LENGTH_UNLIMITED", Form::OrPrefixed, -1},
    {"LENGTH_AUTO", Form::OrPrefixed, -2},
    {"AUTO_MAX_TOTAL_INSTANCES", Form::OrPrefixed, 0},
    {"DURATION_INFINITE_SEC", Form::OrPrefixed, 0x7FFFFFFF},
    {"DURATION_AUTO_SEC", Form::OrPrefixed, -1},
    {"DURATION_ZERO_SEC", Form::OrPrefixed, 0},
    {"THREAD_PRIORITY_DEFAULT", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_PRIORITY_HIGH", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_PRIORITY_ABOVE_NORMAL", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_PRIORITY_NORMAL", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_PRIORITY_BELOW_NORMAL", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_PRIORITY_LOW", Form::OrPrefixed, DDS_THREAD_PRIORITY_DEFAULT},
    {"MAX_PRIORITY", Form::Plain, DDS_THREAD_PRIORITY_DEFAULT},
    {"NORM_PRIORITY", Form::Plain, DDS_THREAD_PRIORITY_DEFAULT},
    {"MIN_PRIORITY", Form::Plain, DDS_THREAD_PRIORITY_DEFAULT},
    {"THREAD_STACK_SIZE_DEFAULT", Form::OrPrefixed, DDS_THREAD_STACK_SIZE_DEFAULT},
};
constexpr Keyword kMaskBits[] = {
    {"MASK_DEFAULT", Form::Plain, 0},
    {"THREAD_SETTINGS_KIND_MASK_DEFAULT", Form::OrPrefixed, 0},
    {"FLOATING_POINT", Form::Plain, DDS_THREAD_SETTINGS_FLOATING_POINT},
    {"THREAD_SETTINGS_FLOATING_POINT", Form::OrPrefixed, DDS_THREAD_SETTINGS_FLOATING_POINT},
    {"STDIO", Form::Plain, DDS_THREAD_SETTINGS_STDIO},
    {"THREAD_SETTINGS_STDIO", Form::OrPrefixed, DDS_THREAD_SETTINGS_STDIO},
    {"REALTIME_PRIORITY", Form::Plain, DDS_THREAD_SETTINGS_REALTIME_PRIORITY},
    {"THREAD_SETTINGS_REALTIME_PRIORITY", Form::OrPrefixed, DDS_THREAD_SETTINGS_REALTIME_PRIORITY},
    {"PRIORITY_ENFORCE", Form::Plain, DDS_THREAD_SETTINGS_PRIORITY_ENFORCE},
    {"THREAD_SETTINGS_PRIORITY_ENFORCE", Form::OrPrefixed, DDS_THREAD_SETTINGS_PRIORITY_ENFORCE},
};

const Keyword *find(std::span<const Keyword> keywords, const char *text)
{
    const bool has_prefix = KOBAString_inCompare(kPrefix, text, sizeof kPrefix - 1) == 0;
    for (const Keyword &keyword : keywords)
        if (KOBAString_iCompare(keyword.word, text) == 0 ||
            (has_prefix && keyword.form == Form::OrPrefixed &&
             KOBAString_iCompare(keyword.word, text + sizeof kPrefix - 1) == 0))
            return &keyword;
    return nullptr;
}

/** A reader at work: what it is called, and where it tells of failures. */
class Reader
{
public:
    Reader(const char *operation, ZOVXMLContext *context)
        : m_operation(operation), m_context(context)
    {
    }

    [[nodiscard]] bool has(const void *value, const char *text) const
    {
        const char *missing = m_context == nullptr ? "context"
                              : value == nullptr   ? "value"
                              : text == nullptr    ? "str"
                                                   : nullptr;
        if (missing == nullptr)
            return true;
        DDS_LOG_AS(Exception, kSubmoduleXml, m_operation, DDS_LOG_BAD_PARAMETER_s, missing);
        return give_up();
    }

    /** Reports what would have been right; false. */
    [[nodiscard]] bool expected(const char *what) const
    {
        if (m_context->parser != nullptr)
            DDS_LOG_AS(Exception, kSubmoduleXml, m_operation, ZOVXML_LOG_PARSER_PARSE_FAILURE_ds,
                       DDS_XMLContext_get_current_line_number(m_context), what);
        else
            DDS_LOG_AS(Exception, kSubmoduleXml, m_operation, ZOVXML_LOG_PARSER_PARSE_FAILURE_s,
                       what);
        return give_up();
    }

    void report_internal_failure(const char *what) const
    {
        if (m_context->parser != nullptr)
            DDS_LOG_AS(Exception, kSubmoduleXml, m_operation, ZOVXML_LOG_PARSER_INTERNAL_FAILURE_ds,
                       DDS_XMLContext_get_current_line_number(m_context), what);
        else
            DDS_LOG_AS(Exception, kSubmoduleXml, m_operation, ZOVXML_LOG_PARSER_INTERNAL_FAILURE_s,
                       what);
    }

    /** Sets the error flag; false. */
    [[nodiscard]] bool give_up() const
    {
        if (m_context != nullptr)
            m_context->error = ZOV_TRUE;
        return false;
    }

private:
    const char *m_operation;
    ZOVXMLContext *m_context;
};

bool is_hexadecimal(const char *text)
{
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
}

/** The number at the start of a text; false without one, and for one that does not fit. */
bool read_number(const char *text, DDS_Long &value)
{
    char *end = nullptr;
    errno = 0;
    const bool is_pattern = is_hexadecimal(text); // of 32 bits
    const long number = std::strtol(text, &end, is_pattern ? 16 : 10);
    const long maximum = is_pattern ? long{UINT32_MAX} : long{INT32_MAX};
    if (end == text || errno == ERANGE || number < INT32_MIN || number > maximum)
        return false;
    value = static_cast<DDS_Long>(number);
    return true;
}

bool read_number(const char *text, DDS_UnsignedLong &value)
{
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(text, &end, is_hexadecimal(text) ? 16 : 10);
    if (end == text || errno == ERANGE || number < 0 || number > long{UINT32_MAX})
        return false;
    value = static_cast<DDS_UnsignedLong>(number);
    return true;
}

template <class Value>
bool read_word_or_number(std::span<const Keyword> keywords, const char *text, Value &value)
{
    const Keyword *keyword = find(keywords, text);
    if (keyword == nullptr)
        return read_number(text, value);
    value = static_cast<Value>(keyword->value);
    return true;
}

/** Joins the bits of words, and takes the text apart; false for a word that is none. */
bool read_mask(char *text, DDS_UnsignedLong &mask)
{
    mask = 0;
    if (ZOVXMLHelper_strTrim(text)[0] == '\0')
        return true;
    while (text != nullptr) {
        char *rest = DDS_XMLHelper_separateFirstElementFromMask(text);
        const Keyword *keyword = find(kMaskBits, ZOVXMLHelper_strTrim(text));
        if (keyword == nullptr)
            return false;
        mask |= static_cast<DDS_UnsignedLong>(keyword->value);
        text = rest;
    }
    return true;
}

} // namespace

DDS_Boolean DDS_XMLHelper_str_to_boolean(DDS_Boolean *value_out, const char *text,
                                         ZOVXMLContext *context)
{
    const Reader reader(__func__, context);
    if (!reader.has(value_out, text))
        return DDS_BOOLEAN_FALSE;
    const Keyword *keyword = find(kBooleans, text);
    if (keyword == nullptr)
        return reader.expected("boolean expected");
    *value_out = static_cast<DDS_Boolean>(keyword->value);
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_XMLHelper_str_to_unsigned_int(DDS_UnsignedLong *value_out, const char *text,
                                              ZOVXMLContext *context)
{
    const Reader reader(__func__, context);
    if (!reader.has(value_out, text))
        return DDS_BOOLEAN_FALSE;
    return read_word_or_number(kUnsignedNumbers, text, *value_out) || reader.expected(kInteger);
}

DDS_Boolean DDS_XMLHelper_str_to_int(DDS_Long *value_out, const char *text, ZOVXMLContext *context)
{
    const Reader reader(__func__, context);
    if (!reader.has(value_out, text))
        return DDS_BOOLEAN_FALSE;
    return read_word_or_number(kNumbers, text, *value_out) || reader.expected(kInteger);
}

DDS_Boolean DDS_XMLHelper_str_to_int_with_interval(DDS_Long *value_out, const char *text,
                                                   DDS_Long min, DDS_Long max,
                                                   ZOVXMLContext *context)
{
    const Reader reader(__func__, context);
    DDS_Long value = 0;
    if (!reader.has(value_out, text))
        return DDS_BOOLEAN_FALSE;
    if (!read_word_or_number(kUnlimited, text, value))
        return reader.expected(kInteger);
    if (value < min || value > max) {
        char interval[100];
        ZOVOsapiUtility_snprintf(interval, sizeof interval,
                                 "integer in the interval [%d,%d] expected", min, max);
        return reader.expected(interval);
    }
    *value_out = value;
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_XMLHelper_str_to_thread_settings_kind_mask(DDS_UnsignedLong *value_out,
                                                           const char *text, ZOVXMLContext *context)
{
    const Reader reader(__func__, context);
    char buffer[kMaskSize];
    String long_copy;
    char *copy = buffer;
    DDS_UnsignedLong mask = 0;
    if (!reader.has(value_out, text))
        return DDS_BOOLEAN_FALSE;
    const std::size_t length = std::strlen(text);
    if (length >= sizeof buffer) {
        reader.report_internal_failure("thread settings kind too long");
        copy = ZOVOsapiHeap_allocateString(long_copy.address(), length) != nullptr ? long_copy.get()
                                                                                   : nullptr;
        if (copy == nullptr)
            return reader.give_up();
    }
    std::memcpy(copy, text, length + 1);
    if (!read_mask(copy, mask))
        return reader.expected("thread mask expected");
    *value_out = mask;
    return DDS_BOOLEAN_TRUE;
}
