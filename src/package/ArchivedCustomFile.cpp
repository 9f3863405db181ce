// Custom files that are unpacked from their archive on first need.
#include "format3mf/ArchivedCustomFile.h"

#include "foundation/PartNames.h"
#include "foundation/TemporaryFiles.h"

#include "common/StringConversion.h"
#include "zip/MZipArchive.h"
#include "zip/MZipArchiveError.h"

namespace Format_3MF
{
ArchivedCustomFile::ArchivedCustomFile(std::wstring const& nameInPackage, std::wstring const& archivePath)
    : CustomFile(nameInPackage, L"", nullptr), m_archivePath(archivePath)
{
}

std::wstring ArchivedCustomFile::GetPath() const
{
    _Extract();
    return m_externalFile;
}

CustomFile* ArchivedCustomFile::CreateInstance() const
{
    return new ArchivedCustomFile(*this);
}

bool ArchivedCustomFile::_OnFileIsPredefined(std::wstring* path) const
{
    if (path != nullptr)
    {
        _Extract();
    }
    return CustomFile::_OnFileIsPredefined(path);
}

void ArchivedCustomFile::_Extract() const
{
    if (!m_externalFile.empty())
    {
        return;
    }
    MZipArchive archive(false);
    if (!archive.OpenArchiveRead(m_archivePath.c_str()))
    {
        throw MZipArchiveError::MGeneric(L"Failed to open archive: " + archive.GetOpenError(), m_archivePath);
    }
    std::wstring const name = WithForwardSlashes(GetFileNameInPackageWithoutLeadingSlash());
    std::wstring const path = NewTemporaryPath(GetFileNameInPackage());
    archive.ExtractFile(StringConversion::ConvertNativeToUTF8(name).c_str(), path.c_str(), nullptr);
    // The object is never made const, only asked through const queries.
    const_cast<ArchivedCustomFile*>(this)->SetExternalFile(path, true);
}
} // namespace Format_3MF
