#include "dds/XmlContext.h"

#include "dds/Log.hpp"

DDS_Long DDS_XMLContext_get_current_line_number(ZOVXMLContext *context)
{
    return dds::is_given<dds::kSubmoduleXml>(context, "context", __func__)
               ? ZOVXMLContext_getCurrentLineNumber(context)
               : 0;
}
