#pragma once

// Strict parsing of numeric attribute values, so that malformed numbers in a
// document are caught instead of read as zero.

#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace OndSAX
{
inline bool IsXmlSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Moves `first` and `last` inward past the XML white space at both ends.
inline void TrimXmlSpace(char const*& first, char const*& last)
{
    while (first != last && IsXmlSpace(*first))
    {
        ++first;
    }
    while (first != last && IsXmlSpace(last[-1]))
    {
        --last;
    }
}

// Parses the text of an attribute value as one number. Leading and trailing
// XML white space are tolerated, as are a leading '+' (allowed by the XML
// schema number types), a fraction and an exponent for the floating types.
// Anything else, trailing garbage included, or a value out of the range of
// T leaves `value` alone and gives false.
template <typename T>
bool ParseNumber(std::string_view text, T& value)
{
    char const* first = text.data();
    char const* last = first + text.size();
    TrimXmlSpace(first, last);
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
    while (IsXmlSpace(*text))
    {
        ++text;
    }
    char const* end = text;
    for (char const* p = text; *p != '\0'; ++p)
    {
        if (!IsXmlSpace(*p))
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
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    char const* first = text.data();
    char const* last = first + text.size();
    TrimXmlSpace(first, last);
    bool const negative = first != last && *first == '-';
    if (first != last && (*first == '+' || *first == '-'))
    {
        ++first;
    }
    if (first == last || !(isDigit(*first) || (std::is_floating_point_v<T> && *first == '.')))
    {
        return false;
    }
    if constexpr (std::is_same_v<T, double>)
    {
        // Up to 15 digits with a point and no exponent, the usual form of a
        // coordinate: the digits as an integer and one division by an exact
        // power of ten round correctly, as std::from_chars does.
        static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                             1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
        unsigned long long digits = 0;
        int count = 0;
        int fraction = -1;
        char const* at = first;
        for (; at != last && count <= 15; ++at)
        {
            if (isDigit(*at))
            {
                digits = digits * 10 + static_cast<unsigned long long>(*at - '0');
                ++count;
                fraction += fraction >= 0 ? 1 : 0;
            }
            else if (*at == '.' && fraction < 0)
            {
                fraction = 0;
            }
            else
            {
                break;
            }
        }
        if (at == last && count > 0 && count <= 15)
        {
            double const magnitude = static_cast<double>(digits) / kPowers[fraction < 0 ? 0 : fraction];
            value = negative ? -magnitude : magnitude;
            return true;
        }
        return ParseNumber(text, value);
    }
    else if constexpr (std::is_floating_point_v<T>)
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
