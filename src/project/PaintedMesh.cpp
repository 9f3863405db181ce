// The record of painted triangles, and the way back from it to the plain
// reading of a mesh.
#include "project/PaintedMesh.h"

#include "project/PaintedMeshRead.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <memory>

namespace Format_3MF::project
{
namespace
{
void PutNumber(std::vector<std::uint8_t>& record, std::uint64_t value)
{
    while (value >= 0x80)
    {
        record.push_back(std::uint8_t(value | 0x80));
        value >>= 7;
    }
    record.push_back(std::uint8_t(value));
}

void PutDifference(std::vector<std::uint8_t>& record, std::uint32_t from, std::uint32_t to)
{
    std::int64_t const difference = std::int64_t(to) - std::int64_t(from);
    PutNumber(record,
              difference < 0 ? (std::uint64_t(-difference) << 1) - 1 : std::uint64_t(difference) << 1);
}

std::uint64_t GetNumber(std::uint8_t const*& at)
{
    std::uint64_t value = 0;
    for (int shift = 0;; shift += 7)
    {
        std::uint8_t const byte = *at++;
        value |= std::uint64_t(byte & 0x7f) << shift;
        if (byte < 0x80)
        {
            return value;
        }
    }
}

std::uint32_t GetDifference(std::uint8_t const*& at, std::uint32_t from)
{
    std::uint64_t const coded = GetNumber(at);
    std::int64_t const difference =
        (coded & 1) != 0 ? -std::int64_t((coded + 1) >> 1) : std::int64_t(coded >> 1);
    return std::uint32_t(std::int64_t(from) + difference);
}
} // namespace

PaintedMesh::PaintedMesh(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext* context,
                         std::vector<std::uint32_t> const& filaments)
    : MeshStlBase(stl, modelFile, object, context), m_filaments(filaments)
{
}

ISAXReadHelper* PaintedMesh::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent)
{
    return new PaintedMeshRead(context, this, parent);
}

void PaintedMesh::NotePainted(std::uint64_t plainIndex, std::uint64_t leaves,
                              std::uint32_t const (&corners)[3])
{
    PutNumber(m_record, plainIndex - m_lastPlainIndex);
    PutNumber(m_record, leaves);
    PutDifference(m_record, m_lastCorner, corners[0]);
    PutDifference(m_record, corners[0], corners[1]);
    PutDifference(m_record, corners[0], corners[2]);
    m_lastPlainIndex = plainIndex;
    m_lastCorner = corners[0];
    ++m_plainTriangles;
}

template <typename Visit>
void PaintedMesh::_Walk(Visit&& visit) const
{
    std::uint8_t const* at = m_record.data();
    std::uint8_t const* const end = at + m_record.size();
    Entry entry{0, 0, {0, 0, 0}};
    while (at != end)
    {
        entry.plainIndex += GetNumber(at);
        entry.leaves = GetNumber(at);
        entry.corners[0] = GetDifference(at, entry.corners[0]);
        entry.corners[1] = GetDifference(at, entry.corners[0]);
        entry.corners[2] = GetDifference(at, entry.corners[0]);
        visit(entry);
    }
}

void PaintedMesh::Fail(std::wstring const& why)
{
    if (m_failure.empty())
    {
        m_failure = why;
    }
}

std::vector<std::uint64_t> PaintedMesh::OutputStarts(std::vector<std::uint64_t> const& plainIndices) const
{
    std::vector<std::uint64_t> starts;
    std::uint64_t extra = 0;
    auto next = plainIndices.begin();
    _Walk(
        [&](Entry const& entry)
        {
            for (; next != plainIndices.end() && *next <= entry.plainIndex; ++next)
            {
                starts.push_back(*next + extra);
            }
            extra += entry.leaves - 1;
        });
    for (; next != plainIndices.end(); ++next)
    {
        starts.push_back(*next + extra);
    }
    return starts;
}

void PaintedMesh::Revert()
{
    MStlBase const& painted = *m_stl;
    auto plain = std::make_unique<MStlBase>();
    plain->SetName(painted.GetName().c_str());
    plain->GetMaterial() = painted.GetMaterial();
    plain->m_partIsSolid = painted.m_partIsSolid;
    plain->m_partIsSupport = painted.m_partIsSupport;
    std::vector<MStlPoint*> points;
    points.reserve(std::size_t(m_vertexCount));
    for (std::uint32_t i = 0; i < m_vertexCount && i < painted.GetNumberOfPoints(); ++i)
    {
        MStlPoint const& point = painted.PointAt(i);
        points.push_back(plain->AddPoint(point.GetX(), point.GetY(), point.GetZ()));
    }
    auto point = [&points](std::uint32_t index) -> MStlPoint*
    { return index < points.size() ? points[index] : nullptr; };
    std::uint64_t plainIndex = 0;
    std::uint32_t output = 0;
    auto copyUpTo = [&](std::uint64_t end)
    {
        for (; plainIndex < end && output < painted.GetNumberOfTriangles(); ++plainIndex, ++output)
        {
            MStlTriangle const& triangle = painted.TriangleAt(output);
            MStlTriangle* const copy =
                plain->AddTriangle(point(triangle.GetPointIndex(0)), point(triangle.GetPointIndex(1)),
                                   point(triangle.GetPointIndex(2)));
            if (copy != nullptr && triangle.GetColor().IsDefined())
            {
                copy->SetColor(triangle.GetColor());
            }
        }
    };
    _Walk(
        [&](Entry const& entry)
        {
            copyUpTo(entry.plainIndex);
            plain->AddTriangle(point(entry.corners[0]), point(entry.corners[1]), point(entry.corners[2]));
            ++plainIndex;
            output += std::uint32_t(entry.leaves);
        });
    copyUpTo(m_plainTriangles);
    // The masks of the read hang on the painted mesh and go with it.
    m_triangleProperties.reset();
    m_texturesOfGroups.clear();
    SetStl(plain.release(), true);
    m_record.clear();
    m_record.shrink_to_fit();
}
} // namespace Format_3MF::project
