// Parsing and printing of GUIDs; a malformed spelling leaves the nil GUID
// instead of a partly read value.
#include "triangles/MGuid.h"

#include "common/HexDigit.h"

#include <random>

namespace
{
bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n';
}

bool IsHyphenPosition(std::size_t index)
{
    return index == 8 || index == 13 || index == 18 || index == 23;
}
} // namespace

namespace MStlRevisionSystem
{
MGuid MGuid::NewRandom()
{
    static thread_local std::mt19937_64 generator{(std::uint64_t(std::random_device{}()) << 32) ^
                                                  std::random_device{}()};
    MGuid guid;
    for (std::size_t i = 0; i < guid.m_bytes.size(); i += 8)
    {
        std::uint64_t const bits = generator();
        for (std::size_t b = 0; b < 8; ++b)
        {
            guid.m_bytes[i + b] = static_cast<std::uint8_t>(bits >> (8 * b));
        }
    }
    guid.m_bytes[6] = static_cast<std::uint8_t>((guid.m_bytes[6] & 0x0F) | 0x40); // version 4
    guid.m_bytes[8] = static_cast<std::uint8_t>((guid.m_bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return guid;
}

bool MGuid::SetString(std::wstring const& text)
{
    m_bytes.fill(0);
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && IsBlank(text[begin]))
    {
        ++begin;
    }
    while (end > begin && IsBlank(text[end - 1]))
    {
        --end;
    }
    if (end - begin >= 2 && text[begin] == L'{' && text[end - 1] == L'}')
    {
        ++begin;
        --end;
    }
    std::size_t const length = end - begin;
    bool const hyphenated = length == 36;
    if (length != 32 && !hyphenated)
    {
        return false;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t digit = 0;
    for (std::size_t i = 0; i < length; ++i)
    {
        wchar_t const c = text[begin + i];
        if (hyphenated && IsHyphenPosition(i))
        {
            if (c != L'-')
            {
                return false;
            }
            continue;
        }
        int const value = format3mf::HexDigitValue(c);
        if (value < 0)
        {
            return false;
        }
        bytes[digit / 2] =
            static_cast<std::uint8_t>(bytes[digit / 2] | (digit % 2 == 0 ? value << 4 : value));
        ++digit;
    }
    m_bytes = bytes;
    return true;
}

std::wstring MGuid::GetString(bool braces, bool upperCase) const
{
    wchar_t const* digits = upperCase ? L"0123456789ABCDEF" : L"0123456789abcdef";
    std::wstring result;
    result.reserve(38);
    if (braces)
    {
        result.push_back(L'{');
    }
    for (std::size_t i = 0; i < m_bytes.size(); ++i)
    {
        if (i == 4 || i == 6 || i == 8 || i == 10)
        {
            result.push_back(L'-');
        }
        result.push_back(digits[m_bytes[i] >> 4]);
        result.push_back(digits[m_bytes[i] & 0x0F]);
    }
    if (braces)
    {
        result.push_back(L'}');
    }
    return result;
}

bool MGuid::IsNil() const
{
    for (std::uint8_t b : m_bytes)
    {
        if (b != 0)
        {
            return false;
        }
    }
    return true;
}
} // namespace MStlRevisionSystem
