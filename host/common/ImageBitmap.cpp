// An in-memory image for the PNG and JPEG codecs, with a size cap so that a
// hostile header cannot make it allocate without bound.
#include "common/ImageBitmap.h"

namespace OndSDK::Common
{
bool ImageBitmap::Create(std::uint32_t width, std::uint32_t height, std::uint32_t channels)
{
    Clear();
    if (width == 0 || height == 0 || channels < 1 || channels > 4 ||
        std::uint64_t(width) * height > kMaxPixels)
    {
        return false;
    }
    m_pixels.assign(std::size_t(width) * height * channels, 0);
    m_width = width;
    m_height = height;
    m_channels = channels;
    return true;
}

void ImageBitmap::Clear()
{
    m_pixels.clear();
    m_pixels.shrink_to_fit();
    m_width = m_height = m_channels = 0;
}
} // namespace OndSDK::Common
