#pragma once

// The point and triangle storage of a mesh, shareable between copies until one
// of them changes.

#include "triangles/MStlChunkTable.h"
#include "triangles/MStlColor.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"
#include "triangles/PagedArray.h"

#include <cstdint>

class MMTransform;

// The points of a mesh with their use counters. A store may be shared by
// several meshes (a copy shares the storage of its original); a mesh makes
// its own copy before it changes one (see MStlBase).
class MStlPointStore
{
public:
    MStlPointStore();
    MStlPointStore(MStlPointStore const& other);
    // A copy with every coordinate transformed, made in one pass.
    MStlPointStore(MStlPointStore const& other, MMTransform const& transform, bool inverse);
    MStlPointStore& operator=(MStlPointStore const&) = delete;

    std::uint32_t Size() const { return m_table.Size(); }

    MStlPoint& At(std::uint32_t index)
    {
        return m_table.ChunkAt(index / kCapacity).m_points[index % kCapacity];
    }
    MStlPoint const& At(std::uint32_t index) const
    {
        return m_table.ChunkAt(index / kCapacity).m_points[index % kCapacity];
    }
    bool Owns(MStlPoint const* point) const { return point && m_table.Owns(point, point->GetIndex()); }

    MStlPoint* Add(std::int32_t x, std::int32_t y, std::int32_t z);
    // Appends `count` points from x, y, z triples, chunk by chunk, and gives
    // the index of the first. Throws std::length_error past 32-bit indices
    // before anything changes.
    std::uint32_t AddMany(std::int32_t const* coordinates, std::uint32_t count);
    void AddUse(std::uint32_t index);
    // Appends copies of the points of another store (which may be this one).
    void Append(MStlPointStore const& other);
    // The same with every copied coordinate transformed, in the one pass.
    void Append(MStlPointStore const& other, MMTransform const& transform);
    void Transform(MMTransform const& transform, bool inverse);
    // Writes the coordinates of the points of `original` back over the
    // first points of this store; use counters stay.
    void RestoreCoordinates(MStlPointStore const& original) noexcept;

private:
    static constexpr std::uint32_t kCapacity = MStlPointChunk::kCapacity;

    MStlChunkTable<MStlPointChunk> m_table;
};

// The triangles of a mesh, with their colours aside by index.
class MStlTriangleStore
{
public:
    MStlTriangleStore();
    MStlTriangleStore(MStlTriangleStore const& other);
    MStlTriangleStore& operator=(MStlTriangleStore const&) = delete;

    std::uint32_t Size() const { return m_table.Size(); }

    MStlTriangle& At(std::uint32_t index)
    {
        return m_table.ChunkAt(index / kCapacity).m_triangles[index % kCapacity];
    }
    MStlTriangle const& At(std::uint32_t index) const
    {
        return m_table.ChunkAt(index / kCapacity).m_triangles[index % kCapacity];
    }
    bool Owns(MStlTriangle const* triangle) const
    {
        return triangle && m_table.Owns(triangle, triangle->GetIndex());
    }

    MStlTriangle* Add(std::uint32_t a, std::uint32_t b, std::uint32_t c);
    // Appends the triples of `corners` that name three distinct points, each
    // index moved by `pointOffset`, and counts their uses in `points`. The
    // indices must have been checked against `points`. Gives the number of
    // triangles appended.
    std::uint32_t AddMany(std::uint32_t const* corners, std::uint32_t count, std::uint32_t pointOffset,
                          MStlPointStore& points);
    // Appends copies of the triangles of another store (which may be this
    // one), their point indices moved by pointOffset.
    void Append(MStlTriangleStore const& other, std::uint32_t pointOffset, bool withColors);

    MStlColor const& GetColor(std::uint32_t index) const { return m_colors.Get(index); }
    void SetColor(std::uint32_t index, MStlColor const& color);
    // Whether any triangle was ever given a colour.
    bool HasColors() const { return !m_colors.IsEmpty(); }

private:
    static constexpr std::uint32_t kCapacity = MStlTriangleChunk::kCapacity;

    MStlChunkTable<MStlTriangleChunk> m_table;
    PagedArray<MStlColor> m_colors;
};
