#pragma once

// An 8-bit image in memory, the form in which textures and thumbnails pass
// between the package and the image codecs.

#include "common/OndExport.h"

#include <cstdint>
#include <vector>

namespace OndSDK::Common
{
// An 8-bit image in memory: rows top to bottom, channels interleaved
// (1 grey, 2 grey and alpha, 3 RGB, 4 RGBA). A value type; share it through
// std::shared_ptr.
class OND_EXPORT ImageBitmap
{
public:
    // Images larger than this are refused rather than allocated.
    static constexpr std::uint64_t kMaxPixels = std::uint64_t(1) << 28;

    ImageBitmap() = default;

    // Allocates a zeroed image; false (and an empty image) when the size is
    // zero, the channel count is not 1 to 4, or the size exceeds kMaxPixels.
    bool Create(std::uint32_t width, std::uint32_t height, std::uint32_t channels);
    void Clear();

    bool IsEmpty() const { return m_pixels.empty(); }
    std::uint32_t GetWidth() const { return m_width; }
    std::uint32_t GetHeight() const { return m_height; }
    std::uint32_t GetChannels() const { return m_channels; }
    std::uint8_t* GetData() { return m_pixels.data(); }
    std::uint8_t const* GetData() const { return m_pixels.data(); }
    std::uint8_t* GetRow(std::uint32_t y) { return m_pixels.data() + std::size_t(y) * m_width * m_channels; }
    std::uint8_t const* GetRow(std::uint32_t y) const
    {
        return m_pixels.data() + std::size_t(y) * m_width * m_channels;
    }

    bool operator==(ImageBitmap const& other) const
    {
        return m_width == other.m_width && m_height == other.m_height && m_channels == other.m_channels &&
               m_pixels == other.m_pixels;
    }
    bool operator!=(ImageBitmap const& other) const { return !(*this == other); }

private:
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::uint32_t m_channels = 0;
    std::vector<std::uint8_t> m_pixels;
};
} // namespace OndSDK::Common
