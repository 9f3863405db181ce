// One mesh to a file: a private model file lists the mesh, and the package
// writer does the rest with its default options.
#include "format3mf/Exporter.h"

#include "facades/TemporaryMaskLabel.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWrite.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlTempTransformation.h"
#include "zip/MZipArchiveError.h"

namespace format3mf
{
Export::Export() = default;

void Export::SetStl(MStlBase* stl, MMTransformMatrix const& transform, MStlColorMaskTrianglePoints* colorMask)
{
    m_stl = stl;
    m_transform = transform;
    m_colorMask = colorMask;
}

void Export::SetFilePath(std::wstring const& path)
{
    m_filePath = path;
}

void Export::SetProgressDelegate(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    m_progress = std::move(progress);
}

Export::ErrorStatus Export::Operate()
{
    m_errorMessage.clear();
    m_warnings.clear();
    if (m_stl == nullptr || m_filePath.empty())
    {
        return InvalidInput;
    }
    // Everything lives inside the try block, so that the mesh and the mask
    // are restored, and the archive closed, before a handler runs.
    try
    {
        MStlTempTransformation const placed(*m_stl, m_transform, false);
        TemporaryMaskLabel const label(m_colorMask);
        Format_3MF::ModelFileStlBase model;
        model.AddStl(m_stl);
        Format_3MF::Package package(&model);
        Format_3MF::PackageWriteOptions const options;
        Format_3MF::PackageWrite writer(&package, options);
        // Only an exception says the write failed: the writer answers true
        // or throws.
        writer.Write(m_filePath, m_progress);
        m_warnings = writer.GetContext().m_warnings;
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        m_errorMessage = error.GetMessage() + L": " + error.GetDetail();
        return ArchiveError;
    }
    catch (Format_3MF::PackageWrite::Canceled const&)
    {
        // The writer never touched the target: a file that was there is
        // still there, byte for byte.
        return Canceled;
    }
    return Success;
}
} // namespace format3mf
