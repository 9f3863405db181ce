#pragma once

#include "common/OndExport.h"
#include "format3mf/MeshTetraheders.h"
#include "format3mf/ModelFileItem.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Format_3MF
{
class Object;

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
};
} // namespace Format_3MF
