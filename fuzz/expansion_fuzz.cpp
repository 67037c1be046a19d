// Any text with environment references: it is expanded as a model does it, on its own and as the
// value of an attribute among any number of others.
#include "fuzz/fuzz.hpp"
#include "xml/Infrastructure.h"
#include "xml/Utils.h"

#include <cstring>
#include <map>
#include <vector>

using fuzz::require;

namespace {

const std::string kTooLong(4096, 'd');
const std::map<std::string, std::string> kVariables = {
    {"A", "value"}, {"B", "$(A)::<&>"}, {"C", std::string(4095, 'c')}, {"D", kTooLong}, {"E", ""}};

const bool kAreSet = [] { // and no others
    clearenv();
    for (const auto &[name, value] : kVariables)
        setenv(name.c_str(), value.c_str(), 1);
    return true;
}();

struct Expansion
{
    std::string text;
    bool fits = true;
};

Expansion expanded(const std::string &text)
{
    std::string done;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t reference = text.find("$(", begin);
        const std::size_t end = text.find(')', reference == text.npos ? reference : reference + 2);
        if (reference == text.npos || end == text.npos)
            return {done + text.substr(begin)};
        const auto variable = kVariables.find(text.substr(reference + 2, end - reference - 2));
        const std::string value = variable != kVariables.end() ? variable->second : "";
        done += text.substr(begin, reference - begin);
        if (value == kTooLong ||
            done.size() + value.size() + text.size() - end - 1 >= ZOV_XML_EXPANDED_SIZE)
            return {done + text.substr(reference), false};
        done += value;
        begin = end + 1;
    }
}

std::string made_text(fuzz::Input &input)
{
    static constexpr const char *kPieces[] = {"$(A)", "$(B)", "$(C)", "$(D)", "$(E)",
                                              "$(F)", "$(",   "A",    ")",    "$"};
    std::string text;
    for (unsigned count = input.below(20); count > 0; --count)
        text += kPieces[input.below(std::size(kPieces))];
    return text + input.text();
}

void check_text(const std::string &text)
{
    std::vector<char> buffer(ZOV_XML_EXPANDED_SIZE); // as large as asked for, and no larger
    std::memcpy(buffer.data(), text.c_str(), text.size() + 1);
    const Expansion expected = expanded(text);
    require(ZOVXMLHelper_expandEnvironmentVariables(buffer.data()) ==
            (expected.fits ? buffer.data() : nullptr));
    require(buffer.data() == expected.text);
}

/** The descriptor's list is as expected. */
void check_list(ZOVXMLAttributeDescriptor &descriptor, const std::vector<std::string> &values)
{
    const char **list = ZOVXMLAttributeDescriptor_getAttributeList(&descriptor);
    require(ZOVXMLHelper_getAttributeCount(list) == static_cast<int32_t>(values.size()));
    for (std::size_t i = 0; i < values.size(); ++i)
        require(ZOVXMLHelper_getAttribute(list, std::to_string(i).c_str()) == values[i]);
}

void check_attributes(const std::vector<std::string> &texts, unsigned additions)
{
    std::vector<std::string> names, values;
    bool fit = true, refer = false;
    for (std::size_t i = 0; i < texts.size() + additions; ++i)
        names.push_back(std::to_string(i));
    std::vector<const char *> list;
    for (const std::string &text : texts) {
        list.insert(list.end(), {names[values.size()].c_str(), text.c_str()});
        const Expansion expected = expanded(text);
        values.push_back(expected.text);
        fit = fit && expected.fits;
        refer = refer || text.find("$(") != text.npos;
    }
    list.push_back(nullptr);
    ZOVXMLAttributeDescriptor descriptor = {};
    require(fit == (ZOVXMLAttributeDescriptor_initialize(&descriptor, list.data()) != ZOV_FALSE));
    if (!fit)
        return;
    require(refer == !ZOVXMLAttributeDescriptor_isReferencedAttributeList(&descriptor));
    check_list(descriptor, values);
    for (unsigned i = 0; i < additions; ++i) {
        const char *pair[] = {names[values.size()].c_str(), "$(A)"};
        require(ZOVXMLAttributeDescriptor_addAttribute(&descriptor, pair));
        values.emplace_back(pair[1]);
        check_list(descriptor, values);
    }
    ZOVXMLAttributeDescriptor_finalize(&descriptor);
}

} // namespace

void fuzz::test(Input input)
{
    const unsigned additions = input.below(12);
    std::vector<std::string> texts(kAreSet ? 1 + input.below(8) : 0);
    for (std::string &text : texts) {
        text = made_text(input);
        check_text(text);
    }
    check_attributes(texts, additions);
}
