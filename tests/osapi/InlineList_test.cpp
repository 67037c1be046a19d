#include "osapi/InlineList.h"

#include <algorithm>
#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <random>

namespace {

using Node = ZOVOsapiInlineListNode;

/** Both directions, as indices into the nodes. */
void expect_equal(const ZOVOsapiInlineList &list, const std::deque<Node *> &model)
{
    std::deque<Node *> forward;
    for (Node *node = list.first; node != nullptr; node = node->next)
        forward.push_back(node);
    std::deque<Node *> backward;
    for (Node *node = list.last; node != nullptr; node = node->previous)
        backward.push_front(node);
    ASSERT_EQ(forward, model);
    ASSERT_EQ(backward, model);
}

TEST(InlineList, AgreesWithADequeOfItsNodes)
{
    std::mt19937 random(17);
    ZOVOsapiInlineList list;
    ZOVOsapiInlineList_initialize(&list);
    std::array<Node, 6> nodes;
    std::deque<Node *> model;
    for (int round = 0; round < 5000; ++round) {
        Node *node = &nodes[random() % nodes.size()];
        const auto place = std::find(model.begin(), model.end(), node);
        if (place != model.end()) {
            ZOVOsapiInlineList_removeNode(&list, node);
            model.erase(place);
            EXPECT_EQ(node->next, nullptr);
            EXPECT_EQ(node->previous, nullptr);
        } else if (random() % 2 == 0) {
            ZOVOsapiInlineList_addNodeToBack(&list, node);
            model.push_back(node);
        } else {
            ZOVOsapiInlineListNode_initialize(node);
            ZOVOsapiInlineList_addNodeToFront(&list, node);
            model.push_front(node);
        }
        expect_equal(list, model);
    }
}

} // namespace
