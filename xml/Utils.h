/** Attributes as a parser delivers them, white space, environment references. */
#ifndef WOLKCORE_XML_UTILS_H
#define WOLKCORE_XML_UTILS_H

#include "log/Base.h"

ZOV_BEGIN_DECLARATIONS

/** The value of an attribute of a list, or null. */
const char *ZOVXMLHelper_getAttribute(const char **list, const char *name) ZOV_NONNULL();
/** The attributes of a list. */
int32_t ZOVXMLHelper_getAttributeCount(const char **list) ZOV_NONNULL();

/** Whether a character, -1 to 255, is white space; FALSE for others. */
ZOVBool ZOVXMLHelper_isspace(int c);
/** Takes white space off both ends, in place. Returns the text. */
char *ZOVXMLHelper_strTrim(char *text) ZOV_NONNULL();

/** Room for a text whose references are to be expanded, in bytes. */
#define ZOV_XML_EXPANDED_SIZE 32768

/**
 * Replaces environment references, $(NAME), in place; values are not looked through for further
 * ones. A variable that is not defined leaves nothing, and the exception "environment variable
 * '...' not defined\n". A reference without its parenthesis stays as it is.
 *
 * @param text in a buffer of ZOV_XML_EXPANDED_SIZE bytes.
 *
 * @return text.
 *
 * Errors: null with the debug line "...: value of '...' too long\n" when the text would outgrow
 * 32767 characters, and for a value of more than 4095; what was expanded so far stays.
 * Threads: reads the environment, which no other thread may change meanwhile.
 */
char *ZOVXMLHelper_expandEnvironmentVariables(char *text) ZOV_NONNULL();

ZOV_END_DECLARATIONS

#endif
