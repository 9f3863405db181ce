#pragma once

#include <charconv>
#include <limits>
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
// that std::from_chars also takes ("inf", "nan") are refused here. Integers,
// the bulk of mesh data, are parsed here directly, with the same results.
template <typename T>
bool ParsePlainNumber(std::string_view text, T& value)
{
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
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
    bool const negative = first != last && *first == '-';
    if (first != last && (*first == '+' || *first == '-'))
    {
        ++first;
    }
    if (first == last || !(isDigit(*first) || (std::is_floating_point_v<T> && *first == '.')))
    {
        return false;
    }
    if constexpr (std::is_floating_point_v<T>)
    {
        return ParseNumber(text, value);
    }
    else
    {
        if (negative && std::is_unsigned_v<T>)
        {
            return false;
        }
        unsigned long long magnitude = 0;
        for (; first != last; ++first)
        {
            if (!isDigit(*first) || magnitude > (~0ULL - 9) / 10)
            {
                return false;
            }
            magnitude = magnitude * 10 + static_cast<unsigned long long>(*first - '0');
        }
        using Limits = std::numeric_limits<T>;
        if (negative)
        {
            if (magnitude > static_cast<unsigned long long>(Limits::max()) + 1)
            {
                return false;
            }
            value = magnitude == 0 ? T(0) : static_cast<T>(-static_cast<T>(magnitude - 1) - 1);
        }
        else
        {
            if (magnitude > static_cast<unsigned long long>(Limits::max()))
            {
                return false;
            }
            value = static_cast<T>(magnitude);
        }
        return true;
    }
}
} // namespace OndSAX
