/**
 * The core of all output to a save context.
 *
 * It writes runs of characters rather than pieces of format, and leaves exactly the bytes, length
 * and error flag that printing each piece would.
 */
#ifndef WOLKCORE_XML_APPEND_HPP
#define WOLKCORE_XML_APPEND_HPP

#include "xml/Infrastructure.h"

#include <initializer_list>
#include <string_view>

namespace zov::xml {

/** Writes the parts of one piece. */
void append(ZOVXMLSaveContext &context, std::initializer_list<std::string_view> piece);

/** Writes a text each of whose characters is a piece. */
void append_characters(ZOVXMLSaveContext &context, std::string_view text);

/**
 * Where a number of characters can be written straight into the buffer, and a terminator behind
 * them; null when they do not all fit, and for other output. No piece of them is cut or miscounted.
 */
char *room_for(const ZOVXMLSaveContext &context, std::uint64_t size);
/** Ends what was written straight into the buffer. */
void end_at(ZOVXMLSaveContext &context, char *end);

inline constexpr std::uint32_t kBlanksPerLevel = 4;

/** Adds the bytes of a piece to the length; too many for the count set it and the error flag. */
void count(ZOVXMLSaveContext &context, std::uint64_t bytes);

} // namespace zov::xml

#endif
