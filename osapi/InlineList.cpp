#include "osapi/InlineList.h"

void ZOVOsapiInlineList_initialize(ZOVOsapiInlineList *list)
{
    *list = {};
}

void ZOVOsapiInlineListNode_initialize(ZOVOsapiInlineListNode *node)
{
    *node = {};
}

void ZOVOsapiInlineList_addNodeToBack(ZOVOsapiInlineList *list, ZOVOsapiInlineListNode *node)
{
    *node = {.next = nullptr, .previous = list->last};
    (list->last != nullptr ? list->last->next : list->first) = node;
    list->last = node;
}

void ZOVOsapiInlineList_addNodeToFront(ZOVOsapiInlineList *list, ZOVOsapiInlineListNode *node)
{
    *node = {.next = list->first, .previous = nullptr};
    (list->first != nullptr ? list->first->previous : list->last) = node;
    list->first = node;
}

void ZOVOsapiInlineList_removeNode(ZOVOsapiInlineList *list, ZOVOsapiInlineListNode *node)
{
    (node->previous != nullptr ? node->previous->next : list->first) = node->next;
    (node->next != nullptr ? node->next->previous : list->last) = node->previous;
    *node = {};
}
