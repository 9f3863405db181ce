#pragma once

// The values a property group holds: base materials, colours, texture
// coordinates and multi-properties, and the groups of each.

#include "format3mf/PropertyGroup.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Format_3MF
{
// A packed colour: red in bits 0 to 7, green in 8 to 15, blue in 16 to 23.

// A named material with its display colour.
class OND_EXPORT BaseMaterial : public IProperty
{
public:
    std::wstring m_name;
    std::uint32_t m_color = 0;

    BaseMaterial() = default;
    BaseMaterial(std::wstring const& name, std::uint32_t color) : m_name(name), m_color(color) {}

    // By name, then by colour: one name with two colours is two materials.
    bool operator<(BaseMaterial const& other) const;
};

class OND_EXPORT Color : public IProperty
{
public:
    std::uint32_t m_color;

    Color(unsigned int color) : m_color(color) {}

    bool operator<(Color const& other) const { return m_color < other.m_color; }
};

// A texture coordinate pair.
class OND_EXPORT Texture2DCoord : public IProperty
{
public:
    float m_u = 0.0f;
    float m_v = 0.0f;

    Texture2DCoord() = default;
    Texture2DCoord(float u, float v) : m_u(u), m_v(v) {}

    // By u, then by v. NaN sorts after every number and equal to itself, so
    // that the order stays strict and weak whatever a caller puts in.
    bool operator<(Texture2DCoord const& other) const;
};

// One index per group of the owning MultiPropertyGroup's m_pids.
class OND_EXPORT MultiProperty : public IProperty
{
public:
    std::vector<int> m_pindices;

    MultiProperty() = default;
    explicit MultiProperty(std::vector<int> const& pindices) : m_pindices(pindices) {}

    // Shorter lists first, then element by element.
    bool operator<(MultiProperty const& other) const;
};

class OND_EXPORT BaseMaterialGroup : public PropertyGroup<BaseMaterial>
{
public:
    ~BaseMaterialGroup() override;
};

class OND_EXPORT ColorGroup : public PropertyGroup<Color>
{
public:
    ~ColorGroup() override;
};

class OND_EXPORT Texture2DGroup : public PropertyGroup<Texture2DCoord>
{
public:
    ~Texture2DGroup() override;

    // The Texture2D resource that the coordinates address.
    tReferenceID m_texid;
};

class OND_EXPORT MultiPropertyGroup : public PropertyGroup<MultiProperty>
{
public:
    ~MultiPropertyGroup() override;

    // The groups that the indices of each value address, position by position.
    std::vector<tReferenceID> m_pids;
};
} // namespace Format_3MF
