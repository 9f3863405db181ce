// A texture image part: read from PNG or JPEG, decoded on first use within a
// pixel budget per package, written as PNG.
#include "format3mf/Image2D.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PackageWriteContext.h"
#include "foundation/PartNames.h"

#include "common/ImageBitmapIO.h"
#include "common/IncrementalProgressReporter.h"

#include <boost/filesystem/operations.hpp>

namespace Format_3MF
{
Image2D::Image2D(std::wstring const& nameInPackage)
    : IPackageFile(nameInPackage), m_bitmap(std::make_shared<OndSDK::Common::ImageBitmap>())
{
}

bool Image2D::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeTexture;
    extension = ExtensionContentTexture;
    return true;
}

bool Image2D::_GetRelationInfo(std::wstring& type) const
{
    type.clear();
    return false;
}

void Image2D::_OnRead(PackageReadContext*)
{
    m_decodePending = !m_fileNameUnpacked.empty();
}

// The size is taken from the header first, so that an image over the budget
// costs nothing but its header. The extracted file goes once decoded; one
// that is never decoded, or gives no pixels, goes with the part.
void Image2D::Decode(PackageReadContext* context)
{
    if (!m_decodePending)
    {
        return;
    }
    m_decodePending = false;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool const sized = OndSDK::Common::ReadPngSize(m_fileNameUnpacked, width, height) ||
                       OndSDK::Common::ReadJpegSize(m_fileNameUnpacked, width, height);
    std::uint64_t const pixels = std::uint64_t(width) * height;
    if (sized && pixels > kMaxPixelsPerPackage - context->m_decodedTexturePixels)
    {
        context->m_warnings.push_back(L"The texture " + GetFileNameInPackage() + L" of " +
                                      std::to_wstring(width) + L" x " + std::to_wstring(height) +
                                      L" pixels is not decoded: the textures of a package may hold " +
                                      std::to_wstring(kMaxPixelsPerPackage) + L" pixels in all.");
    }
    else if (sized && (OndSDK::Common::LoadPng(*m_bitmap, m_fileNameUnpacked) ||
                       OndSDK::Common::LoadJpeg(*m_bitmap, m_fileNameUnpacked)))
    {
        context->m_decodedTexturePixels += pixels;
        boost::system::error_code error;
        boost::filesystem::remove(ToPath(m_fileNameUnpacked), error);
        m_fileNameUnpacked.clear();
        return;
    }
    else
    {
        context->m_warnings.push_back(
            L"The texture " + GetFileNameInPackage() +
            L" is no PNG or JPEG image that can be decoded; it is read without pixels.");
    }
    m_undecoded = true;
}

bool Image2D::_OnFileIsPredefined(std::wstring* path) const
{
    if ((m_decodePending || _KeepsUndecodedBytes()) && path != nullptr)
    {
        *path = m_fileNameUnpacked;
    }
    return false;
}

// An image that can't be saved would leave the model naming a part that the
// archive lacks, a file that no reader takes: the write fails instead.
void Image2D::_OnWrite(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    if (!m_decodePending && !_KeepsUndecodedBytes() &&
        !OndSDK::Common::SavePng(*m_bitmap, m_fileNameUnpacked))
    {
        throw Exception(L"The texture image " + GetFileNameInPackage() +
                        (m_bitmap->IsEmpty() ? L" has no pixels to write." : L" could not be saved as PNG."));
    }
    if (context->m_stepProgress)
    {
        if (context->m_stepProgress->m_reporter->IsCancelled())
        {
            throw PackageWrite::Canceled();
        }
        *context->m_stepProgress->m_reporter += context->m_stepProgress->m_step;
    }
}
} // namespace Format_3MF
