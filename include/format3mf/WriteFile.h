// Meshes to a 3MF file in one call that never throws, with the choices an
// application makes (binary or zip64 form, objects in parts of their own,
// the lattice dialect) as settings, and a result that says what happened.
#pragma once

#include "common/OndExport.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class MStlBase;

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace format3mf
{
// How beam lattices are written.
enum class LatticeDialect
{
    // The 3MF Consortium's beam lattice extension, which every reader knows.
    Published,
    // The vendor's own dialect.
    Vendor,
    // Lattices are left out.
    None,
};

struct WriteSettings
{
    // Vertices and triangles in the model's binary side part instead of the
    // XML: faster and smaller, without triangle colours and textures.
    bool binary = false;
    // An archive that may pass 4 GiB and 65535 entries.
    bool zip64 = false;
    // Each mesh in a model part of its own, with the colours and textures it
    // uses.
    bool separateObjects = false;
    LatticeDialect lattice = LatticeDialect::Published;
    // May be empty; a cancel through it stops the write.
    std::shared_ptr<OndSDK::Common::IProgressDelegate> progress;
};

struct WriteResult
{
    // The file is written whole and on the disk.
    bool ok = false;
    // The write was cancelled through the progress delegate.
    bool cancelled = false;
    // Why the file could not be written: its name and the cause as the
    // system gives it (UTF-8); empty when ok.
    std::string error;
    // What was left out or changed to write a valid file, in order (UTF-8).
    std::vector<std::string> warnings;
};

// Writes each mesh, with its name, colours, textures and beam lattice, as an
// object of its own with a build item. The file is written beside the target
// and renamed over it when complete: unless ok, a file that was there keeps
// every byte, and no part of the new one is left. The meshes look unchanged
// afterwards; none may be changed by another thread meanwhile.
OND_EXPORT WriteResult WriteFile(std::filesystem::path const& path,
                                 std::vector<MStlBase const*> const& meshes,
                                 WriteSettings const& settings = {}) noexcept;
} // namespace format3mf
