// A mesh as plain values (points, corners, colours), so that tests can compare
// the meshes that different ways of reading, writing or copying made.
#pragma once

#include "triangles/MStlBase.h"

#include <array>
#include <cstdint>
#include <vector>

using PointList = std::vector<std::array<std::int32_t, 3>>;
using TriangleList = std::vector<std::array<std::uint32_t, 3>>;

// The points in order; with `usedOnly`, those that a triangle uses.
inline PointList PointsOf(MStlBase const& stl, bool usedOnly = false)
{
    PointList points;
    for (auto point = stl.BeginPoint(); point != stl.EndPoint(); ++point)
    {
        if (!usedOnly || point->GetUseCount() != 0)
        {
            points.push_back({point->GetX(), point->GetY(), point->GetZ()});
        }
    }
    return points;
}

// The point indices of each triangle's corners.
inline TriangleList TrianglesOf(MStlBase const& stl)
{
    TriangleList triangles;
    for (auto triangle = stl.BeginTriangle(); triangle != stl.EndTriangle(); ++triangle)
    {
        triangles.push_back(
            {triangle->GetPointIndex(0), triangle->GetPointIndex(1), triangle->GetPointIndex(2)});
    }
    return triangles;
}

// Each triangle's colour as RGB, or -1 where it has none.
inline std::vector<long long> ColoursOf(MStlBase const& stl)
{
    std::vector<long long> colours;
    for (auto triangle = stl.BeginTriangle(); triangle != stl.EndTriangle(); ++triangle)
    {
        MStlColor const& colour = triangle->GetColor();
        colours.push_back(colour.IsDefined() ? static_cast<long long>(colour.GetRGB()) : -1);
    }
    return colours;
}
