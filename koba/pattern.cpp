#include "koba/pattern.hpp"

#include <cstddef>
#include <cstring>
#include <string_view>

using namespace koba::pattern;

namespace {

enum class Kind { End, Separator, Character, AnyCharacter, Set, Star };

/** An element of a pattern. Each but a star, and the end, stands for one character. */
struct Element
{
    Kind kind;
    const char *text; /**< the character itself; of a set what is behind its `[` */
    const char *next;

    [[nodiscard]] bool ends_segment() const { return kind == Kind::End || kind == Kind::Separator; }
};

Element read_set(const char *p, uint32_t flags, Element otherwise)
{
    // Where a set ends does not depend on the character that is looked for. One that names the
    // separator has no end: it matches nothing.
    const char *end = p + 1;
    if (KOBAString_rangematch(p + 1, *p, flags, &end) < 0)
        return otherwise;
    return {Kind::Set, p + 1, end};
}

Element read_element(const char *p, uint32_t flags)
{
    switch (*p) {
    case '\0':
        return {Kind::End, p, p};
    case '*':
        return {Kind::Star, p, p + 1};
    case '?':
        return {Kind::AnyCharacter, p, p + 1};
    case '[':
        return read_set(p, flags, {Kind::Character, p, p + 1});
    case '\\':
        if ((flags & kNoEscape) == 0 && p[1] != '\0')
            ++p;
        [[fallthrough]];
    default:
        return {*p == separator(flags) ? Kind::Separator : Kind::Character, p, p + 1};
    }
}

const char *segment_end(const char *p, uint32_t flags)
{
    Element element = read_element(p, flags);
    while (!element.ends_segment()) {
        p = element.next;
        element = read_element(p, flags);
    }
    return p;
}

bool is_in_set(const Element &character, const Element &set, uint32_t flags)
{
    const char *end = nullptr;
    return KOBAString_rangematch(set.text, *character.text, flags, &end) > 0;
}

/** Tells whether two elements that stand for one character can stand for the same one. */
bool share_character(const Element &a, const Element &b, uint32_t flags)
{
    if (a.kind == Kind::Separator || b.kind == Kind::Separator)
        return a.kind == b.kind;
    if (a.kind == Kind::AnyCharacter || b.kind == Kind::AnyCharacter)
        return true;
    if (a.kind == Kind::Set && b.kind == Kind::Set)
        return KOBAString_rangeIntersect(a.text, b.text, flags) > 0;
    if (a.kind == Kind::Set)
        return is_in_set(b, a, flags);
    if (b.kind == Kind::Set)
        return is_in_set(a, b, flags);
    return equal(*a.text, *b.text, flags);
}

// Kept: a `?` meets a set by its text: none with a `[`, `*`, `?` or separator in it, whatever else
// is a member.
bool is_skipped_by_any(const Element &set, uint32_t flags)
{
    const std::string_view text(set.text, static_cast<std::size_t>(set.next - set.text));
    const char stops[] = {'[', '*', '?', separator(flags)};
    return text.ends_with(']') && text.find_first_of({stops, sizeof stops}) == text.npos;
}

bool can_meet(const Element &a, const Element &b, uint32_t flags)
{
    if (a.kind == Kind::AnyCharacter && b.kind == Kind::Set)
        return is_skipped_by_any(b, flags);
    if (a.kind == Kind::Set && b.kind == Kind::AnyCharacter)
        return is_skipped_by_any(a, flags);
    return share_character(a, b, flags);
}

// Kept: what is left over may be one wildcard, even a `?`, but not two of them, even stars.
bool can_be_left_over(const Element &element)
{
    return element.kind == Kind::End ||
           ((element.kind == Kind::Star || element.kind == Kind::AnyCharacter) &&
            *element.next == '\0');
}

/** Tells whether a segment, from a star on, can meet the rest of another one. */
bool can_star_meet(const char *star, const char *rest, uint32_t flags)
{
    const Element other = read_element(rest, flags);
    if (other.kind == Kind::Separator)
        return read_element(star + std::strspn(star, "*"), flags).ends_segment();
    return KOBAString_matchTokenSuffix(star, other.kind == Kind::Set ? other.next : rest, flags) ==
           0;
}

/** What no star of a segment can move: the elements behind the last one, or all of them. */
struct Tail
{
    const char *start;
    std::size_t length;

    void cut_to(std::size_t limit, uint32_t flags)
    {
        for (; length > limit; --length)
            start = read_element(start, flags).next;
    }
};

Tail tail_of(const char *segment, uint32_t flags)
{
    Tail tail = {segment, 0};
    for (Element element = read_element(segment, flags); !element.ends_segment();
         element = read_element(element.next, flags)) {
        if (element.kind == Kind::Star)
            tail = {element.next, 0};
        else
            ++tail.length;
    }
    return tail;
}

} // namespace

int32_t KOBAString_isCommonPattern(const char *p1, const char *p2, const uint32_t *flags)
{
    for (;;) {
        const Element a = read_element(p1, *flags);
        const Element b = read_element(p2, *flags);
        if (a.kind == Kind::End || b.kind == Kind::End)
            return can_be_left_over(a.kind == Kind::End ? b : a) ? 0 : 1;
        if (a.kind == Kind::Star || b.kind == Kind::Star) {
            const bool is_first = a.kind == Kind::Star;
            if (!can_star_meet(is_first ? p1 : p2, is_first ? p2 : p1, *flags))
                return 1;
            p1 = segment_end(p1, *flags);
            p2 = segment_end(p2, *flags);
        } else {
            if (!can_meet(a, b, *flags))
                return 1;
            p1 = a.next;
            p2 = b.next;
        }
    }
}

// Both tails end where their segments end, so the shorter one is held against the end of the other.
int32_t KOBAString_matchTokenSuffix(const char *p1, const char *p2, uint32_t flags)
{
    Tail a = tail_of(p1, flags);
    Tail b = tail_of(p2, flags);
    a.cut_to(b.length, flags);
    b.cut_to(a.length, flags);
    for (std::size_t left = a.length; left > 0; --left) {
        const Element one = read_element(a.start, flags);
        const Element other = read_element(b.start, flags);
        if (!share_character(one, other, flags))
            return 1;
        a.start = one.next;
        b.start = other.next;
    }
    return 0;
}

int32_t KOBAString_rangeIntersect(const char *p1, const char *p2, uint32_t flags)
{
    const char *end = nullptr;
    if (KOBAString_rangematch(p1, '\0', flags, &end) < 0 ||
        KOBAString_rangematch(p2, '\0', flags, &end) < 0)
        return -1;
    for (int byte = 1; byte <= UINT8_MAX; ++byte) {
        const auto c = static_cast<char>(byte);
        if (KOBAString_rangematch(p1, c, flags, &end) > 0 &&
            KOBAString_rangematch(p2, c, flags, &end) > 0)
            return 1;
    }
    return 0;
}
