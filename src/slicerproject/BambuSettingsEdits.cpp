// The Bambu family's project settings edited: a JSON object of strings and
// lists of strings, written back as the slicers write it (four spaces of
// indent, the keys in the file's order, the file's own line ends), so that
// what an edit doesn't touch keeps its bytes.
#include "slicerproject/FilamentLists.h"
#include "slicerproject/ProjectEdits.h"

#include <nlohmann/json.hpp>

#include <cctype>
#include <string_view>

namespace format3mf::slicerproject
{
namespace
{
using Json = nlohmann::ordered_json;

std::string const kEntry = "Metadata/project_settings.config";

// Bambu Studio's default flush volume, for a pair of filaments the project
// gives no figure for.
std::string const kUnknownFlush = "280";

// Which lists hold one value per filament. Their length alone can't tell: a
// printer's machine_max_* lists hold two values (normal and silent mode),
// its printable_area four corners and its upward_compatible_machine a name
// per model, as many as two, four or five filaments would. So a list is the
// filaments' when its name says so, by the "filament_" prefix or as one of
// the slicers' other filament options below, and it holds one value per
// filament. Lists of these names with another length (a slicer that keeps
// them per nozzle as well) are left as they are.
bool PerFilament(std::string_view key)
{
    static constexpr std::string_view kPrefixes[] = {
        "filament_",     "nozzle_temperature", "fan_",       "slow_down_",  "adaptive_pressure_advance",
        "counter_coef_", "counter_limit_",     "hole_coef_", "hole_limit_",
    };
    // Bed temperatures of each plate type, fan speeds of each feature.
    static constexpr std::string_view kInfixes[] = {"_plate_temp", "_fan_speed"};
    static constexpr std::string_view kNames[] = {
        "activate_air_filtration",
        "activate_chamber_temp_control",
        "chamber_temperature",
        "chamber_temperatures",
        "circle_compensation_speed",
        "close_fan_the_first_x_layers",
        "compatible_process_expression_group",
        "default_filament_colour",
        "diameter_limit",
        "dont_slow_down_outer_wall",
        "enable_overhang_bridge_fan",
        "enable_pressure_advance",
        "idle_temperature",
        "impact_strength_z",
        "long_retractions_when_ec",
        "overhang_fan_threshold",
        "pellet_flow_coefficient",
        "pre_start_fan_time",
        "pressure_advance",
        "reduce_fan_stop_start_freq",
        "required_nozzle_HRC",
        "retraction_distances_when_ec",
        "temperature_vitrification",
        "volumetric_speed_coefficients",
    };
    for (std::string_view const prefix : kPrefixes)
    {
        if (key.substr(0, prefix.size()) == prefix)
        {
            return true;
        }
    }
    for (std::string_view const infix : kInfixes)
    {
        if (key.find(infix) != std::string_view::npos)
        {
            return true;
        }
    }
    for (std::string_view const name : kNames)
    {
        if (key == name)
        {
            return true;
        }
    }
    return false;
}

Json Parse(std::string const& text)
{
    Json settings = Json::parse(text, nullptr, false);
    if (settings.is_discarded() || !settings.is_object())
    {
        throw ProjectError(kEntry + " is not a JSON object, so its settings can't be edited");
    }
    return settings;
}

// The settings as the slicers write them, with the line ends and the final
// line end of the text they were read from.
std::string Dump(Json const& settings, std::string const& original)
{
    std::string dumped;
    try
    {
        dumped = settings.dump(4);
    }
    catch (Json::type_error const&)
    {
        throw ProjectError("A value for " + kEntry + " is not UTF-8 text");
    }
    if (!original.empty() && original.back() == '\n')
    {
        dumped += '\n';
    }
    if (original.find("\r\n") == std::string::npos)
    {
        return dumped;
    }
    std::string crlf;
    crlf.reserve(dumped.size() + dumped.size() / 16);
    for (char const c : dumped)
    {
        if (c == '\n')
        {
            crlf += '\r';
        }
        crlf += c;
    }
    return crlf;
}

void CheckKey(std::string const& key)
{
    if (key.empty())
    {
        throw ProjectError("A setting needs a name: the name given is empty");
    }
}

// The filaments' colours: their number is the project's number of filaments.
Json& Colours(Json& settings)
{
    auto const colours = settings.find("filament_colour");
    if (colours == settings.end() || !colours->is_array())
    {
        throw ProjectError(kEntry + " has no list \"filament_colour\", so it names no filaments");
    }
    return *colours;
}

bool SameColour(std::string a, std::string b)
{
    for (std::string* text : {&a, &b})
    {
        for (char& c : *text)
        {
            c = char(std::toupper(static_cast<unsigned char>(c)));
        }
    }
    return a == b;
}

// Filament `index`'s colour (checked) and type. OrcaSlicer keeps a filament's
// colours also in "filament_multi_colour", where a single-coloured filament
// has the colour of "filament_colour": it follows when it was that colour.
void SetFilamentValues(Json& settings, int index, std::optional<std::string> const& colour,
                       std::optional<std::string> const& type)
{
    Json& colours = Colours(settings);
    std::size_t const count = colours.size();
    CheckFilament(index, count);
    std::size_t const at = std::size_t(index) - 1;
    if (type.has_value())
    {
        auto const types = settings.find("filament_type");
        if (types == settings.end() || !types->is_array() || types->size() != count)
        {
            throw ProjectError(kEntry + " has no list \"filament_type\" of " + std::to_string(count) +
                               " values, one per filament");
        }
        if (type->empty())
        {
            throw ProjectError("Filament " + std::to_string(index) + " can't have an empty type");
        }
        (*types)[at] = *type;
    }
    if (colour.has_value())
    {
        std::string const checked = FilamentColour(*colour);
        auto const multi = settings.find("filament_multi_colour");
        if (multi != settings.end() && multi->is_array() && multi->size() == count &&
            (*multi)[at].is_string() && colours[at].is_string() &&
            SameColour((*multi)[at].get<std::string>(), colours[at].get<std::string>()))
        {
            (*multi)[at] = checked;
        }
        colours[at] = checked;
    }
}
} // namespace

std::string SetBambuFilament(std::string const& json, int index, std::optional<std::string> const& colour,
                             std::optional<std::string> const& type)
{
    Json settings = Parse(json);
    SetFilamentValues(settings, index, colour, type);
    return Dump(settings, json);
}

// Every per-filament list (see PerFilament) grows by `like`'s value, and so
// do the lists that hold a value per filament among others:
// "different_settings_to_system" and "inherits_group" hold [print, filament
// 1..N, printer], OrcaSlicer's "compatible_machine_expression_group" [print,
// filament 1..N], "flush_volumes_vector" a pair per filament and
// "flush_volumes_matrix" N x N (see GrowFlushMatrix). "filament_self_index"
// holds each filament's own number.
std::string AddBambuFilament(std::string const& json, std::string const& colour,
                             std::optional<std::string> const& type, int like)
{
    Json settings = Parse(json);
    std::size_t const count = Colours(settings).size();
    CheckFilament(like, count, "the one to copy");
    FilamentColour(colour);
    std::size_t const from = std::size_t(like) - 1;
    for (auto entry = settings.begin(); entry != settings.end(); ++entry)
    {
        std::string const& key = entry.key();
        Json& list = entry.value();
        if (!list.is_array())
        {
            continue;
        }
        std::size_t const size = list.size();
        if (key == "flush_volumes_matrix" && size == count * count)
        {
            std::vector<std::string> matrix;
            for (Json const& cell : list)
            {
                matrix.push_back(cell.is_string() ? cell.get<std::string>() : cell.dump());
            }
            list = GrowFlushMatrix(matrix, count, from, kUnknownFlush);
        }
        else if (key == "flush_volumes_vector" && size == 2 * count)
        {
            Json const first = list[2 * from];
            Json const second = list[2 * from + 1];
            list.push_back(first);
            list.push_back(second);
        }
        else if ((key == "different_settings_to_system" || key == "inherits_group") && size == count + 2)
        {
            Json const copy = list[from + 1];
            list.insert(list.end() - 1, copy);
        }
        else if (key == "compatible_machine_expression_group" && size == count + 1)
        {
            Json const copy = list[from + 1];
            list.push_back(copy);
        }
        else if (key == "filament_self_index" && size == count)
        {
            list.push_back(std::to_string(count + 1));
        }
        else if (size == count && PerFilament(key))
        {
            Json const copy = list[from];
            list.push_back(copy);
        }
    }
    SetFilamentValues(settings, int(count) + 1, colour, type);
    return Dump(settings, json);
}

std::string SetBambuSetting(std::string const& json, std::string const& key, std::string const& value)
{
    Json settings = Parse(json);
    CheckKey(key);
    auto const found = settings.find(key);
    if (found != settings.end() && found->is_array())
    {
        throw ProjectError("The setting \"" + key + "\" holds a list, not a value: give it a list");
    }
    settings[key] = value;
    return Dump(settings, json);
}

std::string SetBambuSetting(std::string const& json, std::string const& key,
                            std::vector<std::string> const& values)
{
    Json settings = Parse(json);
    CheckKey(key);
    auto const found = settings.find(key);
    if (found != settings.end() && !found->is_array())
    {
        throw ProjectError("The setting \"" + key + "\" holds a value, not a list: give it one value");
    }
    settings[key] = values;
    return Dump(settings, json);
}
} // namespace format3mf::slicerproject
