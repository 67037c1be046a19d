#include "koba/Skiplist.hpp"

#include "koba/Log.hpp"
#include "koba/OrderedDataType.hpp"
#include "osapi/Utility.h"
#include "osapi/heap.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

static_assert(offsetof(KOBASkiplistNode, level) == 8);
static_assert(offsetof(KOBASkiplistNode, userFlag) == 9);
static_assert(offsetof(KOBASkiplistNode, userValue) == 12);
static_assert(offsetof(KOBASkiplistNode, backward) == 16);
static_assert(offsetof(KOBASkiplistNode, forward) == 24);
static_assert(offsetof(KOBASkiplist, head) == 8);
static_assert(offsetof(KOBASkiplist, topLevel) == 40);
static_assert(offsetof(KOBASkiplist, fastCompare) == 68);
static_assert(KOBA_SKIPLIST_NODE_SIZE(0) == 32 && KOBA_SKIPLIST_NODE_SIZE(31) == 32 + 8 * 31);

namespace {

using koba::skiplist::is_level;
using koba::skiplist::kHighestLevel;
using Node = KOBASkiplistNode;

/** On each level up to the top one, the last node before a place. */
using Path = Node * [kHighestLevel + 1];

/** Finds the first node that is not below a key, and returns it if it is equal. */
template <class Compare>
Node *find(const KOBASkiplist &list, Path &path, Compare compare)
{
    Node *below = list.head;
    Node *reached = nullptr; // where the level above came to a halt: not to be compared again
    std::int32_t order = 1;
    for (std::int32_t level = list.topLevel; level >= 0; --level) {
        for (Node *next = below->forward[level]; next != reached; next = below->forward[level]) {
            if (level > 0) // a search goes down about as often as on
                __builtin_prefetch(below->forward[level - 1]);
            const std::int32_t result = compare(next->userData);
            if (result >= 0) {
                reached = next;
                order = result;
                break;
            }
            below = next;
        }
        path[level] = below;
    }
    return order == 0 ? reached : nullptr;
}

#define FAST_COMPARISONS(MEMBER)                                                                   \
    MEMBER(UInt)                                                                                   \
    MEMBER(DoubleUInt)                                                                             \
    MEMBER(TripleUInt)                                                                             \
    MEMBER(QuadUInt)                                                                               \
    MEMBER(SixUInt)                                                                                \
    MEMBER(Pointer)                                                                                \
    MEMBER(QuadPointer)

Node *search(const KOBASkiplist &list, const void *key, Path &path)
{
    if (list.fastCompare) {
#define MEMBER(NAME)                                                                               \
    if (list.compare == KOBAOrderedDataType_compare##NAME)                                         \
        return find(list, path,                                                                    \
                    [key](const void *data) { return koba::ordered::kCompare##NAME(data, key); });
        FAST_COMPARISONS(MEMBER)
#undef MEMBER
    }
    if (list.compareWithParam != nullptr)
        return find(list, path, [&list, key](const void *data) {
            return list.compareWithParam(data, key, list.compareParam);
        });
    return find(list, path, [&list, key](const void *data) { return list.compare(data, key); });
}

bool is_fast(KOBASkiplistCompareFcn compare)
{
#define MEMBER(NAME) compare == KOBAOrderedDataType_compare##NAME ||
    return FAST_COMPARISONS(MEMBER) false;
#undef MEMBER
}

std::int32_t choose_level(const KOBASkiplist &list)
{
    const KOBASkiplistDescription &description = *list.description;
    const auto choose =
        description.level != nullptr ? description.level : KOBASkiplist_binaryDistribution;
    const std::int32_t level =
        choose(description.levelParameter, description.maximumLevel, list.nodeCount);
    return std::clamp(level, 0, std::int32_t{description.maximumLevel});
}

/** Puts a new node of a level behind the path; null, reported, when there is no memory. */
Node *insert(KOBASkiplist &list, Path &path, std::int32_t level, void *user_data,
             std::uint32_t user_value, std::uint8_t user_flag, const char *operation)
{
    Node *node = KOBASkiplistNode_new(&list, static_cast<std::int8_t>(level), user_data, user_value,
                                      user_flag);
    if (node == nullptr) {
        KOBA_LOG_AS(Exception, kSubmoduleSkiplist, operation, ZOV_LOG_CREATION_FAILURE_s, "node");
        return nullptr;
    }
    while (list.topLevel < level)
        path[++list.topLevel] = list.head;
    for (std::int32_t i = 0; i <= level; ++i)
        node->forward[i] = std::exchange(path[i]->forward[i], node);
    node->backward = path[0];
    if (node->forward[0] != nullptr)
        node->forward[0]->backward = node;
    if (list.tail == nullptr || list.tail == path[0])
        list.tail = node;
    ++list.nodeCount;
    return node;
}

/** The path to the end of a list, on the levels up to one. */
void find_end(const KOBASkiplist &list, Path &path, std::int32_t level)
{
    // On its few lowest levels a list ends close before its tail.
    constexpr std::int32_t kNearTail = 3;
    Node *last = list.head;
    for (std::int32_t i = list.topLevel; level > kNearTail && i > kNearTail; --i) {
        while (last->forward[i] != nullptr)
            last = last->forward[i];
        path[i] = last;
    }
    last = list.tail != nullptr ? list.tail : list.head;
    for (std::int32_t i = 0; i <= std::min({level, std::int32_t{list.topLevel}, kNearTail}); ++i) {
        while (last->level < i)
            last = last->backward;
        path[i] = last;
    }
}

void delete_nodes(KOBASkiplist *list)
{
    for (Node *node = list->head->forward[0]; node != nullptr;)
        KOBASkiplist_deleteNode(list, std::exchange(node, node->forward[0]));
}

ZOVBool initialize(KOBASkiplist &list, KOBASkiplistDescription *description,
                   KOBASkiplistCompareFcn compare, KOBASkiplistCompareWithParamFcn with_parameter,
                   void *parameter, void *user_data, std::uint32_t user_value,
                   std::uint8_t user_flag)
{
    list = {};
    if (!is_level(description->maximumLevel))
        return ZOV_FALSE;
    list.description = description;
    list.head =
        KOBASkiplistNode_new(&list, description->maximumLevel, user_data, user_value, user_flag);
    if (list.head == nullptr) {
        KOBA_LOG_AS(Exception, kSubmoduleSkiplist, "KOBASkiplist_init", ZOV_LOG_CREATION_FAILURE_s,
                    "head");
        list = {};
        return ZOV_FALSE;
    }
    list.compare = compare;
    list.compareWithParam = with_parameter;
    list.compareParam = parameter;
    list.fastCompare = is_fast(compare);
    list.magic = KOBA_SKIPLIST_MAGIC;
    return ZOV_TRUE;
}

KOBASkiplist *new_list()
{
    KOBASkiplist *list = nullptr;
    ZOVOsapiHeap_allocateStructure(&list, struct KOBASkiplist);
    return list;
}

KOBASkiplist *discard(KOBASkiplist *list)
{
    KOBA_LOG_AS(Exception, kSubmoduleSkiplist, "KOBASkiplist_new", ZOV_LOG_INIT_FAILURE_s, "list");
    KOBASkiplist_delete(list);
    return nullptr;
}

} // namespace

int32_t KOBASkiplist_getOptimumMaximumLevel(int32_t expectedCount)
{
    if (expectedCount < 1)
        return kHighestLevel;
    return std::max(ZOVOsapiUtility_log2(static_cast<std::uint32_t>(expectedCount), ZOV_FALSE), 1);
}

ZOVBool KOBASkiplist_init(KOBASkiplist *list, KOBASkiplistDescription *desc,
                          KOBASkiplistCompareFcn compare, void *userData, uint32_t userValue,
                          uint8_t userFlag)
{
    return initialize(*list, desc, compare, nullptr, nullptr, userData, userValue, userFlag);
}

ZOVBool KOBASkiplist_init_ex(KOBASkiplist *list, KOBASkiplistDescription *desc,
                             KOBASkiplistCompareWithParamFcn compareWithParam, void *compareParam,
                             void *userData, uint32_t userValue, uint8_t userFlag)
{
    return initialize(*list, desc, nullptr, compareWithParam, compareParam, userData, userValue,
                      userFlag);
}

KOBASkiplist *KOBASkiplist_new(KOBASkiplistDescription *desc, KOBASkiplistCompareFcn compare,
                               void *userData, uint32_t userValue, uint8_t userFlag)
{
    KOBASkiplist *list = new_list();
    if (list == nullptr)
        return nullptr;
    return KOBASkiplist_init(list, desc, compare, userData, userValue, userFlag) ? list
                                                                                 : discard(list);
}

KOBASkiplist *KOBASkiplist_new_ex(KOBASkiplistDescription *desc,
                                  KOBASkiplistCompareWithParamFcn compareWithParam,
                                  void *compareParam, void *userData, uint32_t userValue,
                                  uint8_t userFlag)
{
    KOBASkiplist *list = new_list();
    if (list == nullptr)
        return nullptr;
    return KOBASkiplist_init_ex(list, desc, compareWithParam, compareParam, userData, userValue,
                                userFlag)
               ? list
               : discard(list);
}

void KOBASkiplist_finalize(KOBASkiplist *list)
{
    if (list->magic != KOBA_SKIPLIST_MAGIC)
        return;
    delete_nodes(list);
    KOBASkiplist_deleteNode(list, list->head);
    *list = {};
}

void KOBASkiplist_delete(KOBASkiplist *list)
{
    if (list == nullptr)
        return;
    KOBASkiplist_finalize(list);
    ZOVOsapiHeap_freeStructure(list);
}

void KOBASkiplist_clearEA(KOBASkiplist *list)
{
    delete_nodes(list);
    std::fill_n(list->head->forward, list->head->level + 1, nullptr);
    list->topLevel = 0;
    list->nodeCount = 0;
    list->tail = nullptr;
}

KOBASkiplistNode *KOBASkiplist_assertNodeEA(KOBASkiplist *list, ZOVBool *existed, void *userData,
                                            uint32_t userValue, uint8_t userFlag)
{
    Path path;
    Node *node = search(*list, userData, path);
    const bool is_found = node != nullptr;
    if (!is_found)
        node = insert(*list, path, choose_level(*list), userData, userValue, userFlag, __func__);
    if (existed != nullptr && node != nullptr)
        *existed = is_found;
    return node;
}

KOBASkiplistNode *KOBASkiplist_addNonExistingNodeAtEndEA(KOBASkiplist *list, void *userData,
                                                         uint32_t userValue, uint8_t userFlag)
{
    Path path;
    const std::int32_t level = choose_level(*list);
    find_end(*list, path, level);
    Node *node = insert(*list, path, level, userData, userValue, userFlag, __func__);
    if (node != nullptr)
        ++list->appendCount;
    return node;
}

KOBASkiplistNode *KOBASkiplist_removeNodeEA(KOBASkiplist *list, const void *key)
{
    Path path;
    Node *node = search(*list, key, path);
    if (node == nullptr)
        return nullptr;
    for (std::int32_t i = 0; i <= list->topLevel; ++i) {
        Node *before = path[i];
        if (before->forward[i] != node)
            break;
        before->forward[i] = node->forward[i];
    }
    if (node->forward[0] != nullptr)
        node->forward[0]->backward = path[0];
    if (list->tail == node)
        list->tail = path[0];
    --list->nodeCount;
    while (list->topLevel > 0 && list->head->forward[list->topLevel] == nullptr)
        --list->topLevel;
    return node;
}

void KOBASkiplist_deleteNode(KOBASkiplist *list, KOBASkiplistNode *node)
{
    if (node != nullptr)
        list->description->destroyNode(list->description->destroyParameter, node);
}

KOBASkiplistNode *KOBASkiplistNode_new(KOBASkiplist *list, int8_t level, void *userData,
                                       uint32_t userValue, uint8_t userFlag)
{
    const KOBASkiplistDescription &description = *list->description;
    Node *node = description.createNode(level, description.createParameter);
    if (node == nullptr) {
        KOBA_LOG(Exception, kSubmoduleSkiplist, ZOV_LOG_CREATION_FAILURE_s, "node");
        return nullptr;
    }
    node->userData = userData;
    node->level = level;
    node->userFlag = userFlag;
    node->userValue = userValue;
    node->backward = nullptr;
    std::fill_n(node->forward, level + 1, nullptr);
    return node;
}

int32_t KOBASkiplist_binaryDistribution(void *, int32_t maxLevel, uint32_t nodeCount)
{
    const auto drawn = static_cast<std::uint32_t>(ZOVOsapiUtility_rand());
    if (nodeCount < 2 || maxLevel < 1)
        return 0;
    const std::int32_t run = std::countr_one(drawn);
    const auto by_population = static_cast<std::int32_t>(std::bit_width(nodeCount)) - 1;
    return std::min({run, maxLevel, by_population});
}
