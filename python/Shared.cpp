// The module's exception types and the translation of the library's failures
// into them, shared by every binding; progress that calls back into Python.
#include "Shared.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
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
} // namespace

PythonProgress::~PythonProgress()
{
    py::gil_scoped_acquire gil;
    m_callable = py::object();
    m_error.reset();
}

void PythonProgress::RaiseIfFailed()
{
    if (m_error)
    {
        m_error->restore();
        m_error.reset();
        throw py::error_already_set();
    }
}

void PythonProgress::OnProgress(double fraction)
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

void RegisterErrors(py::module_& module)
{
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
}

void RaiseError(std::string const& message)
{
    PyErr_SetString(g_error.ptr(), message.c_str());
    throw py::error_already_set();
}

void RaiseFileError(int code, py::object const& filename)
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

void Warn(std::vector<std::string> const& messages)
{
    for (std::string const& message : messages)
    {
        // A C++ function has no frame of its own: 1 is the caller's line.
        if (PyErr_WarnEx(g_warning.ptr(), message.c_str(), 1) != 0)
        {
            throw py::error_already_set();
        }
    }
}

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

py::object FileNameOf(py::object const& path)
{
    return py::module_::import("os").attr("fspath")(path);
}

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

void RaiseWriteFailure(std::string const& error, bool cancelled, py::object const& path)
{
    if (int const code = cancelled ? 0 : ErrnoOf(error); code != 0)
    {
        RaiseFileError(code, FileNameOf(path));
    }
    RaiseError(error);
}
} // namespace format3mf::python
