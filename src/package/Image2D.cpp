// A texture image part: read from PNG or JPEG, always written as PNG.
#include "format3mf/Image2D.h"

#include "format3mf/Exception.h"
#include "format3mf/PackageWrite.h"
#include "format3mf/PackageWriteContext.h"
#include "foundation/FormatIdentifiers.h"

#include "common/ImageBitmapIO.h"
#include "common/IncrementalProgressReporter.h"

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
    if (!OndSDK::Common::LoadPng(*m_bitmap, m_fileNameUnpacked))
    {
        OndSDK::Common::LoadJpeg(*m_bitmap, m_fileNameUnpacked);
    }
}

// An image that can't be saved would leave the model naming a part that the
// archive lacks, a file that no reader takes: the write fails instead.
void Image2D::_OnWrite(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    if (!OndSDK::Common::SavePng(*m_bitmap, m_fileNameUnpacked))
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
