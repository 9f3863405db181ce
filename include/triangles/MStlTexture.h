#pragma once

// A texture of a mesh: its image and the texture coordinates of the triangles
// that use it.

#include "triangles/PagedArray.h"

#include "common/ImageBitmap.h"
#include "common/OndExport.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MStlBase;
class MStlTriangle;
class MStlTriangleStore;

// The texture coordinates of the three corners of a triangle.
struct OND_EXPORT MStlTextureCoordinates
{
    float m_u1 = 0.0f;
    float m_v1 = 0.0f;
    float m_u2 = 0.0f;
    float m_v2 = 0.0f;
    float m_u3 = 0.0f;
    float m_v3 = 0.0f;
};

// A named bitmap with the triangles of its mesh that use it. Textures that
// share one bitmap pointer share the image. Made and destroyed by the
// mesh's MStlTextureFactory.
class OND_EXPORT MStlTexture
{
public:
    MStlTexture(MStlTexture const&) = delete;
    MStlTexture& operator=(MStlTexture const&) = delete;

    std::wstring const& GetName() const { return m_name; }
    void SetName(std::wstring name) { m_name = std::move(name); }

    // The bitmap, or an empty one when none was set.
    OndSDK::Common::ImageBitmap const& GetBitmap() const;
    std::shared_ptr<OndSDK::Common::ImageBitmap> const& GetSharedBitmap() const { return m_bitmap; }
    void SetSharedBitmap(std::shared_ptr<OndSDK::Common::ImageBitmap> const& bitmap) { m_bitmap = bitmap; }

    // In no particular order: removing a triangle moves the last one into
    // its place.
    std::vector<MStlTriangle const*> const& GetTriangles() const { return m_triangles; }
    std::size_t GetNumTriangles() const { return m_triangles.size(); }
    bool HasTriangle(MStlTriangle const* triangle) const;

    // False when the triangle isn't on this texture; `clearIfMissing` then
    // resets `coordinates` to zeros, otherwise they are left as they were.
    bool GetCoordinates(MStlTriangle const* triangle, MStlTextureCoordinates& coordinates,
                        bool clearIfMissing) const;

    // Puts a triangle of this texture's mesh on the texture. For a triangle
    // that is there already, `replace` says whether the new coordinates take
    // the place of the old. Triangles of other meshes, and null, are ignored.
    void AddTriangle(MStlTriangle const* triangle, MStlTextureCoordinates const& coordinates, bool replace);

    // False when the triangle wasn't on the texture.
    bool RemoveTriangle(MStlTriangle const* triangle);

private:
    friend class MStlTextureFactory;
    friend class MStlBase;

    static constexpr std::uint32_t kNotHere = 0xFFFFFFFFu;

    explicit MStlTexture(MStlBase const& stl);
    MStlTexture(MStlTexture const& other, MStlBase const& stl);

    std::uint32_t Position(MStlTriangle const* triangle) const;
    // Points the triangles at another store of the same triangles, after the
    // mesh took a copy of storage that it shared.
    void Rebind(MStlTriangleStore const& store);
    // Adds the triangles of another texture, whose mesh's triangles have
    // been appended to this mesh from `firstTriangle` on.
    void AppendFrom(MStlTexture const& other, std::uint32_t firstTriangle);

    MStlBase const* mp_stl;
    std::wstring m_name;
    std::shared_ptr<OndSDK::Common::ImageBitmap> m_bitmap;
    std::vector<MStlTriangle const*> m_triangles;
    std::vector<MStlTextureCoordinates> m_coordinates;
    // By triangle index, the position in the two vectors above.
    PagedArray<std::uint32_t> m_positions{kNotHere};
};

// Makes and destroys the textures of one mesh, and keeps them in the order
// they were made.
class OND_EXPORT MStlTextureFactory
{
public:
    MStlTextureFactory(MStlTextureFactory const&) = delete;
    MStlTextureFactory& operator=(MStlTextureFactory const&) = delete;
    ~MStlTextureFactory();

    MStlTexture* AddTexture();
    // Destroys a texture of this mesh; anything else is ignored.
    void RemoveTexture(MStlTexture* texture);

    std::vector<MStlTexture*> const& GetTextures() const { return m_textures; }

private:
    friend class MStlBase;

    explicit MStlTextureFactory(MStlBase const& stl);
    MStlTextureFactory(MStlTextureFactory const& other, MStlBase const& stl);

    MStlBase const* mp_stl;
    std::vector<MStlTexture*> m_textures;
};
