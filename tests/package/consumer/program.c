/* Uses each folder of the library, in C and in C++. */
#include "dds/Duration.h"
#include "koba/String.h"
#include "log/Log.h"
#include "osapi/heap.h"
#include "xml/Infrastructure.h"

#include <stdio.h>

int main(void)
{
    struct DDS_Duration_t period = {2, 500000000};
    struct ZOVXMLContext reading = {0}; /* needs expat */
    struct ZOVXMLSaveContext writing;
    char *name = NULL;
    if (ZOVOsapiHeap_allocateString(&name, 31) == NULL)
        return 1;
    snprintf(name, 32, "%s", "WOLK");
    ZOVLog_printContextAndMsg("main", &ZOV_LOG_ANY_ss, "hello, ", name);
    printf("%d %d\n", (int)KOBAString_iCompare(name, "wolk"),
           (int)ZOVXMLContext_getCurrentLineNumber(&reading));
    ZOVOsapiHeap_freeString(name);
    if (!ZOVXMLSaveContext_initialize(&writing))
        return 1;
    writing.outputFile = stdout;
    DDS_Duration_save("period", &period, &writing);
    ZOVXMLSaveContext_finalize(&writing);
    return 0;
}
