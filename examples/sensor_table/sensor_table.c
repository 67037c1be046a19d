/*
 * A bounded table of sensor readings, sorted by time.
 *
 * A pool owns the memory of the readings and sets the bound; a skiplist keeps them in order. When
 * the pool is exhausted, the oldest reading makes room for a newer one.
 */
#include "koba/OrderedDataType.h"
#include "koba/Skiplist.h"
#include "koba/fastBuffer.h"

#include <stdalign.h>
#include <stdio.h>

#define CAPACITY 4

struct Reading
{
    uint32_t time; /* in seconds; the key of the list, so it comes first */
    double celsius;
};

/* Initialise it with {0}: then table_finalize may be called wherever table_initialize stopped. */
struct Table
{
    struct KOBAFastBufferPool *readings;
    struct KOBASkiplistDescription nodes; /* where the list has its nodes from */
    struct KOBASkiplist byTime;
};

static int table_initialize(struct Table *table)
{
    const struct KOBAFastBufferPoolProperty bounded = {
        .growth = {.initial = CAPACITY, .maximal = CAPACITY, .increment = 0}};
    const int8_t level = (int8_t)KOBASkiplist_getOptimumMaximumLevel(CAPACITY);
    table->readings =
        KOBAFastBufferPool_new(sizeof(struct Reading), alignof(struct Reading), &bounded);
    return table->readings != NULL &&
           KOBASkiplist_newDefaultAllocator(&table->nodes, level, CAPACITY) &&
           KOBASkiplist_init(&table->byTime, &table->nodes, KOBAOrderedDataType_compareUInt, NULL,
                             0, 0);
}

/* In the opposite order: the list gives its nodes back to the allocator. */
static void table_finalize(struct Table *table)
{
    KOBASkiplist_finalize(&table->byTime);
    KOBASkiplist_deleteDefaultAllocator(&table->nodes);
    KOBAFastBufferPool_delete(table->readings);
}

/* The reading and its node have different owners: each goes back to its own. */
static void table_remove(struct Table *table, uint32_t time)
{
    struct KOBASkiplistNode *node = KOBASkiplist_removeNodeEA(&table->byTime, &time);
    if (node == NULL)
        return;
    KOBAFastBufferPool_returnBuffer(table->readings, node->userData);
    KOBASkiplist_deleteNode(&table->byTime, node);
}

/* A buffer for a reading of this time; null when the table is full of later ones. */
static struct Reading *table_makeRoom(struct Table *table, uint32_t time)
{
    struct Reading *reading = KOBAFastBufferPool_getBuffer(table->readings);
    const struct Reading *oldest;
    if (reading != NULL)
        return reading;
    oldest = table->byTime.head->forward[0]->userData; /* it is there: all buffers are in use */
    if (oldest->time > time)
        return NULL;
    printf("%us makes room for %us\n", (unsigned)oldest->time, (unsigned)time);
    table_remove(table, oldest->time);
    return KOBAFastBufferPool_getBuffer(table->readings);
}

/*
 * Records a reading, in place of an earlier one of the same time. 0 when it could not: the table is
 * full of later ones, or there is no memory for a node, which the library reports.
 */
static int table_record(struct Table *table, const struct Reading *arrival)
{
    struct Reading *reading;
    table_remove(table, arrival->time);
    reading = table_makeRoom(table, arrival->time);
    if (reading == NULL)
        return 0;
    *reading = *arrival;
    if (KOBASkiplist_assertNodeEA(&table->byTime, NULL, reading, 0, 0) != NULL)
        return 1;
    KOBAFastBufferPool_returnBuffer(table->readings, reading);
    return 0;
}

static void table_print(const struct Table *table)
{
    struct KOBAFastBufferPoolInfo pool;
    KOBAFastBufferPool_getInfo(table->readings, &pool);
    printf("%d of %d readings:\n", (int)pool.inUse, (int)pool.maximal);
    for (const struct KOBASkiplistNode *node = table->byTime.head->forward[0]; node != NULL;
         node = node->forward[0]) {
        const struct Reading *reading = node->userData;
        printf("  %3us %.1f C\n", (unsigned)reading->time, reading->celsius);
    }
}

int main(void)
{
    /* As they arrive: the third and the last are late, the fifth corrects the second. */
    static const struct Reading arrivals[] = {{10, 19.5}, {30, 20.1}, {20, 19.8}, {40, 20.6},
                                              {30, 20.2}, {50, 21.0}, {15, 19.6}};
    struct Table table = {0};
    int done = table_initialize(&table);
    for (size_t i = 0; done && i < sizeof arrivals / sizeof *arrivals; ++i)
        if (!table_record(&table, &arrivals[i]))
            printf("%us is refused\n", (unsigned)arrivals[i].time);
    if (done)
        table_print(&table);
    table_finalize(&table);
    return done && fflush(stdout) == 0 ? 0 : 1;
}
