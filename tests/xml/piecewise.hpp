/** Output to a save context by printing each piece: what the append core is held against. */
#ifndef TESTS_XML_PIECEWISE_HPP
#define TESTS_XML_PIECEWISE_HPP

#include "osapi/Stdio.h"
#include "xml/Infrastructure.h"

#include <cstdarg>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace piecewise {

constexpr uint32_t kOverflow = 0xFFFFFFFF;

inline void count(ZOVXMLSaveContext &context, int length)
{
    if (length < 0)
        context.error = 1;
    else if (static_cast<uint32_t>(length) > kOverflow - context.length) {
        context.length = kOverflow;
        context.error = 1;
    } else
        context.length += static_cast<uint32_t>(length);
}

/** Prints into the buffer; false when there is no room at all, or not enough. */
inline bool put(ZOVXMLSaveContext &context, const char *format, va_list arguments)
{
    if (context.outputBuffer == nullptr || context.length == kOverflow ||
        context.length + 1 >= context.outputBufferSize)
        return false;
    const int length =
        ZOVOsapiUtility_vsnprintf(context.outputBuffer + context.length,
                                  context.outputBufferSize - context.length, format, arguments);
    if (length >= 0)
        context.length += static_cast<uint32_t>(length);
    return length >= 0;
}

ZOV_PRINTF(2, 3) inline void print(ZOVXMLSaveContext &context, const char *format, ...)
{
    va_list arguments;
    va_list copy;
    va_start(arguments, format);
    va_copy(copy, arguments);
    if (context.outputFile != nullptr)
        count(context, std::vfprintf(context.outputFile, format, arguments));
    else if (context.length != kOverflow && !put(context, format, arguments))
        count(context, ZOVOsapiUtility_vsnprintf(nullptr, 0, format, copy));
    va_end(copy);
    va_end(arguments);
}

inline void indent(ZOVXMLSaveContext &context)
{
    const auto width = static_cast<int>(context.depth * 4);
    if (width > 0 && context.outputFile == nullptr && context.length == kOverflow)
        count(context, width); // which a piece in memory is not there
    else if (width > 0)
        print(context, "%*c", width, ' ');
}

/** A document written to a context: by the library, and piece by piece. */
using Document = std::function<void(ZOVXMLSaveContext &)>;

/** What a document leaves: the whole buffer, and the record. */
inline std::string outcome(const Document &document, uint32_t size, uint32_t length)
{
    std::string buffer(size, '#');
    ZOVXMLSaveContext context = {};
    context.outputBuffer = size > 0 ? buffer.data() : nullptr;
    context.outputBufferSize = size;
    context.length = length;
    document(context);
    return buffer + " length " + std::to_string(context.length) + " error " +
           std::to_string(context.error) + " depth " + std::to_string(context.depth);
}

/** What a document leaves in a file; nothing of it when the file is full. */
inline std::string file_outcome(const Document &document, const char *name)
{
    std::FILE *file = std::fopen(name, "w+");
    setvbuf(file, nullptr, _IOFBF, 256); // so that a full file is noticed
    ZOVXMLSaveContext context = {};
    context.outputFile = file;
    document(context);
    std::string text(1 << 16, '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text + " length " + std::to_string(context.length) + " error " +
           std::to_string(context.error);
}

/** Compares a document's two forms in buffers of all sizes, near the end of the count, in files. */
inline void expect_same(const Document &own, const Document &reference)
{
    ZOVXMLSaveContext measured = {};
    reference(measured);
    for (uint32_t size = 0; size <= measured.length + 3; ++size)
        ASSERT_EQ(outcome(own, size, 0), outcome(reference, size, 0)) << "size " << size;
    for (uint32_t left = 0; left <= measured.length + 3; ++left)
        ASSERT_EQ(outcome(own, 0, kOverflow - left), outcome(reference, 0, kOverflow - left))
            << "left " << left;
    const std::string name = testing::TempDir() + "piecewise.xml";
    EXPECT_EQ(file_outcome(own, name.c_str()), file_outcome(reference, name.c_str()));
    EXPECT_EQ(file_outcome(own, "/dev/full"), file_outcome(reference, "/dev/full"));
}

} // namespace piecewise

#endif
