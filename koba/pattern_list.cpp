#include "koba/Log.hpp"
#include "koba/pattern.hpp"

#include <cstring>

namespace {

/** The elements of a list, one after the other. */
class Elements
{
public:
    // cppcheck-suppress uninitMemberVar ; the scratch buffer is filled with each element
    Elements(const char *list, char delim) : m_rest(*list == '\'' ? list + 1 : list), m_delim(delim)
    {
    }

    /** Goes to the next element; false behind the last one. */
    bool next()
    {
        if (m_rest == nullptr)
            return false;
        const char *element = m_rest;
        int32_t length = 0;
        m_rest = KOBAString_getToken(&length, element, m_delim);
        if (m_rest != nullptr && *m_rest == '\0')
            m_rest = nullptr;
        read(element, static_cast<std::size_t>(length));
        return true;
    }

    /** Without its closing quote; null for an element that is too long to be looked at. */
    [[nodiscard]] const char *text() const { return m_fits ? m_scratch : nullptr; }

private:
    void read(const char *element, std::size_t length)
    {
        if (length > 0 && element[length - 1] == '\'')
            --length;
        m_fits = length < sizeof m_scratch;
        if (!m_fits)
            return;
        std::memcpy(m_scratch, element, length);
        m_scratch[length] = '\0';
    }

    const char *m_rest;
    char m_delim;
    bool m_fits = false;
    char m_scratch[256];
};

} // namespace

ZOVBool KOBAString_isPattern(const char *s)
{
    if (s == nullptr) {
        KOBA_LOG(Exception, kSubmoduleString, ZOV_LOG_NULL_OBJECT);
        return ZOV_FALSE;
    }
    for (bool is_escaped = false; *s != '\0'; ++s) {
        if (!is_escaped && std::strchr("[*?!", *s) != nullptr)
            return ZOV_TRUE;
        is_escaped = *s == '\\' && !is_escaped;
    }
    return ZOV_FALSE;
}

ZOVBool KOBAString_hasPatternsOnly(const char *list, char delim)
{
    if (list == nullptr)
        return ZOV_TRUE;
    for (Elements elements(list, delim); elements.next();)
        if (elements.text() == nullptr || !KOBAString_isPattern(elements.text()))
            return ZOV_FALSE;
    return ZOV_TRUE;
}

int32_t KOBAString_matchPattern(const char *a, const char *b)
{
    const bool a_is_pattern = KOBAString_isPattern(a) != ZOV_FALSE;
    const bool b_is_pattern = KOBAString_isPattern(b) != ZOV_FALSE;
    if (a_is_pattern && b_is_pattern)
        return -1;
    if (a_is_pattern)
        return KOBAString_fnmatch(a, b, 0);
    if (b_is_pattern)
        return KOBAString_fnmatch(b, a, 0);
    return KOBAString_compare(a, b);
}

int32_t KOBAString_matchPattern_withFlags(const char *s, const char *pattern, const uint32_t *flags)
{
    return KOBAString_isPattern(pattern) ? KOBAString_fnmatch(pattern, s, *flags)
                                         : KOBAString_compare(s, pattern);
}

ZOVBool KOBAString_hasMatchingElementInternal(const char *list1, const char *list2, char delim,
                                              const uint32_t *flags,
                                              int32_t (*compare)(const char *, const char *,
                                                                 const uint32_t *))
{
    for (Elements second(list2, delim); second.next();)
        for (Elements first(list1, delim); first.next();)
            if (first.text() != nullptr && second.text() != nullptr &&
                compare(first.text(), second.text(), flags) == 0)
                return ZOV_TRUE;
    return ZOV_FALSE;
}

ZOVBool KOBAString_hasMatchingElement(const char *list1, const char *list2, char delim)
{
    return KOBAString_hasMatchingElementInternal(
        list1, list2, delim, nullptr, [](const char *a, const char *b, const uint32_t *) {
            return KOBAString_matchPattern(a, b);
        });
}

ZOVBool KOBAString_hasMatchingElementX(const char *list1, const char *list2, char delim,
                                       const uint32_t *flags)
{
    return KOBAString_hasMatchingElementInternal(list1, list2, delim, flags,
                                                 KOBAString_matchPattern_withFlags);
}

ZOVBool KOBAString_hasCommonElement(const char *list1, const char *list2, char delim)
{
    return KOBAString_hasMatchingElementInternal(
        list1, list2, delim, nullptr,
        [](const char *a, const char *b, const uint32_t *) { return KOBAString_compare(a, b); });
}

ZOVBool KOBAString_hasIntersectingPattern(const char *list1, const char *list2, char delim,
                                          const uint32_t *flags)
{
    return KOBAString_hasMatchingElementInternal(list1, list2, delim, flags,
                                                 KOBAString_isCommonPattern);
}
