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

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

struct ProjectConfig;
struct ReadTally;

class PaintedMesh : public MeshStlBase
{
public:
    // `project` (its filament colours, filament 1 first, and the tally of the
    // read) must outlive the reading; without filaments, paint is not read.
    PaintedMesh(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext* context,
                ProjectConfig& project);

    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override;

    std::vector<std::uint32_t> const& GetFilaments() const { return m_filaments; }
    ReadTally& GetTally() { return m_tally; }

    // A painted triangle, the `plainIndex`-th of the plain reading, came out
    // as `leaves` triangles, the last ones of the mesh. Its corners stand
    // in them at `corners`: leaf times 3 plus the leaf's corner, or, where
    // no leaf has the corner, 3 times `leaves` plus the corner's point.
    void NotePainted(std::uint64_t plainIndex, std::uint64_t leaves,
                     std::array<std::uint64_t, 3> const& corners);
    void NotePlainTriangle()
    {
        ++m_plainTriangles;
        ++m_fileTriangles;
    }
    // A triangle of the file that the plain reading leaves out (two of its
    // corners are one vertex).
    void NoteDroppedTriangle() { m_dropped.push_back(m_fileTriangles++); }
    std::uint64_t GetPlainTriangleCount() const { return m_plainTriangles; }
    // The triangles of the file, as the slicers number them.
    std::uint64_t GetFileTriangleCount() const { return m_fileTriangles; }
    // The number in the plain reading of the triangle numbered `fileIndex`
    // in the file, or of the next one that it keeps.
    std::uint64_t PlainIndex(std::uint64_t fileIndex) const;
    // Whether a triangle came out as the leaves of its paint.
    bool HasPaint() const { return !m_record.empty(); }
    // The triangles of the plain reading that carry support, seam or
    // fuzzy-skin paint.
    void NoteOtherPaint() { ++m_otherPaintTriangles; }
    std::uint64_t GetOtherPaintTriangles() const { return m_otherPaintTriangles; }
    // The painted triangles read plain since the project lists no filament
    // colours to paint them in.
    void NoteColourlessPaint() { ++m_colourlessTriangles; }
    std::uint64_t GetColourlessPaint() const { return m_colourlessTriangles; }
    // A painted triangle whose paint names filaments up to `filament`,
    // beyond the project's list: those leaves take filament 1.
    void NoteFilamentBeyond(std::uint32_t filament);
    std::uint64_t GetTrianglesBeyond() const { return m_trianglesBeyond; }
    std::uint32_t GetHighestFilamentBeyond() const { return m_highestBeyond; }
    // Leaves of very thin triangles that rounding to the grid of the mesh
    // left without area (left out) or turned over (turned back).
    void NoteThinLeaves(std::uint64_t flat, std::uint64_t turned)
    {
        m_flatLeaves += flat;
        m_turnedLeaves += turned;
    }
    std::uint64_t GetFlatLeaves() const { return m_flatLeaves; }
    std::uint64_t GetTurnedLeaves() const { return m_turnedLeaves; }
    // The file's vertices; `points` lists the point of each when they are
    // not the mesh's first points in order (vertices after painted
    // triangles stand behind the midpoints of their leaves), else is empty.
    void NoteVertices(std::uint64_t count, std::vector<std::uint32_t> points);

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
    ReadTally& m_tally;
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
    std::uint64_t m_fileTriangles = 0;
    // The file's numbers of the triangles the plain reading leaves out.
    std::vector<std::uint64_t> m_dropped;
    std::uint64_t m_otherPaintTriangles = 0;
    std::uint64_t m_colourlessTriangles = 0;
    std::uint64_t m_trianglesBeyond = 0;
    std::uint32_t m_highestBeyond = 0;
    std::uint64_t m_flatLeaves = 0;
    std::uint64_t m_turnedLeaves = 0;
    std::uint64_t m_vertexCount = 0;
    std::vector<std::uint32_t> m_vertexPoints;
    std::wstring m_failure;
};
} // namespace format3mf::project
