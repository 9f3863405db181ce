// The model of a 3MF file as Python holds it: build items placing objects,
// objects with a mesh and components, the model's metadata, unit and
// thumbnail. Every reference is a Python object, so that an object placed
// many times is one Object with one set of arrays.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

namespace format3mf::python
{
struct Component
{
    pybind11::object object;    // Object
    pybind11::object transform; // float64 4 x 4, millimetres
};

struct Object
{
    int id = 0;
    std::string part; // the model part that holds it
    std::string name;
    std::string type = "model"; // model, support, solidsupport, other
    pybind11::object mesh;      // Mesh or None
    pybind11::list components;  // Component
};

struct Item
{
    pybind11::object object;                        // Object
    pybind11::object transform;                     // float64 4 x 4, millimetres
    pybind11::object printable = pybind11::none();  // bool or None
    pybind11::object partnumber = pybind11::none(); // str or None
};

struct Model
{
    pybind11::list items;
    pybind11::list objects;
    pybind11::dict metadata;
    std::string unit = "millimeter";
    pybind11::object thumbnail = pybind11::none(); // bytes or None
    // The name of the file's root model part, whose objects object(id) finds
    // without a part.
    std::string rootPart = "/3D/3dmodel.model";
};

// The root model part's name in the files this library writes.
inline constexpr char kRootPart[] = "/3D/3dmodel.model";

// A transform as float64 4 x 4 (None is the identity); a ValueError naming
// `label` unless it is affine (last row 0 0 0 1) and finite.
pybind11::array_t<double> CheckTransform(pybind11::handle transform, std::string const& label);

// The objects of the model in the order a file must list them: each after
// the objects its components place; those of Model.objects in their order,
// then any that only items or components reach. Raises ValueError for
// components that form a cycle.
std::vector<pybind11::object> WriteOrder(Model const& model);

Model Load(pybind11::object const& source, bool textures, pybind11::object progress);
void Save(Model const& model, pybind11::object const& path, bool binary, bool zip64,
          pybind11::object progress);
// What read gives for the model's file: a Mesh per item with geometry, its
// objects and components placed, or all in one.
pybind11::list Flatten(Model const& model, bool asOne);

void RegisterModel(pybind11::module_& module);
} // namespace format3mf::python
