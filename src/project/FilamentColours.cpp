// The colours of a project's filaments: Bambu Studio keeps them in JSON
// ("filament_colour"), PrusaSlicer in its "; key = value" settings, where a
// set "extruder_colour" stands before the filament's own.
#include "format3mf/ColorText.h"
#include "format3mf/Exception.h"
#include "project/ProjectConfig.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
// "#RRGGBB", or "#RRGGBBAA" with the alpha left out, packed as MStlColor
// packs it.
bool ParseColour(std::string_view text, std::uint32_t& rgb)
{
    try
    {
        rgb = format3mf::ParseColorText(text) & 0xFFFFFFu;
        return true;
    }
    catch (Exception const&)
    {
        return false;
    }
}

std::string BadColour(std::size_t filament, std::string_view text)
{
    return "filament " + std::to_string(filament + 1) + " has the colour \"" +
           std::string(text.substr(0, 40)) + "\", which is not of the form #RRGGBB";
}

// The values of a PrusaSlicer list setting, separated by ';', each maybe in
// quotes.
std::vector<std::string_view> ListValues(std::string_view value)
{
    std::vector<std::string_view> values;
    while (true)
    {
        std::size_t const end = value.find(';');
        std::string_view item = value.substr(0, end);
        if (item.size() >= 2 && item.front() == '"' && item.back() == '"')
        {
            item = item.substr(1, item.size() - 2);
        }
        values.push_back(item);
        if (end == std::string_view::npos)
        {
            return values;
        }
        value.remove_prefix(end + 1);
    }
}
} // namespace

std::string ReadBambuFilaments(std::string const& text, ProjectConfig& config)
{
    nlohmann::json const settings = nlohmann::json::parse(text, nullptr, false);
    if (settings.is_discarded() || !settings.is_object())
    {
        return "it is not a JSON object";
    }
    auto const colours = settings.find("filament_colour");
    if (colours == settings.end() || !colours->is_array())
    {
        return "it has no list \"filament_colour\"";
    }
    std::vector<std::uint32_t> filaments;
    for (auto const& colour : *colours)
    {
        std::uint32_t rgb = 0;
        if (!colour.is_string())
        {
            return "filament " + std::to_string(filaments.size() + 1) + " has a colour that is not text";
        }
        std::string const& value = colour.get_ref<std::string const&>();
        if (!ParseColour(value, rgb))
        {
            return BadColour(filaments.size(), value);
        }
        filaments.push_back(rgb);
    }
    config.filaments = std::move(filaments);
    return {};
}

std::string ReadPrusaFilaments(std::string const& text, ProjectConfig& config)
{
    std::string_view filamentColours;
    std::string_view extruderColours;
    bool found = false;
    std::string_view rest = text;
    while (!rest.empty())
    {
        std::size_t const end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
        if (!line.empty() && line.back() == '\r')
        {
            line.remove_suffix(1);
        }
        for (auto [key, target] : {std::pair{std::string_view("; filament_colour = "), &filamentColours},
                                   std::pair{std::string_view("; extruder_colour = "), &extruderColours}})
        {
            if (line.substr(0, key.size()) == key)
            {
                *target = line.substr(key.size());
                found = found || target == &filamentColours;
            }
        }
    }
    if (!found)
    {
        return "it has no setting \"filament_colour\"";
    }
    std::vector<std::string_view> const filament = ListValues(filamentColours);
    std::vector<std::string_view> const extruder =
        extruderColours.empty() ? std::vector<std::string_view>() : ListValues(extruderColours);
    std::vector<std::uint32_t> filaments;
    for (std::size_t i = 0; i < filament.size(); ++i)
    {
        std::string_view const colour =
            i < extruder.size() && !extruder[i].empty() ? extruder[i] : filament[i];
        std::uint32_t rgb = 0;
        if (!ParseColour(colour, rgb))
        {
            return BadColour(i, colour);
        }
        filaments.push_back(rgb);
    }
    config.filaments = std::move(filaments);
    return {};
}
} // namespace format3mf::project
