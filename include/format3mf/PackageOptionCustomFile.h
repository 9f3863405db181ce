#pragma once

// An extra part an application asks a write to add, described by its file and
// types.

#include "common/OndExport.h"

#include <cstdint>
#include <string>

namespace Format_3MF
{
// Describes an extra part by its outside file and its types. Kind 0: the part
// belongs to the package; kind 1: to the root model. Other kinds are ignored.
struct PackageOptionCustomFile
{
    std::int32_t m_kind = 0;
    std::wstring m_fileName;
    std::wstring m_extension; // empty: an Override entry instead of a Default one
    std::wstring m_contentType;
    std::wstring m_relationType;
};

OND_EXPORT PackageOptionCustomFile CreateCustomFileThumbnail(std::wstring const& fileName);
OND_EXPORT PackageOptionCustomFile CreateCustomFileOndrelBuildTicket(std::wstring const& fileName);
OND_EXPORT PackageOptionCustomFile CreateCustomFileOndrelBuildParameters(std::wstring const& fileName);
OND_EXPORT PackageOptionCustomFile CreateCustomFileOndrelBPProfiles(std::wstring const& fileName);
} // namespace Format_3MF
