// Descriptions of the extra parts a package knows, such as the build ticket.
#include "format3mf/PackageOptionCustomFile.h"

#include "format3mf/FormatIdentifiers.h"

namespace Format_3MF
{
namespace
{
PackageOptionCustomFile Make(std::int32_t kind, std::wstring const& fileName, wchar_t const* extension,
                             wchar_t const* contentType, wchar_t const* relationType)
{
    PackageOptionCustomFile option;
    option.m_kind = kind;
    option.m_fileName = fileName;
    option.m_extension = extension;
    option.m_contentType = contentType;
    option.m_relationType = relationType;
    return option;
}
} // namespace

PackageOptionCustomFile CreateCustomFileThumbnail(std::wstring const& fileName)
{
    return Make(0, fileName, L"", L"", RelationshipThumbnail);
}

PackageOptionCustomFile CreateCustomFileOndrelBuildTicket(std::wstring const& fileName)
{
    return Make(1, fileName, L"obt", ContentTypeBuildTicket, RelationshipBuildTicket);
}

PackageOptionCustomFile CreateCustomFileOndrelBuildParameters(std::wstring const& fileName)
{
    return Make(0, fileName, L"", ContentTypeBuildParameters, RelationshipBuildParameters);
}

PackageOptionCustomFile CreateCustomFileOndrelBPProfiles(std::wstring const& fileName)
{
    return Make(0, fileName, L"", ContentTypeBpProfiles, RelationshipBpProfiles);
}
} // namespace Format_3MF
