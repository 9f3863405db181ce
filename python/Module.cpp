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

#include <boost/filesystem/operations.hpp>

#include <pybind11/stl.h>

#include <cerrno>
#include <unistd.h>

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

std::wstring PathOf(py::object const& path)
{
    std::string const text = py::str(py::module_::import("os").attr("fspath")(path)).cast<std::string>();
    return StringConversion::ConvertUTF8ToNative(text.data(), text.size());
}

py::object g_error;
py::object g_fileError;

[[noreturn]] void RaiseError(std::string const& message)
{
    PyErr_SetString(g_error.ptr(), message.c_str());
    throw py::error_already_set();
}

[[noreturn]] void RaiseFileError(int code, std::string const& message, std::string const& path)
{
    PyErr_SetObject(g_fileError.ptr(), py::make_tuple(code, message, path).ptr());
    throw py::error_already_set();
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

// A file that can't be opened is an OSError, with its errno.
void CheckReadable(std::wstring const& path)
{
    std::string const narrow = StringConversion::ConvertNativeToUTF8(path);
    if (access(narrow.c_str(), R_OK) != 0)
    {
        int const code = errno;
        RaiseFileError(code, std::strerror(code), narrow);
    }
}

format3mf::import::ImportResult Import(py::object const& path, bool textures, bool asOne, py::object progress)
{
    std::wstring const file = PathOf(path);
    CheckReadable(file);
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    format3mf::import::ImportSettings settings;
    settings.textures = textures;
    settings.asOnePart = asOne;
    settings.progress = delegate;
    format3mf::import::ImportResult result;
    {
        py::gil_scoped_release release;
        result = format3mf::import::ImportFile(file, settings);
    }
    delegate->RaiseIfFailed();
    for (std::wstring const& warning : result.warnings)
    {
        if (PyErr_WarnEx(PyExc_UserWarning, StringConversion::ConvertNativeToUTF8(warning).c_str(), 2) != 0)
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
    format3mf::import::ImportResult const result = Import(path, textures, asOne, std::move(progress));
    std::vector<ond3mf::Mesh> meshes;
    for (auto const& mesh : result.meshes)
    {
        meshes.push_back(ond3mf::ToPython(*mesh));
    }
    return meshes;
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

// Removes the file unless kept: whatever ends a write, no part of it stays.
class Unfinished
{
public:
    explicit Unfinished(std::string path) : m_path(std::move(path)) {}
    ~Unfinished()
    {
        if (!m_path.empty())
        {
            boost::system::error_code ignored;
            boost::filesystem::remove(m_path, ignored);
        }
    }
    void KeepAs(std::string const& path)
    {
        boost::filesystem::rename(m_path, path);
        m_path.clear();
    }

private:
    std::string m_path;
};

void Write(py::object const& path, py::iterable const& meshes, bool binary, bool zip64, py::object progress)
{
    std::string const target = StringConversion::ConvertNativeToUTF8(PathOf(path));
    std::vector<ond3mf::CheckedMesh> checked;
    for (py::handle mesh : meshes)
    {
        checked.push_back(ond3mf::CheckMesh(mesh, "mesh " + std::to_string(checked.size())));
    }
    boost::filesystem::path const folder = boost::filesystem::path(target).parent_path();
    boost::system::error_code error;
    if (!folder.empty() && !boost::filesystem::is_directory(folder, error))
    {
        RaiseFileError(ENOENT, "No such folder", folder.string());
    }
    auto delegate = std::make_shared<PythonProgress>(std::move(progress));
    std::string failure;
    bool cancelled = false;
    {
        py::gil_scoped_release release;
        // Written beside the target and renamed when complete, so that a
        // failure never leaves a partial file nor spoils one that was there.
        Unfinished unfinished(target + ".part" + std::to_string(getpid()));
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
            writer.Write(StringConversion::ConvertUTF8ToNative(target.data(), target.size()) + L".part" +
                             std::to_wstring(getpid()),
                         delegate);
            if (delegate->IsCancelled())
            {
                cancelled = true;
            }
            else
            {
                unfinished.KeepAs(target);
            }
        }
        catch (Format_3MF::PackageWrite::Canceled const&)
        {
            cancelled = true;
        }
        catch (MZipArchiveError::MGeneric const& archive)
        {
            failure =
                StringConversion::ConvertNativeToUTF8(archive.GetMessage() + L": " + archive.GetDetail());
        }
        catch (std::exception const& other)
        {
            failure = other.what();
        }
    }
    delegate->RaiseIfFailed();
    if (cancelled)
    {
        RaiseError("writing " + target + " was cancelled; nothing was written");
    }
    if (!failure.empty())
    {
        RaiseError("could not write " + target + ": " + failure);
    }
}
} // namespace

PYBIND11_MODULE(ond3mf, module)
{
    module.doc() = "3MF files as numpy arrays: read, write and inspect them with OndSDK.AM.3mf.";
    module.attr("__version__") = format3mf::Version();

    g_error = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
        "ond3mf.Error", "A 3MF file could not be read or written; the message says why.", nullptr, nullptr));
    g_fileError = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
        "ond3mf.FileError", "A file that could not be opened: an Error and an OSError.",
        py::make_tuple(g_error, py::handle(PyExc_OSError)).ptr(), nullptr));
    module.attr("Error") = g_error;
    module.attr("FileError") = g_fileError;
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
               "one with as_one), transformations applied, in millimetres. Warnings of the read go\n"
               "through the warnings module. progress(fraction) is called now and then and may raise\n"
               "to cancel. Raises ond3mf.FileError when the file can't be opened, ond3mf.Error when it\n"
               "can't be read.");
    module.def("write", &Write, py::arg("path"), py::arg("meshes"), py::arg("binary") = false,
               py::arg("zip64") = false, py::arg("progress") = py::none(),
               "Writes meshes (Mesh, or anything with vertices, triangles and optionally\n"
               "triangle_colors and name) as objects of a 3MF file. Every mesh is checked first: a bad\n"
               "shape, dtype, index or coordinate raises ValueError naming the mesh and the field, and\n"
               "nothing is written. A write that fails or is cancelled leaves no file.");
    module.def("info", &Info, py::arg("path"),
               "The figures ond3mf-info prints, as a dict per mesh: name, vertices, triangles, box_min,\n"
               "box_max (millimetres), coloured_triangles, textured_triangles, textures, beams.");
}
