// What a slicer project says about its objects beside the geometry: the
// parts of each object with their roles and filaments, and the colours of
// the filaments.
#pragma once

#include "format3mf/PartRole.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class MZipArchive;

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

struct PartConfig
{
    // Bambu Studio and its kin: the object of the component that places the
    // part. PrusaSlicer: unused.
    int id = 0;
    // PrusaSlicer: the part's triangles of the object's mesh, both included.
    std::int64_t firstTriangle = 0;
    std::int64_t lastTriangle = -1;
    std::wstring name;
    PartRole role = PartRole::Printable;
    // 0: the object's.
    int extruder = 0;
    // Where the part sits in its object, as the settings give it: sixteen
    // numbers, row by row, the translation in the last column. Empty where
    // they give none.
    std::string matrix;
};

struct ObjectConfig
{
    std::wstring name;
    // 0 when the project gives none: the first filament.
    int extruder = 0;
    std::vector<PartConfig> parts;
    // What the object's warnings name: the part of the package that
    // describes it.
    std::wstring source;
    // Set when the description itself is unusable; the object is then read
    // plain with this warning.
    std::wstring problem;
    // The "object" entries of the settings part that describe it: more than
    // one are merged, with a warning.
    int entries = 0;
};

// The points and triangles that the meshes of a read hold so far. Paint
// makes far more triangles than a file of its size holds, so its leaves are
// counted against the bound of a read as they are made, not after.
struct ReadTally
{
    std::uint64_t limit = 0;
    std::uint64_t points = 0;
    std::uint64_t triangles = 0;
};

struct ProjectConfig
{
    // Whether parts are triangle ranges of one mesh (PrusaSlicer) rather than
    // components (Bambu Studio, OrcaSlicer, QIDI Studio, Creality Print).
    bool partsByTriangleRange = false;
    // By the identifier of the object in the root model part.
    std::map<int, ObjectConfig> objects;
    // Packed as MStlColor packs them, filament 1 first. Empty when the
    // project names none, and then nothing is coloured.
    std::vector<std::uint32_t> filaments;
    // The part the colours come from, for messages.
    std::wstring filamentSource;
    // Filled by the meshes as they are read.
    ReadTally tally;
};

// Reads the settings of a slicer project from its archive. Null when the
// archive has none of the slicers' settings parts. A part that can't be
// read leaves a warning that names it and what was wrong; its objects are
// then read plain (no objects), its colours are missing (no filaments).
std::unique_ptr<ProjectConfig> ReadProjectConfig(MZipArchive& archive, std::vector<std::wstring>& warnings);

// The parsers of the four settings parts, each from the part's text.
// Return an empty string on success, else what is wrong.
std::string ReadBambuObjects(std::string const& text, ProjectConfig& config);
std::string ReadPrusaObjects(std::string const& text, ProjectConfig& config);
std::string ReadBambuFilaments(std::string const& text, ProjectConfig& config);
std::string ReadPrusaFilaments(std::string const& text, ProjectConfig& config);
} // namespace format3mf::project
