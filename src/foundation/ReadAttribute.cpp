// Typed reading of attribute values, so that a malformed id or number in a file
// is reported rather than read as zero.
#include "format3mf/ReadAttribute.h"

#include <climits>
#include <cwctype>

namespace Format_3MF
{
namespace
{
enum class Extraction
{
    Value,   // a number was read
    NoDigit, // text stood there but no number: 0 was stored
    End      // only blanks were left: nothing was stored
};

// One integer extraction from `text` at `position`, with the results a wide
// input stream gives for `>> int`.
Extraction ExtractInteger(std::wstring const& text, std::size_t& position, int& value)
{
    while (position < text.size() && std::iswspace(static_cast<wint_t>(text[position])))
    {
        ++position;
    }
    if (position == text.size())
    {
        return Extraction::End;
    }
    bool negative = false;
    if (text[position] == L'+' || text[position] == L'-')
    {
        negative = text[position] == L'-';
        ++position;
    }
    long long magnitude = 0;
    bool digits = false;
    bool overflow = false;
    while (position < text.size() && text[position] >= L'0' && text[position] <= L'9')
    {
        digits = true;
        if (!overflow)
        {
            magnitude = magnitude * 10 + (text[position] - L'0');
            overflow = magnitude > static_cast<long long>(INT_MAX) + 1;
        }
        ++position;
    }
    if (!digits)
    {
        value = 0;
        return Extraction::NoDigit;
    }
    long long const signedValue = negative ? -magnitude : magnitude;
    if (overflow || signedValue > INT_MAX)
    {
        value = negative ? INT_MIN : INT_MAX;
    }
    else if (signedValue < INT_MIN)
    {
        value = INT_MIN;
    }
    else
    {
        value = static_cast<int>(signedValue);
    }
    return Extraction::Value;
}
} // namespace

std::wstring QualifiedAttributeName(std::wstring const& name, std::wstring const& prefix)
{
    if (prefix.empty())
    {
        return name;
    }
    std::wstring result;
    result.reserve(prefix.size() + 1 + name.size());
    result.append(prefix).append(1, L':').append(name);
    return result;
}

bool ReadAttribute(MSAXReader& reader, std::wstring const& name, std::wstring& value,
                   std::wstring const* prefix)
{
    std::wstring text;
    if (reader.GetAttributeString(text, name) ||
        (prefix != nullptr && reader.GetAttributeString(text, QualifiedAttributeName(name, *prefix))))
    {
        value = std::move(text);
        return true;
    }
    return false;
}

bool ReadAttribute(MSAXReader& reader, std::wstring const& name, tReferenceID& value,
                   std::wstring const* prefix)
{
    std::wstring text;
    if (!ReadAttribute(reader, name, text, prefix))
    {
        return false;
    }
    std::size_t position = 0;
    int number = value;
    ExtractInteger(text, position, number);
    value = number;
    return true;
}

bool ReadAttribute(MSAXReader& reader, std::wstring const& name, std::vector<tReferenceID>& value,
                   std::wstring const* prefix)
{
    std::wstring text;
    if (!ReadAttribute(reader, name, text, prefix))
    {
        return false;
    }
    std::size_t position = 0;
    while (position < text.size())
    {
        int number = -1;
        Extraction const result = ExtractInteger(text, position, number);
        value.emplace_back(number);
        if (result != Extraction::Value)
        {
            break;
        }
    }
    return true;
}
} // namespace Format_3MF
