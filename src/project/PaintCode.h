// The per-triangle paint of PrusaSlicer, Bambu Studio and OrcaSlicer
// projects: a hex string that subdivides a triangle and gives each leaf a
// state (a filament, or enforce/block for supports and seams).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace format3mf::project
{
// A leaf of a decoded triangle. Its points are numbered: 0, 1 and 2 are the
// corners of the painted triangle, a point from 3 on is the midpoint of the
// two points that PaintSubdivision::midpoints[point - 3] names, both of
// lower number.
struct PaintLeaf
{
    std::array<std::uint32_t, 3> points;
    // 0 unpainted, from 1 on the filament (or 1 enforce, 2 block).
    std::uint8_t state;
};

struct PaintSubdivision
{
    std::vector<std::array<std::uint32_t, 2>> midpoints;
    // In the order the string gives them, each with the orientation of the
    // painted triangle.
    std::vector<PaintLeaf> leaves;
};

// Each split halves the edges it cuts: twenty of them make an edge of a
// metre shorter than a micrometre, finer than any slicer's brush paints.
constexpr std::size_t kMaxPaintDepth = 20;
// A triangle painted leaf by leaf at the finest a brush goes holds a few
// thousand digits; a string far longer is not paint.
constexpr std::size_t kMaxPaintDigits = std::size_t(1) << 16;

// The paint code of a whole triangle in one state (from 1, a filament), as
// the slicers write it: "4" and "8" for states 1 and 2, then the state less 3
// and "C". Empty for states beyond what a code can hold (above 18).
std::string WholeTrianglePaint(unsigned state);

// Decodes paint strings, keeping its buffers from one string to the next.
class PaintDecoder
{
public:
    // Fills `out` with the subdivision that `code` describes. An empty code
    // is an unpainted triangle. Returns an empty string on success, else why
    // the code is not paint; `out` is then unspecified.
    std::string Decode(std::string_view code, PaintSubdivision& out);

private:
    std::uint32_t _Midpoint(std::uint32_t a, std::uint32_t b, PaintSubdivision& out);

    struct Pending
    {
        std::array<std::uint32_t, 3> points;
        std::uint32_t depth;
    };
    std::vector<Pending> m_pending;
    std::unordered_map<std::uint64_t, std::uint32_t> m_midpoints;
};
} // namespace format3mf::project
