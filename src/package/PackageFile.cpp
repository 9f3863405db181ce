// A part's name and its unpacked file, which is deleted with the part.
#include "format3mf/PackageFile.h"

#include "foundation/PartNames.h"

#include <boost/filesystem/operations.hpp>

namespace Format_3MF
{
PackageFile::PackageFile(std::wstring const& nameInPackage) : m_fileNameInPackage(nameInPackage) {}

PackageFile::~PackageFile()
{
    if (m_fileNameUnpacked.empty())
    {
        return;
    }
    boost::system::error_code error;
    boost::filesystem::path const path = ToPath(m_fileNameUnpacked);
    boost::filesystem::file_status const status = boost::filesystem::status(path, error);
    if (status.type() != boost::filesystem::status_error &&
        status.type() != boost::filesystem::file_not_found)
    {
        boost::filesystem::remove(path, error);
    }
}

std::wstring PackageFile::GetFileNameInPackageWithoutLeadingSlash() const
{
    if (!m_fileNameInPackage.empty() && m_fileNameInPackage.front() == L'/')
    {
        return m_fileNameInPackage.substr(1);
    }
    return m_fileNameInPackage;
}
} // namespace Format_3MF
