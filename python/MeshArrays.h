// Meshes of the library as numpy arrays and back: the data of the Python
// package's Mesh, filled straight from the mesh store and into it.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "format3mf/ImportFile.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace format3mf::python
{
// What Python sees of one mesh. Arrays are None where the mesh has no such
// data (colours, textures, beams).
struct Mesh
{
    pybind11::object vertices;                           // float64 N x 3, millimetres
    pybind11::object triangles;                          // uint32 M x 3
    pybind11::object triangle_colors = pybind11::none(); // uint8 M x 3 x 4, RGBA per corner
    pybind11::object uvs = pybind11::none();             // float32 M x 3 x 2
    pybind11::object texture_ids = pybind11::none();     // int32 M, -1 where untextured
    pybind11::object textures = pybind11::none();        // list of uint8 H x W x 4
    pybind11::object beams = pybind11::none();           // uint32 K x 2
    pybind11::object beam_radii = pybind11::none();      // float64 K x 2, millimetres
    std::string name;
    // "#RRGGBB": what a triangle without a colour of its own shows.
    std::string material = "#C0C0C0";
    // Of the parts of a slicer project only: the part's role and the
    // "#RRGGBB" of its filament (None for a part that is not printed).
    pybind11::object role = pybind11::none();
    pybind11::object colour = pybind11::none();
};

// One mesh of the library to hand to Python, and the name it goes by.
struct MeshSource
{
    MStlBase const* mesh = nullptr;
    std::string name;
};

// The meshes as Python's; called with the GIL, which it holds only to make
// the arrays and lets go while it looks at the meshes and fills the arrays.
// Meshes that show one image share one array of it.
std::vector<Mesh> ToPython(std::vector<MeshSource> const& meshes);

// The word by which Python names a part's role: "printable", "negative",
// "modifier", "support_blocker", "support_enforcer".
char const* RoleWord(Format_3MF::PartRole role);
// The meshes of a read as Python's, named; with the project's parts, each
// with its role and its filament's colour as well.
std::vector<Mesh> PartsToPython(import::ImportResult const& result, bool projectParts);

// The arrays of one mesh, checked and in the dtypes of Mesh: shapes, finite
// coordinates within the library's range, indices within the vertices,
// colours, texture coordinates and beams matching the triangles. Optional
// fields are None where absent.
struct CheckedMesh
{
    pybind11::array_t<double, pybind11::array::c_style> vertices;
    pybind11::array_t<std::uint32_t, pybind11::array::c_style> triangles;
    pybind11::object triangle_colors = pybind11::none();
    pybind11::object uvs = pybind11::none();
    pybind11::object texture_ids = pybind11::none();
    pybind11::object textures = pybind11::none();
    pybind11::object beams = pybind11::none();
    pybind11::object beam_radii = pybind11::none();
    std::string name;
    // Packed as the library packs colours: red in the low byte.
    std::uint32_t material = 0xC0C0C0;
    // Triangles on one vertex twice, left out under dropDegenerate.
    std::size_t dropped = 0;

    // Where the numbers of the optional arrays are, for the work without
    // the GIL; null where the field is None.
    struct Image
    {
        std::uint8_t const* pixels;
        std::size_t height;
        std::size_t width;
    };
    std::uint8_t const* colourData = nullptr;
    float const* uvData = nullptr;
    std::int32_t const* textureIdData = nullptr;
    std::vector<Image> images;
    std::uint32_t const* beamData = nullptr;
    double const* radiusData = nullptr;
    std::size_t beamCount = 0;
};

// What a mesh-like object may hold, as write and Mesh() take it: vertices of
// any real or integer type; faces (preferred, as trimesh holds them) or
// triangles of any integer type; triangle_colors as M x 3 x 4 or one colour
// per triangle (M x 3 or M x 4), else a trimesh-style visual.face_colors;
// uvs, texture_ids, textures, beams and beam_radii as Mesh holds them.
// `label` names the mesh in the ValueError that a bad field raises. A
// triangle on one vertex twice is dropped with dropDegenerate, else refused
// when `forWriting`.
CheckedMesh CheckMesh(pybind11::handle mesh, std::string const& label, bool dropDegenerate, bool forWriting);

// A ValueError naming the field when the mesh has colours or textures, which
// the binary side part can't hold: refused rather than left out.
void CheckBinary(CheckedMesh const& mesh, std::string const& label);

// A Mesh holding the checked arrays.
Mesh ToMeshObject(CheckedMesh checked);

// A mesh of the library built from checked arrays, with the corner colours
// it carries (declared after the mesh, so destroyed before it: the mesh
// knows its masks).
struct BuiltMesh
{
    std::unique_ptr<MStlBase> mesh;
    std::unique_ptr<MStlColorMaskTrianglePoints> colors;
};
// Needs no GIL: it only reads the arrays' memory.
BuiltMesh ToMesh(CheckedMesh const& mesh);

// "#RRGGBB" of a colour packed with red in the low byte.
std::string ColourText(std::uint32_t rgb);

// Vertices in millimetres as the library's internal units, rounded half away
// from zero.
std::int32_t ToInternal(double millimetres);
} // namespace format3mf::python
