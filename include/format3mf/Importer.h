#pragma once

// The simple entry point for applications that want a 3MF file as triangle
// meshes with transformations applied.

#include "common/OndExport.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/PartRole.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class MStlBase;

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace format3mf::import
{
// Turns a 3MF file into triangle meshes: one per build item that holds
// geometry, or all of them merged into one. Build and component
// transformations are baked into the coordinates.
class OND_EXPORT Importer
{
public:
    enum ErrorStatus : std::int32_t
    {
        Success = 0,
        // The archive failed while a part that must be there was read.
        ExtractionFailed = 1,
        // Anything else: no such file, no 3MF archive, no model, bad content.
        ReadFailed = 2,
        Canceled = 3,
    };

    Importer() = default;

    // The caller's vector, which must outlive Operate. Parts are appended;
    // nothing is cleared.
    void SetOutputParts(std::vector<std::unique_ptr<MStlBase>>& parts) { m_outputParts = &parts; }
    void SetFileName(std::wstring const& name) { m_fileName = name; }
    // Merges the parts into the last element of the vector; when the vector
    // already holds parts, the file's first part goes into its last one too.
    // Of a slicer project's parts only the printable ones merge: the others
    // (asked for with SetImportNonPrintableParts) stay meshes of their own.
    void SetImportAsOnePart(bool value) { m_importAsOnePart = value; }
    void SetImportTextures(bool value) { m_importTextures = value; }
    // Off by default: reads the parts of a slicer project as
    // ModelFileStlBase::SetReadProjectParts tells. Only printable parts come
    // out, unless SetImportNonPrintableParts asks for the others too
    // (negative volumes, modifiers, support blockers and enforcers).
    void SetReadProjectParts(bool value) { m_readProjectParts = value; }
    void SetImportNonPrintableParts(bool value) { m_importNonPrintableParts = value; }
    // The build items to read, as ModelFileStlBase::SetItemSelection takes them.
    void SetItemSelection(Format_3MF::ModelFileStlBase::ItemSelection selection)
    {
        m_selectItems = std::move(selection);
    }

    // The progress delegate may be empty. Exceptions other than those of a
    // bad file (file system errors, a malformed colour as a bare int, a part
    // without extension under a default content type as std::out_of_range)
    // reach the caller: ImportFile (ImportFile.h) turns them into a status.
    ErrorStatus Operate(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);

    // Joins the textures of a part that share one bitmap into the first of
    // them, which reading leaves behind when several objects use one image.
    static void ConsolidateTextures(MStlBase* part);

    // The error messages of the last Operate, in the order they arose: why
    // it failed, or what the read met on the way.
    std::vector<std::wstring> const& GetErrors() const { return m_errors; }
    // The warnings of the last Operate, in order, also when it succeeded:
    // what the read passed over or changed (an unsupported extension, an item
    // whose object is missing, an image left undecoded), each naming its part
    // and, where there is one, the object or build item.
    std::vector<std::wstring> const& GetWarnings() const { return m_warnings; }
    // The role of each part of the output vector that the last Operate
    // appended or merged into, in their order; a merged part is printable.
    std::vector<Format_3MF::PartRole> const& GetPartRoles() const { return m_roles; }

private:
    std::vector<std::unique_ptr<MStlBase>>* m_outputParts = nullptr;
    std::wstring m_fileName;
    bool m_importAsOnePart = false;
    bool m_importTextures = true;
    bool m_readProjectParts = false;
    bool m_importNonPrintableParts = false;
    Format_3MF::ModelFileStlBase::ItemSelection m_selectItems;
    std::vector<std::wstring> m_errors;
    std::vector<std::wstring> m_warnings;
    std::vector<Format_3MF::PartRole> m_roles;
};
} // namespace format3mf::import
