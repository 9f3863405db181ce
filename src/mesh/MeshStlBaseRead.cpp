// Reading "mesh" elements into MStlBase, with vertices and triangles taken by
// the fast plain-content path.
#include "mesh/MeshStlBaseRead.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/PropertyGroup.h"
#include "format3mf/ReadAttribute.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"

#include <cmath>
#include <limits>
#include <numeric>

namespace Format_3MF
{
namespace
{
// Made once: the typed reads take the name as a wide string.
std::wstring const kX = L"x";
std::wstring const kY = L"y";
std::wstring const kZ = L"z";
std::wstring const kV1 = L"v1";
std::wstring const kV2 = L"v2";
std::wstring const kV3 = L"v3";
std::wstring const kPid = L"pid";
std::wstring const kP1 = L"p1";
std::wstring const kP2 = L"p2";
std::wstring const kP3 = L"p3";

bool IsCoreNamespace(std::wstring const& uri)
{
    return uri.empty() || uri == NamespaceCore2015 || uri == NamespaceCore2013;
}

// Identifiers keep the lenient reading of all identifiers (a leading number
// with anything behind it); a plain number, the usual case, is parsed
// without building strings.
bool ReadReferenceID(MSAXReader& reader, std::wstring const& name, tReferenceID& id)
{
    int value;
    if (reader.ReadAttribute(value, name))
    {
        id = value;
        return true;
    }
    return ReadAttribute(reader, name, id);
}
} // namespace

MeshStlBaseRead::MeshStlBaseRead(PackageReadContext* context, MeshStlBase* mesh, ISAXReadHelper* parent)
    : ISAXReadHelper(parent), XMLReadHandler(context), m_mesh(mesh),
      m_unitFactor(mesh->m_modelFile->GetUnits().m_factor)
{
    std::wstring uri;
    GetNamespaceURI(L"", uri);
    m_defaultIsCore = IsCoreNamespace(uri);
}

bool MeshStlBaseRead::_IsCore(std::wstring const& tag, std::wstring_view& local)
{
    std::size_t const colon = tag.find(L':');
    if (colon == std::wstring::npos)
    {
        local = tag;
        return m_defaultIsCore;
    }
    local = std::wstring_view(tag).substr(colon + 1);
    if (!m_hasLastPrefix || tag.compare(0, colon, m_lastPrefix) != 0)
    {
        std::wstring prefix;
        std::wstring uri;
        std::wstring name;
        SplitName(tag, prefix, uri, name);
        m_lastPrefix = prefix;
        m_lastPrefixIsCore = IsCoreNamespace(uri);
        m_hasLastPrefix = true;
    }
    return m_lastPrefixIsCore;
}

// Displacement maps, beam lattices and data in the binary part are read by
// readers of their own; without them, those elements are skipped with their
// content, as is everything unknown.
bool MeshStlBaseRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);
    std::wstring_view local;
    if (!_IsCore(tag, local))
    {
        return _ReadExtension(tag, reader);
    }
    if (local == L"vertex")
    {
        return _ReadVertex(reader);
    }
    if (local == L"triangle")
    {
        return _ReadTriangle(reader);
    }
    if (local == L"vertices" || local == L"triangles")
    {
        if (m_context->IsSkipGeometry)
        {
            return false;
        }
        m_block = local == L"vertices" ? Block::Vertices : Block::Triangles;
        return true;
    }
    if (local == L"bin")
    {
        return _ReadBinary(reader);
    }
    return false;
}

bool MeshStlBaseRead::AcceptsPlainContent(std::string_view tag)
{
    return m_defaultIsCore && !m_context->IsSkipGeometry && (tag == "vertices" || tag == "triangles");
}

// Plain children are unprefixed, so in the default namespace, which is core
// here (AcceptsPlainContent): what HandleTag does with "vertex" and
// "triangle". Anything beyond plain numbers in known attributes goes back to
// the parser, and to HandleTag, before anything was done.
bool MeshStlBaseRead::HandlePlainElement(OndSAX::PlainElement const& element, MSAXReader& reader)
{
    if (element.m_name == "vertex")
    {
        return _ReadPlainVertex(element, reader);
    }
    if (element.m_name == "triangle")
    {
        return _ReadPlainTriangle(element, reader);
    }
    return false;
}

bool MeshStlBaseRead::_ReadPlainVertex(OndSAX::PlainElement const& element, MSAXReader& reader)
{
    double values[3];
    unsigned given = 0;
    for (std::size_t i = 0; i < element.m_count; ++i)
    {
        std::string_view const name = element.m_attributes[i].m_name;
        unsigned const index = name.size() != 1 ? 3
                               : name[0] == 'x' ? 0
                               : name[0] == 'y' ? 1
                               : name[0] == 'z' ? 2
                                                : 3;
        if (index == 3 || !OndSAX::ParsePlainNumber(element.m_attributes[i].m_value, values[index]))
        {
            return false;
        }
        given |= 1u << index;
    }
    _ReportProgress(reader);
    if (given == 7)
    {
        _AddVertex(values[0], values[1], values[2]);
    }
    return true;
}

bool MeshStlBaseRead::_ReadPlainTriangle(OndSAX::PlainElement const& element, MSAXReader& reader)
{
    // v1, v2, v3, pid, p1, p2, p3.
    int values[7] = {};
    unsigned given = 0;
    for (std::size_t i = 0; i < element.m_count; ++i)
    {
        std::string_view const name = element.m_attributes[i].m_name;
        unsigned index = 7;
        if (name.size() == 2 && name[1] >= '1' && name[1] <= '3')
        {
            index = name[0] == 'v'   ? unsigned(name[1] - '1')
                    : name[0] == 'p' ? unsigned(name[1] - '1') + 4
                                     : 7;
        }
        else if (name == "pid")
        {
            index = 3;
        }
        if (index == 7 || !OndSAX::ParsePlainNumber(element.m_attributes[i].m_value, values[index]))
        {
            return false;
        }
        given |= 1u << index;
    }
    _ReportProgress(reader);
    if ((given & 7) != 7)
    {
        return true;
    }
    Reference reference;
    reference.m_hasId = (given & 8) != 0;
    if (reference.m_hasId)
    {
        reference.m_id = values[3];
    }
    reference.m_hasP1 = (given & 16) != 0;
    reference.m_p1 = values[4];
    reference.m_hasP2 = (given & 32) != 0;
    reference.m_p2 = values[5];
    reference.m_hasP3 = (given & 64) != 0;
    reference.m_p3 = values[6];
    _AddTriangle(values[0], values[1], values[2], reference);
    return true;
}

// A vertex without all three coordinates is dropped, and later indices shift:
// the geometry of a file is taken as it stands.
bool MeshStlBaseRead::_ReadVertex(MSAXReader& reader)
{
    double x;
    double y;
    double z;
    if (!reader.ReadAttribute(x, kX) || !reader.ReadAttribute(y, kY) || !reader.ReadAttribute(z, kZ))
    {
        return false;
    }
    _AddVertex(x, y, z);
    return true;
}

void MeshStlBaseRead::_NoteVertices(std::size_t count)
{
    std::uint32_t const next = static_cast<std::uint32_t>(m_mesh->m_stl->GetNumberOfPoints());
    if (m_vertexCount == 0)
    {
        m_firstPoint = next;
    }
    else if (m_vertexPoints.empty() && next != m_firstPoint + m_vertexCount)
    {
        m_vertexPoints.resize(m_vertexCount);
        std::iota(m_vertexPoints.begin(), m_vertexPoints.end(), m_firstPoint);
    }
    if (!m_vertexPoints.empty())
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            m_vertexPoints.push_back(next + static_cast<std::uint32_t>(i));
        }
    }
}

void MeshStlBaseRead::_AddVertex(double x, double y, double z)
{
    _NoteVertices(1);
    m_mesh->m_stl->AddPoint(_ToInternal(x), _ToInternal(y), _ToInternal(z), true);
    ++m_vertexCount;
}

MStlPoint* MeshStlBaseRead::GetVertexPoint(std::size_t index) const
{
    std::uint32_t const point =
        m_vertexPoints.empty() ? m_firstPoint + static_cast<std::uint32_t>(index) : m_vertexPoints[index];
    return &m_mesh->m_stl->PointAt(point);
}

MStlPoint* MeshStlBaseRead::_Point(int index) const
{
    if (index < 0 || static_cast<std::size_t>(index) >= m_vertexCount)
    {
        throw Exception(L"A triangle refers to vertex " + std::to_wstring(index) + L" of " +
                        std::to_wstring(m_vertexCount) + L" vertices.");
    }
    return GetVertexPoint(static_cast<std::size_t>(index));
}

IPropertyGroup* MeshStlBaseRead::_Group(tReferenceID id)
{
    if (id != m_lastGroupId)
    {
        m_lastGroupId = id;
        m_lastGroup = dynamic_cast<IPropertyGroup*>(m_mesh->m_modelFile->GetReference(id));
    }
    return m_lastGroup;
}

bool MeshStlBaseRead::_ReadTriangle(MSAXReader& reader)
{
    int v1;
    int v2;
    int v3;
    if (!reader.ReadAttribute(v1, kV1) || !reader.ReadAttribute(v2, kV2) || !reader.ReadAttribute(v3, kV3))
    {
        return false;
    }
    Reference reference;
    reference.m_hasId = ReadReferenceID(reader, kPid, reference.m_id);
    reference.m_hasP1 = reader.ReadAttribute(reference.m_p1, kP1);
    reference.m_hasP2 = reader.ReadAttribute(reference.m_p2, kP2);
    reference.m_hasP3 = reader.ReadAttribute(reference.m_p3, kP3);
    _AddTriangle(v1, v2, v3, reference);
    return true;
}

// The property reference is the triangle's "pid" or the object's default
// group, with "p1" and, where given, "p2" and "p3". Groups are resolved now,
// so one defined later in the file names nothing and the triangle has no
// property.
void MeshStlBaseRead::_AddTriangle(int v1, int v2, int v3, Reference const& reference)
{
    // One at a time, so that a failure names the first bad index.
    MStlPoint const* const first = _Point(v1);
    MStlPoint const* const second = _Point(v2);
    MStlPoint const* const third = _Point(v3);
    MStlTriangle* const triangle = m_mesh->m_stl->AddTriangle(first, second, third, nullptr);
    if (triangle == nullptr)
    {
        // The host refuses a triangle on a point twice; it has nothing to colour.
        return;
    }

    tReferenceID id = reference.m_id;
    if (!reference.m_hasId && m_mesh->m_object->m_propertyGroup != nullptr)
    {
        id = m_mesh->m_object->m_propertyGroup->m_id;
    }
    if (!id.IsDefined() || !reference.m_hasP1)
    {
        return;
    }
    IPropertyGroup* const group = _Group(id);
    if (group == nullptr)
    {
        return;
    }
    int const p1 = reference.m_p1;
    int const p2 = reference.m_hasP2 ? reference.m_p2 : p1;
    int const p3 = reference.m_hasP3 ? reference.m_p3 : p1;

    m_mesh->InitTriangleProperties();
    m_mesh->m_triangleProperties->GetInfo(*triangle).assign(
        1, MeshStlBase::TriangleProperty{group, static_cast<std::uint32_t>(p1),
                                         static_cast<std::uint32_t>(p2), static_cast<std::uint32_t>(p3)});
}
} // namespace Format_3MF
