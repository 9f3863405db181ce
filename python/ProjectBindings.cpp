// ond3mf.Project over format3mf::Project: the project's plates, objects,
// filaments and settings as Python's lists, dicts and numpy arrays, its edits
// checked at the edge and its errors raised as the module's exceptions.
#include "ProjectBindings.h"

#include "MeshArrays.h"
#include "Shared.h"

#include "format3mf/Project.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <mutex>
#include <shared_mutex>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
// A project and the lock of its users: the library's work runs without the
// GIL, so two Python threads may use one project at once; reads share it, an
// edit has it alone.
struct SharedProject
{
    std::unique_ptr<Project> project;
    mutable std::shared_mutex lock;
};

// What `function` makes of the project, without the GIL; what it returns is
// copied out before the lock is let go.
template <typename Function>
auto Reading(SharedProject const& shared, Function function)
{
    py::gil_scoped_release release;
    std::shared_lock<std::shared_mutex> const lock(shared.lock);
    return function(static_cast<Project const&>(*shared.project));
}

// A look at a plate or an object that isn't there is the caller's mistake,
// a ValueError with the library's message.
template <typename Function>
auto Looking(SharedProject const& shared, Function function)
{
    try
    {
        return Reading(shared, function);
    }
    catch (ProjectError const& error)
    {
        throw py::value_error(error.what());
    }
}

// An edit that can't apply names what the caller got wrong (a filament, an
// object, a setting): a ValueError with the library's message.
template <typename Function>
auto Editing(SharedProject& shared, Function function)
{
    try
    {
        py::gil_scoped_release release;
        std::unique_lock<std::shared_mutex> const lock(shared.lock);
        return function(*shared.project);
    }
    catch (ProjectError const& error)
    {
        throw py::value_error(error.what());
    }
}

std::unique_ptr<SharedProject> Open(py::object const& path)
{
    std::string const name = PathOf(path);
    CheckReadable(name, path);
    auto shared = std::make_unique<SharedProject>();
    try
    {
        py::gil_scoped_release release;
        shared->project = Project::Open(name);
    }
    catch (ProjectError const& error)
    {
        RaiseError(error.what());
    }
    Warn(shared->project->Warnings());
    return shared;
}

// The library says which system call failed and why; Python's OSError says
// it by errno.
void Save(SharedProject const& shared, py::object const& path)
{
    std::string const target = PathOf(path);
    try
    {
        Reading(shared, [&](Project const& project) { project.Save(target); });
    }
    catch (ProjectError const& error)
    {
        RaiseWriteFailure(error.what(), false, path);
    }
}

py::bytes ReadEntry(SharedProject const& shared, std::string const& name)
{
    std::optional<std::string> data;
    try
    {
        data = Reading(shared, [&](Project const& p)
                       { return p.HasEntry(name) ? std::optional(p.ReadEntry(name)) : std::nullopt; });
    }
    catch (ProjectError const& error)
    {
        RaiseError(error.what());
    }
    if (!data)
    {
        throw py::value_error("The project has no entry " + name);
    }
    return py::bytes(*data);
}

// The 3MF transform moves a point as a row, [x y z 1] times the 4 x 3
// matrix of its twelve numbers; as a column, the transpose of that matrix
// does, with a last row of 0 0 0 1.
py::array_t<double> ColumnMatrix(ProjectMatrix const& m)
{
    py::array_t<double> matrix({4, 4});
    auto to = matrix.mutable_unchecked<2>();
    for (py::ssize_t row = 0; row < 3; ++row)
    {
        for (py::ssize_t column = 0; column < 4; ++column)
        {
            to(row, column) = m[std::size_t(3 * column + row)];
        }
        to(3, row) = 0;
    }
    to(3, 3) = 1;
    return matrix;
}

// Bytes of anything that has them as a buffer (bytes, bytearray,
// memoryview, a numpy array), never a str, whose bytes would be a guess.
std::string BytesOf(py::handle data, char const* what)
{
    if (PyObject_CheckBuffer(data.ptr()) == 0)
    {
        throw py::type_error(std::string(what) + " must be bytes-like (bytes, bytearray, memoryview), not " +
                             py::type::handle_of(data).attr("__name__").cast<std::string>());
    }
    return py::reinterpret_steal<py::bytes>(PyBytes_FromObject(data.ptr())).cast<std::string>();
}

void SetSetting(SharedProject& shared, std::string const& key, py::object const& value)
{
    if (py::isinstance<py::str>(value))
    {
        std::string const text = value.cast<std::string>();
        Editing(shared, [&](Project& project) { project.SetSetting(key, text); });
        return;
    }
    std::vector<std::string> values;
    if (!py::isinstance<py::bytes>(value) && py::isinstance<py::iterable>(value))
    {
        for (py::handle item : value)
        {
            if (!py::isinstance<py::str>(item))
            {
                throw py::type_error("set_setting: the values of " + key + " must be str, not " +
                                     py::type::handle_of(item).attr("__name__").cast<std::string>() +
                                     " (value " + std::to_string(values.size()) + ")");
            }
            values.push_back(item.cast<std::string>());
        }
        Editing(shared, [&](Project& project) { project.SetSetting(key, values); });
        return;
    }
    throw py::type_error("set_setting: the value of " + key + " must be a str or a list of str, not " +
                         py::type::handle_of(value).attr("__name__").cast<std::string>());
}

// The filament of each triangle: integers, one per triangle.
std::vector<int> TriangleFilaments(py::handle given, py::ssize_t triangles)
{
    py::array const array = py::array::ensure(given);
    if (!array || std::string("iu").find(array.dtype().kind()) == std::string::npos || array.ndim() != 1 ||
        array.shape(0) != triangles)
    {
        throw py::value_error("add_object: triangle_filaments must be integers, one for each of the " +
                              std::to_string(triangles) + " triangles");
    }
    auto const numbers = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>::ensure(array);
    std::vector<int> filaments(std::size_t(triangles), 0);
    for (py::ssize_t i = 0; i < triangles; ++i)
    {
        std::int64_t const filament = numbers.at(i);
        if (filament < 0 || filament > std::numeric_limits<int>::max())
        {
            throw py::value_error("add_object: triangle_filaments has " + std::to_string(filament) +
                                  " for triangle " + std::to_string(i) +
                                  ": a filament is numbered from 1, or 0 for the object's");
        }
        filaments[std::size_t(i)] = static_cast<int>(filament);
    }
    return filaments;
}

int AddObject(SharedProject& shared, py::object const& vertices, py::object const& triangles,
              std::string const& name, int extruder, py::object const& triangleFilaments, int plate,
              std::optional<std::array<double, 2>> const& position)
{
    // The module's check of a mesh to write: any integer or real dtypes,
    // degenerate triangles refused.
    py::object const arrays = py::module_::import("types").attr("SimpleNamespace")(
        py::arg("vertices") = vertices, py::arg("triangles") = triangles);
    CheckedMesh const checked = CheckMesh(arrays, "add_object", false, true);
    ProjectMeshInput mesh;
    mesh.vertices.assign(checked.vertices.data(), checked.vertices.data() + checked.vertices.size());
    mesh.triangles.assign(checked.triangles.data(), checked.triangles.data() + checked.triangles.size());
    mesh.name = name;
    mesh.extruder = extruder;
    if (!triangleFilaments.is_none())
    {
        mesh.triangleFilaments = TriangleFilaments(triangleFilaments, checked.triangles.shape(0));
    }
    mesh.plate = plate;
    if (position && (!std::isfinite((*position)[0]) || !std::isfinite((*position)[1])))
    {
        throw py::value_error("add_object: the position must be two finite numbers of millimetres");
    }
    mesh.position = position;
    return Editing(shared, [&](Project& project) { return project.AddObject(mesh); });
}

std::vector<Mesh> Meshes(SharedProject const& shared, std::optional<int> plate, std::optional<int> object,
                         bool nonPrintable)
{
    import::ImportResult const result =
        Looking(shared, [&](Project const& project)
                { return project.Meshes(plate.value_or(0), object.value_or(0), nonPrintable);
});
Warn(result.warnings);
if (result.status != import::Importer::Success)
{
    RaiseError(Joined(result.errors));
}
return PartsToPython(result, true);
} // namespace

py::str Repr(char const* format, py::tuple const& values)
{
    return py::str(format).attr("format")(*values);
}

void AddModelClasses(py::class_<SharedProject>& owner)
{
    py::class_<ProjectFilament>(owner, "Filament", "A filament of the project, read only.")
        .def_readonly("index", &ProjectFilament::index, "From 1, as the slicers number them.")
        .def_readonly("colour", &ProjectFilament::colour, "\"#RRGGBB\".")
        .def_readonly("type", &ProjectFilament::type,
                      "\"PLA\", \"PETG\", ...; empty where the project gives none.")
        .def_readonly("preset", &ProjectFilament::preset, "The filament's preset; empty where none is given.")
        .def("__repr__",
             [](ProjectFilament const& f)
             {
                 return Repr("Project.Filament(index={}, colour={!r}, type={!r}, preset={!r})",
                             py::make_tuple(f.index, f.colour, f.type, f.preset));
             });
    py::class_<ProjectPart>(owner, "Part", "A part of an object, read only.")
        .def_readonly("id", &ProjectPart::id,
                      "The Bambu family: the part's object id in its model part; PrusaSlicer: the\n"
                      "volume's number, from 1.")
        .def_readonly("name", &ProjectPart::name)
        .def_property_readonly(
            "role", [](ProjectPart const& part) { return RoleWord(part.role); },
            "\"printable\", \"negative\", \"modifier\", \"support_blocker\" or \"support_enforcer\".")
        .def_readonly("extruder", &ProjectPart::extruder, "The part's filament; 0: the object's.")
        .def("__repr__",
             [](ProjectPart const& p)
             {
                 return Repr("Project.Part(id={}, name={!r}, role={!r}, extruder={})",
                             py::make_tuple(p.id, p.name, RoleWord(p.role), p.extruder));
             });
    py::class_<ProjectObject>(owner, "Object", "An object of the project, read only.")
        .def_readonly("id", &ProjectObject::id, "The object's id in the root model.")
        .def_readonly("name", &ProjectObject::name)
        .def_readonly("extruder", &ProjectObject::extruder, "The object's filament; 0 where none is given.")
        .def_readonly("parts", &ProjectObject::parts, "The object's parts, a list of Project.Part.")
        .def("__repr__",
             [](ProjectObject const& o)
             {
                 return Repr("Project.Object(id={}, name={!r}, extruder={}, parts={})",
                             py::make_tuple(o.id, o.name, o.extruder, o.parts.size()));
             });
    py::class_<ProjectPlacement>(owner, "Item", "An object placed on a plate, read only.")
        .def_readonly("object_id", &ProjectPlacement::objectId)
        .def_property_readonly(
            "transform", [](ProjectPlacement const& item) { return ColumnMatrix(item.transform); },
            "float64 4 x 4, relative to the plate's corner: M such that M @ [x, y, z, 1] is the\n"
            "placed point of the object's point (x, y, z), in millimetres. The 3MF transform's\n"
            "twelve numbers m00 .. m32 move a point as a row; M is that 4 x 3 matrix transposed,\n"
            "with a last row of 0 0 0 1, so its last column is the translation.")
        .def("__repr__",
             [](ProjectPlacement const& i)
             {
                 return Repr("Project.Item(object_id={}, translation=({}, {}, {}))",
                             py::make_tuple(i.objectId, i.transform[9], i.transform[10], i.transform[11]));
             });
    py::class_<ProjectPlate>(owner, "Plate", "A plate of the project, read only.")
        .def_readonly("id", &ProjectPlate::id, "From 1.")
        .def_readonly("name", &ProjectPlate::name)
        .def_readonly("items", &ProjectPlate::items,
                      "The objects placed on the plate, a list of Project.Item in the file's order.")
        .def("__repr__",
             [](ProjectPlate const& p) {
                 return Repr("Project.Plate(id={}, name={!r}, items={})",
                             py::make_tuple(p.id, p.name, p.items.size()));
             });
}
} // namespace format3mf::python

void AddProjectBindings(py::module_& module)
{
    py::class_<SharedProject> project(
        module, "Project",
        "A slicer's project (Bambu Studio, OrcaSlicer, QIDI Studio, Creality Print, PrusaSlicer, or a\n"
        "plain 3MF) open to be looked at and edited: Project.open(path). Listing its plates,\n"
        "filaments, objects and settings reads no mesh; meshes() reads them. Edits change the project\n"
        "in memory and check what they name first: one that can't apply (a filament beyond the list,\n"
        "an object that isn't there, a setting of the wrong kind) raises ValueError naming it and\n"
        "changes nothing. save(path) writes every entry no edit touched as it was stored.");
    AddModelClasses(project);
    project
        .def_static("open", &Open, py::arg("path"),
                    "Opens the project at path (str, bytes or os.PathLike). What could not be read of\n"
                    "its settings is an ond3mf.Warning, through the warnings module. Raises\n"
                    "ond3mf.FileError (an OSError) when the file can't be opened, ond3mf.Error when it\n"
                    "is not a 3MF package.")
        .def_property_readonly(
            "dialect",
            [](SharedProject const& shared) {
                return Reading(shared,
                               [](Project const& p) { return std::string(DialectName(p.Dialect())); });
            },
            "Who wrote the project: \"bambu\", \"orca\", \"qidi\", \"creality\", \"prusa\" or \"plain\".")
        .def_property_readonly(
            "application",
            [](SharedProject const& shared)
            { return Reading(shared, [](Project const& p) { return p.Application(); }); },
            "The Application metadata, as the writer gave it; may be empty.")
        .def_property_readonly(
            "metadata",
            [](SharedProject const& shared)
            {
                py::dict metadata;
                for (auto const& [key, value] :
                     Reading(shared, [](Project const& p) { return p.Metadata(); }))
                {
                    metadata[py::str(key)] = value;
                }
                return metadata;
            },
            "The model's metadata (Title, Designer, License, ...) as a dict, in the file's order.")
        .def_property_readonly(
            "filaments",
            [](SharedProject const& shared)
            { return Reading(shared, [](Project const& p) { return p.Filaments(); }); },
            "The filaments, a list of Project.Filament (index, colour, type, preset).")
        .def_property_readonly(
            "objects",
            [](SharedProject const& shared)
            { return Reading(shared, [](Project const& p) { return p.Objects(); }); },
            "The objects, a list of Project.Object (id, name, extruder, parts).")
        .def_property_readonly(
            "plates",
            [](SharedProject const& shared)
            { return Reading(shared, [](Project const& p) { return p.Plates(); }); },
            "The plates, a list of Project.Plate (id, name, items); a plain or PrusaSlicer project\n"
            "has one, which holds every item.")
        .def_property_readonly(
            "settings",
            [](SharedProject const& shared)
            {
                std::string const json = Reading(shared, [](Project const& p) { return p.SettingsJson(); });
                return py::module_::import("json").attr("loads")(py::str(json));
            },
            "The settings as a dict: the Bambu family's project settings as the file holds them,\n"
            "PrusaSlicer's with each value a str; {} when the project has none.")
        .def(
            "thumbnail",
            [](SharedProject const& shared, std::optional<int> plate) -> py::object
            {
                std::optional<std::string> const png =
                    Looking(shared, [&](Project const& p) { return p.Thumbnail(plate.value_or(0)); });
                return png ? py::bytes(*png) : py::object(py::none());
            },
            py::arg("plate") = py::none(),
            "The PNG bytes of the plate's thumbnail, or of the package's own without a plate; None\n"
            "where there is none. ValueError for a plate that isn't there.")
        .def("meshes", &Meshes, py::arg("plate") = py::none(), py::arg("object") = py::none(),
             py::arg("non_printable") = false,
             "The meshes of the project as it stands, edits included, as a list of Mesh: one per\n"
             "part, with its filament's colour and its paint. With a plate, the meshes of its items in\n"
             "the plate's own coordinates; with an object (its id), that object's alone. Parts that\n"
             "are not printed (modifiers, negative volumes, support blockers and enforcers) only with\n"
             "non_printable. Warnings are ond3mf.Warning; ValueError for a plate or object that\n"
             "isn't there, ond3mf.Error for a mesh that can't be read.")
        .def_property_readonly(
            "entries",
            [](SharedProject const& shared)
            {
                return Reading(shared,
                               [](Project const& p)
                               {
                                   std::vector<std::string> names;
                                   for (ProjectEntry const& entry : p.Entries())
                                   {
                                       names.push_back(entry.name);
                                   }
                                   return names;
                               });
            },
            "The names of the package's entries, in its order, added ones last.")
        .def("read_entry", &ReadEntry, py::arg("name"),
             "The bytes of the entry, as the project stands. ValueError for an entry that isn't\n"
             "there, ond3mf.Error for one that can't be read.")
        .def(
            "write_entry",
            [](SharedProject& shared, std::string const& name, py::object const& data)
            {
                std::string bytes = BytesOf(data, "write_entry: data");
                Editing(shared, [&](Project& p) { p.WriteEntry(name, std::move(bytes)); });
            },
            py::arg("name"), py::arg("data"),
            "Replaces the entry's bytes, or adds the entry; a new extension gets a content type.")
        .def(
            "remove_entry",
            [](SharedProject& shared, std::string const& name)
            { Editing(shared, [&](Project& p) { p.RemoveEntry(name); }); },
            py::arg("name"), "Removes the entry, with the relationships and the content type that name it.")
        .def(
            "set_filament",
            [](SharedProject& shared, int index, std::optional<std::string> const& colour,
               std::optional<std::string> const& type)
            { Editing(shared, [&](Project& p) { p.SetFilament(index, colour, type); }); },
            py::arg("index"), py::arg("colour") = py::none(), py::arg("type") = py::none(),
            "Sets the colour (\"#RRGGBB\") and or the type (\"PLA\", ...) of filament index, from 1.")
        .def(
            "add_filament",
            [](SharedProject& shared, std::string const& colour, std::optional<std::string> const& type,
               int like)
            { return Editing(shared, [&](Project& p) { return p.AddFilament(colour, type, like); }); },
            py::arg("colour"), py::arg("type") = py::none(), py::arg("like") = 1,
            "Adds a filament of the colour (\"#RRGGBB\") and type, its other settings copied from\n"
            "filament like: every per-filament setting grows by one, the flush volumes to N x N.\n"
            "Returns its index.")
        .def(
            "set_extruder",
            [](SharedProject& shared, int objectId, int extruder, std::optional<int> partId)
            { Editing(shared, [&](Project& p) { p.SetExtruder(objectId, extruder, partId); }); },
            py::arg("object_id"), py::arg("extruder"), py::arg("part_id") = py::none(),
            "Sets the filament the object prints with, or with part_id the part's.")
        .def(
            "rename",
            [](SharedProject& shared, int objectId, std::string const& name)
            { Editing(shared, [&](Project& p) { p.Rename(objectId, name); }); },
            py::arg("object_id"), py::arg("name"), "Renames the object.")
        .def(
            "set_metadata",
            [](SharedProject& shared, std::string const& key, std::string const& value)
            { Editing(shared, [&](Project& p) { p.SetMetadata(key, value); }); },
            py::arg("key"), py::arg("value"),
            "Sets a metadata value of the model, adding it where it is not.")
        .def("set_setting", &SetSetting, py::arg("key"), py::arg("value"),
             "Sets a setting: a str for a setting that holds a value, a list of str for one that\n"
             "holds a list (PrusaSlicer's lists are joined by ';'). ValueError for the wrong kind.")
        .def(
            "set_thumbnail",
            [](SharedProject& shared, py::object const& png, std::optional<int> plate)
            {
                std::string bytes = BytesOf(png, "set_thumbnail: png");
                Editing(shared, [&](Project& p) { p.SetThumbnail(std::move(bytes), plate.value_or(0)); });
            },
            py::arg("png"), py::arg("plate") = py::none(),
            "Sets the plate's thumbnail, or the package's without a plate, to PNG bytes;\n"
            "ValueError for bytes that are not a PNG image.")
        .def(
            "remove_object",
            [](SharedProject& shared, int objectId)
            { Editing(shared, [&](Project& p) { p.RemoveObject(objectId); }); },
            py::arg("object_id"), "Removes the object from the model, the model settings and its plate.")
        .def("add_object", &AddObject, py::arg("vertices"), py::arg("triangles"), py::arg("name"),
             py::arg("extruder") = 1, py::arg("triangle_filaments") = py::none(), py::arg("plate") = 1,
             py::arg("position") = py::none(),
             "Adds a mesh as an object of its own and returns its id. vertices: N x 3 millimetres,\n"
             "triangles: M x 3 vertex indices (numpy arrays of any integer or real dtype, or lists).\n"
             "triangle_filaments: one filament per triangle (0: the object's), written as\n"
             "whole-triangle paint. The mesh rests on the plate with the centre of its footprint at\n"
             "position (x, y millimetres from the plate's corner), the plate's centre without one.")
        .def("save", &Save, py::arg("path"),
             "Writes the project to path through a file beside it, renamed over it when whole:\n"
             "entries no edit touched are copied as they were stored. Raises ond3mf.FileError (an\n"
             "OSError, with errno where the system refused) and leaves the target as it was.")
        .def("__repr__",
             [](SharedProject const& shared)
             {
                 auto const [dialect, plates, objects, filaments] = Reading(
                     shared,
                     [](Project const& p)
                     {
                         return std::make_tuple(std::string(DialectName(p.Dialect())), p.Plates().size(),
                                                p.Objects().size(), p.Filaments().size());
                     });
                 return Repr("<ond3mf.Project {}: {} plates, {} objects, {} filaments>",
                             py::make_tuple(dialect, plates, objects, filaments));
             });
}
} // namespace format3mf::python
