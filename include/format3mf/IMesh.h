#pragma once

// The mesh interface of objects, with the hooks through which mesh data of any
// form is written as 3MF vertices and triangles.

#include "common/OndExport.h"
#include "format3mf/BeamLattice.h"
#include "format3mf/MeshTetraheders.h"
#include "format3mf/ModelFileItem.h"

#include <cstdint>
#include <memory>
#include <vector>

class MSAXWriter;

namespace Format_3MF
{
class Object;

// Implemented by a write helper that appends "vertex" elements to the list of
// a mesh: it is called while "vertices" is open, with the index the next
// vertex will have, and advances it for each vertex it writes.
class OND_EXPORT IMeshWriter
{
public:
    virtual ~IMeshWriter() = default;
    virtual void WriteVertices(MSAXWriter& writer, std::int32_t& nextIndex) = 0;
};

// The mesh of an object, as the model part sees it. The concrete mesh decides
// where triangles live; vertices added here are written as they stand, in the
// unit of the model file.
class OND_EXPORT IMesh : public ModelFileItem
{
public:
    struct Vertex
    {
        double x = 0;
        double y = 0;
        double z = 0;
    };

    IMesh(ModelFile* modelFile, Object* object) : ModelFileItem(modelFile), m_object(object) {}

    // The index of the new vertex.
    std::uint64_t AddVertex(Vertex const& vertex)
    {
        m_vertices.push_back(vertex);
        return m_vertices.size() - 1;
    }

    Object* m_object;
    std::vector<Vertex> m_vertices;
    std::unique_ptr<IMeshTetraheders> m_tetraheders;
    // The lattice of the "beamlattice" element, if the mesh has one.
    std::unique_ptr<IBeamLattice> m_beamLattice;
};
} // namespace Format_3MF
