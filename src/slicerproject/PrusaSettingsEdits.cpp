// PrusaSlicer's project settings edited line by line: lines "; key = value",
// a list's values joined by ';' (strings) or ',' (numbers, switches,
// points); every line that no edit touches keeps its bytes.
#include "slicerproject/FilamentLists.h"
#include "slicerproject/ProjectEdits.h"

#include <string_view>

namespace format3mf::slicerproject
{
namespace
{
std::string const kEntry = "Metadata/Slic3r_PE.config";

// PrusaSlicer's default wiping volume, for a pair of extruders the project
// gives no figure for.
std::string const kUnknownWipe = "140";

struct Line
{
    // Without its line end.
    std::string text;
    // "\n", "\r\n", or empty for a last line that has none.
    std::string end;
    // Empty for a line that is no setting (the opening comment, blank lines).
    std::string key;
    // Where the value starts in `text`.
    std::size_t value = 0;

    std::string Value() const { return text.substr(value); }
    void SetValue(std::string const& value) { text = text.substr(0, this->value) + value; }
};

std::vector<Line> Lines(std::string const& text)
{
    std::vector<Line> lines;
    std::size_t begin = 0;
    while (begin < text.size())
    {
        std::size_t const newline = text.find('\n', begin);
        Line& line = lines.emplace_back();
        line.text = text.substr(begin, newline == std::string::npos ? std::string::npos : newline - begin);
        line.end = newline == std::string::npos ? "" : "\n";
        if (!line.end.empty() && !line.text.empty() && line.text.back() == '\r')
        {
            line.text.pop_back();
            line.end = "\r\n";
        }
        std::size_t const equals = line.text.find(" = ");
        if (line.text.compare(0, 2, "; ") == 0 && equals != std::string::npos && equals > 2 &&
            line.text.find(' ', 2) == equals)
        {
            line.key = line.text.substr(2, equals - 2);
            line.value = equals + 3;
        }
        begin = newline == std::string::npos ? text.size() : newline + 1;
    }
    return lines;
}

std::string Text(std::vector<Line> const& lines)
{
    std::string text;
    for (Line const& line : lines)
    {
        text += line.text + line.end;
    }
    return text;
}

Line* Find(std::vector<Line>& lines, std::string const& key)
{
    for (Line& line : lines)
    {
        if (line.key == key)
        {
            return &line;
        }
    }
    return nullptr;
}

// The lists of strings among the per-extruder settings. With one extruder
// nothing in a value shows which separator it would take.
bool StringList(std::string_view key)
{
    static constexpr std::string_view kNames[] = {
        "compatible_printers_condition_cummulative",
        "compatible_prints_condition_cummulative",
        "end_filament_gcode",
        "extruder_colour",
        "filament_colour",
        "filament_custom_variables",
        "filament_notes",
        "filament_ramming_parameters",
        "filament_settings_id",
        "filament_type",
        "inherits_cummulative",
        "start_filament_gcode",
    };
    for (std::string_view const name : kNames)
    {
        if (key == name)
        {
            return true;
        }
    }
    return false;
}

char Separator(std::string const& key, std::string const& value)
{
    return StringList(key) || value.find_first_of(";\"") != std::string::npos ? ';' : ',';
}

// A list's values as written, quotes and escapes kept, so that a copy of one
// is the same text.
std::vector<std::string> Split(std::string const& value, char separator)
{
    std::vector<std::string> items(1);
    bool quoted = false;
    for (std::size_t i = 0; i < value.size(); ++i)
    {
        char const c = value[i];
        if (c == separator && !quoted)
        {
            items.emplace_back();
            continue;
        }
        items.back() += c;
        if (quoted && c == '\\' && i + 1 < value.size())
        {
            items.back() += value[++i];
        }
        else if (c == '"')
        {
            quoted = !quoted;
        }
    }
    return items;
}

std::string Join(std::vector<std::string> const& items, char separator)
{
    std::string value;
    for (std::size_t i = 0; i < items.size(); ++i)
    {
        value += (i == 0 ? "" : std::string(1, separator)) + items[i];
    }
    return value;
}

// A string as PrusaSlicer writes it in a list: in quotes, with backslashes,
// quotes and line breaks escaped, when it holds any of them, a space or a
// separator.
std::string ListString(std::string const& text)
{
    if (text.find_first_of(" ;\t\\\"\r\n") == std::string::npos)
    {
        return text;
    }
    std::string quoted = "\"";
    for (char const c : text)
    {
        if (c == '\\' || c == '"')
        {
            quoted += '\\';
            quoted += c;
        }
        else if (c == '\n' || c == '\r')
        {
            quoted += c == '\n' ? "\\n" : "\\r";
        }
        else
        {
            quoted += c;
        }
    }
    return quoted + "\"";
}

// Which settings hold a value per extruder (PrusaSlicer's filaments are its
// extruders): those of the filament presets, the extruders' own in the
// printer preset, and the matching lists of the presets' conditions. As in
// the Bambu family, a list's length alone can't tell (the machine limits
// hold two values, normal and silent mode), and with one extruder every
// value is a list of one; so the name must say it and the list have one
// value per extruder. "filament_vendor" is one string whatever the count,
// and travel_speed, travel_speed_z and travel_acceleration belong to the
// print, unlike the other travel_ settings.
bool PerExtruder(std::string_view key)
{
    static constexpr std::string_view kPrefixes[] = {"filament_", "retract_", "overhang_fan_speed_"};
    static constexpr std::string_view kNames[] = {
        "bed_temperature",
        "bridge_fan_speed",
        "chamber_minimal_temperature",
        "chamber_temperature",
        "compatible_prints_condition_cummulative",
        "cooling",
        "deretract_speed",
        "disable_fan_first_layers",
        "enable_dynamic_fan_speeds",
        "end_filament_gcode",
        "extruder_colour",
        "extruder_offset",
        "extrusion_multiplier",
        "fan_always_on",
        "fan_below_layer_time",
        "first_layer_bed_temperature",
        "first_layer_temperature",
        "full_fan_speed_layer",
        "idle_temperature",
        "max_fan_speed",
        "max_layer_height",
        "min_fan_speed",
        "min_layer_height",
        "min_print_speed",
        "nozzle_diameter",
        "slowdown_below_layer_time",
        "start_filament_gcode",
        "temperature",
        "travel_lift_before_obstacle",
        "travel_max_lift",
        "travel_ramping_lift",
        "travel_slope",
        "wipe",
    };
    if (key == "filament_vendor")
    {
        return false;
    }
    for (std::string_view const prefix : kPrefixes)
    {
        if (key.substr(0, prefix.size()) == prefix)
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

Line& ColourLine(std::vector<Line>& lines)
{
    Line* const colours = Find(lines, "filament_colour");
    if (colours == nullptr)
    {
        throw ProjectError(kEntry + " has no setting \"filament_colour\", so it names no filaments");
    }
    return *colours;
}

// The number of filaments: the values of "filament_colour", as the project's
// reader counts them ("extruder_colour" has as many in what PrusaSlicer
// writes).
std::size_t FilamentCount(std::vector<Line>& lines)
{
    return Split(ColourLine(lines).Value(), ';').size();
}

std::string Unquoted(std::string const& item)
{
    return item.size() >= 2 && item.front() == '"' && item.back() == '"' ? item.substr(1, item.size() - 2)
                                                                         : item;
}

// Filament `index`'s colour (checked) and type. A set "extruder_colour"
// stands before the filament's own colour where PrusaSlicer shows it, so it
// takes the new colour as well.
void SetFilamentValues(std::vector<Line>& lines, int index, std::optional<std::string> const& colour,
                       std::optional<std::string> const& type)
{
    Line& colours = ColourLine(lines);
    std::vector<std::string> colourItems = Split(colours.Value(), ';');
    std::size_t const count = colourItems.size();
    CheckFilament(index, count);
    std::size_t const at = std::size_t(index) - 1;
    if (type.has_value())
    {
        Line* const types = Find(lines, "filament_type");
        std::vector<std::string> typeItems =
            types == nullptr ? std::vector<std::string>() : Split(types->Value(), ';');
        if (typeItems.size() != count)
        {
            throw ProjectError(kEntry + " has no setting \"filament_type\" of " + std::to_string(count) +
                               " values, one per filament");
        }
        if (type->empty())
        {
            throw ProjectError("Filament " + std::to_string(index) + " can't have an empty type");
        }
        typeItems[at] = ListString(*type);
        types->SetValue(Join(typeItems, ';'));
    }
    if (colour.has_value())
    {
        std::string const checked = FilamentColour(*colour);
        colourItems[at] = checked;
        colours.SetValue(Join(colourItems, ';'));
        if (Line* const extruders = Find(lines, "extruder_colour"))
        {
            std::vector<std::string> extruderItems = Split(extruders->Value(), ';');
            if (extruderItems.size() == count && !Unquoted(extruderItems[at]).empty())
            {
                extruderItems[at] = checked;
                extruders->SetValue(Join(extruderItems, ';'));
            }
        }
    }
}
} // namespace

std::string SetPrusaFilament(std::string const& text, int index, std::optional<std::string> const& colour,
                             std::optional<std::string> const& type)
{
    std::vector<Line> lines = Lines(text);
    SetFilamentValues(lines, index, colour, type);
    return Text(lines);
}

// Every per-extruder list (see PerExtruder) grows by `like`'s value, and so
// do the lists that hold a value per filament among others:
// "compatible_printers_condition_cummulative" holds [print, filament 1..N],
// "inherits_cummulative" [print, filament 1..N, printer],
// "wiping_volumes_extruders" a pair per extruder and "wiping_volumes_matrix"
// N x N (see GrowFlushMatrix).
std::string AddPrusaFilament(std::string const& text, std::string const& colour,
                             std::optional<std::string> const& type, int like)
{
    std::vector<Line> lines = Lines(text);
    std::size_t const count = FilamentCount(lines);
    CheckFilament(like, count, "the one to copy");
    FilamentColour(colour);
    std::size_t const from = std::size_t(like) - 1;
    for (Line& line : lines)
    {
        if (line.key.empty())
        {
            continue;
        }
        std::string const value = line.Value();
        char const separator = Separator(line.key, value);
        std::vector<std::string> items = Split(value, separator);
        std::size_t const size = items.size();
        if (line.key == "wiping_volumes_matrix" && size == count * count)
        {
            items = GrowFlushMatrix(items, count, from, kUnknownWipe);
        }
        else if (line.key == "wiping_volumes_extruders" && size == 2 * count)
        {
            items.insert(items.end(), {items[2 * from], items[2 * from + 1]});
        }
        else if (line.key == "inherits_cummulative" && size == count + 2)
        {
            items.insert(items.end() - 1, std::string(items[from + 1]));
        }
        else if (line.key == "compatible_printers_condition_cummulative" && size == count + 1)
        {
            items.push_back(std::string(items[from + 1]));
        }
        else if (size == count && PerExtruder(line.key))
        {
            items.push_back(std::string(items[from]));
        }
        else
        {
            continue;
        }
        line.SetValue(Join(items, separator));
    }
    SetFilamentValues(lines, int(count) + 1, colour, type);
    return Text(lines);
}

std::string SetPrusaSetting(std::string const& text, std::string const& key, std::string const& value)
{
    if (key.empty() || key.find_first_of("= \t\r\n") != std::string::npos)
    {
        throw ProjectError(
            "\"" + key +
            "\" can't name a setting: a name is not empty and holds no '=', space or line break");
    }
    if (value.find_first_of("\r\n") != std::string::npos)
    {
        throw ProjectError("The value for the setting \"" + key +
                           "\" holds a line break, which PrusaSlicer writes as \\n");
    }
    std::vector<Line> lines = Lines(text);
    if (Line* const line = Find(lines, key))
    {
        line->SetValue(value);
        return Text(lines);
    }
    // A new setting goes after the last one, in the line ends of the text.
    auto at = lines.begin();
    for (auto line = lines.begin(); line != lines.end(); ++line)
    {
        if (!line->key.empty())
        {
            at = line + 1;
        }
    }
    if (at == lines.begin())
    {
        at = lines.end();
    }
    Line added;
    added.key = key;
    added.text = "; " + key + " = " + value;
    added.value = added.text.size() - value.size();
    added.end = text.find("\r\n") == std::string::npos ? "\n" : "\r\n";
    if (at != lines.begin() && (at - 1)->end.empty())
    {
        // The line before ended the text without a line end: so does the new one.
        (at - 1)->end = added.end;
        added.end.clear();
    }
    lines.insert(at, added);
    return Text(lines);
}
} // namespace format3mf::slicerproject
