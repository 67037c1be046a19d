/**
 * The core of all output to a save context.
 *
 * It writes runs of characters rather than pieces of format, and leaves exactly the bytes, length
 * and error flag that printing each piece would.
 */
#ifndef WOLKCORE_XML_APPEND_HPP
#define WOLKCORE_XML_APPEND_HPP

#include "xml/Infrastructure.h"

#include <string_view>

namespace zov::xml {

/** Writes one piece of text. */
void append(ZOVXMLSaveContext &context, std::string_view text);

/** Adds the bytes of a piece to the length; too many for the count set it and the error flag. */
void count(ZOVXMLSaveContext &context, std::uint64_t bytes);

} // namespace zov::xml

#endif
