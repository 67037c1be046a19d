#include "tests/support/Faults.hpp"
#include "xml/Log.h"
#include "xml/Object.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <vector>

using test::Lines;
using test::LogCapture;

namespace {

int g_deleted;

void delete_object(ZOVXMLObject *object)
{
    ZOVXMLObject_finalize(object);
    delete object;
    ++g_deleted;
}

const ZOVXMLExtensionClass kModule = {"module", delete_object, nullptr};

/** A child of a parent, or a root; null when either step fails. */
ZOVXMLObject *make(ZOVXMLObject *parent, const std::string &name, const char *base = nullptr)
{
    auto object = std::make_unique<ZOVXMLObject>();
    if (!ZOVXMLObject_initialize(object.get(), &kModule, parent, name.c_str(), base))
        return nullptr;
    if (parent != nullptr && !ZOVXMLObject_addChild(parent, object.get())) {
        ZOVXMLObject_finalize(object.get());
        return nullptr;
    }
    return object.release();
}

TEST(XmlObject, TakesItsChildrenWithIt)
{
    ZOVXMLObject *root = make(nullptr, "root");
    make(make(root, "a"), "b");
    make(root, "c");
    g_deleted = 0;
    ZOVXMLObject_finalize(root);
    EXPECT_EQ(g_deleted, 3);
    EXPECT_EQ(root->state, ZOV_XML_OBJECT_FINALIZED);
    EXPECT_EQ(ZOVXMLObject_getRoot(root), nullptr);
    EXPECT_EQ(ZOVXMLObject_getFirstChild(root), nullptr);
    EXPECT_EQ(ZOVXMLObject_getChildCount(root), 0);
    EXPECT_EQ(ZOVXMLObject_getFullyQualifiedName(root), nullptr);
    EXPECT_EQ(ZOVXMLObject_getName(root), nullptr);
    ZOVXMLObject orphan = {};
    EXPECT_TRUE(ZOVXMLObject_initialize(&orphan, &kModule, root, "orphan", nullptr));
    EXPECT_STREQ(ZOVXMLObject_getFullyQualifiedName(&orphan), "") << "without a root";
    ZOVXMLObject_finalize(&orphan);
    delete_object(root);
}

TEST(XmlObject, HasANameThatIsGoodAndItsOwn)
{
    LogCapture capture;
    ZOVXMLObject *root = make(nullptr, "root");
    const ZOVXMLObject *first = make(root, "a");
    EXPECT_EQ(make(root, "a"), nullptr);
    EXPECT_EQ(ZOVXMLObject_getChildCount(root), 1);
    EXPECT_EQ(ZOVXMLObject_getLastChild(root), first);
    EXPECT_EQ(make(root, std::string(513, 'x')), nullptr);
    EXPECT_NE(make(root, std::string(512, 'x')), nullptr);
    ZOVXMLObject without_base = {};
    EXPECT_FALSE(ZOVXMLObject_initialize(&without_base, &kModule, root, "b", "nowhere::a"));
    EXPECT_EQ(without_base.name, nullptr);
    EXPECT_EQ(capture.lines(),
              Lines({"ZOVXMLObject_addChild: XML object with name 'a' already exists\n",
                     "ZOVXMLObject_initialize:!object name too long\n",
                     "ZOVXMLObject_initialize:base 'nowhere::a' not found\n"}));
    for (const std::string &name :
         {"anonymous_" + std::string(502, 'x'), "anonymous_" + std::string(502, 'x')}) {
        const ZOVXMLObject *object = make(root, name);
        char expected[600];
        std::snprintf(expected, sizeof expected, "::%s_%p", name.c_str(),
                      static_cast<const void *>(object));
        EXPECT_STREQ(object->name, expected + 2);
        EXPECT_STREQ(object->fullyQualifiedName, expected);
    }
    delete_object(root);
}

/** The look-up in the words of its definition. */
ZOVXMLObject *look_up(ZOVXMLObject *object, const std::string &name, bool search_parents)
{
    const auto child_of = [](ZOVXMLObject *parent, const std::string &wanted) {
        ZOVXMLObject *child = ZOVXMLObject_getFirstChild(parent);
        while (child != nullptr && child->name != wanted)
            child = ZOVXMLObject_getNextSibling(child);
        return child;
    };
    if (name.starts_with("::"))
        return look_up(object->root, name.substr(2), false);
    if (object == object->root && name == object->name)
        return object;
    std::string path = name;
    if (name.starts_with(object->name + std::string("::")))
        path.erase(0, std::strlen(object->name) + 2);
    const std::size_t end = path.find("::");
    ZOVXMLObject *found = child_of(object, path.substr(0, end));
    if (found != nullptr && end != std::string::npos)
        found = look_up(found, path.substr(end + 2), false);
    if (found == nullptr && search_parents && object->parent != nullptr)
        return look_up(object->parent, name, true);
    return found;
}

TEST(XmlObject, IsLookedUpTheScopedWay)
{
    std::minstd_rand random(1);
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    const auto name = [&] { return std::string(1, "abcd"[below(4)]); };
    const LogCapture quiet;
    for (int tree = 0; tree < 20; ++tree) {
        std::vector<ZOVXMLObject *> objects = {make(nullptr, name())};
        for (int i = 0; i < 40; ++i)
            if (ZOVXMLObject *object = make(objects[below(objects.size())], name()))
                objects.push_back(object);
        for (int i = 0; i < 2000; ++i) {
            std::string path = below(4) == 0 ? "::" : "";
            for (std::size_t parts = 1 + below(4); parts > 0; --parts)
                path += name() + (parts > 1 || below(50) == 0 ? "::" : "");
            ZOVXMLObject *from = objects[below(objects.size())];
            for (const bool parents : {false, true})
                ASSERT_EQ(ZOVXMLObject_lookUpRef(from, path.c_str(), parents),
                          look_up(from, path, parents))
                    << path << " from " << from->fullyQualifiedName << " in tree " << tree;
            ASSERT_EQ(ZOVXMLObject_lookUp(from, path.c_str()), look_up(from, path, true));
        }
        delete_object(objects.front());
    }
}

TEST(XmlObject, FindsEachOfManyChildren)
{
    ZOVXMLObject *root = make(nullptr, "root");
    const auto name_of = [](int i) { return "\xC3\xA4" + std::to_string(i * 7919 % 1000); };
    std::vector<ZOVXMLObject *> children;
    for (int i = 0; i < 1000; ++i)
        children.push_back(make(root, name_of(i)));
    for (int i = 0; i < 1000; ++i) {
        ZOVXMLObject *child = children[static_cast<std::size_t>(i)];
        EXPECT_EQ(ZOVXMLObject_lookUpChild(root, name_of(i).c_str()), child);
        EXPECT_EQ(ZOVXMLObject_lookUp(children[0], name_of(i).c_str()), child);
    }
    ZOVXMLObject *inner = make(make(root, "a"), "x");
    for (int i = 0; i < 50; ++i)
        make(root, "a" + name_of(i));
    EXPECT_EQ(ZOVXMLObject_lookUp(root, "a::x"), inner) << "the end of a name sorts first";
    for (const char *name : {"\xC3\xA4", "root", "\xC3\xA4::1"}) // no scoped name either
        EXPECT_EQ(ZOVXMLObject_lookUpChild(root, name), nullptr);
    delete_object(root);
}

/** Makes two children, which need more than one node; tells how many the parent has. */
std::string add_children()
{
    std::optional<test::Aside> aside(std::in_place);
    ZOVXMLObject *root = make(nullptr, "root");
    int added = 0;
    aside.reset();
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
    aside.emplace();
    delete_object(root);
    return std::to_string(added) + " children";
}

TEST(XmlObject, FailuresLeaveNothingBehind)
{
    const auto fails = [](const std::string &report, const char *result = "1 children") {
        return test::Expected{result, {test::kBelow, "ZOVXMLObject_" + report + "\n"}};
    };
    const std::string no_string = "initialize:no space on heap for string of ";
    // A child takes 21 for its list of children and two for its names, the second a node at last.
    test::Faults faults = {{"calloc", fails("initialize:!create skiplist description")}};
    for (const std::string call : {"calloc 22", "calloc 45"})
        faults[call] = fails(no_string + "5 characters");
    for (const std::string call : {"calloc 23", "calloc 46"})
        faults[call] = fails(no_string + "7 characters");
    for (const std::string call : {"calloc 47", "calloc 48", "calloc 49"})
        faults[call] = fails("addChild:!add XML object");
    test::for_each_fault(add_children, {"2 children"}, faults);
    test::for_each_fault(
        [] {
            ZOVXMLObject root = {};
            const ZOVBool is_there =
                ZOVXMLObject_initialize(&root, &kModule, nullptr, "root", nullptr);
            ZOVXMLObject_finalize(&root);
            return test::text_of(is_there);
        },
        {"true"},
        {{"calloc", fails("initialize:!create skiplist description", "false")},
         {"calloc 22", fails(no_string + "4 characters", "false")},
         {"calloc 23", fails(no_string + "0 characters", "false")}});
}

} // namespace
