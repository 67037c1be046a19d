/*
 * Monitors the heap, and shows what is still allocated and for whom.
 *
 *     heap_snapshot FILE
 *
 * A block carries the topic and the activity that its thread had set when it was allocated. The
 * snapshot in FILE has a line for each block that is alive; `wolk-heap-report FILE` sums them up.
 */
#include "osapi/heap.h"

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

struct Session
{
    char *user;
    double *prices;
};

static void closeSession(struct Session *session)
{
    if (session == NULL)
        return;
    ZOVOsapiHeap_freeArray(session->prices);
    ZOVOsapiHeap_freeString(session->user);
    ZOVOsapiHeap_freeStructure(session);
}

/* All that is allocated in here is marked; whatever the caller had set is put back. */
static struct Session *openSession(const char *user, uint64_t priceCount)
{
    struct ZOVOsapiHeapContext outer = {0};
    struct Session *session = NULL;
    ZOVOsapiHeap_setHeapContext(&outer, user, "open session");
    if (ZOVOsapiHeap_allocateStructure(&session, struct Session) != NULL &&
        (ZOVOsapiHeap_allocateString(&session->user, strlen(user)) == NULL ||
         ZOVOsapiHeap_allocateArray(&session->prices, priceCount, double) == NULL)) {
        closeSession(session);
        session = NULL;
    }
    ZOVOsapiHeap_restoreHeapContext(&outer);
    if (session != NULL)
        memcpy(session->user, user, strlen(user)); /* the rest of a fresh block is zero */
    return session;
}

static void printUsage(const char *when)
{
    struct ZOVOsapiHeapStat stat;
    if (ZOVOsapiHeap_statGet(&stat))
        printf("%s: %" PRId64 " blocks, %" PRId64 " bytes, at most %" PRId64 " bytes\n", when,
               stat.allocCount - stat.freeCount, stat.current, stat.high);
}

/* Prints the blocks of a snapshot: size, topic, activity, and how each was allocated. */
static int printBlocks(const char *fileName)
{
    char line[512];
    int complete;
    FILE *file = fopen(fileName, "r");
    if (file == NULL)
        return 0;
    while (fgets(line, sizeof line, file) != NULL) {
        unsigned size;
        char topic[32], activity[32], operation[64], type[64];
        if (sscanf(line, "%*u, %*d, %u, %*[^,], %*d, %*d, %31[^,], %31[^,], %63[^,], %63[^\n]",
                   &size, topic, activity, operation, type) == 5)
            printf("  %2u bytes, %s, %s: %s(%s)\n", size, topic, activity, operation, type);
    }
    complete = !ferror(file);
    return fclose(file) == 0 && complete;
}

static int work(const char *fileName)
{
    struct Session *ann = openSession("ann", 100);
    struct Session *ben = openSession("ben", 8);
    int done = ann != NULL && ben != NULL;
    printUsage("two sessions");

    closeSession(ann);
    printUsage("one closed");
    /* A program that thinks it has released everything takes its snapshot at such a point. */
    done = done && ZOVOsapiHeap_snapshot(fileName, ZOV_TRUE) && printBlocks(fileName);

    closeSession(ben);
    printUsage("both closed");
    return done;
}

int main(int argc, char **argv)
{
    int done;
    if (argc != 2) {
        fputs("usage: heap_snapshot FILE\n", stderr);
        return 1;
    }
    /* Before the first allocation: every block has to get its record. */
    if (!ZOVOsapiHeap_enableMonitoring())
        return 1;
    done = work(argv[1]);
    ZOVOsapiHeap_disableMonitoring(); /* stays on, and says so, when a block is left */
    return done && !ZOVOsapiHeap_isMonitoringEnabled() && fflush(stdout) == 0 ? 0 : 1;
}
