#include "xml/Infrastructure.h"

#include <expat.h>

namespace {

int32_t parser_line(const ZOVXMLContext &context)
{
    return context.parser == nullptr
               ? 0
               : static_cast<int32_t>(XML_GetCurrentLineNumber(context.parser));
}

} // namespace

void ZOVXMLContext_setContextLineNumber(ZOVXMLContext *context, int32_t line)
{
    context->line = line;
    context->parserLine = parser_line(*context);
}

int32_t ZOVXMLContext_getCurrentLineNumber(ZOVXMLContext *context)
{
    return context->line - context->parserLine + parser_line(*context);
}

void ZOVXMLContext_resetContextLineNumber(ZOVXMLContext *context)
{
    context->line = 0;
    context->parserLine = 0;
}
