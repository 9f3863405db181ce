// Reading painted triangles: the multi-material paint of PrusaSlicer
// ("slic3rpe:mmu_segmentation") and of Bambu Studio and OrcaSlicer
// ("paint_color") is decoded; support and seam paint is counted, for a
// warning, and left.
#include "project/PaintedMeshRead.h"

#include "project/PaintedMesh.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <array>
#include <charconv>
#include <string_view>

namespace Format_3MF::project
{
namespace
{
std::wstring const kPaint[] = {L"paint_color", L"slic3rpe:mmu_segmentation"};
std::wstring const kVertices[] = {L"v1", L"v2", L"v3"};
std::wstring const kOtherPaint[] = {L"paint_supports", L"paint_seam", L"slic3rpe:custom_supports",
                                    L"slic3rpe:custom_seam"};

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
} // namespace

PaintedMeshRead::PaintedMeshRead(PackageReadContext* context, PaintedMesh* mesh, ISAXReadHelper* parent)
    : MeshStlBaseRead(context, mesh, parent), m_painted(mesh)
{
}

PaintedMeshRead::~PaintedMeshRead()
{
    m_painted->NoteVertexCount(GetNumberOfVertices());
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
            m_painted->NoteSupportOrSeamPaint();
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
    _CountPlain(before);
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
        if (attribute.m_name == "paint_supports" || attribute.m_name == "paint_seam")
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
            m_painted->NoteSupportOrSeamPaint();
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
        m_painted->NoteSupportOrSeamPaint();
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
    auto triangle = [plainIndex] { return L"triangle " + std::to_wstring(plainIndex); };
    if (!error.empty())
    {
        std::string const shown =
            code.size() > 24 ? std::string(code.substr(0, 24)) + "..." : std::string(code);
        m_painted->Fail(L"the paint \"" + StringConversion::ConvertMultiByteStringToOndString(shown) +
                        L"\" of " + triangle() + L" is not paint: " +
                        StringConversion::ConvertMultiByteStringToOndString(error));
        return false;
    }
    for (PaintLeaf const& leaf : m_subdivision.leaves)
    {
        if (leaf.state > filaments.size())
        {
            m_painted->Fail(L"the paint of " + triangle() + L" names filament " +
                            std::to_wstring(leaf.state) + L", beyond the " +
                            std::to_wstring(filaments.size()) + L" filaments of the project");
            return false;
        }
    }
    MStlBase& mesh = *m_painted->m_stl;
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
    // Each corner of the painted triangle stands in a leaf: the first one
    // that has it tells where.
    constexpr std::uint64_t kUnseen = ~std::uint64_t(0);
    std::array<std::uint64_t, 3> corners{kUnseen, kUnseen, kUnseen};
    std::uint64_t leaves = 0;
    for (PaintLeaf const& leaf : m_subdivision.leaves)
    {
        // Never refused: the points of a leaf are three different points.
        MStlTriangle* const added = mesh.AddTriangle(
            m_leafPoints[leaf.points[0]], m_leafPoints[leaf.points[1]], m_leafPoints[leaf.points[2]]);
        for (unsigned slot = 0; slot < 3; ++slot)
        {
            std::uint32_t const point = leaf.points[slot];
            if (point < 3 && corners[point] == kUnseen)
            {
                corners[point] = 3 * leaves + slot;
            }
        }
        ++leaves;
        if (leaf.state != 0)
        {
            added->SetRGB(filaments[leaf.state - 1]);
        }
    }
    m_painted->NotePainted(plainIndex, leaves, corners);
    return true;
}
} // namespace Format_3MF::project
