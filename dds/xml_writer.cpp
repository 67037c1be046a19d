#include "dds/Duration.h"
#include "dds/XmlHelper.h"
#include "osapi/Stdio.h"
#include "xml/append.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

using zov::xml::append;

constexpr char kSpecial[] = "\"&'<>";
constexpr std::size_t kLongestEntity = 6;

/** The digits of a number. */
class Digits
{
public:
    template <class Integer>
    explicit Digits(Integer value)
    {
        m_end = std::to_chars(m_text, std::end(m_text), value).ptr;
    }

    [[nodiscard]] std::string_view text() const { return {m_text, m_end}; }

private:
    char m_text[12];
    const char *m_end;
};

/** What stands for a special character; empty for another one. */
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
    case '>':
        return "&gt;";
    default:
        return {};
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

char *put(char *to, std::string_view text)
{
    std::memcpy(to, text.data(), text.size());
    return to + text.size();
}

char *put_escaped(char *to, std::string_view text)
{
    for (const char c : text) {
        const std::string_view entity = entity_of(c);
        if (entity.empty())
            *to++ = c;
        else
            to = put(to, entity);
    }
    return to;
}

/** The same, one piece after the other. */
void append_escaped(ZOVXMLSaveContext &context, std::string_view text)
{
    for (;;) {
        const std::size_t plain = std::min(text.find_first_of(kSpecial), text.size());
        zov::xml::append_characters(context, {text.data(), plain});
        if (plain == text.size())
            return;
        append(context, {entity_of(text[plain])});
        text.remove_prefix(plain + 1);
    }
}

/** Writes an element, if possible at once. */
void save_text(const char *name, std::string_view text, ZOVXMLSaveContext *ctx,
               bool is_plain = true)
{
    const std::string_view tag = name;
    const std::size_t blanks = std::size_t{ctx->depth} * zov::xml::kBlanksPerLevel;
    const std::size_t most = text.size() * (is_plain ? 1 : kLongestEntity);
    char *to = zov::xml::room_for(*ctx, blanks + 2 * tag.size() + std::strlen("<></>\n") + most);
    if (to != nullptr) {
        std::memset(to, ' ', blanks);
        to = put(put(put(to + blanks, "<"), tag), ">");
        to = is_plain ? put(to, text) : put_escaped(to, text);
        zov::xml::end_at(*ctx, put(put(put(to, "</"), tag), ">\n"));
        return;
    }
    open_inline(name, ctx);
    if (is_plain)
        append(*ctx, {text});
    else
        append_escaped(*ctx, text);
    close_inline(name, ctx);
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
    const std::string_view all = text;
    save_text(name, all, ctx, std::strcspn(text, kSpecial) == all.size());
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
