// A 3MF file to meshes in one call that never throws: the status, the meshes,
// and every message of the read.
#pragma once

#include "common/OndExport.h"
#include "format3mf/Importer.h"
#include "triangles/MStlBase.h"

#include <memory>
#include <string>
#include <vector>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace format3mf::import
{
struct ImportSettings
{
    // Read textures at all; without them no image is decoded.
    bool textures = true;
    // Merge the meshes of the file into one; with project parts, the
    // printable parts only: parts that are not printed stay apart.
    bool asOnePart = false;
    // Read the parts of a slicer project (Importer::SetReadProjectParts),
    // and with them the parts that are not printed.
    bool projectParts = false;
    bool nonPrintableParts = false;
    // May be empty.
    std::shared_ptr<OndSDK::Common::IProgressDelegate> progress;
};

struct ImportResult
{
    Importer::ErrorStatus status = Importer::ReadFailed;
    // In the order of the build items; empty unless status is Success.
    std::vector<std::unique_ptr<MStlBase>> meshes;
    // The role of each mesh, in their order.
    std::vector<Format_3MF::PartRole> roles;
    // Why the read failed, in the order the causes arose.
    std::vector<std::wstring> errors;
    // What the read passed over or changed, each naming its part (and the
    // object or build item where there is one), also when it succeeded.
    std::vector<std::wstring> warnings;
};

// Imports the file as Importer::Operate does, but lets no exception through:
// whatever Operate passes on by design (a malformed colour, a part without an
// extension under a default content type, a file system error, running out
// of memory) gives ReadFailed with a message that names it.
OND_EXPORT ImportResult ImportFile(std::wstring const& path, ImportSettings const& settings = {}) noexcept;
} // namespace format3mf::import
