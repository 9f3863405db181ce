// Point and triangle storage of a mesh; coordinates are rounded to internal
// integer units without undefined behaviour for any input.
#include "triangles/MStlElementStores.h"

#include "common/MMTransform.h"
#include "common/MMTransformMatrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
// Half away from zero, as everywhere coordinates become internal units;
// out-of-range values saturate and NaN becomes 0, so that no input can make
// the conversion undefined.
std::int32_t RoundToInternal(double value)
{
    if (std::isnan(value))
    {
        return 0;
    }
    double const rounded = value < 0.0 ? value - 0.5 : value + 0.5;
    if (rounded <= double(std::numeric_limits<std::int32_t>::min()))
    {
        return std::numeric_limits<std::int32_t>::min();
    }
    if (rounded >= double(std::numeric_limits<std::int32_t>::max()))
    {
        return std::numeric_limits<std::int32_t>::max();
    }
    return static_cast<std::int32_t>(rounded);
}

// A whole copy keeps the chunk layout, so it goes chunk by chunk.
template <typename Chunk, typename CopyChunk>
void CopyAll(MStlChunkTable<Chunk> const& from, MStlChunkTable<Chunk>& to, CopyChunk copyChunk)
{
    to.Extend(from.Size());
    std::uint32_t remaining = from.Size();
    for (std::uint32_t number = 0; remaining > 0; ++number)
    {
        std::uint32_t const count = std::min(remaining, Chunk::kCapacity);
        copyChunk(from.ChunkAt(number), to.ChunkAt(number), count);
        remaining -= count;
    }
}
} // namespace

MStlPointStore::MStlPointStore() : m_table(this) {}

MStlPointStore::MStlPointStore(MStlPointStore const& other) : m_table(this)
{
    CopyAll(other.m_table, m_table,
            [](MStlPointChunk const& from, MStlPointChunk& to, std::uint32_t count)
            {
                std::memcpy(to.m_points, from.m_points, count * sizeof(MStlPoint));
                std::memcpy(to.m_useCounts, from.m_useCounts, count * sizeof(std::uint16_t));
            });
}

MStlPointStore::MStlPointStore(MStlPointStore const& other, MMTransform const& transform, bool inverse)
    : m_table(this)
{
    CopyAll(other.m_table, m_table,
            [&transform, inverse](MStlPointChunk const& from, MStlPointChunk& to, std::uint32_t count)
            {
                for (std::uint32_t slot = 0; slot < count; ++slot)
                {
                    MMPoint3d<double> const source = from.m_points[slot];
                    MMPoint3d<double> const moved =
                        inverse ? transform.ApplyInverse(source) : transform.Apply(source);
                    to.m_points[slot].m_coordinates[0] = RoundToInternal(moved.x);
                    to.m_points[slot].m_coordinates[1] = RoundToInternal(moved.y);
                    to.m_points[slot].m_coordinates[2] = RoundToInternal(moved.z);
                }
                std::memcpy(to.m_useCounts, from.m_useCounts, count * sizeof(std::uint16_t));
            });
}

MStlPoint* MStlPointStore::Add(std::int32_t x, std::int32_t y, std::int32_t z)
{
    std::uint32_t const index = m_table.Extend(1);
    MStlPointChunk& chunk = m_table.ChunkAt(index / kCapacity);
    MStlPoint& point = chunk.m_points[index % kCapacity];
    point.m_coordinates[0] = x;
    point.m_coordinates[1] = y;
    point.m_coordinates[2] = z;
    chunk.m_useCounts[index % kCapacity] = 0;
    return &point;
}

std::uint32_t MStlPointStore::AddMany(std::int32_t const* coordinates, std::uint32_t count)
{
    std::uint32_t const first = m_table.Extend(count);
    for (std::uint32_t done = 0; done < count;)
    {
        std::uint32_t const index = first + done;
        std::uint32_t const slot = index % kCapacity;
        std::uint32_t const run = std::min(count - done, kCapacity - slot);
        MStlPointChunk& chunk = m_table.ChunkAt(index / kCapacity);
        std::memcpy(static_cast<void*>(chunk.m_points + slot), coordinates + 3 * std::size_t(done),
                    run * sizeof(MStlPoint));
        std::memset(chunk.m_useCounts + slot, 0, run * sizeof(std::uint16_t));
        done += run;
    }
    return first;
}

void MStlPointStore::AddUse(std::uint32_t index)
{
    std::uint16_t& count = m_table.ChunkAt(index / kCapacity).m_useCounts[index % kCapacity];
    if (count != std::numeric_limits<std::uint16_t>::max())
    {
        ++count;
    }
}

void MStlPointStore::Append(MStlPointStore const& other)
{
    // Counted before growing: other may be this store.
    std::uint32_t const count = other.Size();
    std::uint32_t const first = m_table.Extend(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        MStlPointChunk const& from = other.m_table.ChunkAt(index / kCapacity);
        MStlPointChunk& to = m_table.ChunkAt((first + index) / kCapacity);
        to.m_points[(first + index) % kCapacity] = from.m_points[index % kCapacity];
        to.m_useCounts[(first + index) % kCapacity] = from.m_useCounts[index % kCapacity];
    }
}

void MStlPointStore::Append(MStlPointStore const& other, MMTransform const& transform)
{
    // A matrix without projection, the usual case, is applied here directly:
    // this is the inner loop of placing a mesh many times.
    double rows[3][4];
    auto const* matrix = dynamic_cast<MMTransformMatrix const*>(&transform);
    bool const affine = matrix != nullptr && matrix->GetElement(3, 0) == 0.0 &&
                        matrix->GetElement(3, 1) == 0.0 && matrix->GetElement(3, 2) == 0.0 &&
                        matrix->GetElement(3, 3) == 1.0;
    if (affine)
    {
        for (unsigned short row = 0; row < 3; ++row)
        {
            for (unsigned short column = 0; column < 4; ++column)
            {
                rows[row][column] = matrix->GetElement(row, column);
            }
        }
    }
    std::uint32_t const count = other.Size();
    std::uint32_t const first = m_table.Extend(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        MStlPointChunk const& from = other.m_table.ChunkAt(index / kCapacity);
        MStlPointChunk& to = m_table.ChunkAt((first + index) / kCapacity);
        MStlPoint const& source = from.m_points[index % kCapacity];
        MStlPoint& point = to.m_points[(first + index) % kCapacity];
        if (affine)
        {
            double const x = source.m_coordinates[0];
            double const y = source.m_coordinates[1];
            double const z = source.m_coordinates[2];
            for (int row = 0; row < 3; ++row)
            {
                point.m_coordinates[row] =
                    RoundToInternal(rows[row][0] * x + rows[row][1] * y + rows[row][2] * z + rows[row][3]);
            }
        }
        else
        {
            MMPoint3d<double> const moved = transform.Apply(source);
            point.m_coordinates[0] = RoundToInternal(moved.x);
            point.m_coordinates[1] = RoundToInternal(moved.y);
            point.m_coordinates[2] = RoundToInternal(moved.z);
        }
        to.m_useCounts[(first + index) % kCapacity] = from.m_useCounts[index % kCapacity];
    }
}

void MStlPointStore::Transform(MMTransform const& transform, bool inverse)
{
    for (std::uint32_t index = 0; index < Size(); ++index)
    {
        MStlPoint& point = At(index);
        MMPoint3d<double> const moved = inverse ? transform.ApplyInverse(point) : transform.Apply(point);
        point.m_coordinates[0] = RoundToInternal(moved.x);
        point.m_coordinates[1] = RoundToInternal(moved.y);
        point.m_coordinates[2] = RoundToInternal(moved.z);
    }
}

void MStlPointStore::RestoreCoordinates(MStlPointStore const& original) noexcept
{
    std::uint32_t const count = std::min(Size(), original.Size());
    for (std::uint32_t index = 0; index < count; ++index)
    {
        std::memcpy(At(index).m_coordinates, original.At(index).m_coordinates,
                    sizeof(MStlPoint::m_coordinates));
    }
}

MStlTriangleStore::MStlTriangleStore() : m_table(this) {}

MStlTriangleStore::MStlTriangleStore(MStlTriangleStore const& other) : m_table(this), m_colors(other.m_colors)
{
    CopyAll(other.m_table, m_table,
            [](MStlTriangleChunk const& from, MStlTriangleChunk& to, std::uint32_t count)
            { std::memcpy(to.m_triangles, from.m_triangles, count * sizeof(MStlTriangle)); });
}

MStlTriangle* MStlTriangleStore::Add(std::uint32_t a, std::uint32_t b, std::uint32_t c)
{
    std::uint32_t const index = m_table.Extend(1);
    MStlTriangle& triangle = At(index);
    triangle.m_points[0] = a;
    triangle.m_points[1] = b;
    triangle.m_points[2] = c;
    return &triangle;
}

std::uint32_t MStlTriangleStore::AddMany(std::uint32_t const* corners, std::uint32_t count,
                                         std::uint32_t pointOffset, MStlPointStore& points)
{
    // Room for all, then the size is set to what was kept: triangles on a
    // point twice are passed over, as Add's callers refuse them.
    std::uint32_t const first = m_table.Size();
    m_table.Reserve(count);
    std::uint32_t kept = 0;
    for (std::uint32_t done = 0; done < count; ++done)
    {
        std::uint32_t const a = corners[3 * std::size_t(done)] + pointOffset;
        std::uint32_t const b = corners[3 * std::size_t(done) + 1] + pointOffset;
        std::uint32_t const c = corners[3 * std::size_t(done) + 2] + pointOffset;
        if (a == b || b == c || a == c)
        {
            continue;
        }
        std::uint32_t const index = first + kept++;
        MStlTriangle& triangle = m_table.ChunkAt(index / kCapacity).m_triangles[index % kCapacity];
        triangle.m_points[0] = a;
        triangle.m_points[1] = b;
        triangle.m_points[2] = c;
        points.AddUse(a);
        points.AddUse(b);
        points.AddUse(c);
    }
    m_table.Extend(kept);
    return kept;
}

void MStlTriangleStore::Append(MStlTriangleStore const& other, std::uint32_t pointOffset, bool withColors)
{
    std::uint32_t const count = other.Size();
    std::uint32_t const first = m_table.Extend(count);
    for (std::uint32_t index = 0; index < count; ++index)
    {
        MStlTriangle const& from = other.At(index);
        MStlTriangle& to = At(first + index);
        for (int corner = 0; corner < 3; ++corner)
        {
            to.m_points[corner] = from.m_points[corner] + pointOffset;
        }
    }
    if (withColors && other.HasColors())
    {
        for (std::uint32_t index = 0; index < count; ++index)
        {
            MStlColor const& color = other.GetColor(index);
            if (color.IsDefined())
            {
                SetColor(first + index, color);
            }
        }
    }
}

void MStlTriangleStore::SetColor(std::uint32_t index, MStlColor const& color)
{
    // An undefined colour where there is none needs no storage.
    if (!color.IsDefined() && GetColor(index) == color)
    {
        return;
    }
    m_colors.Ref(index) = color;
}
