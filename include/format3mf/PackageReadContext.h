#pragma once

// The state of one package read, shared by every class that takes part in it.

#include "format3mf/PackageReadOptions.h"

#include <cstdint>
#include <string>
#include <vector>

namespace OndSDK::Common
{
class IncrementalProgressReporter;
}

namespace Format_3MF
{
class Package;
class PackageRead;

// The options of one read followed by its working state. Every reading class
// gets a pointer to it.
struct PackageReadContext : PackageReadOptions
{
    Format_3MF::Package* m_package = nullptr; // qualified: the options have a field of that name
    PackageRead* m_packageRead = nullptr;
    // 0 nothing particular, 1 no root model, 2 archive failure in a mandatory
    // part, 3 cancelled. Never reset.
    std::int32_t m_status = 0;
    std::vector<std::wstring> m_errors;
    std::vector<std::wstring> m_warnings;
    // Pixels of the textures decoded so far, held under
    // Image2D::kMaxPixelsPerPackage.
    std::uint64_t m_decodedTexturePixels = 0;
    // Counts bytes of the archive; owned by the context's owner.
    OndSDK::Common::IncrementalProgressReporter* m_progress = nullptr;

    PackageReadContext() = default;
    explicit PackageReadContext(PackageReadOptions const& options) : PackageReadOptions(options) {}
};
} // namespace Format_3MF
