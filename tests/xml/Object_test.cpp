#include "tests/support/Faults.hpp"
#include "xml/Log.h"
#include "xml/Object.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <vector>

using test::Expected;
using test::Lines;
using test::LogCapture;
using test::operator+;

namespace {

int g_deleted;

void delete_object(ZOVXMLObject *object)
{
    ZOVXMLObject_finalize(object);
    delete object;
    ++g_deleted;
}

const ZOVXMLExtensionClass kModule = {"module", delete_object, nullptr};
const ZOVXMLExtensionClass kStruct = {"struct", delete_object, nullptr};

/** A child of a parent, or a root; null when either step fails. */
ZOVXMLObject *make(ZOVXMLObject *parent, const char *name, const char *base = nullptr,
                   const ZOVXMLExtensionClass &tag = kModule)
{
    auto object = std::make_unique<ZOVXMLObject>();
    if (!ZOVXMLObject_initialize(object.get(), &tag, parent, name, base))
        return nullptr;
    if (parent != nullptr && !ZOVXMLObject_addChild(parent, object.get())) {
        ZOVXMLObject_finalize(object.get());
        return nullptr;
    }
    return object.release();
}

TEST(XmlObject, KnowsItsPlace)
{
    ZOVXMLObject *root = make(nullptr, "root");
    ZOVXMLObject *trading = make(root, "trading");
    ZOVXMLObject *price = make(trading, "Price", nullptr, kStruct);
    ZOVXMLObject *order = make(trading, "Order", "Price", kStruct);
    ZOVXMLObject *archive = make(trading, "archive");
    EXPECT_STREQ(ZOVXMLObject_getFullyQualifiedName(root), "");
    EXPECT_STREQ(ZOVXMLObject_getFullyQualifiedName(order), "::trading::Order");
    EXPECT_STREQ(ZOVXMLObject_getName(order), "Order");
    EXPECT_STREQ(ZOVXMLObject_getTagName(order), "struct");
    EXPECT_EQ(ZOVXMLObject_getExtensionClass(order), &kStruct);
    EXPECT_EQ(ZOVXMLObject_getRoot(order), root);
    EXPECT_EQ(ZOVXMLObject_getRoot(root), root);
    EXPECT_EQ(ZOVXMLObject_getParent(order), trading);
    EXPECT_EQ(ZOVXMLObject_getParent(root), nullptr);
    EXPECT_EQ(ZOVXMLObject_getBase(order), price);
    EXPECT_EQ(ZOVXMLObject_getBase(price), nullptr);
    EXPECT_EQ(ZOVXMLObject_getChildCount(trading), 3);
    EXPECT_EQ(ZOVXMLObject_getFirstChild(trading), price) << "in the order of adding";
    EXPECT_EQ(ZOVXMLObject_getLastChild(trading), archive);
    EXPECT_EQ(ZOVXMLObject_getFirstChild(price), nullptr);
    EXPECT_EQ(ZOVXMLObject_getNextSibling(price), order);
    EXPECT_EQ(ZOVXMLObject_getPrevSibling(order), price);
    EXPECT_EQ(ZOVXMLObject_getPrevSibling(price), nullptr);
    EXPECT_EQ(ZOVXMLObject_getNextSibling(archive), nullptr);
    EXPECT_EQ(ZOVXMLObject_getFirstChildWithTag(trading, "module"), archive);
    EXPECT_EQ(ZOVXMLObject_getNextSiblingWithTag(price, "struct"), order);
    EXPECT_EQ(ZOVXMLObject_getNextSiblingWithTag(order, "struct"), nullptr);
    EXPECT_EQ(ZOVXMLObject_getPrevSiblingWithTag(archive, "struct"), order);
    EXPECT_TRUE(ZOVXMLObject_initialize(order, &kModule, nullptr, "other", nullptr));
    EXPECT_STREQ(ZOVXMLObject_getName(order), "Order") << "initialised only once";
    g_deleted = 0;
    ZOVXMLObject_finalize(root);
    EXPECT_EQ(g_deleted, 4);
    EXPECT_EQ(root->state, ZOV_XML_OBJECT_FINALIZED);
    EXPECT_EQ(ZOVXMLObject_getRoot(root), nullptr);
    ZOVXMLObject orphan = {};
    EXPECT_TRUE(ZOVXMLObject_initialize(&orphan, &kModule, root, "orphan", nullptr));
    EXPECT_STREQ(ZOVXMLObject_getFullyQualifiedName(&orphan), "") << "without a root";
    ZOVXMLObject_finalize(&orphan);
    delete_object(root);
}

TEST(XmlObject, RefusesBadNames)
{
    LogCapture capture;
    ZOVXMLObject *root = make(nullptr, "root");
    ZOVXMLObject *first = make(root, "a");
    EXPECT_EQ(make(root, "a"), nullptr);
    EXPECT_EQ(ZOVXMLObject_getChildCount(root), 1);
    EXPECT_EQ(ZOVXMLObject_getLastChild(root), first);
    EXPECT_EQ(make(root, std::string(513, 'x').c_str()), nullptr);
    EXPECT_NE(make(root, std::string(512, 'x').c_str()), nullptr);
    EXPECT_EQ(make(root, "b", "nowhere::a"), nullptr);
    EXPECT_EQ(capture.lines(),
              Lines({"ZOVXMLObject_addChild: XML object with name 'a' already exists\n",
                     "ZOVXMLObject_initialize:!object name too long\n",
                     "ZOVXMLObject_initialize:base 'nowhere::a' not found\n"}));
    delete_object(root);
}

TEST(XmlObject, AnonymousNamesAreUnique)
{
    ZOVXMLObject *root = make(nullptr, "root");
    const std::string name = "anonymous_" + std::string(502, 'x');
    for (int i = 0; i < 2; ++i) {
        const ZOVXMLObject *object = make(root, name.c_str());
        char expected[600];
        std::snprintf(expected, sizeof expected, "%s_%p", name.c_str(),
                      static_cast<const void *>(object));
        EXPECT_STREQ(object->name, expected);
        EXPECT_STREQ(object->fullyQualifiedName, (std::string("::") + expected).c_str());
    }
    delete_object(root);
}

/** The look-up in the words of its definition. */
ZOVXMLObject *look_up(ZOVXMLObject *object, const std::string &name, bool search_parents)
{
    ZOVXMLObject *root = object->root;
    ZOVXMLObject *found = nullptr;
    const auto child_of = [](ZOVXMLObject *parent, const std::string &wanted) {
        ZOVXMLObject *child = ZOVXMLObject_getFirstChild(parent);
        while (child != nullptr && child->name != wanted)
            child = ZOVXMLObject_getNextSibling(child);
        return child;
    };
    const auto descend = [&](ZOVXMLObject *parent, const std::string &path) -> ZOVXMLObject * {
        const std::size_t end = path.find("::");
        if (end == std::string::npos)
            return child_of(parent, path);
        ZOVXMLObject *child = child_of(parent, path.substr(0, end));
        return child == nullptr ? nullptr : look_up(child, path.substr(end + 2), false);
    };
    if (name.starts_with("::"))
        return look_up(root, name.substr(2), false);
    if (object == root && name == root->name)
        return root;
    const std::size_t end = name.find("::");
    if (end != std::string::npos && name.substr(0, end) == object->name)
        found = descend(object, name.substr(end + 2));
    else
        found = descend(object, name);
    if (found == nullptr && search_parents && object->parent != nullptr)
        return look_up(object->parent, name, true);
    return found;
}

TEST(XmlObject, IsLookedUpTheScopedWay)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::minstd_rand random(seed);
        const auto name = [&random] {
            return std::string(1, static_cast<char>('a' + random() % 4));
        };
        const LogCapture quiet;
        std::vector<ZOVXMLObject *> objects = {make(nullptr, name().c_str())};
        for (int i = 0; i < 40; ++i)
            if (ZOVXMLObject *object = make(objects[random() % objects.size()], name().c_str()))
                objects.push_back(object);
        for (int i = 0; i < 2000; ++i) {
            std::string path = random() % 4 == 0 ? "::" : "";
            for (unsigned parts = 1 + random() % 4; parts > 0; --parts)
                path += name() + (parts > 1 ? "::" : "");
            if (random() % 50 == 0)
                path += "::";
            ZOVXMLObject *from = objects[random() % objects.size()];
            const bool parents = random() % 2 == 0;
            ASSERT_EQ(ZOVXMLObject_lookUpRef(from, path.c_str(), parents),
                      look_up(from, path, parents))
                << path << " from " << from->fullyQualifiedName << " seed " << seed;
            ASSERT_EQ(ZOVXMLObject_lookUp(from, path.c_str()), look_up(from, path, true));
        }
        delete_object(objects.front());
    }
}

TEST(XmlObject, FindsEachOfManyChildren)
{
    ZOVXMLObject *root = make(nullptr, "root");
    std::vector<ZOVXMLObject *> children;
    const auto name_of = [](std::size_t i) { return "\xC3\xA4" + std::to_string(i * 7919 % 1000); };
    for (std::size_t i = 0; i < 1000; ++i)
        children.push_back(make(root, name_of(i).c_str()));
    for (std::size_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(ZOVXMLObject_lookUpChild(root, name_of(i).c_str()), children[i]);
        EXPECT_EQ(ZOVXMLObject_lookUp(children[0], name_of(i).c_str()), children[i]);
    }
    ZOVXMLObject *scope = make(root, "a");
    ZOVXMLObject *inner = make(scope, "x");
    for (std::size_t i = 0; i < 50; ++i)
        make(root, ("a" + name_of(i)).c_str());
    EXPECT_EQ(ZOVXMLObject_lookUp(root, "a::x"), inner) << "the end of a name sorts first";
    EXPECT_EQ(ZOVXMLObject_lookUpChild(root, "\xC3\xA4"), nullptr);
    EXPECT_EQ(ZOVXMLObject_lookUpChild(root, "root"), nullptr);
    EXPECT_EQ(ZOVXMLObject_lookUpChild(root, "\xC3\xA4::1"), nullptr) << "no scoped name";
    delete_object(root);
}

/** What the allocations of a growing pool report, one after the other. */
std::vector<Lines> growth_failures(std::size_t size, std::size_t count, std::size_t total)
{
    const std::string grow = "KOBAFastBufferPool_growEmptyPoolEA: !allocate ";
    const std::string bytes = std::to_string(size * count) + " bytes\n";
    return {test::no_memory("ZOVOsapiHeap_allocateStructure", 16) +
                Lines{grow + "container for buffer for " + bytes},
            test::no_memory("ZOVOsapiHeap_allocateBufferAligned", size * count) +
                Lines{grow + "buffer of " + bytes},
            test::no_memory("ZOVOsapiHeap_allocateArray", 8 * total) +
                Lines{grow + "stack of " + std::to_string(total) + " buffers\n"}};
}

/** What the allocations of an object's initialisation report. */
std::vector<Lines> initialize_failures(std::size_t name_length)
{
    const Lines no_description = {"ZOVXMLObject_initialize:!create skiplist description\n"};
    const Lines no_allocator =
        Lines{"KOBASkiplist_newDefaultAllocator:!create fast buffer pool\n"} + no_description;
    const auto no_string = [](std::size_t length) {
        return test::no_memory("ZOVOsapiHeap_allocateString", length + 1) +
               Lines{"ZOVXMLObject_initialize:no space on heap for string of " +
                     std::to_string(length) + " characters\n"};
    };
    std::vector<Lines> failures = {test::no_memory("ZOVOsapiHeap_allocateArray", 40) +
                                   no_description};
    for (std::size_t level = 0; level <= 4; ++level) {
        failures.push_back(
            test::no_memory("ZOVOsapiHeap_allocateStructure", 120) +
            Lines{"KOBAFastBufferPool_newWithNotification:!create fast buffer pool\n"} +
            no_allocator);
        for (const Lines &growth : growth_failures(32 + 8 * level, 1, 1))
            failures.push_back(
                growth +
                Lines{"KOBAFastBufferPool_newWithNotification:!create fast buffer pool buffers\n"} +
                no_allocator);
    }
    failures.push_back(no_string(name_length));
    failures.push_back(no_string(name_length + 2));
    return failures;
}

/** Makes two children, which need more than one node; tells how many the parent has. */
std::string add_children(ZOVXMLObject *root)
{
    int added = 0;
    for (const char *name : {"child", "other"}) {
        auto *child = new ZOVXMLObject();
        if (ZOVXMLObject_initialize(child, &kModule, root, name, "root") &&
            ZOVXMLObject_addChild(root, child))
            ++added;
        else
            delete_object(child);
    }
    EXPECT_EQ(ZOVXMLObject_getChildCount(root), added);
    EXPECT_EQ(root->childrenByName.nodeCount, static_cast<uint32_t>(added));
    return std::to_string(added) + " children";
}

TEST(XmlObject, FailuresLeaveNothingBehind)
{
    test::Faults faults;
    std::size_t call = 0;
    for (int child = 1; child <= 2; ++child)
        for (const Lines &lines : initialize_failures(5))
            faults["calloc " + std::to_string(++call)] = Expected{"1 children", lines};
    for (const Lines &lines : growth_failures(32, 2, 3))
        faults["calloc " + std::to_string(++call)] =
            Expected{"1 children", lines + Lines{"KOBASkiplistNode_new:!create node\n",
                                                 "KOBASkiplist_assertNodeEA:!create node\n",
                                                 "ZOVXMLObject_addChild:!add XML object\n"}};
    ZOVXMLObject *root = nullptr;
    test::for_each_fault(
        [&root] {
            {
                const test::Aside aside;
                root = make(nullptr, "root");
            }
            const std::string result = add_children(root);
            const test::Aside aside;
            delete_object(root);
            return result;
        },
        {"2 children"}, faults);
}

} // namespace
