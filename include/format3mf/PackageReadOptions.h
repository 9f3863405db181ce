#pragma once

// The options a caller gives a package read.

#include "common/OndExport.h"
#include "format3mf/PackageOptionCustomFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Format_3MF
{
// What a package read does. Some fields are carried for hosts of the library
// and never read by it; they are copied into the context with the rest.
struct OND_EXPORT PackageReadOptions
{
    struct PackageOptions
    {
        // An unknown required extension is an error, not a warning.
        bool m_failOnUnsupportedExtension = false;
        bool m_hostFlag = false; // carried for hosts, never read here
        // Only the root element of each model is looked at.
        bool m_analyseOnly = false;
    };

    PackageOptions Package;
    bool IsSkipGeometry = false; // no vertices, triangles or beam lattices
    bool IsSkipTextures = false;
    // Carried for hosts, never read here.
    bool m_hostFlagA = true;
    std::int32_t m_hostValueA = 0;
    std::int32_t m_hostValueB = 1;
    bool m_hostFlagB = false;
    // Custom files a host knows; the library itself does not filter by it.
    std::vector<PackageOptionCustomFile> m_supportedCustomFiles;

    PackageReadOptions();

    // Appends unless an entry with the same content type is there already.
    void AddSupportedCustomFile(PackageOptionCustomFile const& file);
    bool IsSupportedCustomFile(std::wstring const& contentType) const;
};
} // namespace Format_3MF
