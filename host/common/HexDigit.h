#pragma once

namespace OndSDK::Common
{
// The value of a hexadecimal digit in either case, or -1.
inline int HexDigitValue(wchar_t c)
{
    if (c >= L'0' && c <= L'9')
    {
        return c - L'0';
    }
    if (c >= L'a' && c <= L'f')
    {
        return c - L'a' + 10;
    }
    if (c >= L'A' && c <= L'F')
    {
        return c - L'A' + 10;
    }
    return -1;
}
} // namespace OndSDK::Common
