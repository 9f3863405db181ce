// The reader of a "mesh" of a slicer project: the core reader, with the
// painted triangles taken out of its hands and split into their leaves.
#pragma once

#include "mesh/MeshStlBaseRead.h"
#include "project/PaintCode.h"

#include <cstdint>
#include <string_view>
#include <vector>

class MStlPoint;

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

class PaintedMesh;

class PaintedMeshRead : public MeshStlBaseRead
{
public:
    PaintedMeshRead(PackageReadContext* context, PaintedMesh* mesh, ISAXReadHelper* parent);
    ~PaintedMeshRead() override;

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    bool HandlePlainElement(OndSAX::PlainElement const& element, MSAXReader& reader) override;

private:
    // Adds the leaves of a painted triangle; false, with nothing added, when
    // the triangle is to be read plain (no usable paint, or vertex indices
    // that the core reader refuses or reports).
    bool _AddPainted(int v1, int v2, int v3, std::string_view code);
    // Counts what the core reader did with a triangle it took, kept or
    // dropped: `before` is the mesh's triangle count before it read the
    // element.
    void _CountPlain(std::size_t before);
    std::size_t _Triangles() const;

    PaintedMesh* m_painted;
    PaintDecoder m_decoder;
    PaintSubdivision m_subdivision;
    std::vector<MStlPoint const*> m_leafPoints;
};
} // namespace format3mf::project
