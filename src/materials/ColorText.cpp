// Colour text of "#rrggbb" and "#rrggbbaa" form, to and from packed colours.
#include "format3mf/ColorText.h"

#include "format3mf/Exception.h"

#include "common/HexDigit.h"
#include "common/StringConversion.h"

namespace Format_3MF
{
namespace
{
// Two characters read as one hexadecimal number, stopping at the first
// character that isn't a digit.
unsigned int DecodePair(wchar_t first, wchar_t second)
{
    int const high = format3mf::HexDigitValue(first);
    if (high < 0)
    {
        return 0;
    }
    int const low = format3mf::HexDigitValue(second);
    if (low < 0)
    {
        return static_cast<unsigned int>(high);
    }
    return static_cast<unsigned int>(high * 16 + low);
}
} // namespace

std::wstring EncodeColor(unsigned int const& color)
{
    static wchar_t const digits[] = L"0123456789abcdef";
    std::wstring text(7, L'#');
    for (int channel = 0; channel < 3; ++channel)
    {
        unsigned int const byte = (color >> (8 * channel)) & 0xFFu;
        text[1 + 2 * channel] = digits[byte >> 4];
        text[2 + 2 * channel] = digits[byte & 0xFu];
    }
    return text;
}

unsigned int DecodeColor(std::wstring const& text)
{
    if (text.empty() || text[0] != L'#')
    {
        return 0;
    }
    if (text.size() != 7 && text.size() != 9)
    {
        throw 0;
    }
    unsigned int const red = DecodePair(text[1], text[2]);
    unsigned int const green = DecodePair(text[3], text[4]);
    unsigned int const blue = DecodePair(text[5], text[6]);
    return (blue << 16) + (green << 8) + red;
}
} // namespace Format_3MF

namespace format3mf
{
std::uint32_t ParseColorText(std::string_view text)
{
    std::uint32_t packed = 0;
    bool good = (text.size() == 7 || text.size() == 9) && text[0] == '#';
    for (std::size_t pair = 0; good && 1 + 2 * pair < text.size(); ++pair)
    {
        int const high = format3mf::HexDigitValue(text[1 + 2 * pair]);
        int const low = format3mf::HexDigitValue(text[2 + 2 * pair]);
        good = high >= 0 && low >= 0;
        packed |= std::uint32_t(high * 16 + low) << (8 * pair);
    }
    if (!good)
    {
        std::string const shown(text.substr(0, 40));
        throw Format_3MF::Exception(L"\"" + StringConversion::ConvertMultiByteStringToOndString(shown) +
                                    L"\" is not a colour of the form #RRGGBB or #RRGGBBAA");
    }
    return packed;
}
} // namespace format3mf
