// What an open project tells, worked out from its entries as they stand:
// read once on opening and again after each edit.
#pragma once

#include "format3mf/Project.h"

#include <string>
#include <utility>
#include <vector>

namespace format3mf::slicerproject
{
class EntryStore;

// The Bambu family's settings and model settings, and PrusaSlicer's.
constexpr char const* kBambuSettings = "Metadata/project_settings.config";
constexpr char const* kBambuModelSettings = "Metadata/model_settings.config";
constexpr char const* kPrusaSettings = "Metadata/Slic3r_PE.config";
constexpr char const* kPrusaModelSettings = "Metadata/Slic3r_PE_model.config";
constexpr char const* kRootRelationships = "_rels/.rels";
constexpr char const* kContentTypes = "[Content_Types].xml";

struct ViewItem
{
    int objectId = 0;
    // As the file places it, in millimetres.
    ProjectMatrix transform{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    // 0 when no plate holds it.
    int plate = 0;
};

struct ViewObject
{
    ProjectObject object;
    // The model parts its components name, without the leading '/'.
    std::vector<std::string> componentParts;
    // The objects its components place, in their model parts.
    std::vector<int> componentObjects;
    bool hasMesh = false;
};

struct ProjectView
{
    ProjectDialect dialect = ProjectDialect::Plain;
    std::string application;
    std::string rootModel;
    // Millimetres per unit of the root model.
    double unitScale = 1;
    std::vector<std::pair<std::string, std::string>> metadata;
    std::vector<ProjectFilament> filaments;
    std::vector<ViewObject> objects;
    std::vector<ProjectObject> publicObjects;
    std::vector<ProjectPlate> plates;
    std::vector<ViewItem> items;
    std::vector<std::string> warnings;
    // Empty where the project has none.
    std::string settingsEntry;
    std::string modelSettingsEntry;
    // Whether the settings could be read (JSON, or PrusaSlicer's lines).
    bool settingsRead = false;
    // PrusaSlicer's settings by key, or the Bambu family's JSON text.
    std::vector<std::pair<std::string, std::string>> prusaSettings;
    std::string packageThumbnail;
    std::vector<std::string> thumbnails;
    // The size of a plate, for the grid the plates lie on.
    double bedWidth = 256;
    double bedDepth = 256;

    ViewObject const* FindObject(int id) const;
    ProjectPlate const* FindPlate(int id) const;
};

// Throws ProjectError when the package has no root model that is XML.
ProjectView ReadProjectView(EntryStore const& store);

// The 3MF transform as the twelve numbers of a "transform" attribute, and back
// (false for text that is not twelve numbers).
std::string FormatMatrix(ProjectMatrix const& matrix);
bool ParseMatrix(std::string const& text, ProjectMatrix& matrix);
// "x"x"y" pairs of a printable area to the size of its bounding box.
bool BedSize(std::vector<std::string> const& area, double& width, double& depth);
} // namespace format3mf::slicerproject
