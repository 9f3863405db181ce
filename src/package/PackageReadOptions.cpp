// Read options and the custom parts a read accepts by default.
#include "format3mf/PackageReadOptions.h"

namespace Format_3MF
{
PackageReadOptions::PackageReadOptions()
{
    m_supportedCustomFiles.push_back(CreateCustomFileOndrelBuildTicket(L""));
}

void PackageReadOptions::AddSupportedCustomFile(PackageOptionCustomFile const& file)
{
    if (!IsSupportedCustomFile(file.m_contentType))
    {
        m_supportedCustomFiles.push_back(file);
    }
}

bool PackageReadOptions::IsSupportedCustomFile(std::wstring const& contentType) const
{
    for (PackageOptionCustomFile const& entry : m_supportedCustomFiles)
    {
        if (entry.m_contentType == contentType)
        {
            return true;
        }
    }
    return false;
}
} // namespace Format_3MF
