// Names of the mesh formats and of units, as the converter's options take them.
#include "MeshFormats.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace format3mf::meshformats
{
namespace
{
std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}
} // namespace

bool FormatOfName(std::string const& name, Format& format)
{
    static std::pair<char const*, Format> const kNames[] = {{"3mf", Format::ThreeMF},
                                                            {"stl", Format::Stl},
                                                            {"obj", Format::Obj},
                                                            {"ply", Format::Ply},
                                                            {"off", Format::Off}};
    std::string const lower = Lower(name);
    for (auto const& [text, value] : kNames)
    {
        if (lower == text)
        {
            format = value;
            return true;
        }
    }
    return false;
}

bool FormatOfPath(std::string const& path, Format& format)
{
    std::size_t const dot = path.find_last_of('.');
    std::size_t const slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
    {
        return false;
    }
    return FormatOfName(path.substr(dot + 1), format);
}

char const* NameOfFormat(Format format)
{
    switch (format)
    {
    case Format::ThreeMF:
        return "3MF";
    case Format::Stl:
        return "STL";
    case Format::Obj:
        return "OBJ";
    case Format::Ply:
        return "PLY";
    case Format::Off:
        return "OFF";
    }
    return "?";
}

bool MillimetresPerUnit(std::string const& unit, double& millimetres)
{
    static std::pair<char const*, double> const kUnits[] = {
        {"micron", 0.001}, {"um", 0.001},        {"mm", 1.0},   {"millimeter", 1.0},
        {"cm", 10.0},      {"centimeter", 10.0}, {"m", 1000.0}, {"meter", 1000.0},
        {"inch", 25.4},    {"in", 25.4},         {"ft", 304.8}, {"foot", 304.8}};
    std::string const lower = Lower(unit);
    for (auto const& [name, value] : kUnits)
    {
        if (lower == name)
        {
            millimetres = value;
            return true;
        }
    }
    return false;
}
} // namespace format3mf::meshformats
