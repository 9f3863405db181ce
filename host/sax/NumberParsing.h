#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

namespace OndSAX
{
// Parses the text of an attribute value as one number. Leading and trailing
// XML white space are tolerated, as are a leading '+' (allowed by the XML
// schema number types), a fraction and an exponent for the floating types.
// Anything else, trailing garbage included, or a value out of the range of
// T leaves `value` alone and gives false.
template <typename T>
bool ParseNumber(std::string_view text, T& value)
{
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    char const* first = text.data();
    char const* last = first + text.size();
    while (first != last && isSpace(*first))
    {
        ++first;
    }
    while (first != last && isSpace(last[-1]))
    {
        --last;
    }
    if (first != last && *first == '+' && last - first > 1 && first[1] != '-')
    {
        ++first;
    }
    T parsed{};
    auto const result = std::from_chars(first, last, parsed);
    if (result.ec != std::errc() || result.ptr != last)
    {
        return false;
    }
    value = parsed;
    return true;
}

// The same for a null-terminated value, as the parser delivers them. Values
// are short, so measuring them inline is cheaper than a call to strlen.
template <typename T>
bool ParseNumber(char const* text, T& value)
{
    std::size_t length = 0;
    while (text[length] != '\0')
    {
        ++length;
    }
    return ParseNumber(std::string_view(text, length), value);
}
} // namespace OndSAX
