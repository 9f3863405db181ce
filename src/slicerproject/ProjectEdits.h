// The edits of a project's settings parts, each from the text of the part as
// it stands to the text it becomes. They check what they name first and
// throw ProjectError, leaving nothing changed, when the edit can't apply.
#pragma once

#include "format3mf/Project.h"
#include "project/ConfigXml.h"

#include <optional>
#include <string>
#include <vector>

namespace format3mf::slicerproject
{
// The Bambu family's project settings (JSON, "Metadata/project_settings.config").
// The filament's colour ("#RRGGBB", checked) and type, in "filament_colour"
// and "filament_type".
std::string SetBambuFilament(std::string const& json, int index, std::optional<std::string> const& colour,
                             std::optional<std::string> const& type);
// A filament more, copied from filament `like`: every per-filament list
// grows by a copy of `like`'s value, the flush matrix to N x N with the new
// row and column copied from `like`'s (0 on the diagonal).
std::string AddBambuFilament(std::string const& json, std::string const& colour,
                             std::optional<std::string> const& type, int like);
// A value for a setting that holds a string, a list for one that holds a
// list; a setting the file lacks is added as given.
std::string SetBambuSetting(std::string const& json, std::string const& key, std::string const& value);
std::string SetBambuSetting(std::string const& json, std::string const& key,
                            std::vector<std::string> const& values);

// PrusaSlicer's settings ("Metadata/Slic3r_PE.config", lines "; key = value",
// lists joined by ';'): the same edits, filaments being its extruders.
std::string SetPrusaFilament(std::string const& text, int index, std::optional<std::string> const& colour,
                             std::optional<std::string> const& type);
std::string AddPrusaFilament(std::string const& text, std::string const& colour,
                             std::optional<std::string> const& type, int like);
std::string SetPrusaSetting(std::string const& text, std::string const& key, std::string const& value);

// The model settings ("Metadata/model_settings.config" of the Bambu family,
// "Metadata/Slic3r_PE_model.config" of PrusaSlicer) as an element tree.
// With a part, the part's extruder (Bambu: the "part" of that id;
// PrusaSlicer: the volume of that number, from 1); else the object's.
void SetObjectExtruder(project::ConfigElement& config, int objectId, int extruder, std::optional<int> partId);
void RenameObject(project::ConfigElement& config, int objectId, std::string const& name);
// The object's entry and, in the Bambu family, its instances on the plates
// and its assembly entries.
void RemoveObjectSettings(project::ConfigElement& config, int objectId);

// The tree as the slicers write it: an XML declaration, two spaces of
// indent per level, attributes in their order.
std::string WriteConfigXml(project::ConfigElement const& config);
} // namespace format3mf::slicerproject
