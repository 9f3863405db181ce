// The readers of a "beamlattice" element in its two dialects. Beams become
// edges of the first graph of the mesh, between points that the mesh reader
// has already read; their diameters and caps go to the mesh's element
// information.
#pragma once

#include "format3mf/BeamLattice.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include <cstdint>
#include <string>
#include <string_view>

class MStlBaseElementInfo;
class MStlGraph;
class MStlGraphEdge;
class MStlPoint;

namespace Format_3MF
{
class MeshStlBaseRead;

// What both dialects share: the lattice's own attributes, the points of the
// mesh and the adding of a beam.
class BeamLatticeStlBaseRead : public ISAXReadHelper, public XMLReadHandler, public ISAXAttributeHandler
{
protected:
    // `mesh` is the reader of the enclosing "mesh" and outlives this one.
    BeamLatticeStlBaseRead(PackageReadContext* context, BeamLatticeStlBase* lattice, MeshStlBaseRead& mesh,
                           wchar_t const* nameSpace);

    // "clippingmesh", "clippingmode" and "minlength"; the latter from the
    // file's unit into internal units.
    void _ReadLatticeAttributes(MSAXReader& reader);
    // A beam from "v1" and "v2" with its diameters from "r1" and "r2", or
    // from the current radius. Without both indices nothing is added; an
    // index that names no vertex throws. With `checkLength`, a beam shorter
    // than the lattice's minimum length is dropped. Null when nothing was
    // added.
    MStlGraphEdge const* _ReadBeam(MSAXReader& reader, bool checkLength);
    // The name without its prefix.
    static std::wstring_view _LocalName(std::wstring const& tag);
    std::int32_t _ToInternal(double length) const;

    BeamLatticeStlBase* m_lattice;
    MeshStlBaseRead const& m_mesh;
    MStlBaseElementInfo* m_elementInfo;
    // The prefix of the dialect's namespace, for prefixed attributes; empty
    // when it has none.
    std::wstring m_prefix;
    // The current radius in the file's unit; -1 until a radius is read.
    double m_radius = -1.0;

private:
    MStlPoint* _Point(int index) const;
    MStlGraph* _Graph();

    double m_unitFactor;
    MStlGraph* mp_graph = nullptr;
};

// The published dialect: "beams" holding "beam" elements with their own
// radii and caps, the lattice's default radius and cap, and a minimum length.
class BeamLatticeStlBaseReadOfficial : public BeamLatticeStlBaseRead
{
public:
    BeamLatticeStlBaseReadOfficial(PackageReadContext* context, BeamLatticeStlBase* lattice,
                                   MeshStlBaseRead& mesh);

    void HandleAttributes(MSAXReader& reader) override;
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
};

// The vendor dialect: "beamgroup" elements, each with a radius for its
// beams. All groups land in one graph; a group's name is not kept, and its
// "hintaccurcay" (spelt so) is not read. No minimum length applies.
class BeamLatticeStlBaseReadOndl : public BeamLatticeStlBaseRead
{
public:
    BeamLatticeStlBaseReadOndl(PackageReadContext* context, BeamLatticeStlBase* lattice,
                               MeshStlBaseRead& mesh);

    void HandleAttributes(MSAXReader& reader) override;
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
};
} // namespace Format_3MF
