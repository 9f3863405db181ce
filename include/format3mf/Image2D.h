#pragma once

#include "common/ImageBitmap.h"
#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <memory>

namespace Format_3MF
{
// A texture image part. It goes through a file in both directions and is
// always written as PNG.
class OND_EXPORT Image2D : public IPackageFile
{
public:
    explicit Image2D(std::wstring const& nameInPackage);

    double GetWriteProgressWeight() const override { return 0.2; }

    // Shared with the meshes' textures; the model layer may replace it.
    std::shared_ptr<OndSDK::Common::ImageBitmap> m_bitmap;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    // PNG first, then JPEG; an unreadable image leaves the bitmap as it was.
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
};
} // namespace Format_3MF
