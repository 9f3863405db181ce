// Parts carried through a package uninterpreted, and the outside files behind them.
#include "format3mf/CustomFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "foundation/PartNames.h"

#include <boost/filesystem/operations.hpp>

namespace Format_3MF
{
namespace
{
void RemoveQuietly(std::wstring const& path)
{
    boost::system::error_code error;
    boost::filesystem::remove(ToPath(path), error);
}
} // namespace

CustomFile::CustomFile(std::wstring const& externalFile, IPackageFile const* parent)
    : IPackageFile(L""), RelationsOwner(this), m_externalFile(externalFile), m_parent(parent)
{
}

CustomFile::CustomFile(std::wstring const& nameInPackage, std::wstring const& externalFile,
                       IPackageFile const* parent)
    : IPackageFile(nameInPackage), RelationsOwner(this), m_externalFile(externalFile), m_parent(parent)
{
}

CustomFile::CustomFile(CustomFile const& other) = default;
CustomFile& CustomFile::operator=(CustomFile const& other) = default;

CustomFile::~CustomFile()
{
    if (m_ownsExternalFile && !m_externalFile.empty())
    {
        RemoveQuietly(m_externalFile);
    }
}

void CustomFile::UpdateFileNameInPackage()
{
    if (GetFileNameInPackage().empty())
    {
        SetFileNameInPackage(_CreateFileNameInPackage());
    }
}

void CustomFile::SetContentInfo(std::wstring const& contentType, std::wstring const& extension)
{
    m_contentType = contentType;
    m_extension = extension;
}

void CustomFile::SetRelationInfo(std::wstring const& type)
{
    m_relationType = type;
}

void CustomFile::SetExternalFile(std::wstring const& path, bool owned)
{
    _RemoveExternalFile();
    m_externalFile = path;
    m_ownsExternalFile = owned;
}

CustomFile* CustomFile::CreateInstance() const
{
    return new CustomFile(*this);
}

bool CustomFile::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = m_contentType;
    extension = m_extension;
    return true;
}

bool CustomFile::_GetRelationInfo(std::wstring& type) const
{
    type = m_relationType;
    return true;
}

bool CustomFile::_OnFileIsPredefined(std::wstring* path) const
{
    if (path != nullptr && path != &m_externalFile)
    {
        *path = m_externalFile;
    }
    return true;
}

void CustomFile::_OnRead(PackageReadContext*)
{
    // The extracted file belongs to the PackageFile side of this object.
    m_externalFile = m_fileNameUnpacked;
}

void CustomFile::_OnWrite(PackageWriteContext*, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    boost::filesystem::path const source = ToPath(m_externalFile);
    if (boost::filesystem::exists(source))
    {
        boost::filesystem::copy_file(source, ToPath(m_fileNameUnpacked),
                                     boost::filesystem::copy_option::overwrite_if_exists);
    }
}

void CustomFile::_RemoveExternalFile()
{
    if (m_ownsExternalFile && !m_externalFile.empty())
    {
        RemoveQuietly(m_externalFile);
    }
}

std::wstring CustomFile::_CreateFileNameInPackage() const
{
    boost::filesystem::path const external = ToPath(m_externalFile);
    boost::filesystem::path leaf = m_stemInPackage.empty() ? external.stem() : ToPath(m_stemInPackage);
    leaf += external.extension();
    return WithForwardSlashes(FromPath(ToPath(m_folderInPackage) / leaf));
}

PrintTicketFile::PrintTicketFile(std::wstring const& externalFile, IPackageFile const* parent)
    : CustomFile(externalFile, parent)
{
    SetFolderInPackage(FolderModelMetadata);
}

CustomFile* PrintTicketFile::CreateInstance() const
{
    return new PrintTicketFile(*this);
}

PrintTicketOndrel::PrintTicketOndrel(std::wstring const& externalFile, IPackageFile const* parent)
    : PrintTicketFile(externalFile, parent)
{
    SetContentInfo(ContentTypeBuildTicket, L"obt");
    SetRelationInfo(RelationshipBuildTicket);
}

CustomFile* PrintTicketOndrel::CreateInstance() const
{
    return new PrintTicketOndrel(*this);
}

ThumbnailExternalFile::ThumbnailExternalFile(std::wstring const& nameInPackage,
                                             std::wstring const& externalFile)
    : CustomFile(nameInPackage, externalFile, nullptr)
{
}

ThumbnailExternalFile::ThumbnailExternalFile(std::wstring const& externalFile)
    : CustomFile(externalFile, nullptr)
{
    std::wstring const extension = ToLowerGlobalLocale(FromPath(ToPath(externalFile).extension()));
    bool const jpeg = extension == ExtensionJpg || extension == ExtensionJpeg;
    SetContentInfo(jpeg ? ContentTypeJpeg : ContentTypePng, L"");
    SetRelationInfo(RelationshipThumbnail);
    SetFolderInPackage(FolderThumbnails);
}
} // namespace Format_3MF
