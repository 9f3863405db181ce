// The mesh formats people start from (STL, OBJ, PLY, OFF) to meshes of the
// library and back, for the converter.
#pragma once

#include "format3mf/TriangleSoup.h"

#include "common/IProgressDelegate.h"
#include "triangles/MStlBase.h"

#include <string>
#include <vector>

namespace format3mf::meshformats
{
enum class Format
{
    ThreeMF,
    Stl,
    Obj,
    Ply,
    Off
};

// "3mf", "stl", "obj", "ply", "off" in any letter case; false for others.
bool FormatOfName(std::string const& name, Format& format);
// By the file's extension.
bool FormatOfPath(std::string const& path, Format& format);
char const* NameOfFormat(Format format);

// Millimetres per unit of a unit's name in 3MF ("millimeter", "inch", ...)
// or its short word ("mm", "in", ...), in any letter case; false if unknown.
bool MillimetresPerUnit(std::string const& unit, double& millimetres);

struct ReadOptions
{
    // The file's coordinates are in this many millimetres each.
    double unitMm = 1.0;
    // Corners closer than this weld; 0 welds equal ones only.
    double weldMm = 0.0;
};

// One mesh, welded, and the notes a user should see (degenerate triangles
// dropped). Throws std::runtime_error naming the file and the problem when
// it can't be read: empty, cut short, counts its bytes can't hold, indices
// out of range, coordinates that are not finite.
struct ReadResult
{
    format3mf::WeldedSoup mesh;
    std::vector<std::string> notes;
};
ReadResult ReadMeshFile(std::string const& path, Format format, ReadOptions const& options);

struct WriteOptions
{
    // STL as text instead of binary.
    bool ascii = false;
};

// Thrown by WriteMeshFile when its progress was cancelled.
struct Canceled
{
};

// Writes the meshes, in millimetres, into one file, through a SafeFileWrite:
// the target keeps every byte it had until the new file is whole on the disk.
// Gives the notes of what the format could not hold (colours, textures, beam
// lattices, several objects). Throws format3mf::FileWriteError naming
// the target and the cause when it can't be written or the meshes hold no
// triangle to write, and Canceled once `progress` (may be null) is
// cancelled; the temporary file is gone either way.
std::vector<std::string> WriteMeshFile(std::string const& path, Format format,
                                       std::vector<MStlBase const*> const& meshes,
                                       WriteOptions const& options,
                                       OndSDK::Common::IProgressDelegate const* progress = nullptr);
} // namespace format3mf::meshformats
