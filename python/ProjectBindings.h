// The class ond3mf.Project: a slicer project opened, looked at, edited and
// saved from Python, over the library's format3mf::Project.
#pragma once

#include <pybind11/pybind11.h>

namespace format3mf::python
{
// Adds Project, with its filaments, objects, parts, plates and items, to the
// module; after the module's exceptions are made.
void AddProjectBindings(pybind11::module_& module);
} // namespace format3mf::python
