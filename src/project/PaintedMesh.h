// An object's mesh read from a slicer project: painted triangles come out
// as the leaves of their subdivision, each in its filament's colour, with a
// record that turns the mesh back into its plain reading when the paint of
// a triangle turns out unusable.
#pragma once

#include "format3mf/MeshStlBase.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Format_3MF::project
{
class PaintedMesh : public MeshStlBase
{
public:
    // `filaments` (the project's colours, filament 1 first) must outlive
    // the reading; without filaments, paint is not read.
    PaintedMesh(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext* context,
                std::vector<std::uint32_t> const& filaments);

    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override;

    std::vector<std::uint32_t> const& GetFilaments() const { return m_filaments; }

    // A painted triangle, the `plainIndex`-th of the plain reading, came out
    // as `leaves` triangles, the last ones of the mesh. Its corners stand
    // in them at `corners`: leaf times 3 plus the leaf's corner.
    void NotePainted(std::uint64_t plainIndex, std::uint64_t leaves,
                     std::array<std::uint64_t, 3> const& corners);
    void NotePlainTriangle() { ++m_plainTriangles; }
    std::uint64_t GetPlainTriangleCount() const { return m_plainTriangles; }
    // Whether a triangle came out as the leaves of its paint.
    bool HasPaint() const { return !m_record.empty(); }
    // The triangles of the plain reading that carry support or seam paint.
    void NoteSupportOrSeamPaint() { ++m_supportOrSeamTriangles; }
    std::uint64_t GetSupportOrSeamTriangles() const { return m_supportOrSeamTriangles; }
    // The painted triangles read plain since the project lists no filament
    // colours to paint them in.
    void NoteColourlessPaint() { ++m_colourlessTriangles; }
    std::uint64_t GetColourlessPaint() const { return m_colourlessTriangles; }
    void NoteVertexCount(std::uint64_t count) { m_vertexCount = count; }

    // From the first unusable paint on, the mesh's paint is no longer read.
    void Fail(std::wstring const& why);
    bool HasFailed() const { return !m_failure.empty(); }
    std::wstring const& GetFailure() const { return m_failure; }

    // Where the triangles of the plain reading at `plainIndices` (ascending)
    // begin in the mesh.
    std::vector<std::uint64_t> OutputStarts(std::vector<std::uint64_t> const& plainIndices) const;

    // Replaces the bound mesh by its plain reading: every painted triangle
    // whole again, without a colour. Colours of the file stay; textures and
    // property references of the read are dropped with the old mesh.
    void Revert();

private:
    struct Entry
    {
        std::uint64_t plainIndex;
        std::uint64_t leaves;
        std::array<std::uint64_t, 3> corners;
    };
    // Calls `visit` with each entry of the record, in order.
    template <typename Visit>
    void _Walk(Visit&& visit) const;

    std::vector<std::uint32_t> const& m_filaments;
    // The painted triangles, each as a few variable-length numbers: its
    // distance in the plain reading from the one before, with a flag for
    // the shape of that one, else its leaves and where its corners stand.
    // Most paint repeats a shape: a byte a triangle. In blocks, which grow
    // without copying what they hold.
    struct Block
    {
        static constexpr std::size_t kBytes = std::size_t(1) << 16;
        std::unique_ptr<std::uint8_t[]> bytes{new std::uint8_t[kBytes]};
        std::size_t used = 0;
    };
    std::vector<Block> m_record;
    Entry m_last{0, 0, {0, 0, 0}};
    std::uint64_t m_plainTriangles = 0;
    std::uint64_t m_supportOrSeamTriangles = 0;
    std::uint64_t m_colourlessTriangles = 0;
    std::uint64_t m_vertexCount = 0;
    std::wstring m_failure;
};
} // namespace Format_3MF::project
