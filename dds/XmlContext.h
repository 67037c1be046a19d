/** Where a document is being read, for the DDS layer. */
#ifndef WOLKCORE_DDS_XML_CONTEXT_H
#define WOLKCORE_DDS_XML_CONTEXT_H

#include "dds/Types.h"
#include "xml/Infrastructure.h"

ZOV_BEGIN_DECLARATIONS

/**
 * ZOVXMLContext_getCurrentLineNumber.
 *
 * Errors: 0 with "bad parameter: context\n" for null.
 */
DDS_Long DDS_XMLContext_get_current_line_number(struct ZOVXMLContext *context);

ZOV_END_DECLARATIONS

#endif
