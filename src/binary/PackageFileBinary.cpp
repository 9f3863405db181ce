#include "format3mf/PackageFileBinary.h"

#include "foundation/FormatIdentifiers.h"

namespace Format_3MF
{
namespace
{
constexpr std::uint64_t kFileBufferSize = 0x40000;
}

PackageFileBinary::PackageFileBinary(std::wstring const& nameInPackage)
    : IPackageFile(nameInPackage), m_file(kFileBufferSize)
{
}

bool PackageFileBinary::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeBinaryModelFile;
    extension = ExtensionContentBinaryModelFile;
    return true;
}

bool PackageFileBinary::_GetRelationInfo(std::wstring& type) const
{
    type = RelationshipBinaryModelFile;
    return true;
}

bool PackageFileBinary::_OnFileIsPredefined(std::wstring* path) const
{
    if (path != nullptr && path != &m_temporaryPath)
    {
        *path = m_temporaryPath;
    }
    return false;
}

void PackageFileBinary::_OnRead(PackageReadContext*)
{
    m_temporaryPath = m_fileNameUnpacked;
}

void PackageFileBinary::_OnWrite(PackageWriteContext*, std::shared_ptr<OndSDK::Common::IProgressDelegate>) {}
} // namespace Format_3MF
