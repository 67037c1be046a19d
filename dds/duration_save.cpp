#include "dds/Duration.h"
#include "dds/XmlHelper.h"

void DDS_Duration_save(const char *tag_name, const DDS_Duration_t *duration,
                       ZOVXMLSaveContext *save_context)
{
    DDS_XMLHelper_save_tag(tag_name, DDS_XML_TAG_OPEN_BLOCK, save_context);
    if (duration->sec == DDS_DURATION_INFINITE_SEC)
        DDS_XMLHelper_save_string("sec", "DURATION_INFINITE_SEC", save_context);
    else
        DDS_XMLHelper_save_long("sec", duration->sec, save_context);
    if (duration->nanosec == DDS_DURATION_INFINITE_NSEC)
        DDS_XMLHelper_save_string("nanosec", "DURATION_INFINITE_NSEC", save_context);
    else
        DDS_XMLHelper_save_unsigned_long("nanosec", duration->nanosec, save_context);
    DDS_XMLHelper_save_tag(tag_name, DDS_XML_TAG_CLOSE_BLOCK, save_context);
}
