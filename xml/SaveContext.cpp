#include "xml/append.hpp"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>

static_assert(offsetof(ZOVXMLSaveContext, outputBuffer) == 8);
static_assert(offsetof(ZOVXMLSaveContext, outputBufferSize) == 16);
static_assert(offsetof(ZOVXMLSaveContext, length) == 20);
static_assert(offsetof(ZOVXMLSaveContext, depth) == 24);
static_assert(offsetof(ZOVXMLSaveContext, error) == 28);

namespace {

constexpr std::uint32_t kOverflow = ZOV_XML_SAVE_CONTEXT_LENGTH_OVERFLOW;

/** Whether the buffer can take a character and the terminator. */
bool has_room(const ZOVXMLSaveContext &context)
{
    return context.outputBuffer != nullptr && context.length != kOverflow &&
           context.length + 1 < context.outputBufferSize;
}

/** The characters of a piece that the buffer can take; its whole length is counted. */
std::size_t claim_room(ZOVXMLSaveContext &context, std::size_t size)
{
    const std::size_t room = context.outputBufferSize - context.length - 1;
    zov::xml::count(context, size);
    return std::min(size, room);
}

bool write(std::FILE *file, std::string_view text)
{
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

bool write_blanks(std::FILE *file, std::uint64_t count)
{
    constexpr std::string_view kBlanks =
        "                                                                ";
    for (; count > kBlanks.size(); count -= kBlanks.size())
        if (!write(file, kBlanks))
            return false;
    return write(file, {kBlanks.data(), count});
}

void count_written(ZOVXMLSaveContext &context, bool written, std::uint64_t bytes)
{
    if (written)
        zov::xml::count(context, bytes);
    else
        context.error = ZOV_TRUE;
}

} // namespace

void zov::xml::count(ZOVXMLSaveContext &context, std::uint64_t bytes)
{
    if (bytes > kOverflow - context.length) {
        context.length = kOverflow;
        context.error = ZOV_TRUE;
    } else
        context.length += static_cast<std::uint32_t>(bytes);
}

void zov::xml::append(ZOVXMLSaveContext &context, std::initializer_list<std::string_view> piece)
{
    std::size_t size = 0;
    for (const std::string_view part : piece)
        size += part.size();
    if (size > INT_MAX) // more than a printed piece could tell of
        context.error = ZOV_TRUE;
    else if (context.outputFile != nullptr)
        count_written(
            context,
            std::all_of(piece.begin(), piece.end(),
                        [&](std::string_view part) { return write(context.outputFile, part); }),
            size);
    else if (has_room(context)) {
        char *to = context.outputBuffer + context.length;
        std::size_t left = claim_room(context, size);
        for (const std::string_view part : piece) {
            const std::size_t taken = std::min(part.size(), left);
            std::memcpy(to, part.data(), taken);
            to += taken;
            left -= taken;
        }
        *to = '\0';
    } else if (context.length != kOverflow)
        count(context, size);
}

void zov::xml::append_characters(ZOVXMLSaveContext &context, std::string_view text)
{
    // One by one, characters in memory reach the end of the count without passing it.
    if (context.outputFile == nullptr && text.size() > kOverflow - context.length)
        context.length = kOverflow;
    else
        append(context, {text});
}

char *zov::xml::room_for(const ZOVXMLSaveContext &context, std::uint64_t size)
{
    const bool fits = context.outputFile == nullptr && has_room(context) && size <= INT_MAX &&
                      size < context.outputBufferSize - context.length;
    return fits ? context.outputBuffer + context.length : nullptr;
}

void zov::xml::end_at(ZOVXMLSaveContext &context, char *end)
{
    *end = '\0';
    context.length = static_cast<std::uint32_t>(end - context.outputBuffer);
}

ZOVBool ZOVXMLSaveContext_initialize(ZOVXMLSaveContext *context)
{
    *context = {};
    return ZOV_TRUE;
}

void ZOVXMLSaveContext_finalize(ZOVXMLSaveContext *context)
{
    static_cast<void>(context);
}

void ZOVXMLSaveContext_indent(ZOVXMLSaveContext *context)
{
    const std::uint64_t width = std::uint64_t{context->depth} * zov::xml::kBlanksPerLevel;
    if (width > INT_MAX)
        context->error = ZOV_TRUE;
    else if (context->outputFile != nullptr)
        count_written(*context, write_blanks(context->outputFile, width), width);
    else if (width > 0 && has_room(*context)) {
        char *to = context->outputBuffer + context->length;
        const std::size_t taken = claim_room(*context, width);
        std::memset(to, ' ', taken);
        to[taken] = '\0';
    } else
        zov::xml::count(*context, width); // Kept: past the end of the count it is an error here
}
