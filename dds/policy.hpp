/** What the settings records share: rules as data, reports, and the frame of saving. */
#ifndef WOLKCORE_DDS_POLICY_HPP
#define WOLKCORE_DDS_POLICY_HPP

#include "dds/Duration.h"
#include "dds/Log.hpp"
#include "dds/XmlHelper.h"

#include <span>

namespace dds::policy {

/** Reports a field that is out of its range, or two that do not go together; false. */
inline bool inconsistent(const char *operation, const char *name, const char *other = nullptr)
{
    if (other == nullptr)
        DDS_LOG_AS(Exception, kSubmoduleSettings, operation, DDS_LOG_INCONSISTENT_POLICY_s, name);
    else
        DDS_LOG_AS(Exception, kSubmoduleSettings, operation, DDS_LOG_INCONSISTENT_POLICIES_ss, name,
                   other);
    return false;
}

constexpr DDS_Long kMillion = 1'000'000;

constexpr bool is_within(DDS_Long value, DDS_Long minimum, DDS_Long maximum)
{
    return minimum <= value && value <= maximum;
}

enum class Demand {
    Range,            /**< from minimum to maximum */
    RangeOrUnlimited, /**< or -1 */
    FromMinimum,      /**< and no maximum */
    NotZero,
    UnsignedMaximum,   /**< negative values are above it */
    AtMost,            /**< not above the other field, unless that is negative */
    AtMostOrUnlimited, /**< or -1; but not negative otherwise */
    FromZeroTo,        /**< from 0 to the other field */
};

/** What a field must fulfil, and the names under which it is reported. */
template <class Policy>
struct Rule
{
    using Field = DDS_Long Policy::*;

    constexpr Rule(Demand what, Field of, const char *called, DDS_Long low = 0, DDS_Long high = 0)
        : demand(what), field(of), name(called), minimum(low), maximum(high)
    {
    }
    constexpr Rule(Demand what, Field of, const char *called, Field to, const char *to_called)
        : demand(what), field(of), name(called), other(to), other_name(to_called)
    {
    }

    Demand demand;
    Field field;
    const char *name;
    DDS_Long minimum = 0;
    DDS_Long maximum = 0;
    Field other = nullptr;
    const char *other_name = nullptr;
};

template <class Policy>
constexpr bool is_fulfilled(const Rule<Policy> &rule, const Policy &policy)
{
    const DDS_Long value = policy.*rule.field;
    const DDS_Long other = rule.other != nullptr ? policy.*rule.other : 0;
    switch (rule.demand) {
    case Demand::Range:
        return is_within(value, rule.minimum, rule.maximum);
    case Demand::RangeOrUnlimited:
        return value == -1 || is_within(value, rule.minimum, rule.maximum);
    case Demand::FromMinimum:
        return value >= rule.minimum;
    case Demand::NotZero:
        return value != 0;
    case Demand::UnsignedMaximum:
        return is_within(value, 0, rule.maximum);
    case Demand::AtMost:
        return other < 0 || value <= other;
    case Demand::AtMostOrUnlimited:
        return other < 0 || value == -1 || is_within(value, 0, other);
    case Demand::FromZeroTo:
        return is_within(value, 0, other);
    }
    return false;
}

/** Whether all rules are fulfilled; the first that is not is reported. */
template <class Policy>
bool is_consistent(const char *operation, const Policy &policy, std::span<const Rule<Policy>> rules)
{
    for (const Rule<Policy> &rule : rules)
        if (!is_fulfilled(rule, policy))
            return inconsistent(operation, rule.name, rule.other_name);
    return true;
}

/** Writes a block element, unless the context has an error. */
template <class Save>
void save_block(const char *tag, ZOVXMLSaveContext *context, Save save_fields)
{
    if (context->error)
        return;
    DDS_XMLHelper_save_tag(tag, DDS_XML_TAG_OPEN_BLOCK, context);
    save_fields();
    DDS_XMLHelper_save_tag(tag, DDS_XML_TAG_CLOSE_BLOCK, context);
}

} // namespace dds::policy

#endif
