// Working out what a project tells from its relationships, its root model
// (meshes skipped), its settings and its model settings.
#include "slicerproject/ProjectView.h"

#include "common/StringConversion.h"
#include "project/ConfigXml.h"
#include "project/ProjectConfig.h"
#include "slicerproject/EntryStore.h"
#include "slicerproject/XmlOutline.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <sstream>

namespace format3mf::slicerproject
{
namespace
{
constexpr char const* kModelRelationship = "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel";
constexpr char const* kThumbnailRelationship =
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/thumbnail";
// The slicers lay their plates out on a grid with a fifth of a plate between
// neighbours.
constexpr double kPlateGap = 0.2;

std::string Narrow(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

// A relationship's target as an entry name.
std::string EntryOfTarget(std::string target)
{
    while (!target.empty() && target.front() == '/')
    {
        target.erase(0, 1);
    }
    return target;
}

double UnitScale(std::string const* unit)
{
    static std::pair<char const*, double> const kUnits[] = {{"micron", 0.001},  {"millimeter", 1},
                                                            {"centimeter", 10}, {"inch", 25.4},
                                                            {"foot", 304.8},    {"meter", 1000}};
    for (auto const& [name, scale] : kUnits)
    {
        if (unit != nullptr && *unit == name)
        {
            return scale;
        }
    }
    return 1;
}

bool ParseInt(std::string const* text, int& value)
{
    if (text == nullptr)
    {
        return false;
    }
    auto const [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    return error == std::errc() && end == text->data() + text->size();
}

std::string ColourText(std::uint32_t rgb)
{
    char text[8];
    // Packed as MStlColor packs it: red in the low byte.
    std::snprintf(text, sizeof text, "#%02X%02X%02X", unsigned(rgb) & 0xFF, unsigned(rgb >> 8) & 0xFF,
                  unsigned(rgb >> 16) & 0xFF);
    return text;
}

// The settings' 4 x 4 matrix, row by row with the translation in the last
// column, as a 3MF transform.
bool MatrixOfRows(std::string const& text, ProjectMatrix& matrix)
{
    std::istringstream stream(text);
    double m[16];
    for (double& value : m)
    {
        if (!(stream >> value))
        {
            return false;
        }
    }
    for (int column = 0; column < 4; ++column)
    {
        for (int row = 0; row < 3; ++row)
        {
            matrix[std::size_t(column * 3 + row)] = m[row * 4 + column];
        }
    }
    return true;
}

// PrusaSlicer's "; key = value" lines.
std::vector<std::pair<std::string, std::string>> PrusaLines(std::string const& text)
{
    std::vector<std::pair<std::string, std::string>> settings;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line))
    {
        if (!line.empty() && line.back() == '\r')
        {
            line.pop_back();
        }
        std::size_t const equals = line.find(" = ");
        if (line.rfind("; ", 0) != 0 || equals == std::string::npos)
        {
            continue;
        }
        settings.emplace_back(line.substr(2, equals - 2), line.substr(equals + 3));
    }
    return settings;
}

std::vector<std::string> SplitList(std::string const& value)
{
    std::vector<std::string> values;
    std::size_t start = 0;
    while (true)
    {
        std::size_t const end = value.find(';', start);
        std::string item = value.substr(start, end - start);
        if (item.size() >= 2 && item.front() == '"' && item.back() == '"')
        {
            item = item.substr(1, item.size() - 2);
        }
        values.push_back(item);
        if (end == std::string::npos)
        {
            return values;
        }
        start = end + 1;
    }
}

ProjectDialect DialectOf(std::string const& application, bool bambuSettings, bool prusaSettings)
{
    auto const starts = [&](char const* prefix) { return application.rfind(prefix, 0) == 0; };
    if (starts("QIDIStudio"))
    {
        return ProjectDialect::Qidi;
    }
    if (starts("CrealityPrint") || starts("Creality"))
    {
        return ProjectDialect::Creality;
    }
    if (starts("OrcaSlicer"))
    {
        return ProjectDialect::Orca;
    }
    if (starts("BambuStudio"))
    {
        // OrcaSlicer writes "BambuStudio-" with its own version, of three
        // numbers; Bambu Studio's versions have four ("02.01.01.52").
        std::string const version = application.substr(application.find('-') + 1);
        return std::count(version.begin(), version.end(), '.') == 3 ? ProjectDialect::Bambu
                                                                    : ProjectDialect::Orca;
    }
    if (starts("PrusaSlicer") || prusaSettings)
    {
        return ProjectDialect::Prusa;
    }
    return bambuSettings ? ProjectDialect::Bambu : ProjectDialect::Plain;
}

void ReadRelationships(EntryStore const& store, ProjectView& view)
{
    view.rootModel = "3D/3dmodel.model";
    if (!store.Has(kRootRelationships))
    {
        return;
    }
    for (OutlineElement const& element : OutlineXml(store.Read(kRootRelationships), kRootRelationships, 1))
    {
        std::string const* const type = element.Attribute("Type");
        std::string const* const target = element.Attribute("Target");
        if (element.depth != 1 || type == nullptr || target == nullptr)
        {
            continue;
        }
        if (*type == kModelRelationship)
        {
            view.rootModel = EntryOfTarget(*target);
        }
        else if (*type == kThumbnailRelationship && view.packageThumbnail.empty())
        {
            view.packageThumbnail = EntryOfTarget(*target);
        }
        else if (type->find("thumbnail") != std::string::npos)
        {
            view.thumbnails.push_back(EntryOfTarget(*target));
        }
    }
}

void ReadRootModel(EntryStore const& store, ProjectView& view)
{
    if (!store.Has(view.rootModel))
    {
        throw ProjectError("The package holds no model: its root model " + view.rootModel + " is missing");
    }
    // Streamed: the meshes of a PrusaSlicer project lie in its root model.
    std::vector<OutlineElement> const outline =
        OutlineXml([&](std::function<void(char const*, std::size_t)> const& take)
                   { store.Stream(view.rootModel, take); },
                   view.rootModel, 4, {"mesh", "slicestack", "beamlattice"});
    if (outline.empty() || outline.front().LocalName() != "model")
    {
        throw ProjectError("The root model " + view.rootModel + " has no \"model\" element");
    }
    view.unitScale = UnitScale(outline.front().Attribute("unit"));
    ViewObject* object = nullptr;
    std::size_t objectEnd = 0;
    for (OutlineElement const& element : outline)
    {
        std::string_view const name = element.LocalName();
        if (element.depth == 1 && name == "metadata" && element.Attribute("name") != nullptr)
        {
            view.metadata.emplace_back(*element.Attribute("name"), element.text);
            if (*element.Attribute("name") == "Application")
            {
                view.application = element.text;
            }
        }
        else if (element.depth == 2 && name == "object")
        {
            object = &view.objects.emplace_back();
            objectEnd = element.end;
            ParseInt(element.Attribute("id"), object->object.id);
            if (std::string const* const objectName = element.Attribute("name"))
            {
                object->object.name = *objectName;
            }
        }
        else if (element.depth == 3 && name == "mesh" && object != nullptr && element.begin < objectEnd)
        {
            object->hasMesh = true;
        }
        else if (element.depth == 4 && name == "component" && object != nullptr && element.begin < objectEnd)
        {
            std::string const* const path = element.Attribute("path");
            object->componentParts.push_back(path != nullptr ? EntryOfTarget(*path) : std::string());
            int componentObject = 0;
            ParseInt(element.Attribute("objectid"), componentObject);
            object->componentObjects.push_back(componentObject);
        }
        else if (element.depth == 2 && name == "item")
        {
            ViewItem& item = view.items.emplace_back();
            ParseInt(element.Attribute("objectid"), item.objectId);
            if (std::string const* const transform = element.Attribute("transform"))
            {
                ParseMatrix(*transform, item.transform);
            }
            for (std::size_t i = 9; i < 12; ++i)
            {
                item.transform[i] *= view.unitScale;
            }
        }
    }
}

void ReadSettings(EntryStore const& store, ProjectView& view, project::ProjectConfig& config)
{
    bool const bambu = store.Has(kBambuSettings);
    bool const prusa = !bambu && store.Has(kPrusaSettings);
    view.settingsEntry = bambu ? kBambuSettings : prusa ? kPrusaSettings : "";
    view.dialect = DialectOf(view.application, bambu, prusa);
    if (view.settingsEntry.empty())
    {
        return;
    }
    std::string const text = store.Read(view.settingsEntry);
    std::string const problem =
        bambu ? project::ReadBambuFilaments(text, config) : project::ReadPrusaFilaments(text, config);
    if (!problem.empty())
    {
        view.warnings.push_back("The project settings " + view.settingsEntry + " are not read: " + problem +
                                "; the filaments are not known.");
    }
    std::vector<std::string> types;
    std::vector<std::string> presets;
    if (bambu)
    {
        nlohmann::json const settings = nlohmann::json::parse(text, nullptr, false);
        view.settingsRead = settings.is_object();
        auto const strings = [&](char const* key)
        {
            std::vector<std::string> values;
            auto const found = view.settingsRead ? settings.find(key) : settings.end();
            if (view.settingsRead && found != settings.end() && found->is_array())
            {
                for (auto const& value : *found)
                {
                    values.push_back(value.is_string() ? value.get<std::string>() : std::string());
                }
            }
            return values;
        };
        types = strings("filament_type");
        presets = strings("filament_settings_id");
        std::vector<std::string> const area = strings("printable_area");
        BedSize(area, view.bedWidth, view.bedDepth);
    }
    else
    {
        view.prusaSettings = PrusaLines(text);
        view.settingsRead = true;
        for (auto const& [key, value] : view.prusaSettings)
        {
            if (key == "filament_type")
            {
                types = SplitList(value);
            }
            else if (key == "filament_settings_id")
            {
                presets = SplitList(value);
            }
        }
    }
    for (std::size_t i = 0; i < config.filaments.size(); ++i)
    {
        ProjectFilament filament;
        filament.index = int(i + 1);
        filament.colour = ColourText(config.filaments[i]);
        filament.type = i < types.size() ? types[i] : std::string();
        filament.preset = i < presets.size() ? presets[i] : std::string();
        view.filaments.push_back(std::move(filament));
    }
}

void ReadPlates(project::ConfigElement const& root, ProjectView& view)
{
    for (project::ConfigElement const& element : root.children)
    {
        if (element.name != "plate")
        {
            continue;
        }
        ProjectPlate plate;
        if (!ParseInt(element.Metadata("plater_id"), plate.id))
        {
            plate.id = int(view.plates.size() + 1);
        }
        auto const text = [&](char const* key)
        {
            std::string const* const value = element.Metadata(key);
            return value != nullptr ? *value : std::string();
        };
        plate.name = text("plater_name");
        plate.thumbnail = text("thumbnail_file");
        plate.gcode = text("gcode_file");
        for (char const* key : {"thumbnail_file", "thumbnail_no_light_file", "top_file", "pick_file"})
        {
            if (!text(key).empty())
            {
                view.thumbnails.push_back(text(key));
            }
        }
        for (project::ConfigElement const& instance : element.children)
        {
            int objectId = 0;
            int instanceId = 0;
            if (instance.name != "model_instance" || !ParseInt(instance.Metadata("object_id"), objectId))
            {
                continue;
            }
            ParseInt(instance.Metadata("instance_id"), instanceId);
            // The instance'th build item of the object.
            int seen = 0;
            ViewItem* placed = nullptr;
            for (ViewItem& item : view.items)
            {
                if (item.objectId == objectId && seen++ == instanceId)
                {
                    placed = &item;
                    break;
                }
            }
            if (placed == nullptr)
            {
                view.warnings.push_back(
                    "Plate " + std::to_string(plate.id) + " of " + view.modelSettingsEntry +
                    " places object " + std::to_string(objectId) +
                    (instanceId != 0 ? " (instance " + std::to_string(instanceId) + ")" : "") +
                    ", which the model does not hold; the plate is read without it.");
                continue;
            }
            placed->plate = plate.id;
            plate.items.push_back({objectId, placed->transform});
        }
        view.plates.push_back(std::move(plate));
    }
}

void ReadModelSettings(EntryStore const& store, ProjectView& view, project::ProjectConfig& config)
{
    bool const bambu = store.Has(kBambuModelSettings);
    view.modelSettingsEntry = bambu                            ? kBambuModelSettings
                              : store.Has(kPrusaModelSettings) ? kPrusaModelSettings
                                                               : "";
    if (view.modelSettingsEntry.empty())
    {
        return;
    }
    std::string const text = store.Read(view.modelSettingsEntry);
    std::string problem =
        bambu ? project::ReadBambuObjects(text, config) : project::ReadPrusaObjects(text, config);
    if (!problem.empty())
    {
        view.warnings.push_back("The project settings " + view.modelSettingsEntry + " are not read: " +
                                problem + "; the objects are listed without their parts and plates.");
        return;
    }
    if (bambu)
    {
        project::ConfigElement root;
        project::ParseConfigXml(text, root);
        ReadPlates(root, view);
    }
}

void DescribeObjects(ProjectView& view, project::ProjectConfig const& config)
{
    for (ViewObject& object : view.objects)
    {
        auto const described = config.objects.find(object.object.id);
        if (described == config.objects.end())
        {
            continue;
        }
        if (!described->second.problem.empty())
        {
            view.warnings.push_back("The project settings " + view.modelSettingsEntry + " describe object " +
                                    std::to_string(object.object.id) + " in a way that can't be used: " +
                                    Narrow(described->second.problem) + ".");
        }
        object.object.name =
            described->second.name.empty() ? object.object.name : Narrow(described->second.name);
        object.object.extruder = described->second.extruder;
        int number = 0;
        for (project::PartConfig const& config : described->second.parts)
        {
            ProjectPart part;
            // PrusaSlicer's volumes have no identifier: they are numbered.
            part.id = view.modelSettingsEntry == kPrusaModelSettings ? ++number : config.id;
            part.name = Narrow(config.name);
            part.role = config.role;
            part.extruder = config.extruder;
            if (!config.matrix.empty() && !MatrixOfRows(config.matrix, part.matrix))
            {
                view.warnings.push_back(
                    "Part " + std::to_string(part.id) + " of object " + std::to_string(object.object.id) +
                    " in " + view.modelSettingsEntry +
                    " has a matrix that is not sixteen numbers; it is taken as the identity.");
            }
            object.object.parts.push_back(std::move(part));
        }
    }
}

void LayOutPlates(ProjectView& view)
{
    if (view.plates.empty())
    {
        // One plate for all: PrusaSlicer's and plain projects.
        ProjectPlate plate;
        plate.id = 1;
        plate.thumbnail = view.packageThumbnail;
        for (ViewItem& item : view.items)
        {
            item.plate = 1;
            plate.items.push_back({item.objectId, item.transform});
        }
        view.plates.push_back(std::move(plate));
        return;
    }
    // Bambu Studio and its kin: as many columns as the square root of the
    // count, rounded up; rows go down from the first.
    auto const columns = std::size_t(std::ceil(std::sqrt(double(view.plates.size())) - 1e-9));
    for (std::size_t i = 0; i < view.plates.size(); ++i)
    {
        ProjectPlate& plate = view.plates[i];
        plate.originX = double(i % columns) * view.bedWidth * (1 + kPlateGap);
        plate.originY = -double(i / columns) * view.bedDepth * (1 + kPlateGap);
        for (ProjectPlacement& placement : plate.items)
        {
            placement.transform[9] -= plate.originX;
            placement.transform[10] -= plate.originY;
        }
    }
}
} // namespace

ViewObject const* ProjectView::FindObject(int id) const
{
    for (ViewObject const& object : objects)
    {
        if (object.object.id == id)
        {
            return &object;
        }
    }
    return nullptr;
}

ProjectPlate const* ProjectView::FindPlate(int id) const
{
    for (ProjectPlate const& plate : plates)
    {
        if (plate.id == id)
        {
            return &plate;
        }
    }
    return nullptr;
}

ProjectView ReadProjectView(EntryStore const& store)
{
    ProjectView view;
    ReadRelationships(store, view);
    ReadRootModel(store, view);
    project::ProjectConfig config;
    // A settings part that can't be read leaves a warning, and what the
    // others tell stays.
    try
    {
        ReadSettings(store, view, config);
    }
    catch (ProjectError const& error)
    {
        view.warnings.push_back(error.what());
    }
    try
    {
        ReadModelSettings(store, view, config);
    }
    catch (ProjectError const& error)
    {
        view.warnings.push_back(error.what());
    }
    DescribeObjects(view, config);
    LayOutPlates(view);
    for (ViewObject const& object : view.objects)
    {
        view.publicObjects.push_back(object.object);
    }
    if (!view.packageThumbnail.empty())
    {
        view.thumbnails.insert(view.thumbnails.begin(), view.packageThumbnail);
    }
    for (ProjectEntry const& entry : store.List())
    {
        if (entry.name.rfind("Auxiliaries/.thumbnails/", 0) == 0)
        {
            view.thumbnails.push_back(entry.name);
        }
    }
    std::vector<std::string> unique;
    for (std::string const& name : view.thumbnails)
    {
        if (store.Has(name) && std::find(unique.begin(), unique.end(), name) == unique.end())
        {
            unique.push_back(name);
        }
    }
    view.thumbnails = std::move(unique);
    return view;
}

std::string FormatMatrix(ProjectMatrix const& matrix)
{
    std::string text;
    for (double const value : matrix)
    {
        char number[32];
        std::snprintf(number, sizeof number, "%.9g", value == 0 ? 0.0 : value);
        text += text.empty() ? "" : " ";
        text += number;
    }
    return text;
}

bool ParseMatrix(std::string const& text, ProjectMatrix& matrix)
{
    std::istringstream stream(text);
    ProjectMatrix parsed{};
    for (double& value : parsed)
    {
        if (!(stream >> value))
        {
            return false;
        }
    }
    matrix = parsed;
    return true;
}

bool BedSize(std::vector<std::string> const& area, double& width, double& depth)
{
    double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    for (std::string const& corner : area)
    {
        double x = 0, y = 0;
        if (std::sscanf(corner.c_str(), "%lfx%lf", &x, &y) != 2)
        {
            return false;
        }
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
    }
    if (area.empty() || !(maxX > minX) || !(maxY > minY))
    {
        return false;
    }
    width = maxX - minX;
    depth = maxY - minY;
    return true;
}
} // namespace format3mf::slicerproject
