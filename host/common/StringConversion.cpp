// UTF-8 and wide-string conversion; malformed sequences become U+FFFD replacement
// characters rather than errors, so every input converts.
#include "common/StringConversion.h"

namespace
{
constexpr char32_t kReplacement = 0xFFFD;
// Bytes of file names that are not UTF-8 travel as U+DC80 to U+DCFF.
constexpr char32_t kEscapeBase = 0xDC00;

bool IsScalarValue(char32_t c)
{
    return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF);
}

// Decodes one UTF-8 sequence at text[i], advancing i. Overlong forms,
// surrogates and truncated sequences give U+FFFD and consume one byte.
char32_t DecodeUTF8(unsigned char const* text, std::uint64_t length, std::uint64_t& i)
{
    unsigned char const lead = text[i];
    if (lead < 0x80)
    {
        ++i;
        return lead;
    }
    int extra = 0;
    char32_t value = 0;
    char32_t minimum = 0;
    if ((lead & 0xE0) == 0xC0)
    {
        extra = 1;
        value = lead & 0x1F;
        minimum = 0x80;
    }
    else if ((lead & 0xF0) == 0xE0)
    {
        extra = 2;
        value = lead & 0x0F;
        minimum = 0x800;
    }
    else if ((lead & 0xF8) == 0xF0)
    {
        extra = 3;
        value = lead & 0x07;
        minimum = 0x10000;
    }
    else
    {
        ++i;
        return kReplacement;
    }
    if (length - i <= static_cast<std::uint64_t>(extra))
    {
        ++i;
        return kReplacement;
    }
    for (int k = 1; k <= extra; ++k)
    {
        unsigned char const c = text[i + k];
        if ((c & 0xC0) != 0x80)
        {
            ++i;
            return kReplacement;
        }
        value = (value << 6) | (c & 0x3F);
    }
    if (value < minimum || !IsScalarValue(value))
    {
        ++i;
        return kReplacement;
    }
    i += extra + 1;
    return value;
}
} // namespace

namespace StringConversion
{
void AppendUTF8(std::string& target, char32_t c)
{
    if (!IsScalarValue(c))
    {
        c = kReplacement;
    }
    if (c < 0x80)
    {
        target.push_back(static_cast<char>(c));
    }
    else if (c < 0x800)
    {
        target.push_back(static_cast<char>(0xC0 | (c >> 6)));
        target.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
    else if (c < 0x10000)
    {
        target.push_back(static_cast<char>(0xE0 | (c >> 12)));
        target.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        target.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
    else
    {
        target.push_back(static_cast<char>(0xF0 | (c >> 18)));
        target.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
        target.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        target.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

std::string ConvertNativeToUTF8(wchar_t const* text, std::uint64_t length)
{
    std::string result;
    result.reserve(length);
    for (std::uint64_t i = 0; i < length; ++i)
    {
        AppendUTF8(result, static_cast<char32_t>(text[i]));
    }
    return result;
}

std::string ConvertNativeToUTF8(std::wstring const& text)
{
    return ConvertNativeToUTF8(text.data(), text.size());
}

std::u16string ConvertNativeToUTF16(wchar_t const* text, std::uint64_t length)
{
    std::u16string result;
    result.reserve(length);
    for (std::uint64_t i = 0; i < length; ++i)
    {
        char32_t c = static_cast<char32_t>(text[i]);
        if (!IsScalarValue(c))
        {
            c = kReplacement;
        }
        if (c < 0x10000)
        {
            result.push_back(static_cast<char16_t>(c));
        }
        else
        {
            c -= 0x10000;
            result.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            result.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        }
    }
    return result;
}

std::wstring ConvertUTF16ToNative(char16_t const* text, std::uint64_t length)
{
    std::wstring result;
    result.reserve(length);
    for (std::uint64_t i = 0; i < length; ++i)
    {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF)
        {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        }
        else if (c >= 0xD800 && c <= 0xDFFF)
        {
            c = kReplacement;
        }
        result.push_back(static_cast<wchar_t>(c));
    }
    return result;
}

std::wstring ConvertUTF8ToNative(char const* text, std::uint64_t length)
{
    std::wstring result;
    result.reserve(length);
    auto const* bytes = reinterpret_cast<unsigned char const*>(text);
    std::uint64_t i = 0;
    while (i < length)
    {
        result.push_back(static_cast<wchar_t>(DecodeUTF8(bytes, length, i)));
    }
    return result;
}

std::wstring ConvertMultiByteStringToOndString(std::string const& text)
{
    return ConvertUTF8ToNative(text.data(), text.size());
}

std::wstring ConvertFileNameToNative(std::string const& name)
{
    std::wstring result;
    result.reserve(name.size());
    auto const* bytes = reinterpret_cast<unsigned char const*>(name.data());
    std::uint64_t i = 0;
    while (i < name.size())
    {
        std::uint64_t const start = i;
        char32_t const c = DecodeUTF8(bytes, name.size(), i);
        // A replacement that was not spelt in the name stands for one bad byte.
        bool const spelt =
            i - start == 3 && bytes[start] == 0xEF && bytes[start + 1] == 0xBF && bytes[start + 2] == 0xBD;
        result.push_back(static_cast<wchar_t>(c == kReplacement && !spelt ? kEscapeBase + bytes[start] : c));
    }
    return result;
}

std::string ConvertNativeToFileName(std::wstring const& name)
{
    std::string result;
    result.reserve(name.size());
    for (wchar_t const c : name)
    {
        char32_t const code = static_cast<char32_t>(c);
        if (code >= kEscapeBase + 0x80 && code <= kEscapeBase + 0xFF)
        {
            result.push_back(static_cast<char>(code - kEscapeBase));
        }
        else
        {
            AppendUTF8(result, code);
        }
    }
    return result;
}
} // namespace StringConversion
