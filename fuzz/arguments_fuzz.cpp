// Any command line: it is refused, or split in two as a model does it.
#include "fuzz/fuzz.hpp"
#include "launcher/ParameterManager.h"

#include <charconv>
#include <cstring>
#include <filesystem>
#include <optional>
#include <strings.h>
#include <vector>

using fuzz::require;

namespace {

constexpr std::size_t kMostSent = 16382;

struct Model
{
    std::string sent; // to the generator
    bool accepted = true;
    bool present[QUILLON_PARAMETER_COUNT] = {};
    std::string values[QUILLON_PARAMETER_COUNT];

    explicit Model(const std::vector<std::string> &arguments)
    {
        for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
            const auto option = option_of(*argument);
            if (!option) {
                sent += *argument + "\n";
                continue;
            }
            present[*option] = true;
            if (kind_of(*option) == QUILLON_PARAMETER_KIND_FLAG)
                continue;
            if (++argument == arguments.end()) {
                accepted = false;
                return;
            }
            values[*option] = *argument;
        }
        sent += "-workingDirectory\n" + std::filesystem::current_path().string() + "\n";
        accepted = sent.size() <= kMostSent && present[QUILLON_PARAMETER_CLASSPATH] &&
                   present[QUILLON_PARAMETER_WOLK_RESOURCE];
    }

    static std::optional<int> option_of(const std::string &argument)
    {
        if (argument.size() > 1)
            for (int i = 0; i < QUILLON_PARAMETER_COUNT; ++i)
                if (strncasecmp(QUILLONParameterManager_g_parameterDesc[i].name,
                                argument.c_str() + 1, argument.size() - 1) == 0)
                    return i;
        return std::nullopt;
    }
    static std::uint32_t kind_of(int option)
    {
        return QUILLONParameterManager_g_parameterDesc[option].kind;
    }
};

/** Of a value of up to nine digits. */
std::optional<int> number_in(const std::string &value)
{
    const std::size_t begin = std::min(value.find_first_not_of(" \t\n\v\f\r"), value.size());
    const bool has_plus = value[begin] == '+' && value[begin + 1] != '-';
    int number = 0;
    const char *const digits = value.c_str() + begin + (has_plus ? 1 : 0);
    return std::from_chars(digits, value.c_str() + value.size(), number).ec == std::errc()
               ? std::optional(number)
               : std::nullopt;
}

void check_option(QUILLONParameterManager *manager, const Model &model, int option)
{
    const bool is_present = model.present[option];
    const std::string &value = model.values[option];
    ZOVBool present = 2;
    int32_t number = 77;
    const char *text = nullptr;
    require(QUILLONParameterManager_getParameter(manager, nullptr, &present, option,
                                                 QUILLON_PARAMETER_KIND_FLAG));
    require(present == is_present);
    if (Model::kind_of(option) == QUILLON_PARAMETER_KIND_FLAG)
        return;
    require(QUILLONParameterManager_getParameter(manager, &text, nullptr, option,
                                                 QUILLON_PARAMETER_KIND_STRING));
    require(is_present ? text == value : text == nullptr);
    const bool is_read = QUILLONParameterManager_getParameter(manager, &number, nullptr, option,
                                                              QUILLON_PARAMETER_KIND_INTEGER);
    if (value.size() > 9)
        return;
    const auto expected = number_in(value);
    require(is_read == (!is_present || expected));
    require(number == (is_present && expected ? *expected : 77));
}

} // namespace

void fuzz::test(Input input)
{
    const unsigned padding = input.below(4);
    const unsigned times = 1 + input.below(64);
    std::vector<std::string> part, texts;
    while (!input.empty())
        part.push_back(input.text());
    for (unsigned i = 0; i < times; ++i)
        texts.insert(texts.end(), part.begin(), part.end());
    // One argument more, for a byte less than may be sent, as much, or one more.
    const std::size_t size = Model(texts).sent.size() + 1;
    if (padding > 0 && size < kMostSent)
        texts.insert(texts.begin(), std::string(kMostSent - size + padding - 2, 'x'));
    const Model model(texts);
    texts.insert(texts.begin(), "quillon");
    std::vector<char *> arguments;
    for (std::string &text : texts)
        arguments.push_back(text.data());
    QUILLONParameterManager *manager =
        QUILLONParameterManager_new(static_cast<int>(arguments.size()), arguments.data());
    require(model.accepted == (manager != nullptr));
    if (manager == nullptr)
        return;
    const QUILLONJArgsBuffer &buffer = *QUILLONParameterManager_getJArgsBuffer(manager);
    require(std::string(buffer.text, buffer.length) == model.sent + '\n' + '\0');
    for (int option = 0; option < QUILLON_PARAMETER_COUNT; ++option)
        check_option(manager, model, option);
    QUILLONParameterManager_delete(manager);
}
