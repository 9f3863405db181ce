// Writing a beam lattice in the published and the vendor dialect.
#include "beamlattice/BeamLatticeStlBaseWrite.h"

#include "beamlattice/BeamLatticeValues.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"

#include "common/StringConversion.h"
#include "sax/SAXWriter.h"
#include "triangles/MStlBase.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Format_3MF
{
namespace
{
// What a mesh without element information shows: no diameter and no cap.
MStlBaseElementInfo const kNoElementInfo;
} // namespace

BeamLatticeStlBaseWrite::BeamLatticeStlBaseWrite(PackageWriteContext* context,
                                                 BeamLatticeStlBase const* lattice,
                                                 MeshStlBaseWrite const& mesh)
    : XMLWriteHandler(context), m_lattice(lattice), m_vertexIndices(mesh.GetVertexIndices()),
      m_prefix(StringConversion::ConvertNativeToUTF8(
          lattice->m_modelFile->GetPrefix(context->Graphs.BeamNamespace))),
      m_beamTag(_Tag("beam")), m_elementInfo(nullptr)
{
    if (auto* const dependency = MStlBaseElementInfoStlDependency::GetDependency(lattice->m_stl, false))
    {
        m_elementInfo = &dependency->GetElementInfo();
    }
}

bool BeamLatticeStlBaseWrite::_HasBeams() const
{
    return !m_context->Graphs.BeamNamespace.empty() && m_lattice->m_stl != nullptr &&
           m_lattice->m_stl->GetFeature().GetNumEdges() != 0 && m_vertexIndices != nullptr;
}

// An undeclared namespace shows as a name that begins with a colon, as for
// every extension element.
std::string BeamLatticeStlBaseWrite::_Tag(char const* local) const
{
    return m_prefix + ":" + local;
}

// An index of -1, a point that the vertex list didn't reach, is printed as it
// stands.
void BeamLatticeStlBaseWrite::_WriteEnds(MSAXWriter& writer, MStlGraphEdge const& edge) const
{
    MStlBase const& stl = *m_lattice->m_stl;
    char text[64];
    int const first = m_vertexIndices->GetInfo(stl.PointAt(edge.GetFirst()));
    int const second = m_vertexIndices->GetInfo(stl.PointAt(edge.GetSecond()));
    writer.WriteAttribute("v1",
                          first == -1 ? std::string_view("-1") : NarrowFormatted(text, FormatID(first)));
    writer.WriteAttribute("v2",
                          second == -1 ? std::string_view("-1") : NarrowFormatted(text, FormatID(second)));
}

std::string_view BeamLatticeStlBaseWrite::_Text(char (&buffer)[64], double value)
{
    int const length = std::snprintf(buffer, sizeof buffer, "%g", value);
    return std::string_view(buffer, static_cast<std::size_t>(std::max(length, 0)));
}

double BeamLatticeStlBaseWrite::_ToFile(std::int32_t length) const
{
    return LengthToFile(length, m_lattice->m_modelFile->GetUnits().m_factor);
}

BeamLatticeStlBaseWriteOfficial::BeamLatticeStlBaseWriteOfficial(PackageWriteContext* context,
                                                                 BeamLatticeStlBase const* lattice,
                                                                 MeshStlBaseWrite const& mesh)
    : BeamLatticeStlBaseWrite(context, lattice, mesh)
{
}

bool BeamLatticeStlBaseWriteOfficial::Write(MSAXWriter& writer) const
{
    if (!_HasBeams())
    {
        return true;
    }
    _WriteLatticeAttributes(writer);
    MStlBase const* const stl = m_lattice->m_stl;
    std::string const beams = _Tag("beams");
    MSAXTagWriter element(writer, beams.c_str());
    for (auto edge = MStlIteratorStlEdgeConst::Begin(stl), end = MStlIteratorStlEdgeConst::End(stl);
         edge != end; ++edge)
    {
        MStlPoint const& first = stl->PointAt(edge->GetFirst());
        MStlPoint const& second = stl->PointAt(edge->GetSecond());
        double const dx = double(first.GetX()) - second.GetX();
        double const dy = double(first.GetY()) - second.GetY();
        double const dz = double(first.GetZ()) - second.GetZ();
        if (!(m_lattice->m_minLength > std::sqrt(dx * dx + dy * dy + dz * dz)))
        {
            _WriteBeam(writer, *edge);
        }
    }
    return true;
}

// Every attribute in the range a published reader accepts, whatever the
// mesh came from: "minlength" and "radius" positive, "cap" one of the three
// published words.
void BeamLatticeStlBaseWriteOfficial::_WriteLatticeAttributes(MSAXWriter& writer) const
{
    MStlBaseElementInfo const& info = m_elementInfo != nullptr ? *m_elementInfo : kNoElementInfo;
    tUnits const& units = m_lattice->m_modelFile->GetUnits();
    char text[64];
    writer.WriteAttribute(L"clippingmode", m_lattice->GetStringClipMode());
    writer.WriteAttribute("minlength",
                          NarrowFormatted(text, std::to_wstring(std::max(m_lattice->m_minLength, 1))));
    if (m_lattice->m_clippingMesh.IsDefined())
    {
        writer.WriteAttribute("clippingmesh", NarrowFormatted(text, FormatID(m_lattice->m_clippingMesh)));
    }
    writer.WriteAttribute("precision",
                          NarrowFormatted(text, FormatValueFileUnits(0.001 / units.m_factor, 4)));
    // Four decimals of the file's unit: the smallest radius they show.
    double const radius = std::max(_ToFile(_DefaultRadius()), 0.0001);
    writer.WriteAttribute("radius", NarrowFormatted(text, FormatValueFileUnits(radius, 4)));
    writer.WriteAttribute(L"cap", TextOfCap(info.GetDefaultEdgeCap()));
}

std::int32_t BeamLatticeStlBaseWriteOfficial::_DefaultRadius() const
{
    if (m_elementInfo != nullptr && m_elementInfo->GetDefaultEdgeDiameter() > 1)
    {
        return m_elementInfo->GetDefaultEdgeDiameter() / 2;
    }
    // The first beam with a radius of its own lends it to the lattice; the
    // beams without one would otherwise have none that a reader accepts.
    std::int32_t radius = 0;
    MStlBase const* const stl = m_lattice->m_stl;
    for (auto edge = MStlIteratorStlEdgeConst::Begin(stl), end = MStlIteratorStlEdgeConst::End(stl);
         edge != end && m_elementInfo != nullptr && radius <= 0; ++edge)
    {
        radius = m_elementInfo->GetEdgeThickness(*edge).m_first / 2;
    }
    radius = std::max(radius, 1);
    std::wstring const object = m_lattice->m_object != nullptr && !m_lattice->m_object->m_name.empty()
                                    ? L"\"" + m_lattice->m_object->m_name + L"\""
                                    : L"an object";
    m_context->m_warnings.push_back(L"The beam lattice of " + object +
                                    L" has no radius of its own; it is written with the radius of its first "
                                    L"beam that has one, " +
                                    std::to_wstring(LengthToFile(radius, 1.0)) + L" mm.");
    return radius;
}

// "r2" only where the ends differ; caps with the lattice's default filled
// in, where one is set.
void BeamLatticeStlBaseWriteOfficial::_WriteBeam(MSAXWriter& writer, MStlGraphEdge const& edge) const
{
    MSAXTagWriter element(writer, m_beamTag.c_str());
    _WriteEnds(writer, edge);
    if (m_elementInfo == nullptr)
    {
        return;
    }
    char text[64];
    // A radius a reader would refuse (none, or the negative one a missing
    // vendor radius leaves) is not written: the beam takes the lattice's.
    MStlGraphEdgeThickness const& thickness = m_elementInfo->GetEdgeThickness(edge);
    if (thickness.m_first / 2 > 0)
    {
        writer.WriteAttribute("r1", _Text(text, _ToFile(thickness.m_first / 2)));
        if (thickness.m_second != thickness.m_first && thickness.m_second / 2 > 0)
        {
            writer.WriteAttribute("r2", _Text(text, _ToFile(thickness.m_second / 2)));
        }
    }
    MStlGraphEdgeCaps const caps = m_elementInfo->GetEdgeCaps(edge, true);
    if (caps.m_first != eStlGraphEdgeCap::NotSet)
    {
        writer.WriteAttribute(L"cap1", TextOfCap(caps.m_first));
    }
    if (caps.m_second != eStlGraphEdgeCap::NotSet)
    {
        writer.WriteAttribute(L"cap2", TextOfCap(caps.m_second));
    }
}

BeamLatticeStlBaseWriteOndl::BeamLatticeStlBaseWriteOndl(PackageWriteContext* context,
                                                         BeamLatticeStlBase const* lattice,
                                                         MeshStlBaseWrite const& mesh)
    : BeamLatticeStlBaseWrite(context, lattice, mesh)
{
}

bool BeamLatticeStlBaseWriteOndl::Write(MSAXWriter& writer) const
{
    if (!_HasBeams())
    {
        return false;
    }
    MStlBase const* const stl = m_lattice->m_stl;
    for (auto graph = MStlIteratorFeatureGraphConst::Begin(stl),
              end = MStlIteratorFeatureGraphConst::End(stl);
         graph != end; ++graph)
    {
        _WriteGroup(writer, *graph);
    }
    return true;
}

// A group's radius and tolerance are those of its first beam, -1 for a group
// without beams; the tolerance is not written on the group, only on a beam
// whose own differs ("hintaccurcay", spelt so). Radii are halved diameters.
void BeamLatticeStlBaseWriteOndl::_WriteGroup(MSAXWriter& writer, MStlGraph const& graph) const
{
    std::string const groupTag = _Tag("beamgroup");
    MSAXTagWriter group(writer, groupTag.c_str());
    double groupRadius = -1.0;
    double groupTolerance = -1.0;
    if (m_elementInfo != nullptr && graph.GetNumEdges() != 0)
    {
        MStlGraphEdge const& first = graph.GetEdge(0);
        groupRadius = _ToFile(m_elementInfo->GetEdgeThickness(first).m_first / 2);
        groupTolerance = _ToFile(m_elementInfo->GetEdgeTolerance(first, true));
    }
    char text[64];
    if (groupRadius != -1.0)
    {
        writer.WriteAttribute("radius", _Text(text, groupRadius));
    }
    writer.WriteAttribute(L"name", graph.GetName());
    for (auto edge = MStlIteratorGraphEdgeConst::Begin(&graph), end = MStlIteratorGraphEdgeConst::End(&graph);
         edge != end; ++edge)
    {
        MSAXTagWriter beam(writer, m_beamTag.c_str());
        _WriteEnds(writer, *edge);
        if (m_elementInfo == nullptr)
        {
            continue;
        }
        double const radius = _ToFile(m_elementInfo->GetEdgeThickness(*edge).m_first / 2);
        if (radius != groupRadius)
        {
            writer.WriteAttribute("r1", _Text(text, radius));
        }
        double const tolerance = _ToFile(m_elementInfo->GetEdgeTolerance(*edge, true));
        if (tolerance != groupTolerance)
        {
            writer.WriteAttribute("hintaccurcay", _Text(text, tolerance));
        }
    }
}
} // namespace Format_3MF
