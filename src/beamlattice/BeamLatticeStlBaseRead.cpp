// Reading a beam lattice in the published and the vendor dialect.
#include "beamlattice/BeamLatticeStlBaseRead.h"

#include "beamlattice/BeamLatticeValues.h"
#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/ReadAttribute.h"
#include "mesh/MeshStlBaseRead.h"

#include "triangles/MStlBase.h"

#include <cmath>

namespace Format_3MF
{
namespace
{
// Made once: the typed reads take the name as a wide string.
std::wstring const kV1 = L"v1";
std::wstring const kV2 = L"v2";
std::wstring const kR1 = L"r1";
std::wstring const kR2 = L"r2";
std::wstring const kCap1 = L"cap1";
std::wstring const kCap2 = L"cap2";
std::wstring const kRadius = L"radius";
} // namespace

BeamLatticeStlBaseRead::BeamLatticeStlBaseRead(PackageReadContext* context, BeamLatticeStlBase* lattice,
                                               MeshStlBaseRead& mesh, wchar_t const* nameSpace)
    : ISAXReadHelper(&mesh), XMLReadHandler(context), m_lattice(lattice), m_mesh(mesh),
      m_elementInfo(&MStlBaseElementInfoStlDependency::GetDependency(lattice->m_stl, true)->GetElementInfo()),
      m_unitFactor(lattice->m_modelFile->GetUnits().m_factor)
{
    GetNamespacePrefix(nameSpace, m_prefix);
}

std::wstring_view BeamLatticeStlBaseRead::_LocalName(std::wstring const& tag)
{
    std::size_t const colon = tag.find(L':');
    return colon == std::wstring::npos ? std::wstring_view(tag) : std::wstring_view(tag).substr(colon + 1);
}

std::int32_t BeamLatticeStlBaseRead::_ToInternal(double length) const
{
    return LengthToInternal(length, m_unitFactor);
}

void BeamLatticeStlBaseRead::_ReadLatticeAttributes(MSAXReader& reader)
{
    std::wstring const* const prefix = m_prefix.empty() ? nullptr : &m_prefix;
    ReadAttribute(reader, L"clippingmesh", m_lattice->m_clippingMesh, prefix);
    std::wstring mode;
    if (ReadAttribute(reader, L"clippingmode", mode, prefix))
    {
        m_lattice->SetStringClipMode(mode);
    }
    double minLength;
    if (ReadAttribute(reader, L"minlength", minLength, prefix))
    {
        m_lattice->m_minLength = _ToInternal(minLength);
    }
}

MStlPoint* BeamLatticeStlBaseRead::_Point(int index) const
{
    if (index < 0 || static_cast<std::size_t>(index) >= m_mesh.GetNumberOfVertices())
    {
        throw Exception(L"A beam refers to vertex " + std::to_wstring(index) + L" of " +
                        std::to_wstring(m_mesh.GetNumberOfVertices()) + L" vertices.");
    }
    return m_mesh.GetVertexPoint(static_cast<std::size_t>(index));
}

// All beams go to the first graph, made with the first beam if the mesh has
// none.
MStlGraph* BeamLatticeStlBaseRead::_Graph()
{
    if (mp_graph == nullptr)
    {
        MStlFeature& feature = m_lattice->m_stl->GetFeature();
        mp_graph = feature.GetNumGraphs(false) == 0 ? feature.AddNewGraph() : feature.GetGraph(0);
    }
    return mp_graph;
}

// Without "r1" both ends take the current radius; while no radius was read
// that is -1 in the file's unit, which gives a negative diameter. "r2" counts
// only beside "r1".
MStlGraphEdge const* BeamLatticeStlBaseRead::_ReadBeam(MSAXReader& reader, bool checkLength)
{
    std::wstring const* const prefix = m_prefix.empty() ? nullptr : &m_prefix;
    int v1;
    int v2;
    if (!ReadAttribute(reader, kV1, v1, prefix) || !ReadAttribute(reader, kV2, v2, prefix))
    {
        return nullptr;
    }
    MStlPoint const* const first = _Point(v1);
    MStlPoint const* const second = _Point(v2);
    if (checkLength)
    {
        double const dx = double(first->GetX()) - second->GetX();
        double const dy = double(first->GetY()) - second->GetY();
        double const dz = double(first->GetZ()) - second->GetZ();
        if (std::sqrt(dx * dx + dy * dy + dz * dz) < m_lattice->m_minLength)
        {
            return nullptr;
        }
    }
    DLIST_ELEMENT<MStlGraphEdge>* const element = _Graph()->AddEdge(first, second);
    if (element == nullptr)
    {
        return nullptr;
    }
    MStlGraphEdge const& edge = element->GetData();
    MStlGraphEdgeThickness thickness;
    double radius;
    if (ReadAttribute(reader, kR1, radius, prefix))
    {
        thickness.m_first = thickness.m_second = DiameterOfRadius(_ToInternal(radius));
        if (ReadAttribute(reader, kR2, radius, prefix))
        {
            thickness.m_second = DiameterOfRadius(_ToInternal(radius));
        }
    }
    else
    {
        thickness.m_first = thickness.m_second = DiameterOfRadius(_ToInternal(m_radius));
    }
    m_elementInfo->SetEdgeThickness(edge, thickness);
    return &edge;
}

BeamLatticeStlBaseReadOfficial::BeamLatticeStlBaseReadOfficial(PackageReadContext* context,
                                                               BeamLatticeStlBase* lattice,
                                                               MeshStlBaseRead& mesh)
    : BeamLatticeStlBaseRead(context, lattice, mesh, NamespaceBeamLattice)
{
}

// "precision" is not read.
void BeamLatticeStlBaseReadOfficial::HandleAttributes(MSAXReader& reader)
{
    _ReadLatticeAttributes(reader);
    std::wstring const* const prefix = m_prefix.empty() ? nullptr : &m_prefix;
    std::wstring cap;
    if (ReadAttribute(reader, L"cap", cap, prefix))
    {
        m_elementInfo->SetDefaultEdgeCap(CapOfText(cap));
    }
    if (ReadAttribute(reader, kRadius, m_radius, prefix))
    {
        m_elementInfo->SetDefaultEdgeDiameter(DiameterOfRadius(_ToInternal(m_radius)));
    }
}

bool BeamLatticeStlBaseReadOfficial::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);
    std::wstring_view const local = _LocalName(tag);
    if (local == L"beams")
    {
        return true;
    }
    if (local != L"beam")
    {
        return false;
    }
    MStlGraphEdge const* const edge = _ReadBeam(reader, true);
    if (edge == nullptr)
    {
        return true;
    }
    std::wstring const* const prefix = m_prefix.empty() ? nullptr : &m_prefix;
    std::wstring cap;
    if (ReadAttribute(reader, kCap1, cap, prefix))
    {
        MStlGraphEdgeCaps caps = m_elementInfo->GetEdgeCaps(*edge, false);
        caps.m_first = CapOfText(cap);
        m_elementInfo->SetEdgeCaps(*edge, caps);
    }
    if (ReadAttribute(reader, kCap2, cap, prefix))
    {
        MStlGraphEdgeCaps caps = m_elementInfo->GetEdgeCaps(*edge, false);
        caps.m_second = CapOfText(cap);
        m_elementInfo->SetEdgeCaps(*edge, caps);
    }
    return true;
}

BeamLatticeStlBaseReadOndl::BeamLatticeStlBaseReadOndl(PackageReadContext* context,
                                                       BeamLatticeStlBase* lattice, MeshStlBaseRead& mesh)
    : BeamLatticeStlBaseRead(context, lattice, mesh, NamespaceBeamLatticeOndl)
{
}

// The vendor dialect has no lattice-wide radius or cap.
void BeamLatticeStlBaseReadOndl::HandleAttributes(MSAXReader& reader)
{
    _ReadLatticeAttributes(reader);
}

// A group without "radius" does not inherit the one before it.
bool BeamLatticeStlBaseReadOndl::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);
    std::wstring_view const local = _LocalName(tag);
    if (local == L"beamgroup")
    {
        m_radius = -1.0;
        if (!m_context->IsSkipGeometry)
        {
            std::wstring const* const prefix = m_prefix.empty() ? nullptr : &m_prefix;
            ReadAttribute(reader, kRadius, m_radius, prefix);
        }
        return true;
    }
    if (local == L"beam")
    {
        _ReadBeam(reader, false);
        return true;
    }
    return false;
}
} // namespace Format_3MF
