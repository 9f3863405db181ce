#pragma once

// A part's name and the temporary file that holds its content, deleted with
// the part.

#include "common/OndExport.h"

#include <string>

namespace Format_3MF
{
// A part's name in the package and the file on disk that holds its content,
// if any. The file belongs to this object: it is deleted with it.
struct OND_EXPORT PackageFile
{
    std::wstring m_fileNameInPackage;
    std::wstring m_fileNameUnpacked;

    PackageFile() = default;
    explicit PackageFile(std::wstring const& nameInPackage);
    PackageFile(PackageFile const&) = default;
    PackageFile& operator=(PackageFile const&) = default;
    // Deletes the file named by m_fileNameUnpacked if it exists. A copy names
    // the same file; the second to go finds it gone. A failure to delete is
    // ignored: a destructor must not end the program.
    ~PackageFile();

    std::wstring const& GetFileNameInPackage() const { return m_fileNameInPackage; }
    std::wstring const& GetFileNameUnpacked() const { return m_fileNameUnpacked; }
    void SetFileNameInPackage(std::wstring const& name) { m_fileNameInPackage = name; }
    std::wstring GetFileNameInPackageWithoutLeadingSlash() const;
};
} // namespace Format_3MF
