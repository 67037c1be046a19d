#include "dds/Duration.h"
#include "dds/XmlHelper.h"
#include "osapi/Stdio.h"
#include "xml/append.hpp"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace {

using zov::xml::append;

constexpr char kSpecial[] = "\"&'<>";

/** The digits of a number. */
class Digits
{
public:
    template <class Integer>
    explicit Digits(Integer value)
        : m_end(std::to_chars(m_text.data(), m_text.data() + m_text.size(), value).ptr)
    {
    }

    [[nodiscard]] std::string_view text() const { return {m_text.data(), m_end}; }

private:
    std::array<char, 12> m_text;
    const char *m_end;
};

constexpr std::string_view entity_of(char c)
{
    switch (c) {
    case '"':
        return "&quot;";
    case '&':
        return "&amp;";
    case '\'':
        return "&apos;";
    case '<':
        return "&lt;";
    default:
        return "&gt;";
    }
}

void open_inline(const char *name, ZOVXMLSaveContext *ctx)
{
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_OPEN_INLINE, ctx);
}

void close_inline(const char *name, ZOVXMLSaveContext *ctx)
{
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_CLOSE_INLINE, ctx);
}

void save_text(const char *name, std::string_view text, ZOVXMLSaveContext *ctx)
{
    open_inline(name, ctx);
    append(*ctx, {text});
    close_inline(name, ctx);
}

void save_escaped(const char *text, ZOVXMLSaveContext &context)
{
    for (;;) {
        const std::size_t plain = std::strcspn(text, kSpecial);
        zov::xml::append_characters(context, {text, plain});
        if (text[plain] == '\0')
            return;
        append(context, {entity_of(text[plain])});
        text += plain + 1;
    }
}

template <class Save>
void save_elements(const char *name, DDS_Long count, ZOVXMLSaveContext *ctx, Save save)
{
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_OPEN_BLOCK, ctx);
    for (DDS_Long i = 0; i < count; ++i)
        save(i);
    DDS_XMLHelper_save_tag(name, DDS_XML_TAG_CLOSE_BLOCK, ctx);
}

template <class At>
void save_octets(const char *name, DDS_Long count, ZOVXMLSaveContext *ctx, At at)
{
    open_inline(name, ctx);
    for (DDS_Long i = 0; i < count; ++i) {
        if (i > 0)
            append(*ctx, {","});
        append(*ctx, {Digits(int{at(i)}).text()});
    }
    close_inline(name, ctx);
}

} // namespace

void DDS_XMLHelper_save_tag(const char *name, DDS_UnsignedLong flags, ZOVXMLSaveContext *ctx)
{
    if ((flags & DDS_XML_TAG_SHALLOWER) != 0)
        --ctx->depth;
    if ((flags & DDS_XML_TAG_INDENT) != 0)
        ZOVXMLSaveContext_indent(ctx);
    append(*ctx, {(flags & DDS_XML_TAG_CLOSING) != 0 ? "</" : "<", name,
                  (flags & DDS_XML_TAG_NEWLINE) != 0 ? ">\n" : ">"});
    if ((flags & DDS_XML_TAG_DEEPER) != 0)
        ++ctx->depth;
}

void DDS_XMLHelper_save_freeform(ZOVXMLSaveContext *ctx, const char *format, ...)
{
    va_list args;
    va_list args_copy;
    va_start(args, format);
    va_copy(args_copy, args);
    DDS_XMLHelper_save_freeform_w_argsI(ctx, format, args, args_copy);
    va_end(args_copy);
    va_end(args);
}

void DDS_XMLHelper_save_freeform_w_argsI(ZOVXMLSaveContext *ctx, const char *format, va_list args,
                                         va_list args_copy)
{
    int length = -1;
    if (ctx->outputFile != nullptr)
        length = std::vfprintf(ctx->outputFile, format, args);
    else if (ctx->length == ZOV_XML_SAVE_CONTEXT_LENGTH_OVERFLOW)
        return;
    else {
        if (ctx->outputBuffer != nullptr && ctx->length + 1 < ctx->outputBufferSize)
            length = ZOVOsapiUtility_vsnprintf(ctx->outputBuffer + ctx->length,
                                               ctx->outputBufferSize - ctx->length, format, args);
        if (length < 0)
            length = ZOVOsapiUtility_vsnprintf(nullptr, 0, format, args_copy);
    }
    if (length < 0)
        ctx->error = ZOV_TRUE;
    else
        zov::xml::count(*ctx, static_cast<std::uint64_t>(length));
}

void DDS_XMLHelper_save_long(const char *name, DDS_Long value, ZOVXMLSaveContext *ctx)
{
    save_text(name, Digits(value).text(), ctx);
}

void DDS_XMLHelper_save_unsigned_long(const char *name, DDS_UnsignedLong value,
                                      ZOVXMLSaveContext *ctx)
{
    save_text(name, Digits(value).text(), ctx);
}

void DDS_XMLHelper_save_int(const char *name, int value, ZOVXMLSaveContext *ctx)
{
    save_text(name, Digits(value).text(), ctx);
}

void DDS_XMLHelper_save_bool(const char *name, DDS_Boolean value, ZOVXMLSaveContext *ctx)
{
    save_text(name, value ? "true" : "false", ctx);
}

void DDS_XMLHelper_save_string(const char *name, const char *text, ZOVXMLSaveContext *ctx)
{
    if (text == nullptr)
        return;
    open_inline(name, ctx);
    const std::size_t plain = std::strcspn(text, kSpecial);
    if (text[plain] == '\0')
        append(*ctx, {{text, plain}});
    else
        save_escaped(text, *ctx);
    close_inline(name, ctx);
}

void DDS_XMLHelper_save_length(const char *name, DDS_Long value, ZOVXMLSaveContext *ctx)
{
    if (value == DDS_LENGTH_UNLIMITED)
        save_text(name, "LENGTH_UNLIMITED", ctx);
    else
        DDS_XMLHelper_save_long(name, value, ctx);
}

void DDS_XMLHelper_save_sequence_number(const char *name, const DDS_SequenceNumber_t *value,
                                        ZOVXMLSaveContext *ctx)
{
    open_inline(name, ctx);
    DDS_XMLHelper_save_long("high", value->high, ctx);
    DDS_XMLHelper_save_unsigned_long("low", value->low, ctx);
    close_inline(name, ctx);
}

void DDS_XMLHelper_save_long_seq(const char *name, DDS_LongSeq *value, ZOVXMLSaveContext *ctx)
{
    save_elements(name, DDS_LongSeq_get_length(value), ctx, [&](DDS_Long i) {
        DDS_XMLHelper_save_long("element", *DDS_LongSeq_get_reference(value, i), ctx);
    });
}

void DDS_XMLHelper_save_string_seq(const char *name, DDS_StringSeq *value, ZOVXMLSaveContext *ctx)
{
    save_elements(name, DDS_StringSeq_get_length(value), ctx, [&](DDS_Long i) {
        DDS_XMLHelper_save_string("element", *DDS_StringSeq_get_reference(value, i), ctx);
    });
}

void DDS_XMLHelper_save_octet_array(const char *name, const DDS_Octet *bytes, DDS_Long count,
                                    ZOVXMLSaveContext *ctx)
{
    save_octets(name, count, ctx, [bytes](DDS_Long i) { return bytes[i]; });
}

void DDS_XMLHelper_save_octet_seq(const char *name, DDS_OctetSeq *value, ZOVXMLSaveContext *ctx)
{
    const DDS_Long count = DDS_OctetSeq_get_length(value);
    if (count > 0)
        save_octets(name, count, ctx,
                    [value](DDS_Long i) { return *DDS_OctetSeq_get_reference(value, i); });
}
