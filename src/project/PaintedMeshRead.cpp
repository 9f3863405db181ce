// Reading painted triangles: the multi-material paint of PrusaSlicer
// ("slic3rpe:mmu_segmentation") and of Bambu Studio and OrcaSlicer
// ("paint_color") is decoded; support, seam and fuzzy-skin paint is counted,
// for a warning, and left.
#include "project/PaintedMeshRead.h"

#include "project/PaintedMesh.h"
#include "project/ProjectConfig.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

namespace
{
std::wstring const kPaint[] = {L"paint_color", L"slic3rpe:mmu_segmentation"};
std::wstring const kVertices[] = {L"v1", L"v2", L"v3"};
std::wstring const kOtherPaint[] = {L"paint_supports",       L"paint_seam",
                                    L"paint_fuzzy_skin",     L"slic3rpe:custom_supports",
                                    L"slic3rpe:custom_seam", L"slic3rpe:fuzzy_skin"};

bool IsTriangle(std::wstring const& tag)
{
    std::wstring_view local = tag;
    std::size_t const colon = local.find(L':');
    if (colon != std::wstring_view::npos)
    {
        local.remove_prefix(colon + 1);
    }
    return local == L"triangle";
}

bool ParseIndex(std::string_view text, int& value)
{
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

std::int32_t Middle(std::int32_t a, std::int32_t b)
{
    // Symmetric in a and b, so that two triangles that halve one edge put
    // their midpoints at the same place.
    return std::int32_t((std::int64_t(a) + std::int64_t(b)) / 2);
}

// Twice the area of a triangle as a vector, exactly: the sides of a mesh of
// 32-bit coordinates are 33 bits long, their products 66.
using Normal = std::array<__int128, 3>;

Normal NormalOf(MStlPoint const& a, MStlPoint const& b, MStlPoint const& c)
{
    __int128 const u[3] = {__int128(b.GetX()) - a.GetX(), __int128(b.GetY()) - a.GetY(),
                           __int128(b.GetZ()) - a.GetZ()};
    __int128 const v[3] = {__int128(c.GetX()) - a.GetX(), __int128(c.GetY()) - a.GetY(),
                           __int128(c.GetZ()) - a.GetZ()};
    return {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
}

// Whether two normals point away from each other. The product of two of
// them can pass 128 bits; its sign is all that is wanted.
bool Opposite(Normal const& n, Normal const& m)
{
    long double dot = 0;
    for (std::size_t axis = 0; axis < 3; ++axis)
    {
        dot += static_cast<long double>(n[axis]) * static_cast<long double>(m[axis]);
    }
    return dot < 0;
}
} // namespace

PaintedMeshRead::PaintedMeshRead(PackageReadContext* context, PaintedMesh* mesh, ISAXReadHelper* parent)
    : MeshStlBaseRead(context, mesh, parent), m_painted(mesh)
{
}

PaintedMeshRead::~PaintedMeshRead()
{
    std::size_t const vertices = GetNumberOfVertices();
    // Vertices listed after painted triangles stand behind the midpoints of
    // their leaves; the way back to the plain reading must know where.
    std::vector<std::uint32_t> points;
    if (vertices != 0 && GetVertexPoint(vertices - 1)->GetIndex() != vertices - 1)
    {
        points.reserve(vertices);
        for (std::size_t i = 0; i < vertices; ++i)
        {
            points.push_back(GetVertexPoint(i)->GetIndex());
        }
    }
    m_painted->NoteVertices(vertices, std::move(points));
    ReadTally& tally = m_painted->GetTally();
    tally.points += m_painted->m_stl->GetNumberOfPoints();
    tally.triangles += _Triangles();
}

std::size_t PaintedMeshRead::_Triangles() const
{
    return m_painted->m_stl->GetNumberOfTriangles();
}

void PaintedMeshRead::_CountPlain(std::size_t before)
{
    if (_Triangles() != before)
    {
        m_painted->NotePlainTriangle();
    }
    else
    {
        m_painted->NoteDroppedTriangle();
    }
}

bool PaintedMeshRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    if (!IsTriangle(tag))
    {
        return MeshStlBaseRead::HandleTag(tag, reader);
    }
    std::wstring text;
    for (std::wstring const& name : kOtherPaint)
    {
        if (reader.GetAttributeString(text, name) && !text.empty())
        {
            m_painted->NoteOtherPaint();
            break;
        }
    }
    std::size_t const before = _Triangles();
    int v[3];
    for (std::wstring const& name : kPaint)
    {
        if (reader.GetAttributeString(text, name) && !text.empty() &&
            reader.ReadAttribute(v[0], kVertices[0]) && reader.ReadAttribute(v[1], kVertices[1]) &&
            reader.ReadAttribute(v[2], kVertices[2]) &&
            _AddPainted(v[0], v[1], v[2], StringConversion::ConvertNativeToUTF8(text)))
        {
            return true;
        }
    }
    bool const taken = MeshStlBaseRead::HandleTag(tag, reader);
    if (taken)
    {
        _CountPlain(before);
    }
    return taken;
}

bool PaintedMeshRead::HandlePlainElement(OndSAX::PlainElement const& element, MSAXReader& reader)
{
    if (element.m_name != "triangle")
    {
        return MeshStlBaseRead::HandlePlainElement(element, reader);
    }
    // The core reader takes the element without the paint, which it would
    // refuse to read in plain form.
    OndSAX::PlainElement plain;
    plain.m_name = element.m_name;
    std::string_view code;
    bool otherPaint = false;
    int v[3] = {0, 0, 0};
    unsigned given = 0;
    for (std::size_t i = 0; i < element.m_count; ++i)
    {
        OndSAX::PlainAttribute const& attribute = element.m_attributes[i];
        if (attribute.m_name == "paint_color")
        {
            code = attribute.m_value;
            continue;
        }
        if (attribute.m_name == "paint_supports" || attribute.m_name == "paint_seam" ||
            attribute.m_name == "paint_fuzzy_skin")
        {
            otherPaint = otherPaint || !attribute.m_value.empty();
            continue;
        }
        plain.m_attributes[plain.m_count++] = attribute;
        std::string_view const name = attribute.m_name;
        if (name.size() == 2 && name[0] == 'v' && name[1] >= '1' && name[1] <= '3' &&
            ParseIndex(attribute.m_value, v[name[1] - '1']))
        {
            given |= 1u << (name[1] - '1');
        }
    }
    if (given == 7 && !code.empty() && _AddPainted(v[0], v[1], v[2], code))
    {
        if (otherPaint)
        {
            m_painted->NoteOtherPaint();
        }
        return true;
    }
    std::size_t const before = _Triangles();
    if (!MeshStlBaseRead::HandlePlainElement(plain, reader))
    {
        // The parser hands the element to HandleTag, which counts it.
        return false;
    }
    if (otherPaint)
    {
        m_painted->NoteOtherPaint();
    }
    _CountPlain(before);
    return true;
}

bool PaintedMeshRead::_AddPainted(int v1, int v2, int v3, std::string_view code)
{
    std::vector<std::uint32_t> const& filaments = m_painted->GetFilaments();
    for (int const vertex : {v1, v2, v3})
    {
        if (vertex < 0 || std::size_t(vertex) >= GetNumberOfVertices())
        {
            return false;
        }
    }
    if (filaments.empty())
    {
        m_painted->NoteColourlessPaint();
        return false;
    }
    if (m_painted->HasFailed() || v1 == v2 || v2 == v3 || v3 == v1)
    {
        return false;
    }
    std::uint64_t const plainIndex = m_painted->GetPlainTriangleCount();
    std::string const error = m_decoder.Decode(code, m_subdivision);
    std::wstring const triangle = L"triangle " + std::to_wstring(m_painted->GetFileTriangleCount());
    if (!error.empty())
    {
        std::string const shown =
            code.size() > 24 ? std::string(code.substr(0, 24)) + "..." : std::string(code);
        m_painted->Fail(L"the paint \"" + StringConversion::ConvertMultiByteStringToOndString(shown) +
                        L"\" of " + triangle + L" is not paint: " +
                        StringConversion::ConvertMultiByteStringToOndString(error));
        return false;
    }
    MStlBase& mesh = *m_painted->m_stl;
    ReadTally const& tally = m_painted->GetTally();
    if (tally.points + mesh.GetNumberOfPoints() + m_subdivision.midpoints.size() > tally.limit ||
        tally.triangles + mesh.GetNumberOfTriangles() + m_subdivision.leaves.size() > tally.limit)
    {
        m_painted->Fail(L"the leaves of " + triangle + L" would take the meshes of the read past " +
                        std::to_wstring(tally.limit) + L" points or triangles, the most a read holds");
        return false;
    }
    m_leafPoints.assign(
        {GetVertexPoint(std::size_t(v1)), GetVertexPoint(std::size_t(v2)), GetVertexPoint(std::size_t(v3))});
    for (auto const& [a, b] : m_subdivision.midpoints)
    {
        MStlPoint const& first = *m_leafPoints[a];
        MStlPoint const& second = *m_leafPoints[b];
        m_leafPoints.push_back(mesh.AddPoint(Middle(first.GetX(), second.GetX()),
                                             Middle(first.GetY(), second.GetY()),
                                             Middle(first.GetZ(), second.GetZ())));
    }
    // Midpoints rounded to the grid can leave a leaf of a very thin
    // triangle without area, which is left out, or turned over, which is
    // turned back to face as the painted triangle does. A triangle of the
    // file without area has leaves as it comes, as the plain reading keeps
    // the triangle.
    Normal const facing = NormalOf(*m_leafPoints[0], *m_leafPoints[1], *m_leafPoints[2]);
    bool const checked = facing != Normal{0, 0, 0};
    std::uint64_t flat = 0;
    std::uint64_t turned = 0;
    std::uint32_t beyond = 0;
    // Each corner of the painted triangle stands in a leaf: the first one
    // that has it tells where.
    constexpr std::uint64_t kUnseen = ~std::uint64_t(0);
    std::array<std::uint64_t, 3> corners{kUnseen, kUnseen, kUnseen};
    std::uint64_t leaves = 0;
    for (PaintLeaf const& leaf : m_subdivision.leaves)
    {
        std::array<std::uint32_t, 3> points = leaf.points;
        Normal const normal =
            NormalOf(*m_leafPoints[points[0]], *m_leafPoints[points[1]], *m_leafPoints[points[2]]);
        if (checked && normal == Normal{0, 0, 0})
        {
            ++flat;
            continue;
        }
        if (checked && Opposite(normal, facing))
        {
            std::swap(points[1], points[2]);
            ++turned;
        }
        // Never refused: the points of a leaf are three different points.
        MStlTriangle* const added =
            mesh.AddTriangle(m_leafPoints[points[0]], m_leafPoints[points[1]], m_leafPoints[points[2]]);
        for (unsigned slot = 0; slot < 3; ++slot)
        {
            std::uint32_t const point = points[slot];
            if (point < 3 && corners[point] == kUnseen)
            {
                corners[point] = 3 * leaves + slot;
            }
        }
        ++leaves;
        if (leaf.state > filaments.size())
        {
            // As the slicers print it: PrusaSlicer takes an extruder past
            // the last for the first.
            beyond = std::max<std::uint32_t>(beyond, leaf.state);
            added->SetRGB(filaments[0]);
        }
        else if (leaf.state != 0)
        {
            added->SetRGB(filaments[leaf.state - 1]);
        }
    }
    for (std::uint32_t corner = 0; corner < 3; ++corner)
    {
        if (corners[corner] == kUnseen)
        {
            corners[corner] = 3 * leaves + m_leafPoints[corner]->GetIndex();
        }
    }
    m_painted->NoteThinLeaves(flat, turned);
    if (beyond != 0)
    {
        m_painted->NoteFilamentBeyond(beyond);
    }
    m_painted->NotePainted(plainIndex, leaves, corners);
    return true;
}
} // namespace format3mf::project
