// The project's queries and the edits of its settings, model settings,
// metadata, thumbnails and entries.
#include "format3mf/Project.h"

#include "project/ConfigXml.h"
#include "slicerproject/PackageUpkeep.h"
#include "slicerproject/ProjectEdits.h"
#include "slicerproject/ProjectState.h"
#include "slicerproject/XmlOutline.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace format3mf
{
using namespace slicerproject;

namespace
{
constexpr unsigned char kPngSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

std::vector<OutlineElement> RootOutline(ProjectView const& view, std::string const& text)
{
    return OutlineXml(text, view.rootModel, 4, {"mesh", "slicestack", "beamlattice"});
}

// The model settings as a tree; throws where the project has none or they
// are not XML.
project::ConfigElement ModelSettings(Project::State const& state, std::string const& edit)
{
    if (state.view.modelSettingsEntry.empty())
    {
        throw ProjectError("The project has no model settings (" + std::string(kBambuModelSettings) + " or " +
                           kPrusaModelSettings + ") to " + edit);
    }
    project::ConfigElement root;
    std::string const problem =
        project::ParseConfigXml(state.store.Read(state.view.modelSettingsEntry), root);
    if (!problem.empty())
    {
        throw ProjectError("The model settings " + state.view.modelSettingsEntry +
                           " can't be edited: " + problem);
    }
    return root;
}

std::string const& RequireSettings(Project::State const& state)
{
    if (state.view.settingsEntry.empty())
    {
        throw ProjectError("The project has no settings (" + std::string(kBambuSettings) + " or " +
                           kPrusaSettings + ")");
    }
    return state.view.settingsEntry;
}

bool IsPng(std::string const& data)
{
    return data.size() > sizeof kPngSignature + 8 &&
           std::memcmp(data.data(), kPngSignature, sizeof kPngSignature) == 0 &&
           data.compare(sizeof kPngSignature + 4, 4, "IHDR") == 0;
}
} // namespace

namespace slicerproject
{
ViewObject const& RequireObject(ProjectView const& view, int objectId)
{
    ViewObject const* const object = view.FindObject(objectId);
    if (object == nullptr)
    {
        throw ProjectError("The project has no object " + std::to_string(objectId));
    }
    return *object;
}

void RequireFilament(ProjectView const& view, int filament, char const* what)
{
    if (filament < 1 || (!view.filaments.empty() && filament > int(view.filaments.size())))
    {
        throw ProjectError(std::string(what) + " " + std::to_string(filament) +
                           " is not one of the project's " + std::to_string(view.filaments.size()) +
                           " filaments");
    }
}
} // namespace slicerproject

Project::Project(std::unique_ptr<State> state) : m_state(std::move(state)) {}

Project::~Project() = default;

std::unique_ptr<Project> Project::Open(std::filesystem::path const& path)
{
    return std::unique_ptr<Project>(new Project(std::make_unique<State>(path)));
}

ProjectDialect Project::Dialect() const
{
    return m_state->view.dialect;
}

std::string const& Project::Application() const
{
    return m_state->view.application;
}

std::vector<std::pair<std::string, std::string>> const& Project::Metadata() const
{
    return m_state->view.metadata;
}

std::vector<ProjectFilament> const& Project::Filaments() const
{
    return m_state->view.filaments;
}

std::vector<ProjectObject> const& Project::Objects() const
{
    return m_state->view.publicObjects;
}

std::vector<ProjectPlate> const& Project::Plates() const
{
    return m_state->view.plates;
}

std::vector<std::string> const& Project::Warnings() const
{
    return m_state->view.warnings;
}

std::string Project::SettingsJson() const
{
    ProjectView const& view = m_state->view;
    if (!view.settingsRead)
    {
        return "{}";
    }
    if (view.settingsEntry == kBambuSettings)
    {
        return m_state->store.Read(view.settingsEntry);
    }
    nlohmann::ordered_json settings = nlohmann::ordered_json::object();
    for (auto const& [key, value] : view.prusaSettings)
    {
        settings[key] = value;
    }
    return settings.dump(4, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<std::string> Project::Thumbnail(int plate) const
{
    std::string entry = m_state->view.packageThumbnail;
    if (plate != 0)
    {
        ProjectPlate const* const found = m_state->view.FindPlate(plate);
        if (found == nullptr)
        {
            throw ProjectError("The project has no plate " + std::to_string(plate));
        }
        entry = found->thumbnail;
    }
    if (entry.empty() || !m_state->store.Has(entry))
    {
        return std::nullopt;
    }
    return m_state->store.Read(entry);
}

std::vector<std::string> Project::ThumbnailEntries() const
{
    return m_state->view.thumbnails;
}

std::vector<ProjectEntry> Project::Entries() const
{
    return m_state->store.List();
}

bool Project::HasEntry(std::string const& name) const
{
    return m_state->store.Has(name);
}

std::string Project::ReadEntry(std::string const& name) const
{
    return m_state->store.Read(name);
}

void Project::WriteEntry(std::string const& name, std::string data)
{
    Transact(*m_state,
             [&]
             {
                 m_state->store.Write(name, std::move(data));
                 EnsureContentType(m_state->store, name);
             });
}

void Project::RemoveEntry(std::string const& name)
{
    if (name == m_state->view.rootModel || name == kContentTypes)
    {
        throw ProjectError("The entry " + name + " can't be removed: the package is no 3MF file without it");
    }
    Transact(*m_state,
             [&]
             {
                 m_state->store.Remove(name);
                 ForgetEntry(m_state->store, name);
             });
}

void Project::SetFilament(int index, std::optional<std::string> colour, std::optional<std::string> type)
{
    std::string const& entry = RequireSettings(*m_state);
    Transact(*m_state,
             [&]
             {
                 std::string const text = m_state->store.Read(entry);
                 m_state->store.Write(entry, entry == kBambuSettings
                                                 ? SetBambuFilament(text, index, colour, type)
                                                 : SetPrusaFilament(text, index, colour, type));
             });
}

int Project::AddFilament(std::string const& colour, std::optional<std::string> type, int like)
{
    std::string const& entry = RequireSettings(*m_state);
    Transact(*m_state,
             [&]
             {
                 std::string const text = m_state->store.Read(entry);
                 m_state->store.Write(entry, entry == kBambuSettings
                                                 ? AddBambuFilament(text, colour, type, like)
                                                 : AddPrusaFilament(text, colour, type, like));
             });
    return int(m_state->view.filaments.size());
}

void Project::SetExtruder(int objectId, int extruder, std::optional<int> partId)
{
    RequireObject(m_state->view, objectId);
    RequireFilament(m_state->view, extruder, "Extruder");
    project::ConfigElement settings = ModelSettings(*m_state, "hold extruders");
    SetObjectExtruder(settings, objectId, extruder, partId);
    Transact(*m_state,
             [&] { m_state->store.Write(m_state->view.modelSettingsEntry, WriteConfigXml(settings)); });
}

void Project::Rename(int objectId, std::string const& name)
{
    ViewObject const& object = RequireObject(m_state->view, objectId);
    project::ConfigElement settings;
    bool const described = !m_state->view.modelSettingsEntry.empty();
    if (described)
    {
        settings = ModelSettings(*m_state, "name objects");
        RenameObject(settings, objectId, name);
    }
    Transact(*m_state,
             [&]
             {
                 if (described)
                 {
                     m_state->store.Write(m_state->view.modelSettingsEntry, WriteConfigXml(settings));
                 }
                 // The model's own name where it has one, or where nothing
                 // else names the object.
                 std::string const& root = m_state->view.rootModel;
                 std::string const text = m_state->store.Read(root);
                 for (OutlineElement const& element : RootOutline(m_state->view, text))
                 {
                     std::string const* const id = element.Attribute("id");
                     if (element.depth != 2 || element.LocalName() != "object" || id == nullptr ||
                         *id != std::to_string(object.object.id))
                     {
                         continue;
                     }
                     std::string const tag = text.substr(element.begin, element.contentBegin - element.begin);
                     std::size_t const at = tag.find(" name=\"");
                     if (at != std::string::npos)
                     {
                         std::size_t const valueEnd = tag.find('"', at + 7);
                         m_state->store.Write(
                             root, ApplySplices(text, {{element.begin + at + 7, element.begin + valueEnd,
                                                        EscapeXml(name)}}));
                     }
                     else if (!described)
                     {
                         std::size_t const nameEnd = element.begin + 1 + element.name.size();
                         m_state->store.Write(
                             root,
                             ApplySplices(text, {{nameEnd, nameEnd, " name=\"" + EscapeXml(name) + "\""}}));
                     }
                     break;
                 }
             });
}

void Project::SetMetadata(std::string const& key, std::string const& value)
{
    if (key.empty())
    {
        throw ProjectError("Metadata needs a name");
    }
    Transact(*m_state,
             [&]
             {
                 std::string const& root = m_state->view.rootModel;
                 std::string const text = m_state->store.Read(root);
                 std::vector<OutlineElement> const outline = RootOutline(m_state->view, text);
                 for (OutlineElement const& element : outline)
                 {
                     std::string const* const name = element.Attribute("name");
                     if (element.depth == 1 && element.LocalName() == "metadata" && name != nullptr &&
                         *name == key)
                     {
                         m_state->store.Write(
                             root,
                             ApplySplices(text, {{element.begin, element.end,
                                                  "<" + element.name + " name=\"" + EscapeXml(key) + "\">" +
                                                      EscapeXml(value) + "</" + element.name + ">"}}));
                         return;
                     }
                 }
                 // A new one after the last metadata, or first in the model.
                 std::string const qualified =
                     outline.front().name.size() > 5
                         ? outline.front().name.substr(0, outline.front().name.size() - 5) + "metadata"
                         : std::string("metadata");
                 std::string const element = "<" + qualified + " name=\"" + EscapeXml(key) + "\">" +
                                             EscapeXml(value) + "</" + qualified + ">";
                 OutlineElement const* resources = FindElement(outline, "resources", 1);
                 std::size_t at = resources != nullptr ? resources->begin : outline.front().contentBegin;
                 std::size_t const lineStart = text.rfind('\n', at == 0 ? 0 : at - 1);
                 std::size_t const from = lineStart == std::string::npos ? 0 : lineStart + 1;
                 std::string const indent = text.substr(from, at - from);
                 bool const ownLine = indent.find_first_not_of(" \t") == std::string::npos;
                 m_state->store.Write(
                     root, ApplySplices(text, {ownLine ? XmlSplice{from, from, indent + element + "\n"}
                                                       : XmlSplice{at, at, element}}));
             });
}

void Project::SetSetting(std::string const& key, std::string const& value)
{
    std::string const& entry = RequireSettings(*m_state);
    Transact(*m_state,
             [&]
             {
                 std::string const text = m_state->store.Read(entry);
                 m_state->store.Write(entry, entry == kBambuSettings ? SetBambuSetting(text, key, value)
                                                                     : SetPrusaSetting(text, key, value));
             });
}

void Project::SetSetting(std::string const& key, std::vector<std::string> const& values)
{
    std::string const& entry = RequireSettings(*m_state);
    Transact(*m_state,
             [&]
             {
                 std::string const text = m_state->store.Read(entry);
                 if (entry == kBambuSettings)
                 {
                     m_state->store.Write(entry, SetBambuSetting(text, key, values));
                     return;
                 }
                 std::string joined;
                 for (std::string const& value : values)
                 {
                     joined += (joined.empty() ? "" : ";") + value;
                 }
                 m_state->store.Write(entry, SetPrusaSetting(text, key, joined));
             });
}

void Project::SetThumbnail(std::string png, int plate)
{
    if (!IsPng(png))
    {
        throw ProjectError("The thumbnail is not a PNG image (it lacks PNG's signature and header)");
    }
    ProjectView const& view = m_state->view;
    ProjectPlate const* const found = plate == 0 ? nullptr : view.FindPlate(plate);
    if (plate != 0 && found == nullptr)
    {
        throw ProjectError("The project has no plate " + std::to_string(plate));
    }
    bool const packages = plate == 0 || view.modelSettingsEntry != kBambuModelSettings;
    std::string entry = packages ? view.packageThumbnail : found->thumbnail;
    bool const newPackageThumbnail = packages && entry.empty();
    if (entry.empty())
    {
        entry = packages ? "Metadata/thumbnail.png" : "Metadata/plate_" + std::to_string(plate) + ".png";
    }
    project::ConfigElement settings;
    if (!packages && found->thumbnail.empty())
    {
        settings = ModelSettings(*m_state, "name a plate's thumbnail");
        for (project::ConfigElement& element : settings.children)
        {
            std::string const* const id = element.Metadata("plater_id");
            if (element.name == "plate" && id != nullptr && *id == std::to_string(plate))
            {
                project::ConfigElement& metadata = element.children.emplace_back();
                metadata.name = "metadata";
                metadata.attributes = {{"key", "thumbnail_file"}, {"value", entry}};
            }
        }
    }
    Transact(*m_state,
             [&]
             {
                 m_state->store.Write(entry, std::move(png));
                 EnsureContentType(m_state->store, entry);
                 if (newPackageThumbnail)
                 {
                     AddRelationship(m_state->store, kRootRelationships, entry, kThumbnailRelationshipType);
                 }
                 if (!settings.name.empty())
                 {
                     m_state->store.Write(view.modelSettingsEntry, WriteConfigXml(settings));
                 }
             });
}

void Project::RemoveObject(int objectId)
{
    ViewObject const object = RequireObject(m_state->view, objectId);
    std::optional<project::ConfigElement> settings;
    if (!m_state->view.modelSettingsEntry.empty())
    {
        settings = ModelSettings(*m_state, "remove objects from");
        RemoveObjectSettings(*settings, objectId);
    }
    Transact(
        *m_state,
        [&]
        {
            ProjectView const& view = m_state->view;
            std::string const text = m_state->store.Read(view.rootModel);
            std::vector<XmlSplice> removals;
            std::string const id = std::to_string(objectId);
            for (OutlineElement const& element : RootOutline(view, text))
            {
                std::string const* const own = element.Attribute("id");
                std::string const* const placed = element.Attribute("objectid");
                if ((element.depth == 2 && element.LocalName() == "object" && own != nullptr && *own == id) ||
                    (element.depth == 2 && element.LocalName() == "item" && placed != nullptr &&
                     *placed == id))
                {
                    removals.push_back(RemovalOf(text, element));
                }
            }
            m_state->store.Write(view.rootModel, ApplySplices(text, removals));
            if (settings)
            {
                m_state->store.Write(view.modelSettingsEntry, WriteConfigXml(*settings));
            }
            // The model parts that held its parts alone go with it.
            for (std::string const& part : object.componentParts)
            {
                bool const shared =
                    std::any_of(view.objects.begin(), view.objects.end(),
                                [&](ViewObject const& other)
                                {
                                    return other.object.id != objectId &&
                                           std::find(other.componentParts.begin(), other.componentParts.end(),
                                                     part) != other.componentParts.end();
                                });
                if (!part.empty() && !shared && part != view.rootModel && m_state->store.Has(part))
                {
                    m_state->store.Remove(part);
                    ForgetEntry(m_state->store, part);
                }
            }
        });
}

void Project::Save(std::filesystem::path const& path) const
{
    m_state->store.Save(path);
}
} // namespace format3mf
