// The Python module ond3mf: read, write and info over the library's import
// and export, with numpy arrays in and out. Exceptions of C++ are translated
// here once; the GIL is released around the library's work.
#include "MeshArrays.h"
#include "MeshSummary.h"
#include "ModuleErrors.h"
#include "ProjectBindings.h"

#include "format3mf/ImportFile.h"
#include "format3mf/Version.h"
#include "format3mf/WriteFile.h"

#include "common/IProgressDelegate.h"
#include "triangles/MStlBase.h"

#include <pybind11/stl.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
// Follows the library's progress on its thread: with the GIL, calls the
// user's callable and looks for Ctrl-C, at most every hundredth of the way.
// What Python raised there cancels the work and is raised again after it.
class PythonProgress : public OndSDK::Common::IProgressDelegate
{
public:
    explicit PythonProgress(py::object callable) : m_callable(std::move(callable)) {}
    ~PythonProgress() override
    {
        py::gil_scoped_acquire gil;
        m_callable = py::object();
        m_error.reset();
    }

    // Raises what the callable or a signal raised during the work, if any.
    void RaiseIfFailed()
    {
        if (m_error)
        {
            m_error->restore();
            m_error.reset();
            throw py::error_already_set();
        }
    }

protected:
    void OnProgress(double fraction) override
    {
        if (fraction < m_next && fraction < 1.0)
        {
            return;
        }
        m_next = fraction + 0.01;
        py::gil_scoped_acquire gil;
        if (m_error)
        {
            return;
        }
        try
        {
            if (PyErr_CheckSignals() != 0)
            {
                throw py::error_already_set();
            }
            if (m_callable && !m_callable.is_none())
            {
                m_callable(fraction);
            }
        }
        catch (py::error_already_set& error)
        {
            m_error = std::make_unique<py::error_already_set>(std::move(error));
            Cancel();
        }
    }

private:
    py::object m_callable;
    std::unique_ptr<py::error_already_set> m_error;
    double m_next = 0.0;
};
} // namespace

// A path as the file system's bytes: os.fsencode takes str, bytes and
// os.PathLike, and gives a name that is not UTF-8 as it is.
std::string PathOf(py::object const& path)
{
    std::string const name = py::module_::import("os").attr("fsencode")(path).cast<std::string>();
    if (name.find('\0') != std::string::npos)
    {
        throw py::value_error("the path " + py::repr(path).cast<std::string>() +
                              " has a NUL character, which no file name can hold");
    }
    return name;
}

// The path as Python gives it in OSError.filename: str or bytes, as passed.
py::object FileNameOf(py::object const& path)
{
    return py::module_::import("os").attr("fspath")(path);
}

py::object g_error;
py::object g_fileError;
py::object g_warning;
namespace
{
// Each subclass of OSError paired with the subclass of FileError that is it
// too; FileError holds those.
std::vector<std::pair<py::handle, py::handle>> g_fileErrorKinds;

// For each subclass of OSError that Python gives an errno of a file, a
// subclass of FileError that is that one too, so that `except
// FileNotFoundError` takes ours. It is an attribute of FileError, where
// pickle finds it by its name.
void AddFileErrorKinds()
{
    for (PyObject* kind :
         {PyExc_FileNotFoundError, PyExc_IsADirectoryError, PyExc_NotADirectoryError, PyExc_PermissionError})
    {
        py::handle const base(kind);
        std::string const name = base.attr("__name__").cast<std::string>();
        py::dict body;
        body["__module__"] = "ond3mf";
        body["__qualname__"] = "FileError." + name;
        body["__doc__"] = "An ond3mf.FileError that is a " + name + ".";
        py::object const type = py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyType_Type))(
            name, py::make_tuple(g_fileError, base), body);
        g_fileError.attr(name.c_str()) = type;
        g_fileErrorKinds.emplace_back(base, type);
    }
}
} // namespace

[[noreturn]] void RaiseError(std::string const& message)
{
    PyErr_SetString(g_error.ptr(), message.c_str());
    throw py::error_already_set();
}

// The FileError of a file that the system refused, with errno, strerror
// and filename; of the OSError subclass that Python gives the errno.
[[noreturn]] void RaiseFileError(int code, py::object const& filename)
{
    std::string const cause = std::generic_category().message(code);
    py::handle const kind = py::type::handle_of(py::handle(PyExc_OSError)(code, cause));
    py::handle type = g_fileError;
    for (auto const& [base, ours] : g_fileErrorKinds)
    {
        if (base.is(kind))
        {
            type = ours;
        }
    }
    PyErr_SetObject(type.ptr(), py::make_tuple(code, cause, filename).ptr());
    throw py::error_already_set();
}

// The errno of a failed write, 0 where it is none: the library ends its
// message with the system's cause, in the words of std::generic_category.
int ErrnoOf(std::string const& error)
{
    for (int code = 1; code < 256; ++code)
    {
        std::string const cause = ": " + std::generic_category().message(code);
        if (error.size() > cause.size() &&
            error.compare(error.size() - cause.size(), cause.size(), cause) == 0)
        {
            return code;
        }
    }
    return 0;
}

std::string Joined(std::vector<std::string> const& messages)
{
    std::string text;
    for (std::string const& message : messages)
    {
        text += (text.empty() ? "" : "\n") + message;
    }
    return text;
}

// A file that can't be opened for reading is an OSError with its errno; so
// is a folder, which open() takes but no read can use.
void CheckReadable(std::string const& name, py::object const& path)
{
    int const descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    int code = descriptor < 0 ? errno : 0;
    if (descriptor >= 0)
    {
        struct stat status = {};
        code = ::fstat(descriptor, &status) != 0 ? errno : S_ISDIR(status.st_mode) ? EISDIR : 0;
        ::close(descriptor);
    }
    if (code != 0)
    {
        RaiseFileError(code, FileNameOf(path));
    }
}

namespace
{
import::ImportResult Import(py::object const& path, bool textures, bool asOne,
                            py::object progress){std::string const name = PathOf(path);
CheckReadable(name, path);
auto delegate = std::make_shared<PythonProgress>(std::move(progress));
import::ImportSettings settings;
settings.textures = textures;
settings.asOnePart = asOne;
settings.progress = delegate;
import::ImportResult result;
{
    py::gil_scoped_release release;
    result = import::ImportFile(name, settings);
}
delegate->RaiseIfFailed();
for (std::string const& warning : result.warnings)
{
    // A C++ function has no frame of its own: 1 is the caller's line.
    if (PyErr_WarnEx(g_warning.ptr(), warning.c_str(), 1) != 0)
    {
        throw py::error_already_set();
    }
}
if (result.status == import::Importer::Canceled)
{
    RaiseError("reading was cancelled");
}
if (result.status != import::Importer::Success)
{
    RaiseError(Joined(result.errors));
}
return result;
} // namespace

std::vector<Mesh> Read(py::object const& path, bool textures, bool asOne, py::object progress)
{
    return ToPython(Import(path, textures, asOne, std::move(progress)).parts);
}

// The records of ond3mf-info --json, as Python's json module reads them.
py::list Info(py::object const& path)
{
    import::ImportResult const result = Import(path, true, false, py::none());
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
void Write(py::object const& path, py::iterable const& meshes, bool binary, bool zip64, py::object progress)
{
    std::string const target = PathOf(path);
    std::vector<CheckedMesh> checked;
    for (py::handle mesh : meshes)
    {
        checked.push_back(CheckMesh(mesh, "mesh " + std::to_string(checked.size())));
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
        if (int const code = written.cancelled ? 0 : ErrnoOf(written.error); code != 0)
        {
            RaiseFileError(code, FileNameOf(path));
        }
        RaiseError(written.error);
    }
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

    g_error = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
        "ond3mf.Error", "A 3MF file could not be read or written; the message says why.", nullptr, nullptr));
    g_fileError = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
        "ond3mf.FileError",
        "A file that the system would not open or write: an Error and an OSError, with errno, strerror\n"
        "and filename. Where Python has a subclass of OSError for the errno (FileNotFoundError,\n"
        "IsADirectoryError, NotADirectoryError, PermissionError) it is that one too.",
        py::make_tuple(g_error, py::handle(PyExc_OSError)).ptr(), nullptr));
    g_warning = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
        "ond3mf.Warning", "Something of a file that was read all the same; the message says what.",
        PyExc_UserWarning, nullptr));
    AddFileErrorKinds();
    module.attr("Error") = g_error;
    module.attr("FileError") = g_fileError;
    module.attr("Warning") = g_warning;
    // Anything of C++ that reaches the edge is an ond3mf.Error, never a crash.
    py::register_exception_translator(
        [](std::exception_ptr pending)
        {
            try
            {
                std::rethrow_exception(pending);
            }
            catch (py::error_already_set const&)
            {
                throw;
            }
            catch (py::builtin_exception const&)
            {
                throw;
            }
            catch (std::exception const& error)
            {
                PyErr_SetString(g_error.ptr(), error.what());
            }
        });

    py::class_<Mesh>(module, "Mesh",
                     "One mesh: vertices (float64 N x 3, millimetres), triangles (uint32 M x 3), and\n"
                     "where present triangle_colors (uint8 M x 3 x 4, RGBA per corner), uvs (float32\n"
                     "M x 3 x 2), texture_ids (int32 M, -1 untextured), textures (list of uint8\n"
                     "H x W x 4), beams (uint32 K x 2) with beam_radii (float64 K x 2, NaN where a beam\n"
                     "has none), and the object's name.")
        .def(py::init(
                 [](py::object vertices, py::object triangles, py::object colors, std::string name)
                 {
                     Mesh mesh;
                     mesh.vertices = std::move(vertices);
                     mesh.triangles = std::move(triangles);
                     mesh.triangle_colors = std::move(colors);
                     mesh.uvs = mesh.texture_ids = mesh.textures = mesh.beams = mesh.beam_radii = py::none();
                     mesh.name = std::move(name);
                     return mesh;
                 }),
             py::arg("vertices"), py::arg("triangles"), py::arg("triangle_colors") = py::none(),
             py::arg("name") = "")
        .def_readwrite("vertices", &Mesh::vertices)
        .def_readwrite("triangles", &Mesh::triangles)
        .def_readwrite("triangle_colors", &Mesh::triangle_colors)
        .def_readwrite("uvs", &Mesh::uvs)
        .def_readwrite("texture_ids", &Mesh::texture_ids)
        .def_readwrite("textures", &Mesh::textures)
        .def_readwrite("beams", &Mesh::beams)
        .def_readwrite("beam_radii", &Mesh::beam_radii)
        .def_readwrite("name", &Mesh::name)
        .def("__repr__",
             [](Mesh const& mesh)
             {
                 return "<ond3mf.Mesh '" + mesh.name + "' " +
                        py::str(mesh.vertices.attr("shape")).cast<std::string>() + " vertices, " +
                        py::str(mesh.triangles.attr("shape")).cast<std::string>() + " triangles>";
             });

    module.def("read", &Read, py::arg("path"), py::arg("textures") = true, py::arg("as_one") = false,
               py::arg("progress") = py::none(),
               "Reads a 3MF file into a list of Mesh, one per build item with geometry (all merged into\n"
               "one with as_one), transformations applied, in millimetres. path is str, bytes or\n"
               "os.PathLike. Warnings of the read are ond3mf.Warning, through the warnings module.\n"
               "progress(fraction) is called now and then and may raise to cancel. Raises\n"
               "ond3mf.FileError (an OSError) when the file can't be opened, ond3mf.Error when it\n"
               "can't be read.");
    module.def("write", &Write, py::arg("path"), py::arg("meshes"), py::arg("binary") = false,
               py::arg("zip64") = false, py::arg("progress") = py::none(),
               "Writes meshes (Mesh, or anything with vertices, triangles and optionally\n"
               "triangle_colors and name) as objects of a 3MF file. Every mesh is checked first: a bad\n"
               "shape, dtype, index or coordinate raises ValueError naming the mesh and the field, and\n"
               "nothing is written. A write that fails or is cancelled leaves the target as it was and\n"
               "no other file; it raises ond3mf.FileError (an OSError) where the system refused, with\n"
               "the cause, what progress raised, or ond3mf.Error.");
    module.def("info", &Info, py::arg("path"),
               "The figures ond3mf-info prints, as a dict per mesh with the keys of its --json: name,\n"
               "vertices, triangles, box (min and max, millimetres), coloured_triangles,\n"
               "textured_triangles, textures, beams.");
    AddProjectBindings(module);
}
