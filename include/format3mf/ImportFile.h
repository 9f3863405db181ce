// A 3MF file to meshes in one call that never throws: the status, the meshes,
// and every message of the read.
#pragma once

#include "common/OndExport.h"
#include "format3mf/Importer.h"
#include "triangles/MStlBase.h"

#include <filesystem>
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
    // The build items to read and where (see ModelFileStlBase::SetItemSelection);
    // every item as the file places it when empty.
    Format_3MF::ModelFileStlBase::ItemSelection selectItems;
    // May be empty.
    std::shared_ptr<OndSDK::Common::IProgressDelegate> progress;
};

// One mesh of the file: a build item's, or a part of a slicer project's.
struct ImportedPart
{
    std::unique_ptr<MStlBase> mesh;
    // What the part does when printed; Printable outside slicer projects.
    Format_3MF::PartRole role = Format_3MF::PartRole::Printable;
    // The mesh's name, UTF-8 (the object's or the project part's name).
    std::string name;
};

struct ImportResult
{
    Importer::ErrorStatus status = Importer::ReadFailed;
    // In the order of the build items; empty unless status is Success.
    std::vector<ImportedPart> parts;
    // Why the read failed, in the order the causes arose (UTF-8).
    std::vector<std::string> errors;
    // What the read passed over or changed, each naming its part (and the
    // object or build item where there is one), also when it succeeded
    // (UTF-8).
    std::vector<std::string> warnings;
};

// Imports the file as Importer::Operate does, but lets no exception through:
// whatever Operate passes on by design (a malformed colour, a part without an
// extension under a default content type, a file system error, running out
// of memory) gives ReadFailed with a message that names it. The path is the
// file system's bytes, so a name that is not UTF-8 is read as well.
OND_EXPORT ImportResult ImportFile(std::filesystem::path const& path,
                                   ImportSettings const& settings = {}) noexcept;
} // namespace format3mf::import
