// The Python module ond3mf: read, write and info over the library's import
// and export, with numpy arrays in and out. Exceptions of C++ are translated
// here once; the GIL is released around the library's work.
#include "MeshArrays.h"
#include "MeshSummary.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ImportFile.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/Version.h"

#include "common/IProgressDelegate.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "zip/MZipArchiveError.h"

#include <pybind11/stl.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace py = pybind11;

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

// The errno of a cause of a failed write, 0 where it is none: the library
// gives the system's causes in the words of std::generic_category.
int ErrnoOf(std::string const& cause)
{
    for (int code = 1; code < 256; ++code)
    {
        if (std::generic_category().message(code) == cause)
        {
            return code;
        }
    }
    return 0;
}

std::string Joined(std::vector<std::wstring> const& messages)
{
    std::string text;
    for (std::wstring const& message : messages)
    {
        text += (text.empty() ? "" : "\n") + StringConversion::ConvertNativeToUTF8(message);
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

format3mf::import::ImportResult Import(py::object const& path, bool textures, bool asOne, py::object progress)
{
    std::string const name = PathOf(path);
    CheckReadable(name, path);
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    format3mf::import::ImportSettings settings;
    settings.textures = textures;
    settings.asOnePart = asOne;
    settings.progress = delegate;
    format3mf::import::ImportResult result;
    {
        py::gil_scoped_release release;
        result = format3mf::import::ImportFile(StringConversion::ConvertFileNameToNative(name), settings);
    }
    delegate->RaiseIfFailed();
    for (std::wstring const& warning : result.warnings)
    {
        // A C++ function has no frame of its own: 1 is the caller's line.
        if (PyErr_WarnEx(g_warning.ptr(), StringConversion::ConvertNativeToUTF8(warning).c_str(), 1) != 0)
        {
            throw py::error_already_set();
        }
    }
    if (result.status == format3mf::import::Importer::Canceled)
    {
        RaiseError("reading was cancelled");
    }
    if (result.status != format3mf::import::Importer::Success)
    {
        RaiseError(Joined(result.errors));
    }
    return result;
}

std::vector<ond3mf::Mesh> Read(py::object const& path, bool textures, bool asOne, py::object progress)
{
    return ond3mf::ToPython(Import(path, textures, asOne, std::move(progress)).meshes);
}
py::list Info(py::object const& path)
{
    format3mf::import::ImportResult const result = Import(path, true, false, py::none());
    py::list meshes;
    for (auto const& mesh : result.meshes)
    {
        tools::Summary const s = tools::Summarise(*mesh);
        py::dict entry;
        entry["name"] = StringConversion::ConvertNativeToUTF8(mesh->GetName());
        entry["vertices"] = s.vertices;
        entry["triangles"] = s.triangles;
        entry["box_min"] = py::make_tuple(s.min[0], s.min[1], s.min[2]);
        entry["box_max"] = py::make_tuple(s.max[0], s.max[1], s.max[2]);
        entry["coloured_triangles"] = s.coloured;
        entry["textured_triangles"] = s.textured;
        entry["textures"] = s.textures;
        entry["beams"] = s.beams;
        meshes.append(std::move(entry));
    }
    return meshes;
}

// PackageWrite writes beside the target and renames over it when the file
// is whole, so that a failure or a cancel leaves the target as it was.
void Write(py::object const& path, py::iterable const& meshes, bool binary, bool zip64, py::object progress)
{
    std::wstring const target = StringConversion::ConvertFileNameToNative(PathOf(path));
    std::vector<ond3mf::CheckedMesh> checked;
    for (py::handle mesh : meshes)
    {
        checked.push_back(ond3mf::CheckMesh(mesh, "mesh " + std::to_string(checked.size())));
    }
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    std::string cause;
    bool cancelled = false;
    {
        py::gil_scoped_release release;
        try
        {
            std::vector<ond3mf::BuiltMesh> built;
            Format_3MF::ModelFileStlBase model;
            for (ond3mf::CheckedMesh const& mesh : checked)
            {
                built.push_back(ond3mf::ToMesh(mesh));
                model.AddStl(built.back().mesh.get());
            }
            Format_3MF::Package package(&model);
            Format_3MF::PackageWriteOptions options;
            options.IsBinary = binary;
            options.Package.m_useZip64 = zip64;
            Format_3MF::PackageWrite writer(&package, options);
            writer.Write(target, delegate);
        }
        catch (Format_3MF::PackageWrite::Canceled const&)
        {
            cancelled = true;
        }
        catch (MZipArchiveError::MGeneric const& archive)
        {
            cause = StringConversion::ConvertNativeToUTF8(archive.GetDetail());
        }
        catch (std::exception const& other)
        {
            cause = other.what();
        }
    }
    delegate->RaiseIfFailed();
    std::string const shown = StringConversion::ConvertNativeToUTF8(target);
    if (cancelled)
    {
        RaiseError("writing " + shown + " was cancelled; the file is as it was");
    }
    if (!cause.empty())
    {
        if (int const code = ErrnoOf(cause); code != 0)
        {
            RaiseFileError(code, FileNameOf(path));
        }
        RaiseError("Could not write " + shown + ": " + cause);
    }
}
} // namespace

PYBIND11_MODULE(ond3mf, module)
{
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

    py::class_<ond3mf::Mesh>(
        module, "Mesh",
        "One mesh: vertices (float64 N x 3, millimetres), triangles (uint32 M x 3), and\n"
        "where present triangle_colors (uint8 M x 3 x 4, RGBA per corner), uvs (float32\n"
        "M x 3 x 2), texture_ids (int32 M, -1 untextured), textures (list of uint8\n"
        "H x W x 4), beams (uint32 K x 2) with beam_radii (float64 K x 2, NaN where a beam\n"
        "has none), and the object's name.")
        .def(py::init(
                 [](py::object vertices, py::object triangles, py::object colors, std::string name)
                 {
                     ond3mf::Mesh mesh;
                     mesh.vertices = std::move(vertices);
                     mesh.triangles = std::move(triangles);
                     mesh.triangle_colors = std::move(colors);
                     mesh.uvs = mesh.texture_ids = mesh.textures = mesh.beams = mesh.beam_radii = py::none();
                     mesh.name = std::move(name);
                     return mesh;
                 }),
             py::arg("vertices"), py::arg("triangles"), py::arg("triangle_colors") = py::none(),
             py::arg("name") = "")
        .def_readwrite("vertices", &ond3mf::Mesh::vertices)
        .def_readwrite("triangles", &ond3mf::Mesh::triangles)
        .def_readwrite("triangle_colors", &ond3mf::Mesh::triangle_colors)
        .def_readwrite("uvs", &ond3mf::Mesh::uvs)
        .def_readwrite("texture_ids", &ond3mf::Mesh::texture_ids)
        .def_readwrite("textures", &ond3mf::Mesh::textures)
        .def_readwrite("beams", &ond3mf::Mesh::beams)
        .def_readwrite("beam_radii", &ond3mf::Mesh::beam_radii)
        .def_readwrite("name", &ond3mf::Mesh::name)
        .def("__repr__",
             [](ond3mf::Mesh const& mesh)
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
               "The figures ond3mf-info prints, as a dict per mesh: name, vertices, triangles, box_min,\n"
               "box_max (millimetres), coloured_triangles, textured_triangles, textures, beams.");
}
