// A mesh's texture: its image and the per-triangle texture coordinates.
#include "triangles/MStlTexture.h"

#include "triangles/MStlBase.h"

#include <algorithm>

using OndSDK::Common::ImageBitmap;

MStlTexture::MStlTexture(MStlBase const& stl) : mp_stl(&stl) {}

MStlTexture::MStlTexture(MStlTexture const& other, MStlBase const& stl)
    : mp_stl(&stl), m_name(other.m_name), m_bitmap(other.m_bitmap), m_triangles(other.m_triangles),
      m_coordinates(other.m_coordinates), m_positions(other.m_positions)
{
}

ImageBitmap const& MStlTexture::GetBitmap() const
{
    static ImageBitmap const empty;
    return m_bitmap ? *m_bitmap : empty;
}

std::uint32_t MStlTexture::Position(MStlTriangle const* triangle) const
{
    if (!mp_stl->OwnsTriangle(triangle))
    {
        return kNotHere;
    }
    return m_positions.Get(triangle->GetIndex());
}

bool MStlTexture::HasTriangle(MStlTriangle const* triangle) const
{
    return Position(triangle) != kNotHere;
}

bool MStlTexture::GetCoordinates(MStlTriangle const* triangle, MStlTextureCoordinates& coordinates,
                                 bool clearIfMissing) const
{
    std::uint32_t const position = Position(triangle);
    if (position == kNotHere)
    {
        if (clearIfMissing)
        {
            coordinates = MStlTextureCoordinates();
        }
        return false;
    }
    coordinates = m_coordinates[position];
    return true;
}

void MStlTexture::AddTriangle(MStlTriangle const* triangle, MStlTextureCoordinates const& coordinates,
                              bool replace)
{
    if (!mp_stl->OwnsTriangle(triangle))
    {
        return;
    }
    std::uint32_t& position = m_positions.Ref(triangle->GetIndex());
    if (position != kNotHere)
    {
        if (replace)
        {
            m_coordinates[position] = coordinates;
        }
        return;
    }
    position = static_cast<std::uint32_t>(m_triangles.size());
    m_triangles.push_back(triangle);
    m_coordinates.push_back(coordinates);
}

bool MStlTexture::RemoveTriangle(MStlTriangle const* triangle)
{
    std::uint32_t const position = Position(triangle);
    if (position == kNotHere)
    {
        return false;
    }
    MStlTriangle const* last = m_triangles.back();
    m_triangles[position] = last;
    m_coordinates[position] = m_coordinates.back();
    m_positions.Ref(last->GetIndex()) = position;
    m_positions.Ref(triangle->GetIndex()) = kNotHere;
    m_triangles.pop_back();
    m_coordinates.pop_back();
    return true;
}

void MStlTexture::Rebind(MStlTriangleStore const& store)
{
    for (MStlTriangle const*& triangle : m_triangles)
    {
        triangle = &store.At(triangle->GetIndex());
    }
}

void MStlTexture::AppendFrom(MStlTexture const& other, std::uint32_t firstTriangle)
{
    // Counted first: other may be this texture.
    std::size_t const count = other.m_triangles.size();
    for (std::size_t i = 0; i < count; ++i)
    {
        MStlTriangle const* triangle = &mp_stl->TriangleAt(firstTriangle + other.m_triangles[i]->GetIndex());
        AddTriangle(triangle, other.m_coordinates[i], true);
    }
}

MStlTextureFactory::MStlTextureFactory(MStlBase const& stl) : mp_stl(&stl) {}

MStlTextureFactory::MStlTextureFactory(MStlTextureFactory const& other, MStlBase const& stl) : mp_stl(&stl)
{
    m_textures.reserve(other.m_textures.size());
    for (MStlTexture const* texture : other.m_textures)
    {
        m_textures.push_back(new MStlTexture(*texture, stl));
    }
}

MStlTextureFactory::~MStlTextureFactory()
{
    for (MStlTexture* texture : m_textures)
    {
        delete texture;
    }
}

MStlTexture* MStlTextureFactory::AddTexture()
{
    m_textures.reserve(m_textures.size() + 1);
    m_textures.push_back(new MStlTexture(*mp_stl));
    return m_textures.back();
}

void MStlTextureFactory::RemoveTexture(MStlTexture* texture)
{
    auto const found = std::find(m_textures.begin(), m_textures.end(), texture);
    if (found != m_textures.end())
    {
        m_textures.erase(found);
        delete texture;
    }
}
