// The value of one hexadecimal digit: the one place where colour texts, GUIDs
// and paint codes read their digits.
#pragma once

namespace format3mf
{
// The value of a hexadecimal digit in either case, or -1 for any other
// character; for narrow and wide text alike.
template <typename Char>
int HexDigitValue(Char c)
{
    if (c >= Char('0') && c <= Char('9'))
    {
        return int(c - Char('0'));
    }
    if (c >= Char('a') && c <= Char('f'))
    {
        return int(c - Char('a')) + 10;
    }
    if (c >= Char('A') && c <= Char('F'))
    {
        return int(c - Char('A')) + 10;
    }
    return -1;
}
} // namespace format3mf
