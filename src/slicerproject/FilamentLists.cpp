// The checks and the flush matrix shared by the settings edits of both
// families of slicers.
#include "slicerproject/FilamentLists.h"

#include "common/HexDigit.h"
#include "format3mf/Project.h"

#include <cstdio>
#include <cstdlib>

namespace format3mf::slicerproject
{
void CheckFilament(int index, std::size_t count, char const* role)
{
    if (index < 1 || std::size_t(index) > count)
    {
        throw ProjectError(
            "Filament " + std::to_string(index) + (role == nullptr ? "" : std::string(", ") + role + ",") +
            " is not one of the project's " + std::to_string(count) + " filaments (they count from 1)");
    }
}

std::string FilamentColour(std::string const& colour)
{
    bool valid = colour.size() == 7 && colour[0] == '#';
    std::string upper = "#";
    for (std::size_t i = 1; valid && i < colour.size(); ++i)
    {
        int const digit = HexDigitValue(colour[i]);
        valid = digit >= 0;
        upper += "0123456789ABCDEF"[digit & 15];
    }
    if (!valid)
    {
        throw ProjectError("The colour \"" + colour.substr(0, 40) + "\" is not of the form #RRGGBB");
    }
    return upper;
}

void CheckXmlText(std::string const& text, std::string const& what)
{
    for (char const c : text)
    {
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r')
        {
            char code[8];
            std::snprintf(code, sizeof code, "U+%04X", unsigned(static_cast<unsigned char>(c)));
            throw ProjectError(what + " holds the control character " + code + ", which XML can't carry");
        }
    }
}

namespace
{
// Whether `text` is a number as a whole; `number` is then its value.
bool Number(std::string const& text, double& number)
{
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size();
}
} // namespace

std::vector<std::string> GrowFlushMatrix(std::vector<std::string> const& matrix, std::size_t count,
                                         std::size_t like, std::string const& unknown)
{
    std::string between = unknown;
    double largest = 0;
    bool found = false;
    for (std::size_t other = 0; other < count; ++other)
    {
        for (std::string const& cell : {matrix[like * count + other], matrix[other * count + like]})
        {
            double volume = 0;
            if (other != like && Number(cell, volume) && (!found || volume > largest))
            {
                found = true;
                largest = volume;
                between = cell;
            }
        }
    }
    std::size_t const grown = count + 1;
    std::vector<std::string> result(grown * grown);
    for (std::size_t row = 0; row < grown; ++row)
    {
        for (std::size_t column = 0; column < grown; ++column)
        {
            std::string& cell = result[row * grown + column];
            if (row == count && column == count)
            {
                cell = "0";
            }
            else if ((row == count && column == like) || (row == like && column == count))
            {
                cell = between;
            }
            else
            {
                cell = matrix[(row == count ? like : row) * count + (column == count ? like : column)];
            }
        }
    }
    return result;
}
} // namespace format3mf::slicerproject
