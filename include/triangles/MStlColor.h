#pragma once

// An optional packed RGB colour, as triangles and materials carry it.

#include "common/OndExport.h"

#include <cstdint>

// An optional colour, packed with red in bits 0 to 7, green in 8 to 15 and
// blue in 16 to 23. The word is kept as given.
class OND_EXPORT MStlColor
{
public:
    MStlColor() = default;
    explicit MStlColor(std::uint32_t rgb) : m_rgb(rgb), m_defined(true) {}

    unsigned GetRGB() const { return m_rgb; }
    bool IsDefined() const { return m_defined; }

    bool operator==(MStlColor const& other) const
    {
        return m_defined == other.m_defined && (!m_defined || m_rgb == other.m_rgb);
    }
    bool operator!=(MStlColor const& other) const { return !(*this == other); }

private:
    std::uint32_t m_rgb = 0;
    bool m_defined = false;
};

// The colours of the three corners of a triangle, undefined until set.
struct OND_EXPORT MStlColorTrianglePoints
{
    MStlColor m_colors[3];
};

// The material of a mesh: the colour of every triangle without its own.
class OND_EXPORT MStlMaterial
{
public:
    std::uint32_t GetRGB() const { return m_rgb; }
    void SetRGB(std::uint32_t rgb) { m_rgb = rgb; }

private:
    // A light grey, so that a mesh nobody coloured is still visible.
    std::uint32_t m_rgb = 0x00C0C0C0;
};
