// What a read takes: a path, or the bytes of a whole file (bytes-like data or
// a binary file-like object), which the reader, made to open paths, finds in
// an anonymous file in memory.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace format3mf::python
{
// The file a read opens. For data it is a memfd (Linux), opened by its
// /proc/self/fd path and closed with this object: nothing is written to a
// disk and nothing is left behind, and the reader's one copy of the bytes
// costs no more than reading them from the page cache.
class ReadSource
{
public:
    // With the GIL. `bytes` holding a NUL byte or starting as a zip archive
    // does ("PK") is data; any other bytes are a file name, as os.fsencode
    // gives one. A missing or unreadable path raises its FileError here.
    explicit ReadSource(pybind11::object const& source);
    ~ReadSource();
    ReadSource(ReadSource const&) = delete;
    ReadSource& operator=(ReadSource const&) = delete;

    // The name the reader opens.
    std::string const& Path() const { return m_path; }
    // The messages of the read, with the /proc path of data replaced by
    // words a user knows.
    std::string Shown(std::string message) const;

private:
    int m_descriptor = -1;
    std::string m_path;
};
} // namespace format3mf::python
