// Names of the mesh formats and of units, as the converter's options take them.
#include "MeshFormats.h"

#include "format3mf/Units.h"

#include "common/StringConversion.h"

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
    // The scales are the library's, by the unit names of 3MF; people type the
    // short words too, which name the same units.
    static std::pair<char const*, char const*> const kShortWords[] = {
        {"um", "micron"}, {"mm", "millimeter"}, {"cm", "centimeter"},
        {"m", "meter"},   {"in", "inch"},       {"ft", "foot"}};
    std::string name = Lower(unit);
    for (auto const& [word, full] : kShortWords)
    {
        if (name == word)
        {
            name = full;
        }
    }
    Format_3MF::tUnits units;
    if (!units.Init(StringConversion::ConvertUTF8ToNative(name.data(), name.size())))
    {
        return false;
    }
    millimetres = units.m_factor;
    return true;
}
} // namespace format3mf::meshformats
