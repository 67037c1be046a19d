/** Characters as the C locale sees them, whatever the program's locale is. */
#ifndef WOLKCORE_OSAPI_ASCII_HPP
#define WOLKCORE_OSAPI_ASCII_HPP

namespace zov::ascii {

constexpr bool is_blank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/** The value of a digit or letter, 0 to 35, or 36 for any other character. */
constexpr int digit_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z')
        return c - 'A' + 10;
    return 36;
}

} // namespace zov::ascii

#endif
