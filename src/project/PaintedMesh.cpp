// The record of painted triangles, and the way back from it to the plain
// reading of a mesh.
#include "project/PaintedMesh.h"

#include "project/PaintedMeshRead.h"
#include "project/ProjectConfig.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <memory>

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
// The longest entry: five numbers of up to ten bytes.
constexpr std::size_t kMaxEntryBytes = 50;

std::uint8_t* PutNumber(std::uint8_t* at, std::uint64_t value)
{
    while (value >= 0x80)
    {
        *at++ = std::uint8_t(value | 0x80);
        value >>= 7;
    }
    *at++ = std::uint8_t(value);
    return at;
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
} // namespace

PaintedMesh::PaintedMesh(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext* context,
                         ProjectConfig& project)
    : MeshStlBase(stl, modelFile, object, context), m_filaments(project.filaments), m_tally(project.tally)
{
}

ISAXReadHelper* PaintedMesh::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent)
{
    return new PaintedMeshRead(context, this, parent);
}

void PaintedMesh::NotePainted(std::uint64_t plainIndex, std::uint64_t leaves,
                              std::array<std::uint64_t, 3> const& corners)
{
    if (m_record.empty() || Block::kBytes - m_record.back().used < kMaxEntryBytes)
    {
        m_record.emplace_back();
    }
    Block& block = m_record.back();
    std::uint8_t* at = block.bytes.get() + block.used;
    bool const sameShape = leaves == m_last.leaves && corners == m_last.corners;
    at = PutNumber(at, ((plainIndex - m_last.plainIndex) << 1) | (sameShape ? 1 : 0));
    if (!sameShape)
    {
        at = PutNumber(at, leaves);
        for (std::uint64_t const corner : corners)
        {
            at = PutNumber(at, corner);
        }
    }
    block.used = std::size_t(at - block.bytes.get());
    m_last = {plainIndex, leaves, corners};
    ++m_plainTriangles;
    ++m_fileTriangles;
}

std::uint64_t PaintedMesh::PlainIndex(std::uint64_t fileIndex) const
{
    return fileIndex -
           std::uint64_t(std::lower_bound(m_dropped.begin(), m_dropped.end(), fileIndex) - m_dropped.begin());
}

void PaintedMesh::NoteFilamentBeyond(std::uint32_t filament)
{
    ++m_trianglesBeyond;
    m_highestBeyond = std::max(m_highestBeyond, filament);
}

void PaintedMesh::NoteVertices(std::uint64_t count, std::vector<std::uint32_t> points)
{
    m_vertexCount = count;
    m_vertexPoints = std::move(points);
}

template <typename Visit>
void PaintedMesh::_Walk(Visit&& visit) const
{
    Entry entry{0, 0, {0, 0, 0}};
    for (Block const& block : m_record)
    {
        std::uint8_t const* at = block.bytes.get();
        std::uint8_t const* const end = at + block.used;
        while (at != end)
        {
            std::uint64_t const step = GetNumber(at);
            entry.plainIndex += step >> 1;
            if ((step & 1) == 0)
            {
                entry.leaves = GetNumber(at);
                for (std::uint64_t& corner : entry.corners)
                {
                    corner = GetNumber(at);
                }
            }
            visit(entry);
        }
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
    // The painted triangles so far, and their leaves: a triangle whose
    // leaves all lack area has none.
    std::uint64_t painted = 0;
    std::uint64_t leaves = 0;
    auto next = plainIndices.begin();
    _Walk(
        [&](Entry const& entry)
        {
            for (; next != plainIndices.end() && *next <= entry.plainIndex; ++next)
            {
                starts.push_back(*next - painted + leaves);
            }
            ++painted;
            leaves += entry.leaves;
        });
    for (; next != plainIndices.end(); ++next)
    {
        starts.push_back(*next - painted + leaves);
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
    // The plain point of each point of the painted mesh that is a vertex.
    std::vector<MStlPoint*> points(
        std::size_t(m_vertexPoints.empty() ? m_vertexCount : painted.GetNumberOfPoints()), nullptr);
    for (std::uint64_t i = 0; i < m_vertexCount; ++i)
    {
        std::uint32_t const at = m_vertexPoints.empty() ? std::uint32_t(i) : m_vertexPoints[i];
        if (at < painted.GetNumberOfPoints())
        {
            MStlPoint const& point = painted.PointAt(at);
            points[at] = plain->AddPoint(point.GetX(), point.GetY(), point.GetZ());
        }
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
            auto corner = [&](std::uint64_t where)
            {
                std::uint64_t const slots = 3 * entry.leaves;
                return point(where >= slots ? std::uint32_t(where - slots)
                                            : painted.TriangleAt(output + std::uint32_t(where / 3))
                                                  .GetPointIndex(unsigned(where % 3)));
            };
            plain->AddTriangle(corner(entry.corners[0]), corner(entry.corners[1]), corner(entry.corners[2]));
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
    m_last = {0, 0, {0, 0, 0}};
}
} // namespace format3mf::project
