// A soup of triangles (three corners each, as STL and most scanners give
// them) to an indexed mesh of the library, its equal corners welded.
#pragma once

#include "common/OndExport.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace format3mf
{
struct TriangleSoup
{
    // Nine numbers a triangle: x, y, z of its three corners, in millimetres.
    std::vector<double> corners;
    // Empty, or three a triangle: each corner's colour as packed RGB (red in
    // the low byte, as MStlColor keeps it).
    std::vector<std::uint32_t> cornerColors;
};

struct WeldedSoup
{
    std::unique_ptr<MStlBase> mesh;
    // The corner colours where the soup had any, attached to the mesh's
    // triangles (declared after the mesh, so it goes first).
    std::unique_ptr<MStlColorMaskTrianglePoints> colors;
    // Triangles left out because two of their corners became one.
    std::size_t degenerate = 0;
};

// Welds corners into vertices: with a tolerance of 0, corners whose
// coordinates are equal in the library's internal units (a tenth of a
// micrometre); with a tolerance in millimetres, a corner joins the first
// vertex found within that distance. Triangles come in the soup's order, the
// degenerate ones left out; vertices in the order they first appear. Throws
// std::invalid_argument for a coordinate that is not finite or lies outside
// the internal units' range (about +-214 m), naming the triangle.
OND_EXPORT WeldedSoup WeldTriangleSoup(TriangleSoup const& soup, double toleranceMm = 0.0);

// The same a triangle at a time, for a reader that streams a soup from a
// file and never holds all of it.
class OND_EXPORT SoupWelder
{
public:
    // With colours, every triangle must bring them.
    explicit SoupWelder(double toleranceMm = 0.0, bool colours = false);
    ~SoupWelder();
    SoupWelder(SoupWelder const&) = delete;
    SoupWelder& operator=(SoupWelder const&) = delete;

    // Nine coordinates in millimetres, and three packed RGB colours when the
    // welder takes colours (else null). Throws as WeldTriangleSoup does.
    void Add(double const* corners, std::uint32_t const* colors = nullptr);
    // The mesh welded so far. The welder then starts a new, empty mesh with
    // the same tolerance and colours, its triangles counted from 0 again.
    WeldedSoup Finish();

private:
    class Grid;
    // A new, empty mesh and its grid.
    void _Start();
    // Hands the triangles made so far to the mesh, in bulk.
    void _Flush();

    double m_tolerance;
    bool m_colours;
    std::unique_ptr<Grid> m_grid;
    WeldedSoup m_welded;
    std::size_t m_triangles = 0;
    // Triangles made but not yet in the mesh, as vertex indices, and how many
    // were made in all.
    std::vector<std::uint32_t> m_pending;
    std::uint32_t m_accepted = 0;
};
} // namespace format3mf
