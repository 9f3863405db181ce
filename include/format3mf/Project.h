// A slicer's project opened to be looked at and edited: its plates, objects,
// filaments, settings and thumbnails, and every entry of its package, saved
// back with what no edit touched copied as it was stored.
#pragma once

#include "common/OndExport.h"
#include "format3mf/ImportFile.h"
#include "format3mf/PartRole.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace format3mf
{
// Why a project can't be opened, an edit can't apply or a save failed; the
// message names what (the entry, the object, the filament) and why.
class OND_EXPORT ProjectError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Who wrote the project, by the settings it holds and its Application
// metadata.
enum class ProjectDialect
{
    Plain,
    Bambu,
    Orca,
    Qidi,
    Creality,
    Prusa,
};

// "plain", "bambu", "orca", "qidi", "creality", "prusa".
OND_EXPORT char const* DialectName(ProjectDialect dialect);

// A 3MF transform: the twelve numbers of the file's "transform" attribute
// (m00 m01 m02 m10 m11 m12 m20 m21 m22 m30 m31 m32, points as rows), the
// translation in millimetres.
using ProjectMatrix = std::array<double, 12>;

struct ProjectFilament
{
    // From 1, as the slicers number them.
    int index = 0;
    // "#RRGGBB".
    std::string colour;
    // "PLA", "PETG", ...; empty where the project gives none.
    std::string type;
    // The filament's preset; empty where the project gives none.
    std::string preset;
};

struct ProjectPart
{
    // The Bambu family: the part's object in its model part; PrusaSlicer: the
    // volume's number, from 1.
    int id = 0;
    std::string name;
    Format_3MF::PartRole role = Format_3MF::PartRole::Printable;
    // 0: the object's.
    int extruder = 0;
    // Where the part sits in its object.
    ProjectMatrix matrix{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
};

struct ProjectObject
{
    // The object's id in the root model.
    int id = 0;
    std::string name;
    // 0 where the project gives none: the first filament.
    int extruder = 0;
    std::vector<ProjectPart> parts;
};

struct ProjectPlacement
{
    int objectId = 0;
    // Relative to the plate's own corner.
    ProjectMatrix transform{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
};

struct ProjectPlate
{
    // From 1.
    int id = 0;
    std::string name;
    // The build items on the plate, in the file's order.
    std::vector<ProjectPlacement> items;
    // Entry names; empty where the plate has none.
    std::string thumbnail;
    std::string gcode;
    // Where the plate's corner lies in the coordinates of the build: the
    // slicers lay their plates out on one grid.
    double originX = 0;
    double originY = 0;
};

struct ProjectEntry
{
    std::string name;
    std::uint64_t size = 0;
    // As stored: what a save copies for an entry no edit touched.
    std::uint64_t compressedSize = 0;
    std::uint32_t crc = 0;
    // Written by an edit; sizes and CRC then are of the new bytes, the
    // compressed size 0 until saved.
    bool edited = false;
};

// A mesh to add as an object of its own.
struct ProjectMeshInput
{
    // Millimetres, three per point.
    std::vector<double> vertices;
    // Three point indices per triangle.
    std::vector<std::uint32_t> triangles;
    std::string name;
    int extruder = 1;
    // One per triangle, or empty: the filament each triangle prints with,
    // written as whole-triangle paint; 0 leaves a triangle to its object's.
    std::vector<int> triangleFilaments;
    int plate = 1;
    // Where the centre of the mesh's footprint goes on the plate, in
    // millimetres; the plate's centre when not given. The mesh rests on the
    // plate (its lowest point at height 0).
    std::optional<std::array<double, 2>> position;
};

// A project, open for reading and editing. Opening reads the package's
// small parts (relationships, the root model without meshes, the settings)
// and keeps the archive open; meshes are read only when asked for, and
// entries only when read or saved.
//
// Edits change the project in memory and check what they name first: an
// edit that can't apply throws ProjectError and changes nothing. Save writes
// a new package through a temporary file beside the target, renamed over it
// only when complete: every entry that no edit touched is copied with the
// bytes it was stored with, unpacked never, so that a project opened and
// saved unchanged holds the same entries with the same bytes.
class OND_EXPORT Project
{
public:
    // Throws ProjectError when the file can't be read as a zip package or
    // holds no model. Broken settings don't stop it: the project opens with
    // what could be read and warnings that say what was not.
    static std::unique_ptr<Project> Open(std::filesystem::path const& path);
    ~Project();
    Project(Project const&) = delete;
    Project& operator=(Project const&) = delete;

    ProjectDialect Dialect() const;
    // The Application metadata, as the writer gave it; may be empty.
    std::string const& Application() const;
    // The model's metadata, name and value, in the file's order.
    std::vector<std::pair<std::string, std::string>> const& Metadata() const;
    std::vector<ProjectFilament> const& Filaments() const;
    std::vector<ProjectObject> const& Objects() const;
    // A plain or PrusaSlicer project has one plate, which holds every item.
    std::vector<ProjectPlate> const& Plates() const;
    // What was read with a problem, each naming the entry (UTF-8).
    std::vector<std::string> const& Warnings() const;

    // The settings as a JSON object: the Bambu family's project settings as
    // the file holds them, PrusaSlicer's "key = value" settings with each
    // value a string. "{}" when the project has none.
    std::string SettingsJson() const;

    // The PNG bytes of a plate's thumbnail, or of the package's own with
    // plate 0; none where there is none.
    std::optional<std::string> Thumbnail(int plate = 0) const;
    // The names of the entries that hold images of the project: the
    // package's thumbnail, the plates' and the Bambu family's cover images.
    std::vector<std::string> ThumbnailEntries() const;

    // Every entry, in the package's order, added ones last.
    std::vector<ProjectEntry> Entries() const;
    bool HasEntry(std::string const& name) const;
    // Throws ProjectError for an entry that isn't there or can't be read.
    std::string ReadEntry(std::string const& name) const;
    // Replaces or adds an entry; a new extension gets a content type.
    void WriteEntry(std::string const& name, std::string data);
    // Removes an entry, with the relationships and content type that name it.
    void RemoveEntry(std::string const& name);

    // The meshes of the project as it stands (edits included), read as the
    // project's maker sees them: parts with their roles, filament colours,
    // paint. With a plate, the meshes of its items in the plate's own
    // coordinates; with an object, that object's alone. 0 means all.
    import::ImportResult Meshes(int plate = 0, int objectId = 0, bool nonPrintableParts = false) const;

    // Edits.
    void SetFilament(int index, std::optional<std::string> colour, std::optional<std::string> type);
    // Adds a filament like filament `like`, returns its index.
    int AddFilament(std::string const& colour, std::optional<std::string> type = std::nullopt, int like = 1);
    // With a part, the part's extruder; else the object's.
    void SetExtruder(int objectId, int extruder, std::optional<int> partId = std::nullopt);
    void Rename(int objectId, std::string const& name);
    void SetMetadata(std::string const& key, std::string const& value);
    // A setting: a value for a setting that holds one, a list for one that
    // holds a list (PrusaSlicer's lists are joined by ';').
    void SetSetting(std::string const& key, std::string const& value);
    void SetSetting(std::string const& key, std::vector<std::string> const& values);
    // Plate 0: the package's thumbnail. The bytes must be a PNG image.
    void SetThumbnail(std::string png, int plate = 0);
    // From the model, the model settings and its plate.
    void RemoveObject(int objectId);
    // Returns the new object's id.
    int AddObject(ProjectMeshInput const& mesh);

    // Throws ProjectError naming the target and the cause; the target is then
    // as it was.
    void Save(std::filesystem::path const& path) const;

    // What an open project holds; known inside the library alone.
    struct State;

private:
    explicit Project(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};
} // namespace format3mf
