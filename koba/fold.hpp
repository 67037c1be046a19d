/** Case folding by the C locale's table: bytes of 0x80 and above stay the negative values they are.
 */
#ifndef WOLKCORE_KOBA_FOLD_HPP
#define WOLKCORE_KOBA_FOLD_HPP

namespace koba {

constexpr int to_upper(char c)
{
    const int value = static_cast<signed char>(c);
    return value >= 'a' && value <= 'z' ? value - ('a' - 'A') : value;
}

constexpr int to_lower(char c)
{
    const int value = static_cast<signed char>(c);
    return value >= 'A' && value <= 'Z' ? value + ('a' - 'A') : value;
}

} // namespace koba

#endif
