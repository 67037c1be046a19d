#include "xml/Object.h"

#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kScope = "::";

bool is_absolute(const char *name)
{
    return std::strncmp(name, kScope.data(), kScope.size()) == 0;
}

/** Orders a name against a segment of a terminated text. */
int compare(const char *name, std::string_view segment)
{
    if (segment.data()[segment.size()] == '\0') // the last one, as most are
        return std::strcmp(name, segment.data());
    const int difference = std::strncmp(name, segment.data(), segment.size());
    return difference != 0 ? difference : static_cast<unsigned char>(name[segment.size()]);
}

ZOVXMLObject *find_child(const ZOVXMLObject &object, std::string_view name)
{
    const KOBASkiplistNode *node = object.childrenByName.head;
    const KOBASkiplistNode *beyond = nullptr; // known not to come before the name
    for (int level = object.childrenByName.topLevel; level >= 0; --level) {
        while (node->forward[level] != beyond) {
            const KOBASkiplistNode *next = node->forward[level];
            auto *child = static_cast<ZOVXMLObject *>(next->userData);
            const int order = compare(child->name, name);
            if (order == 0)
                return child;
            if (order > 0) {
                beyond = next;
                break;
            }
            node = next;
        }
    }
    return nullptr;
}

/** The segment at the start of a name, and the name behind it; null when it is the last one. */
struct Split
{
    explicit Split(const char *name)
    {
        const char *end = std::strstr(name, kScope.data());
        first = end == nullptr ? std::string_view(name)
                               : std::string_view(name, static_cast<std::size_t>(end - name));
        rest = end == nullptr ? nullptr : end + kScope.size();
    }

    std::string_view first;
    const char *rest;
};

/** Looks a name up from an object downwards. */
ZOVXMLObject *look_down(ZOVXMLObject *object, const char *name)
{
    while (object != nullptr) {
        while (is_absolute(name)) {
            object = object->root;
            name += kScope.size();
        }
        if (object->root == object && std::strcmp(name, object->name) == 0)
            return object;
        Split split(name);
        if (split.rest != nullptr && split.first == object->name)
            split = Split(split.rest);
        object = find_child(*object, split.first);
        if (split.rest == nullptr)
            break;
        name = split.rest;
    }
    return object;
}

} // namespace

ZOVXMLObject *ZOVXMLObject_lookUp(ZOVXMLObject *object, const char *name)
{
    return ZOVXMLObject_lookUpRef(object, name, ZOV_TRUE);
}

ZOVXMLObject *ZOVXMLObject_lookUpRef(ZOVXMLObject *object, const char *name, ZOVBool searchParents)
{
    const bool goes_up = searchParents && !is_absolute(name);
    ZOVXMLObject *found = look_down(object, name);
    while (found == nullptr && goes_up && object->parent != nullptr) {
        object = object->parent;
        found = look_down(object, name);
    }
    return found;
}

ZOVXMLObject *ZOVXMLObject_lookUpChild(ZOVXMLObject *object, const char *name)
{
    return find_child(*object, name);
}
