#pragma once

// The options a caller gives a package write.

#include "format3mf/PackageOptionCustomFile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Format_3MF
{
// What a package write does. Fields marked as carried are for writers that
// hosts plug in; the library itself never reads them.
struct PackageWriteOptions
{
    struct PackageOptions
    {
        bool m_useZip64 = false; // the only thing that chooses zip64
    };
    struct ThumbnailOptions
    {
        std::wstring m_path; // becomes the thumbnail if the package has none
    };
    struct ObjectOptions
    {
        bool m_separateFiles = false; // each new object in a model part of its own
    };
    struct SliceStackOptions // carried
    {
        bool m_flagA = true;
        bool m_flagB = true;
        bool m_flagC = false;
        std::uint64_t m_value = 50;
    };
    struct ToolpathOptions // carried
    {
        bool m_flagA = false;
        bool m_flagB = true;
        bool m_flagC = false;
    };
    struct GraphOptions
    {
        std::wstring BeamNamespace; // empty: no beam lattice is written
    };
    struct ProductionOptions // carried
    {
        bool m_flag = false;
    };
    struct OndlOptions
    {
        bool IsBaseMaterialDefault = false; // an object's default colour as a base material
        bool IsNewGroupPerMesh = true;      // each mesh starts its own colour group
    };

    bool m_xmlStyle = false; // indented XML
    bool IsBinary = false;   // mesh data into binary side parts
    PackageOptions Package;
    ThumbnailOptions Thumbnails;
    ObjectOptions Objects;
    SliceStackOptions SliceStacks;
    ToolpathOptions Toolpaths;
    GraphOptions Graphs;
    ProductionOptions Production;
    bool m_hostFlagA = false; // carried
    bool m_hostFlagB = true;  // carried
    OndlOptions Ondl;
    PackageOptionCustomFile m_printTicket;
    // Extra parts: kind 0 for the package, kind 1 for the root model.
    std::vector<PackageOptionCustomFile> m_customFiles;
};
} // namespace Format_3MF
