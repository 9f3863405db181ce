// The writers of the content of a "beamlattice" element in its two dialects.
// The mesh writer opens the element and has written the vertices, whose
// indices in the file the beams refer to.
#pragma once

#include "format3mf/BeamLattice.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"
#include "mesh/MeshStlBaseWrite.h"

#include <string>
#include <string_view>

class MStlBaseElementInfo;
class MStlGraph;
class MStlGraphEdge;

namespace Format_3MF
{
// What both dialects share: the written index of a beam's ends, prefixed
// element names, and lengths in the file's unit.
class BeamLatticeStlBaseWrite : public ISAXWriteHelper, public XMLWriteHandler
{
protected:
    // `mesh` is the writer of the enclosing "mesh" and outlives this one.
    BeamLatticeStlBaseWrite(PackageWriteContext* context, BeamLatticeStlBase const* lattice,
                            MeshStlBaseWrite const& mesh);

    // Whether there is anything to write: a beam namespace, a mesh with
    // edges and the indices of its written vertices.
    bool _HasBeams() const;
    // An element named with the prefix of the beam namespace.
    std::string _Tag(char const* local) const;
    // Opens a "beam" and writes its "v1" and "v2".
    void _WriteEnds(MSAXWriter& writer, MStlGraphEdge const& edge) const;
    // An internal length in the file's unit, in a stream's default text form
    // (six significant digits).
    static std::string_view _Text(char (&buffer)[64], double value);
    double _ToFile(std::int32_t length) const;

    BeamLatticeStlBase const* m_lattice;
    MeshStlBaseWrite::VertexIndexMask const* m_vertexIndices;
    // The prefix of the beam namespace in the model.
    std::string m_prefix;
    std::string m_beamTag;
    // Null when the mesh has no element information.
    MStlBaseElementInfo* m_elementInfo;
};

// The published dialect: the lattice's attributes, then "beams" with every
// beam that is not shorter than the minimum length, each with its radii and
// caps. "minlength" is written in internal units, as it always was, though
// it is read in the file's unit.
class BeamLatticeStlBaseWriteOfficial : public BeamLatticeStlBaseWrite
{
public:
    BeamLatticeStlBaseWriteOfficial(PackageWriteContext* context, BeamLatticeStlBase const* lattice,
                                    MeshStlBaseWrite const& mesh);

    // Always true.
    bool Write(MSAXWriter& writer) const override;

private:
    void _WriteLatticeAttributes(MSAXWriter& writer) const;
    // The lattice's radius in internal units: its own default where it has
    // one, else one its beams justify (with a warning), always positive.
    std::int32_t _DefaultRadius() const;
    void _WriteBeam(MSAXWriter& writer, MStlGraphEdge const& edge) const;
};

// The vendor dialect: a "beamgroup" for each graph, named after it, whose
// radius is that of its first beam; a beam carries "r1" only where its radius
// differs. A beam's second radius is not carried, and neither are caps or
// the lattice's attributes.
class BeamLatticeStlBaseWriteOndl : public BeamLatticeStlBaseWrite
{
public:
    BeamLatticeStlBaseWriteOndl(PackageWriteContext* context, BeamLatticeStlBase const* lattice,
                                MeshStlBaseWrite const& mesh);

    // False when there was nothing to write.
    bool Write(MSAXWriter& writer) const override;

private:
    void _WriteGroup(MSAXWriter& writer, MStlGraph const& graph) const;
};
} // namespace Format_3MF
