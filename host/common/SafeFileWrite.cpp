// The one way the library, its tools and its Python module write a file: into
// a temporary file beside the target, renamed over it when complete.
#include "common/SafeFileWrite.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace format3mf
{
namespace
{
std::string CauseOf(int errorNumber)
{
    return std::error_code(errorNumber, std::generic_category()).message();
}

// The folder of a path, "." for a bare name.
std::string FolderOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    if (slash == std::string::npos)
    {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string LeafOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The mask the process gives new files. umask() can only be read by setting
// it, which races with other threads; the kernel shows it in the status file.
mode_t CurrentUmask()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
    {
        if (line.compare(0, 6, "Umask:") == 0)
        {
            return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
        }
    }
    return 022;
}
} // namespace

FileWriteError::FileWriteError(std::string target, int errorNumber, std::string const& cause)
    : std::runtime_error("Could not write " + target + ": " + cause), m_target(std::move(target)),
      m_errorNumber(errorNumber), m_cause(cause)
{
}

SafeFileWrite::SafeFileWrite(std::string target) : m_target(std::move(target))
{
    if (m_target.empty())
    {
        throw FileWriteError(m_target, ENOENT, CauseOf(ENOENT));
    }
    struct stat existing = {};
    bool const exists = ::stat(m_target.c_str(), &existing) == 0;
    if (exists && S_ISDIR(existing.st_mode))
    {
        throw Failure(EISDIR);
    }
    // Hidden, and named after the target, so that one left by a crash says
    // whose it was.
    std::string pattern = FolderOf(m_target) + "/." + LeafOf(m_target) + ".XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    m_descriptor = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_descriptor < 0)
    {
        throw Failure(errno);
    }
    m_temporaryPath = name.data();
    // mkstemp makes the file readable by its owner alone; the file takes the
    // place of the target, so it gets the target's permissions.
    mode_t const mode = exists ? (existing.st_mode & 07777) : (0666 & ~CurrentUmask());
    if (::fchmod(m_descriptor, mode) != 0)
    {
        int const error = errno;
        Discard();
        throw Failure(error);
    }
}

SafeFileWrite::~SafeFileWrite()
{
    Discard();
}

void SafeFileWrite::Discard() noexcept
{
    if (m_descriptor >= 0)
    {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
    if (!m_committed && !m_temporaryPath.empty())
    {
        ::unlink(m_temporaryPath.c_str());
    }
    m_temporaryPath.clear();
}

void SafeFileWrite::Commit()
{
    if (m_temporaryPath.empty())
    {
        throw FileWriteError(m_target, 0, "the write was abandoned");
    }
    // Flushed before the rename: after a crash the target is either the old
    // file or the whole new one, never a name on lost blocks.
    if (::fsync(m_descriptor) != 0)
    {
        int const error = errno;
        Discard();
        throw Failure(error);
    }
    int const descriptor = m_descriptor;
    m_descriptor = -1;
    if (::close(descriptor) != 0)
    {
        int const error = errno;
        Discard();
        throw Failure(error);
    }
    if (::rename(m_temporaryPath.c_str(), m_target.c_str()) != 0)
    {
        int const error = errno;
        Discard();
        throw Failure(error);
    }
    m_committed = true;
    m_temporaryPath.clear();
    // The rename itself is on the disk once the folder is.
    int const folder = ::open(FolderOf(m_target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0)
    {
        ::fsync(folder);
        ::close(folder);
    }
}

FileWriteError SafeFileWrite::Failure(int errorNumber) const
{
    return FileWriteError(m_target, errorNumber, CauseOf(errorNumber));
}

FileWriteError SafeFileWrite::Failure(std::string const& cause) const
{
    return FileWriteError(m_target, 0, cause);
}
} // namespace format3mf
