// What every binding of the module shares: its exception and warning types,
// the translation of the library's failures into them, and progress that
// calls back into Python.
#pragma once

#include "common/IProgressDelegate.h"

#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <vector>

namespace format3mf::python
{
// Follows the library's progress on its thread: with the GIL, calls the
// user's callable and looks for Ctrl-C, at most every hundredth of the way.
// What Python raised there cancels the work and is raised again after it.
class PythonProgress : public OndSDK::Common::IProgressDelegate
{
public:
    explicit PythonProgress(pybind11::object callable) : m_callable(std::move(callable)) {}
    ~PythonProgress() override;

    // Raises what the callable or a signal raised during the work, if any.
    void RaiseIfFailed();

protected:
    void OnProgress(double fraction) override;

private:
    pybind11::object m_callable;
    std::unique_ptr<pybind11::error_already_set> m_error;
    double m_next = 0.0;
};

// Makes ond3mf.Error, FileError (with its OSError kinds) and Warning, and
// translates any C++ exception that reaches Python into an ond3mf.Error.
void RegisterErrors(pybind11::module_& module);

[[noreturn]] void RaiseError(std::string const& message);
// The FileError of a file that the system refused, with errno, strerror and
// filename; of the OSError subclass that Python gives the errno.
[[noreturn]] void RaiseFileError(int code, pybind11::object const& filename);
// The errno of a failed write, 0 where it is none: the library ends its
// message with the system's cause, in the words of std::generic_category.
int ErrnoOf(std::string const& error);
std::string Joined(std::vector<std::string> const& messages);
// Each message as an ond3mf.Warning at the caller's line.
void Warn(std::vector<std::string> const& messages);

// A path as the file system's bytes: os.fsencode takes str, bytes and
// os.PathLike, and gives a name that is not UTF-8 as it is.
std::string PathOf(pybind11::object const& path);
// The path as Python gives it in OSError.filename: str or bytes, as passed.
pybind11::object FileNameOf(pybind11::object const& path);
// A file that can't be opened for reading is an OSError with its errno; so
// is a folder, which open() takes but no read can use.
void CheckReadable(std::string const& name, pybind11::object const& path);

// Raises the failure of a write: a FileError where the system refused, the
// error of the progress callable, or an ond3mf.Error.
void RaiseWriteFailure(std::string const& error, bool cancelled, pybind11::object const& path);

// A docstring whose first line is the signature that inspect.signature
// reads ("name(arguments)\n--\n\n"), for functions made while
// pybind11's own signatures are switched off.
#define OND3MF_DOC(signature, text) signature "\n--\n\n" text
} // namespace format3mf::python
