#pragma once

// A mesh triangle as three point indices, living in its mesh's storage.

#include "triangles/MStlChunk.h"
#include "triangles/MStlColor.h"

#include "common/OndExport.h"

#include <cstdint>

class MStlTriangleStore;
struct MStlTriangleChunk;

// A triangle of a mesh: the indices of its three points. It lives inside the
// storage of its mesh and cannot be copied out of it. Its colour is kept
// aside, by index, and costs nothing until a triangle of the mesh has one.
class OND_EXPORT MStlTriangle
{
public:
    // The index of a corner's point (corner 0, 1 or 2) in the mesh.
    std::uint32_t GetPointIndex(unsigned corner) const { return m_points[corner]; }

    // The dense index of the triangle, by which masks address it.
    inline std::uint32_t GetIndex() const;

    MStlColor const& GetColor() const;
    void SetColor(MStlColor const& color);
    // Sets the colour from a packed word and makes it defined.
    void SetRGB(unsigned long rgb);

private:
    friend class MStlTriangleStore;
    friend struct MStlTriangleChunk;

    MStlTriangle() = default;
    MStlTriangle(MStlTriangle const&) = default;
    MStlTriangle& operator=(MStlTriangle const&) = default;

    inline MStlTriangleStore* GetStore() const;

    std::uint32_t m_points[3];
};

struct MStlTriangleChunk
{
    static constexpr std::uint32_t kCapacity = static_cast<std::uint32_t>(
        (MStlChunk::kChunkBytes - sizeof(MStlChunk::Header)) / sizeof(MStlTriangle));

    MStlChunk::Header m_header;
    MStlTriangle m_triangles[kCapacity];
};
static_assert(sizeof(MStlTriangleChunk) <= MStlChunk::kChunkBytes, "a triangle chunk must fit its alignment");

std::uint32_t MStlTriangle::GetIndex() const
{
    MStlTriangleChunk const* chunk = MStlChunk::ChunkOf<MStlTriangleChunk const>(this);
    return chunk->m_header.m_first + static_cast<std::uint32_t>(this - chunk->m_triangles);
}

MStlTriangleStore* MStlTriangle::GetStore() const
{
    MStlTriangleChunk const* chunk = MStlChunk::ChunkOf<MStlTriangleChunk const>(this);
    return static_cast<MStlTriangleStore*>(const_cast<void*>(chunk->m_header.mp_store));
}
