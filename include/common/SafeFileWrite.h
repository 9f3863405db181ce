#pragma once

// Writing a file so that its target is never left half written: the bytes go
// to a new file beside the target, which takes the target's name only once
// every byte of it is on the disk.

#include "common/OndExport.h"

#include <stdexcept>
#include <string>

namespace format3mf
{
// A write that could not be done, described for the user: the target's name
// and the cause as the system gives it ("No space left on device"), never the
// name of the temporary file.
class OND_EXPORT FileWriteError : public std::runtime_error
{
public:
    // errorNumber is the errno of the cause, 0 where the system gave none;
    // cause is its text.
    FileWriteError(std::string target, int errorNumber, std::string const& cause);

    std::string const& Target() const { return m_target; }
    int ErrorNumber() const { return m_errorNumber; }
    // The cause alone, without the target.
    std::string const& Cause() const { return m_cause; }

private:
    std::string m_target;
    int m_errorNumber;
    std::string m_cause;
};

// One write of one file. The constructor makes a temporary file with a name
// of its own in the target's folder (as mkstemp does), so that it lands on
// the target's disk and the rename is atomic; the writer fills it by its
// path or descriptor. Commit flushes it to the disk and renames it over the
// target. Until then, and whatever ends the write (a failure, a cancel, an
// exception), the target keeps every byte it had: the destructor removes the
// temporary file of a write that was not committed.
//
// Paths are the file system's bytes (UTF-8 where the name is). A target that
// exists keeps its permissions; a new one gets those a new file would get.
class OND_EXPORT SafeFileWrite
{
public:
    // Throws FileWriteError when the target is a folder or its folder can't
    // take the temporary file.
    explicit SafeFileWrite(std::string target);
    SafeFileWrite(SafeFileWrite const&) = delete;
    SafeFileWrite& operator=(SafeFileWrite const&) = delete;
    ~SafeFileWrite();

    std::string const& Target() const { return m_target; }
    // Where the writer puts the bytes.
    std::string const& TemporaryPath() const { return m_temporaryPath; }
    // Open for writing on the temporary file until Commit or Discard.
    int Descriptor() const { return m_descriptor; }

    // Flushes the file to the disk and renames it over the target. Throws
    // FileWriteError, with the temporary file removed, when any of it fails:
    // a write that ran out of room often shows only here.
    void Commit();
    // Removes the temporary file now; the target stays as it was.
    void Discard() noexcept;

    // The error for a failure of the writer, with the cause given by errno.
    FileWriteError Failure(int errorNumber) const;
    // The same with a cause in words, for libraries that give no errno.
    FileWriteError Failure(std::string const& cause) const;

private:
    std::string m_target;
    std::string m_temporaryPath;
    int m_descriptor = -1;
    bool m_committed = false;
};
} // namespace format3mf
