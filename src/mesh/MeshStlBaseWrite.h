// The writer of the "mesh" element: points and triangles of the host mesh,
// with the property references that preparing the mesh left on them.
#pragma once

#include "format3mf/MeshStlBase.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include "triangles/MDataMask.h"
#include "triangles/MStlPoint.h"

#include <memory>
#include <string>
#include <string_view>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
// The formatters' text is ASCII: narrowed onto the stack, it takes the
// writer's path for UTF-8 values. The mesh and lattice writers print their
// numbers through it.
inline std::string_view NarrowFormatted(char (&buffer)[64], std::wstring const& text)
{
    std::size_t const length = text.size() < sizeof buffer ? text.size() : sizeof buffer;
    for (std::size_t i = 0; i < length; ++i)
    {
        buffer[i] = static_cast<char>(text[i]);
    }
    return std::string_view(buffer, length);
}

// Prints "vertices", "triangles", the displacement maps, the beam lattice,
// then what the tetrahedra item adds.
// It creates no property groups: AddContentForWriting made them. A cancel
// seen by its own reporters ends the lists where they are, quietly; one seen
// by the context's overall reporter throws PackageWrite::Canceled.
class MeshStlBaseWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    using VertexIndexMask = MDataMask<MStlPoint, int>;

    MeshStlBaseWrite(PackageWriteContext* context, MeshStlBase* mesh,
                     std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    ~MeshStlBaseWrite() override;

    // Always true.
    bool Write(MSAXWriter& writer) const override;

    // The index in the file of each point, once the vertices are written;
    // null before, and for a mesh without a host mesh.
    VertexIndexMask const* GetVertexIndices() const { return m_vertexIndices.get(); }

private:
    using Delegate = std::shared_ptr<OndSDK::Common::IProgressDelegate>;

    void _WriteVertices(MSAXWriter& writer, Delegate const& progress) const;
    // False when cancelled.
    bool _WriteVerticesXml(VertexIndexMask* indices, MSAXWriter& writer, Delegate const& progress) const;
    // The mesh's points as one block of the model's binary part and a "bin"
    // element. Like the XML form it writes every point (those of beams alone
    // and unused ones too, so that a lattice survives a second conversion).
    // It numbers from 0, writes millimetres whatever the model's unit, and
    // neither reports progress nor polls for cancelling: that is what makes
    // it fast.
    void _WriteVerticesBinary(VertexIndexMask* indices, MSAXWriter& writer, Delegate const& progress) const;
    void _WriteTriangles(MSAXWriter& writer, Delegate const& progress) const;
    // The corner indices of every triangle as one block; no properties.
    void _WriteTrianglesBinary(MSAXWriter& writer) const;
    // The vendor's "textures" list, with the "dt" prefix.
    void _WriteDisplacementMaps(MSAXWriter& writer, Delegate const& progress) const;
    // The "beamlattice" element in the dialect of the context's namespace.
    void _WriteBeamLattice(MSAXWriter& writer) const;
    void _WriteTetraheders(MSAXWriter& writer, Delegate const& progress) const;
    // Throws PackageWrite::Canceled when the overall reporter was cancelled,
    // else counts one element on it.
    void _CountOverall() const;
    // The decimal text of a vertex or property index.
    std::string_view _Index(char (&buffer)[64], int index) const;
    // One "vertex" element from three lengths in the model's unit.
    void _WriteVertex(MSAXWriter& writer, double x, double y, double z) const;

    MeshStlBase* mp_data;
    // The index in the file of each point; the writer of a lattice reads it too.
    mutable std::unique_ptr<VertexIndexMask> m_vertexIndices;
    // Lives through the writing of the mesh once the tetrahedra wrote vertices.
    mutable std::unique_ptr<ISAXWriteHelper> m_tetrahedersWriter;
    Delegate m_progress;
};
} // namespace Format_3MF
