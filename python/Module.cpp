// The Python module ond3mf: read, write and info over the library's import
// and export with numpy arrays in and out, and the Mesh they hand over. The
// model classes and load() are registered from ModelBindings.cpp.
#include "MeshArrays.h"
#include "MeshSummary.h"
#include "Model.h"
#include "ProjectBindings.h"
#include "Shared.h"
#include "Source.h"

#include "format3mf/ImportFile.h"
#include "format3mf/Version.h"
#include "format3mf/WriteFile.h"

#include "triangles/MStlBase.h"

#include <pybind11/stl.h>

#include <utility>
#include <vector>

namespace py = pybind11;

namespace format3mf::python
{
char const* RoleWord(Format_3MF::PartRole role)
{
    switch (role)
    {
    case Format_3MF::PartRole::NegativeVolume:
        return "negative";
    case Format_3MF::PartRole::Modifier:
        return "modifier";
    case Format_3MF::PartRole::SupportBlocker:
        return "support_blocker";
    case Format_3MF::PartRole::SupportEnforcer:
        return "support_enforcer";
    case Format_3MF::PartRole::Printable:
        break;
    }
    return "printable";
}

std::vector<Mesh> PartsToPython(import::ImportResult const& result, bool projectParts)
{
    std::vector<MeshSource> sources;
    for (import::ImportedPart const& part : result.parts)
    {
        sources.push_back({part.mesh.get(), part.name});
    }
    std::vector<Mesh> meshes = ToPython(sources);
    for (std::size_t i = 0; projectParts && i < meshes.size(); ++i)
    {
        meshes[i].role = py::str(RoleWord(result.parts[i].role));
        std::string const colour = apps::FilamentColour(result.parts[i]);
        meshes[i].colour = colour.size() == 7 && colour[0] == '#' ? py::object(py::str(colour)) : py::none();
    }
    return meshes;
}

namespace
{
// Why a file that read without error gave no mesh, as ond3mf-info says it.
std::string WhyNoMesh(std::vector<std::string> const& warnings)
{
    if (warnings.empty())
    {
        return "no build item places an object that holds geometry";
    }
    return "no build item yields geometry; the read warned: " + warnings.front() +
           (warnings.size() > 1 ? " (and " + std::to_string(warnings.size() - 1) + " more)" : "");
}

import::ImportResult Import(ReadSource const& input, import::ImportSettings settings, py::object progress){
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
settings.progress = delegate;
import::ImportResult result;
{
    py::gil_scoped_release release;
    result = import::ImportFile(input.Path(), settings);
}
delegate->RaiseIfFailed();
for (std::string& warning : result.warnings)
{
    warning = input.Shown(warning);
}
Warn(result.warnings);
if (result.status == import::Importer::Canceled)
{
    RaiseError("reading was cancelled");
}
if (result.status != import::Importer::Success)
{
    for (std::string& error : result.errors)
    {
        error = input.Shown(error);
    }
    RaiseError(Joined(result.errors));
}
if (result.parts.empty())
{
    Warn({"The file gives no mesh: " + WhyNoMesh(result.warnings) + "."});
}
return result;
} // namespace

std::vector<Mesh> Read(py::object const& source, bool textures, bool asOne, py::object progress,
                       bool projectParts, bool nonPrintable)
{
    ReadSource const input(source);
    import::ImportSettings settings;
    settings.textures = textures;
    settings.asOnePart = asOne;
    settings.projectParts = projectParts;
    settings.nonPrintableParts = nonPrintable;
    import::ImportResult const result = Import(input, settings, std::move(progress));
    return PartsToPython(result, projectParts);
}

// The records of ond3mf-info --json, as Python's json module reads them.
py::list Info(py::object const& source)
{
    ReadSource const input(source);
    import::ImportResult const result = Import(input, import::ImportSettings(), py::none());
    py::object const loads = py::module_::import("json").attr("loads");
    py::list meshes;
    for (import::ImportedPart const& part : result.parts)
    {
        meshes.append(
            loads(apps::Record(part, false).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)));
    }
    return meshes;
}

// WriteFile writes beside the target and renames over it when the file is
// whole, so that a failure or a cancel leaves the target as it was.
void Write(py::object const& path, py::iterable const& meshes, bool binary, bool zip64, bool dropDegenerate,
           py::object progress)
{
    std::string const target = PathOf(path);
    std::vector<CheckedMesh> checked;
    std::size_t dropped = 0;
    for (py::handle mesh : meshes)
    {
        std::string const label = "mesh " + std::to_string(checked.size());
        checked.push_back(CheckMesh(mesh, label, dropDegenerate, true));
        dropped += checked.back().dropped;
        if (binary)
        {
            CheckBinary(checked.back(), label);
        }
    }
    if (dropped != 0)
    {
        Warn({std::to_string(dropped) + " triangle" +
              (dropped == 1 ? " on one vertex twice was"
                            : "s on one vertex "
                              "twice were") +
              " left out (drop_degenerate=True)."});
    }
    WriteSettings settings;
    settings.binary = binary;
    settings.zip64 = zip64;
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    settings.progress = delegate;
    WriteResult written;
    {
        py::gil_scoped_release release;
        std::vector<BuiltMesh> built;
        std::vector<MStlBase const*> list;
        try
        {
            for (CheckedMesh const& mesh : checked)
            {
                built.push_back(ToMesh(mesh));
                list.push_back(built.back().mesh.get());
            }
            written = WriteFile(target, list, settings);
        }
        catch (std::exception const& error)
        {
            // Building the meshes ran out of memory; nothing was written.
            written.error = std::string("the meshes to write could not be built: ") + error.what();
        }
    }
    delegate->RaiseIfFailed();
    if (!written.ok)
    {
        RaiseWriteFailure(written.error, written.cancelled, path);
    }
    Warn(written.warnings);
}

py::tuple StateOf(Mesh const& mesh)
{
    return py::make_tuple(mesh.vertices, mesh.triangles, mesh.triangle_colors, mesh.uvs, mesh.texture_ids,
                          mesh.textures, mesh.beams, mesh.beam_radii, mesh.name, mesh.role, mesh.colour,
                          mesh.material);
}

Mesh FromState(py::tuple const& state)
{
    if (state.size() != 12)
    {
        throw py::value_error("a pickled ond3mf.Mesh holds 12 fields, not " + std::to_string(state.size()));
    }
    Mesh mesh;
    mesh.vertices = state[0];
    mesh.triangles = state[1];
    mesh.triangle_colors = state[2];
    mesh.uvs = state[3];
    mesh.texture_ids = state[4];
    mesh.textures = state[5];
    mesh.beams = state[6];
    mesh.beam_radii = state[7];
    mesh.name = state[8].cast<std::string>();
    mesh.role = state[9];
    mesh.colour = state[10];
    mesh.material = state[11].cast<std::string>();
    return mesh;
}

// Equal arrays (NaN equal to NaN), lists of equal arrays, or equal values.
bool Same(py::handle a, py::handle b)
{
    if (a.is_none() || b.is_none())
    {
        return a.is_none() && b.is_none();
    }
    if (py::isinstance<py::list>(a) && py::isinstance<py::list>(b))
    {
        if (py::len(a) != py::len(b))
        {
            return false;
        }
        for (std::size_t i = 0; i < py::len(a); ++i)
        {
            if (!Same(a[py::int_(i)], b[py::int_(i)]))
            {
                return false;
            }
        }
        return true;
    }
    py::object const numpy = py::module_::import("numpy");
    py::array const left = py::array::ensure(a);
    bool const real = left && left.dtype().kind() == 'f';
    PyErr_Clear();
    return numpy.attr("array_equal")(a, b, py::arg("equal_nan") = real).cast<bool>();
}

bool Equal(Mesh const& a, Mesh const& b)
{
    py::tuple const left = StateOf(a);
    py::tuple const right = StateOf(b);
    for (std::size_t i = 0; i < left.size(); ++i)
    {
        if (!Same(left[i], right[i]))
        {
            return false;
        }
    }
    return true;
}

std::string Count(py::handle field)
{
    return field.is_none() ? "0" : std::to_string(py::len(field));
}

std::string ReprOf(Mesh const& mesh)
{
    std::string text = "<ond3mf.Mesh '" + mesh.name + "': " + Count(mesh.vertices) + " vertices, " +
                       Count(mesh.triangles) + " triangles";
    if (!mesh.triangle_colors.is_none())
    {
        text += ", coloured";
    }
    if (!mesh.textures.is_none())
    {
        text += ", " + Count(mesh.textures) + " textures";
    }
    if (!mesh.beams.is_none())
    {
        text += ", " + Count(mesh.beams) + " beams";
    }
    if (!mesh.role.is_none())
    {
        text += ", " + py::str(mesh.role).cast<std::string>();
    }
    return text + ">";
}

void RegisterMesh(py::module_& module)
{
    py::options options;
    options.disable_function_signatures();
    py::class_<Mesh>(
        module, "Mesh",
        "One mesh, in millimetres: vertices and triangles, and where the file has them colours,\n"
        "textures and beams. Mesh(...) turns what it is given into arrays of these dtypes. A Mesh\n"
        "pickles, copies and compares (==) by its arrays.")
        .def(py::init(
                 [](py::object vertices, py::object triangles, py::object colors, std::string name,
                    py::object uvs, py::object textureIds, py::object textures, py::object beams,
                    py::object radii)
                 {
                     py::dict fields;
                     fields["vertices"] = vertices;
                     fields["triangles"] = triangles;
                     fields["triangle_colors"] = colors;
                     fields["name"] = name;
                     fields["uvs"] = uvs;
                     fields["texture_ids"] = textureIds;
                     fields["textures"] = textures;
                     fields["beams"] = beams;
                     fields["beam_radii"] = radii;
                     py::object const given = py::module_::import("types").attr("SimpleNamespace")(**fields);
                     return ToMeshObject(CheckMesh(given, "Mesh", false, false));
                 }),
             py::arg("vertices"), py::arg("triangles"), py::arg("triangle_colors") = py::none(),
             py::arg("name") = "", py::arg("uvs") = py::none(), py::arg("texture_ids") = py::none(),
             py::arg("textures") = py::none(), py::arg("beams") = py::none(),
             py::arg("beam_radii") = py::none(),
             OND3MF_DOC("__init__(self, vertices, triangles, triangle_colors=None, name='', uvs=None, "
                        "texture_ids=None, textures=None, beams=None, beam_radii=None)",
                        "A mesh from arrays or anything numpy turns into arrays: vertices of any real or\n"
                        "integer type, triangles of any integer type, triangle_colors as M x 3 x 4 (per\n"
                        "corner) or M x 3 / M x 4 (per triangle) integers from 0 to 255. Raises ValueError\n"
                        "naming the field that has the wrong shape, type or index."))
        .def_readwrite("vertices", &Mesh::vertices, "float64 N x 3: the vertices, millimetres.")
        .def_readwrite("triangles", &Mesh::triangles, "uint32 M x 3: the vertex indices of each triangle.")
        .def_readwrite("triangle_colors", &Mesh::triangle_colors,
                       "uint8 M x 3 x 4 or None: RGBA of each corner of each triangle. Reading gives each\n"
                       "corner its own colour where the file does and alpha 255 (the file's alpha is not\n"
                       "read yet); a triangle without a colour of its own shows the mesh's material.")
        .def_readwrite("uvs", &Mesh::uvs, "float32 M x 3 x 2 or None: texture coordinates of each corner.")
        .def_readwrite(
            "texture_ids", &Mesh::texture_ids,
            "int32 M or None: the index in textures of each triangle's image, -1 where untextured.")
        .def_readwrite("textures", &Mesh::textures, "list of uint8 H x W x 4 (RGBA) or None: the images.")
        .def_readwrite("beams", &Mesh::beams, "uint32 K x 2 or None: the vertex indices of each beam's ends.")
        .def_readwrite("beam_radii", &Mesh::beam_radii,
                       "float64 K x 2 or None: the radius at each end of each beam, mm; NaN where none.")
        .def_readwrite("name", &Mesh::name, "str: the object's or part's name.")
        .def_readwrite(
            "material", &Mesh::material,
            "str: '#RRGGBB', the colour of the triangles that have none of their own (the object's\n"
            "colour in the file; light grey where it has none).")
        .def_readwrite("role", &Mesh::role,
                       "str or None: with read(project_parts=True), what the part does: 'printable',\n"
                       "'negative', 'modifier', 'support_blocker' or 'support_enforcer'.")
        .def_readwrite("colour", &Mesh::colour,
                       "str or None: with read(project_parts=True), the '#RRGGBB' of a printed part's\n"
                       "filament; None for a part that is not printed.")
        .def("__repr__", &ReprOf, OND3MF_DOC("__repr__(self)", "The mesh's name and counts."))
        .def(
            "__eq__",
            [](Mesh const& a, py::object const& b)
            {
                return py::isinstance<Mesh>(b) ? py::bool_(Equal(a, b.cast<Mesh const&>()))
                                               : py::reinterpret_borrow<py::object>(Py_NotImplemented);
            },
            OND3MF_DOC("__eq__(self, other)", "Whether every array and value of the two meshes is equal."))
        .def(py::pickle([](Mesh const& mesh) { return StateOf(mesh); },
                        [](py::tuple const& state) { return FromState(state); }),
             OND3MF_DOC("__setstate__(self, state)", "The mesh that __getstate__ gave the state of."));
    // The pickling above gives __getstate__ no documentation of its own.
    py::object const mesh = py::type::of<Mesh>();
    py::setattr(
        mesh, "__getstate__",
        py::cpp_function([](Mesh const& mesh) { return StateOf(mesh); }, py::name("__getstate__"),
                         py::is_method(mesh),
                         OND3MF_DOC("__getstate__(self)", "The mesh's fields, for pickle and copy.")));
    // Compared by value, a Mesh is no dict key.
    mesh.attr("__hash__") = py::none();

    module.def(
        "read", &Read, py::arg("source"), py::arg("textures") = true, py::arg("as_one") = false,
        py::arg("progress") = py::none(), py::arg("project_parts") = false, py::arg("non_printable") = false,
        OND3MF_DOC("read(source, textures=True, as_one=False, progress=None, project_parts=False, "
                   "non_printable=False)",
                   "Reads a 3MF file into a list of Mesh, one per build item with geometry (all merged\n"
                   "into one with as_one), transformations applied, in millimetres; ond3mf.load gives\n"
                   "the model as the file holds it. source is a path (str, bytes or os.PathLike), a\n"
                   "binary file-like object, or the bytes of a whole file (bytes holding a NUL or\n"
                   "starting with 'PK', bytearray, memoryview). textures=False decodes no image: faster\n"
                   "where only geometry matters. With project_parts the parts of a slicer project\n"
                   "(Bambu Studio, OrcaSlicer, PrusaSlicer, ...) are meshes of their own, with role and\n"
                   "colour; non_printable adds the parts that are not printed (modifiers, negative\n"
                   "volumes, support blockers and enforcers). Warnings of the read, and why a file gives\n"
                   "no mesh, are ond3mf.Warning. progress(fraction) is called now and then and may raise\n"
                   "to cancel. Raises ond3mf.FileError (an OSError) when the file can't be opened,\n"
                   "ond3mf.Error when it can't be read."));
    module.def(
        "write", &Write, py::arg("path"), py::arg("meshes"), py::arg("binary") = false,
        py::arg("zip64") = false, py::arg("drop_degenerate") = false, py::arg("progress") = py::none(),
        OND3MF_DOC("write(path, meshes, binary=False, zip64=False, drop_degenerate=False, progress=None)",
                   "Writes meshes as objects of a 3MF file, each with a build item. A mesh is a Mesh or\n"
                   "anything with vertices (any real or integer type) and faces or triangles (any integer\n"
                   "type; trimesh's faces are taken before its triangles), and optionally\n"
                   "triangle_colors (M x 3 x 4, or one colour per triangle as M x 3 or M x 4; else a\n"
                   "trimesh visual with face colours), uvs, texture_ids and textures, beams and\n"
                   "beam_radii, and name. binary puts vertices and triangles in the model's binary side\n"
                   "part: faster and smaller, but without colours and textures, which other programs do\n"
                   "not read from it. zip64 allows an archive past 4 GiB and 65535 entries.\n"
                   "drop_degenerate leaves out triangles on one vertex twice, with a warning, instead of\n"
                   "refusing them. Every mesh is checked first: a bad shape, dtype, index or coordinate,\n"
                   "or a colour with an alpha the file can't keep, raises ValueError naming the mesh and\n"
                   "the field, and nothing is written. A write that fails or is cancelled leaves the\n"
                   "target as it was and no other file; it raises ond3mf.FileError (an OSError) where the\n"
                   "system refused, with the cause, what progress raised, or ond3mf.Error."));
    module.def(
        "info", &Info, py::arg("source"),
        OND3MF_DOC("info(source)",
                   "The figures ond3mf-info prints, as a dict per mesh with the keys of its --json: name,\n"
                   "vertices, triangles, box (min and max, millimetres), coloured_triangles,\n"
                   "textured_triangles, textures, beams. source as for read."));
}
} // namespace format3mf::python
} // namespace format3mf::python

PYBIND11_MODULE(ond3mf, module)
{
    using namespace format3mf::python;
    module.doc() = "3MF files as numpy arrays: read, write and inspect them with OndSDK.AM.3mf.";
    module.attr("__version__") = format3mf::Version();

    // numpy's C interface is looked up once, by the first array made: under
    // the lock of a C++ static while that thread imports numpy, which lets
    // the GIL go. A second thread that makes an array meanwhile would wait
    // on the lock holding the GIL, and neither would go on. So it is looked
    // up here, while the import of this module has the interpreter.
    py::detail::npy_api::get();

    RegisterErrors(module);
    RegisterMesh(module);
    RegisterModel(module);
    AddProjectBindings(module);
}
