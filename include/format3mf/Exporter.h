// The one-call way to write one triangle mesh as a 3MF file.
#pragma once

#include "common/MMTransformMatrix.h"
#include "common/OndExport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MStlBase;
class MStlColorMaskTrianglePoints;

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace format3mf
{
// Writes one mesh, placed by a transformation, with its colours and textures
// and the default write options. The caller's mesh and mask look unchanged
// afterwards: the transformation and the mask's temporary label are undone
// on every way out of Operate.
//
// Corner colours come from the first MStlColorMaskTrianglePoints attached to
// the mesh's triangles, not from the mask given to SetStl, which only
// carries a temporary label for the span of the export.
class OND_EXPORT Export
{
public:
    enum ErrorStatus : std::int32_t
    {
        // Written: the file is whole and on the disk.
        Success = 0,
        // No mesh, or no file path; nothing was touched.
        InvalidInput = 1,
        // The file could not be written (GetErrorMessage says why); a file
        // that was there before is as it was.
        ArchiveError = 2,
        // Cancelled through the delegate; a file that was there before is
        // as it was, and no part of the new one is left.
        Canceled = 3,
    };

    Export();

    // Neither pointer is owned; `colorMask` may be null.
    void SetStl(MStlBase* stl, MMTransformMatrix const& transform, MStlColorMaskTrianglePoints* colorMask);
    void SetFilePath(std::wstring const& path);
    // May be empty.
    void SetProgressDelegate(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);

    // Failures other than those above reach the caller as exceptions: logic
    // errors, and anything a delegate throws. The target is then as it was
    // too.
    ErrorStatus Operate();

    // When Operate gave ArchiveError, the target and the cause as the system
    // gave it ("Could not write out.3mf: No space left on device"); empty
    // otherwise.
    std::wstring const& GetErrorMessage() const { return m_errorMessage; }
    // What the last Operate dropped or changed to write a valid file (a
    // texture without pixels left out, a lattice radius supplied), in order.
    std::vector<std::wstring> const& GetWarnings() const { return m_warnings; }

private:
    MStlBase* m_stl = nullptr;
    MMTransformMatrix m_transform;
    MStlColorMaskTrianglePoints* m_colorMask = nullptr;
    std::wstring m_filePath;
    std::shared_ptr<OndSDK::Common::IProgressDelegate> m_progress;
    std::wstring m_errorMessage;
    std::vector<std::wstring> m_warnings;
};
} // namespace format3mf
