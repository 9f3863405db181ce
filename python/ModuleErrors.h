// The module's exceptions and its way with file names, defined in Module.cpp
// and shared with the bindings of other files, so that every function of the
// module raises the same exception for the same failure.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace format3mf::python
{
// ond3mf.Error, ond3mf.FileError and ond3mf.Warning; set when the module is
// imported.
extern pybind11::object g_error;
extern pybind11::object g_fileError;
extern pybind11::object g_warning;

// A path (str, bytes or os.PathLike) as the file system's bytes; ValueError
// for a NUL in it.
std::string PathOf(pybind11::object const& path);
// The path as Python gives it in OSError.filename: str or bytes, as passed.
pybind11::object FileNameOf(pybind11::object const& path);
// Raises the FileError of a file that can't be opened for reading (a folder
// included), with errno, strerror and filename.
void CheckReadable(std::string const& name, pybind11::object const& path);

[[noreturn]] void RaiseError(std::string const& message);
// The FileError of the errno, of the subclass of OSError Python gives it.
[[noreturn]] void RaiseFileError(int code, pybind11::object const& filename);
// The errno whose cause ends the library's message, 0 where none does.
int ErrnoOf(std::string const& error);
// The messages, one a line.
std::string Joined(std::vector<std::string> const& messages);
} // namespace format3mf::python
