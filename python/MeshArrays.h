// Meshes of the library as numpy arrays and back: the data of the Python
// package's Mesh, filled straight from the mesh store and into it.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "format3mf/ImportFile.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <memory>
#include <string>
#include <vector>

namespace format3mf::python
{
// What Python sees of one mesh. Arrays are None where the mesh has no such
// data (colours, textures, beams).
struct Mesh
{
    pybind11::object vertices;        // float64 N x 3, millimetres
    pybind11::object triangles;       // uint32 M x 3
    pybind11::object triangle_colors; // uint8 M x 3 x 4, RGBA per corner
    pybind11::object uvs;             // float32 M x 3 x 2
    pybind11::object texture_ids;     // int32 M, -1 where untextured
    pybind11::object textures;        // list of uint8 H x W x 4
    pybind11::object beams;           // uint32 K x 2
    pybind11::object beam_radii;      // float64 K x 2, millimetres
    std::string name;
};

// The parts' meshes as Python's; called with the GIL, which it holds only to
// make the arrays and lets go while it looks at the meshes and fills the
// arrays.
std::vector<Mesh> ToPython(std::vector<import::ImportedPart> const& parts);

// The arrays of one mesh, checked: shapes, dtypes, finite coordinates within
// the library's range, indices within the vertices. `label` names the mesh
// in the ValueError that a bad field raises.
struct CheckedMesh
{
    pybind11::array_t<double, pybind11::array::c_style | pybind11::array::forcecast> vertices;
    pybind11::array_t<std::int64_t, pybind11::array::c_style | pybind11::array::forcecast> triangles;
    pybind11::array_t<std::uint8_t, pybind11::array::c_style> colors; // M x 3 x 4 where hasColors
    bool hasColors = false;
    std::string name;
};
CheckedMesh CheckMesh(pybind11::handle mesh, std::string const& label);

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
} // namespace format3mf::python
