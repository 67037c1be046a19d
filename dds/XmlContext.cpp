#include "dds/XmlContext.h"

#include "dds/Log.hpp"

DDS_Long DDS_XMLContext_get_current_line_number(ZOVXMLContext *context)
{
    if (context == nullptr) {
        DDS_LOG(Exception, kSubmoduleXml, DDS_LOG_BAD_PARAMETER_s, "context");
        return 0;
    }
    return ZOVXMLContext_getCurrentLineNumber(context);
}
