// Reads from a path or from data in memory: data goes into a memfd, which the
// reader opens by name like any file.
#include "Source.h"

#include "Shared.h"

#include <cerrno>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace py = pybind11;

namespace format3mf::python
{
namespace
{
bool IsData(py::handle source)
{
    if (py::isinstance<py::bytes>(source))
    {
        std::string_view const text = PyBytes_AS_STRING(source.ptr());
        std::size_t const size = std::size_t(PyBytes_GET_SIZE(source.ptr()));
        return text.size() != size || (size >= 2 && text.substr(0, 2) == "PK");
    }
    return PyObject_CheckBuffer(source.ptr()) != 0;
}
} // namespace

ReadSource::ReadSource(py::object const& source)
{
    py::object data = source;
    if (!IsData(source) && py::hasattr(source, "read"))
    {
        data = source.attr("read")();
        if (!PyObject_CheckBuffer(data.ptr()))
        {
            throw py::type_error("the file-like object's read() gave " +
                                 py::str(py::type::of(data).attr("__name__")).cast<std::string>() +
                                 ", not bytes: open the file in binary mode ('rb')");
        }
    }
    else if (!IsData(source))
    {
        m_path = PathOf(source);
        CheckReadable(m_path, source);
        return;
    }
    py::buffer_info const buffer = py::buffer(data).request();
    if (buffer.ndim > 1 && buffer.strides.back() != buffer.itemsize)
    {
        throw py::type_error("the data of a file must be contiguous bytes");
    }
    char const* bytes = static_cast<char const*>(buffer.ptr);
    std::size_t left = std::size_t(buffer.size * buffer.itemsize);
    m_descriptor = ::memfd_create("ond3mf-data", MFD_CLOEXEC);
    if (m_descriptor < 0)
    {
        RaiseFileError(errno, py::str("<memory file>"));
    }
    int code = 0;
    {
        py::gil_scoped_release release;
        while (left != 0 && code == 0)
        {
            ssize_t const written = ::write(m_descriptor, bytes, left);
            if (written < 0 && errno != EINTR)
            {
                code = errno;
            }
            else if (written > 0)
            {
                bytes += written;
                left -= std::size_t(written);
            }
        }
    }
    if (code != 0)
    {
        ::close(m_descriptor);
        m_descriptor = -1;
        RaiseFileError(code, py::str("<memory file>"));
    }
    m_path = "/proc/self/fd/" + std::to_string(m_descriptor);
}

ReadSource::~ReadSource()
{
    if (m_descriptor >= 0)
    {
        ::close(m_descriptor);
    }
}

std::string ReadSource::Shown(std::string message) const
{
    if (m_descriptor < 0)
    {
        return message;
    }
    std::string const words = "the data given";
    for (std::size_t at = message.find(m_path); at != std::string::npos;
         at = message.find(m_path, at + words.size()))
    {
        message.replace(at, m_path.size(), words);
    }
    return message;
}
} // namespace format3mf::python
