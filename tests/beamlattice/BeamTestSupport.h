// What the beam lattice tests share: the beams of a host mesh as plain
// records, and a model with one mesh of a few vertices and a lattice.
#pragma once

#include "mesh/MeshReadSupport.h"

#include "format3mf/BeamLattice.h"

#include <cstdint>
#include <ostream>
#include <sstream>
#include <tuple>

// One beam: the indices of its ends, its two diameters in internal units and
// its two caps as numbers.
struct Beam
{
    std::uint32_t v1 = 0;
    std::uint32_t v2 = 0;
    std::int32_t d1 = 0;
    std::int32_t d2 = 0;
    int cap1 = 0;
    int cap2 = 0;

    bool operator==(Beam const& other) const
    {
        return std::tie(v1, v2, d1, d2, cap1, cap2) ==
               std::tie(other.v1, other.v2, other.d1, other.d2, other.cap1, other.cap2);
    }
};

inline std::ostream& operator<<(std::ostream& out, Beam const& beam)
{
    return out << "{" << beam.v1 << "-" << beam.v2 << " d " << beam.d1 << "/" << beam.d2 << " caps "
               << beam.cap1 << "/" << beam.cap2 << "}";
}

// Every edge of every graph, in order; caps with the mesh's default filled in
// when `withDefault`.
inline std::vector<Beam> Beams(MStlBase const& stl, bool withDefault = true)
{
    std::vector<Beam> beams;
    auto* const dependency = MStlBaseElementInfoStlDependency::GetDependency(&stl, false);
    for (auto edge = MStlIteratorStlEdgeConst::Begin(&stl); edge != MStlIteratorStlEdgeConst::End(&stl);
         ++edge)
    {
        Beam beam;
        beam.v1 = edge->GetFirst();
        beam.v2 = edge->GetSecond();
        beam.d1 = beam.d2 = -1;
        if (dependency != nullptr)
        {
            MStlBaseElementInfo& info = dependency->GetElementInfo();
            beam.d1 = info.GetEdgeThickness(*edge).m_first;
            beam.d2 = info.GetEdgeThickness(*edge).m_second;
            MStlGraphEdgeCaps const caps = info.GetEdgeCaps(*edge, withDefault);
            beam.cap1 = static_cast<int>(caps.m_first);
            beam.cap2 = static_cast<int>(caps.m_second);
        }
        beams.push_back(beam);
    }
    return beams;
}

// The beams of a mesh as the case files write them, caps without the
// default, separated by spaces.
inline std::string BeamText(MStlBase const& stl)
{
    std::ostringstream text;
    for (Beam const& beam : Beams(stl, false))
    {
        text << (text.tellp() == 0 ? "" : " ") << beam;
    }
    return text.str();
}

// A model in millimetres (or the unit given) whose object 10 has the four
// corners of a unit square, (0,0,0), (1,0,0), (0,1,0), (1,1,0), no
// triangles, and the lattice element given. Prefix "b" is the published
// namespace, "v" the vendor one, "x" an unknown one.
inline std::string LatticeModel(std::string const& lattice, std::string const& unit = "millimeter",
                                std::string const& resources = "")
{
    return R"(<model unit=")" + unit +
           R"(" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02"
        xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"
        xmlns:b="http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"
        xmlns:v="http://schemas.ondsdk.com/3dmanufacturing/beamlattice/2017/02"
        xmlns:x="urn:unknown"><resources>)" +
           resources +
           R"(<object id="10"><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>
        <vertex x="0" y="1" z="0"/><vertex x="1" y="1" z="0"/></vertices><triangles/>)" +
           lattice + "</mesh></object></resources><build/></model>";
}

// The lattice-wide values of a read mesh: default diameter and cap, minimum
// length in internal units, clipping mode and mesh.
inline std::string LatticeValues(Format_3MF::MeshStlBase& mesh)
{
    MStlBaseElementInfo const& info =
        MStlBaseElementInfoStlDependency::GetDependency(mesh.GetStl(false), true)->GetElementInfo();
    Format_3MF::IBeamLattice const& lattice = *mesh.m_beamLattice;
    return "diameter " + std::to_string(info.GetDefaultEdgeDiameter()) + " cap " +
           std::to_string(int(info.GetDefaultEdgeCap())) + " min " + std::to_string(lattice.m_minLength) +
           " clip " + StringConversion::ConvertNativeToUTF8(lattice.GetStringClipMode()) + " " +
           std::to_string(int(lattice.m_clippingMesh));
}
