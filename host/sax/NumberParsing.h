#pragma once

#include <charconv>
#include <string_view>
#include <system_error>
#include <type_traits>

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

// The same for a null-terminated value, as the parser delivers them. One
// pass finds both the end and the trailing white space, cheaper than
// strlen for such short values.
template <typename T>
bool ParseNumber(char const* text, T& value)
{
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (isSpace(*text))
    {
        ++text;
    }
    char const* end = text;
    for (char const* p = text; *p != '\0'; ++p)
    {
        if (!isSpace(*p))
        {
            end = p + 1;
        }
    }
    return ParseNumber(std::string_view(text, static_cast<std::size_t>(end - text)), value);
}

// ParseNumber for the plain decimal forms alone: a digit (or, for the
// floating types, a point) must follow the optional sign, so that the words
// that std::from_chars also takes ("inf", "nan") are refused here.
template <typename T>
bool ParsePlainNumber(std::string_view text, T& value)
{
    std::size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t' || text[at] == '\n' || text[at] == '\r'))
    {
        ++at;
    }
    if (at < text.size() && (text[at] == '+' || text[at] == '-'))
    {
        ++at;
    }
    if (at == text.size() ||
        !((text[at] >= '0' && text[at] <= '9') || (std::is_floating_point_v<T> && text[at] == '.')))
    {
        return false;
    }
    return ParseNumber(text, value);
}
} // namespace OndSAX
