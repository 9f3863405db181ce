#pragma once

// Texture image parts, decoded only when something asks for the image.

#include "common/ImageBitmap.h"
#include "common/OndExport.h"
#include "format3mf/IPackageFile.h"

#include <cstdint>
#include <memory>

namespace Format_3MF
{
// A texture image part. It goes through a file in both directions and is
// always written as PNG. A read leaves the file undecoded until a triangle
// asks for the image, so that images nothing shows cost no memory.
class OND_EXPORT Image2D : public IPackageFile
{
public:
    // The decoded textures of one package read hold at most this many pixels
    // together: at most 256 MiB, as a pixel takes at most four bytes. A small
    // file can name images of any size, and only the sum bounds the memory.
    static constexpr std::uint64_t kMaxPixelsPerPackage = std::uint64_t(1) << 26;

    explicit Image2D(std::wstring const& nameInPackage);

    // Decodes the image that the read left, once; later calls do nothing. An
    // image that would take the package past kMaxPixelsPerPackage stays
    // without pixels, with a warning naming the part, like an unreadable one;
    // its file is kept, so that writing the package again keeps the image.
    void Decode(PackageReadContext* context);

    double GetWriteProgressWeight() const override { return 0.2; }

    // Shared with the meshes' textures; the model layer may replace it.
    std::shared_ptr<OndSDK::Common::ImageBitmap> m_bitmap;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    // Only keeps the file for Decode: PNG first, then JPEG; an unreadable
    // image leaves the bitmap as it was.
    void _OnRead(PackageReadContext* context) override;
    bool _OnKeepFileAfterReading() const override { return m_decodePending || m_undecoded; }
    // An image never decoded, or that gave no pixels, is written as the file
    // it came in, unchanged.
    bool _OnFileIsPredefined(std::wstring* path) const override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;

private:
    bool m_decodePending = false;
    // Decoding was tried and gave no pixels: the file stays as it came.
    bool m_undecoded = false;
    // Unless the model layer has given pixels since, the file it came in is
    // what is written.
    bool _KeepsUndecodedBytes() const { return m_undecoded && m_bitmap->IsEmpty(); }
};
} // namespace Format_3MF
