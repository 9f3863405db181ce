#pragma once

// A mesh vertex in internal integer units, living in its mesh's storage.

#include "triangles/MStlChunk.h"

#include "common/MInternalUnits.h"
#include "common/MMPoint3d.h"
#include "common/MMVector.h"
#include "common/OndExport.h"

#include <cstdint>

class MStlPointStore;
struct MStlPointChunk;

// A vertex of a mesh, in internal units. It lives inside the storage of its
// mesh and cannot be copied out of it: take its coordinates instead.
class OND_EXPORT MStlPoint
{
public:
    std::int32_t GetX() const { return m_coordinates[0]; }
    std::int32_t GetY() const { return m_coordinates[1]; }
    std::int32_t GetZ() const { return m_coordinates[2]; }
    MMVector<std::int32_t, 3> GetCoordinates() const
    {
        return MMVector<std::int32_t, 3>{{m_coordinates[0], m_coordinates[1], m_coordinates[2]}};
    }

    operator MMPoint3d<double>() const
    {
        return MMPoint3d<double>(m_coordinates[0], m_coordinates[1], m_coordinates[2]);
    }

    float GetXMMf() const { return ToMillimetres(m_coordinates[0]); }
    float GetYMMf() const { return ToMillimetres(m_coordinates[1]); }
    float GetZMMf() const { return ToMillimetres(m_coordinates[2]); }

    // The index of the point in its mesh: the order of BeginPoint to EndPoint.
    inline std::uint32_t GetIndex() const;

    // How many triangles use the point; it stops counting at 65535.
    inline std::uint16_t GetUseCount() const;

private:
    friend class MStlPointStore;
    friend struct MStlPointChunk;

    MStlPoint() = default;
    MStlPoint(MStlPoint const&) = default;
    MStlPoint& operator=(MStlPoint const&) = default;

    static float ToMillimetres(std::int32_t value)
    {
        return static_cast<float>(value / OndSDK::Common::MInternalUnits::Get());
    }

    std::int32_t m_coordinates[3];
};

struct MStlPointChunk
{
    static constexpr std::uint32_t kCapacity = static_cast<std::uint32_t>(
        (MStlChunk::kChunkBytes - sizeof(MStlChunk::Header)) / (sizeof(MStlPoint) + sizeof(std::uint16_t)));

    MStlChunk::Header m_header;
    MStlPoint m_points[kCapacity];
    std::uint16_t m_useCounts[kCapacity];
};
static_assert(sizeof(MStlPointChunk) <= MStlChunk::kChunkBytes, "a point chunk must fit its alignment");

std::uint32_t MStlPoint::GetIndex() const
{
    MStlPointChunk const* chunk = MStlChunk::ChunkOf<MStlPointChunk const>(this);
    return chunk->m_header.m_first + static_cast<std::uint32_t>(this - chunk->m_points);
}

std::uint16_t MStlPoint::GetUseCount() const
{
    MStlPointChunk const* chunk = MStlChunk::ChunkOf<MStlPointChunk const>(this);
    return chunk->m_useCounts[this - chunk->m_points];
}
