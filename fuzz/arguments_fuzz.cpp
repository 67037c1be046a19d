// Any command line: it is refused, or the buffer has the form that goes on the wire.
#include "launcher/Log.h"
#include "launcher/ParameterManager.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void check_buffer(const QUILLONJArgsBuffer &buffer)
{
    require(std::strlen(buffer.text) + 1 == buffer.length);
    require(buffer.length <= 16384);
    const std::string text = buffer.text;
    require(text.ends_with("\n\n"));
    require(text.find("-workingDirectory\n/") != std::string::npos);
}

void check_parameters(QUILLONParameterManager *manager)
{
    for (int i = 0; i < QUILLON_PARAMETER_COUNT; ++i) {
        ZOVBool present = 2;
        int32_t number = 0;
        const char *text = nullptr;
        QUILLONParameterManager_getParameter(manager, &number, &present, i,
                                             QUILLON_PARAMETER_KIND_FLAG);
        require(present == 0 || present == 1);
        require(number == 0);
        if (i == QUILLON_PARAMETER_CLASSPATH) {
            QUILLONParameterManager_getParameter(manager, &text, nullptr, i,
                                                 QUILLON_PARAMETER_KIND_STRING);
            require(text != nullptr);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    QUILLONLog_setBitmaps(0, 0);
    std::vector<std::string> texts = {"quillon"};
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0 || texts.size() == 1)
            texts.emplace_back();
        if (data[i] != 0)
            texts.back().push_back(static_cast<char>(data[i]));
    }
    std::vector<char *> arguments;
    for (std::string &text : texts)
        arguments.push_back(text.data());
    QUILLONParameterManager *manager =
        QUILLONParameterManager_new(static_cast<int>(arguments.size()), arguments.data());
    if (manager == nullptr)
        return 0;
    check_buffer(*QUILLONParameterManager_getJArgsBuffer(manager));
    check_parameters(manager);
    QUILLONParameterManager_delete(manager);
    return 0;
}
