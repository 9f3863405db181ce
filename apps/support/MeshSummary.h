// The figures by which a person or a script recognises a mesh: counts, box in
// millimetres, colours, textures and beams. ond3mf-info prints them, and the
// Python package's info() gives the same.
#pragma once

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_set>

namespace tools
{
struct Summary
{
    std::size_t vertices = 0;
    std::size_t triangles = 0;
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    std::size_t coloured = 0;
    std::size_t textured = 0;
    std::size_t textures = 0;
    std::size_t beams = 0;
};

inline Summary Summarise(MStlBase const& mesh)
{
    Summary summary;
    summary.vertices = mesh.GetNumberOfPoints();
    summary.triangles = mesh.GetNumberOfTriangles();
    if (summary.vertices != 0)
    {
        std::int32_t low[3];
        std::int32_t high[3];
        std::fill(low, low + 3, std::numeric_limits<std::int32_t>::max());
        std::fill(high, high + 3, std::numeric_limits<std::int32_t>::min());
        for (auto point = mesh.BeginPoint(); point != mesh.EndPoint(); ++point)
        {
            std::int32_t const coordinates[3] = {point->GetX(), point->GetY(), point->GetZ()};
            for (int axis = 0; axis < 3; ++axis)
            {
                low[axis] = std::min(low[axis], coordinates[axis]);
                high[axis] = std::max(high[axis], coordinates[axis]);
            }
        }
        double const unit = double(OndSDK::Common::MInternalUnits::Get());
        for (int axis = 0; axis < 3; ++axis)
        {
            summary.min[axis] = low[axis] / unit;
            summary.max[axis] = high[axis] / unit;
        }
    }
    for (auto triangle = mesh.BeginTriangle(); triangle != mesh.EndTriangle(); ++triangle)
    {
        summary.coloured += triangle->GetColor().IsDefined() ? 1 : 0;
    }
    std::unordered_set<MStlTriangle const*> textured;
    for (MStlTexture const* texture : mesh.GetTextures())
    {
        textured.insert(texture->GetTriangles().begin(), texture->GetTriangles().end());
    }
    summary.textured = textured.size();
    summary.textures = mesh.GetTextures().size();
    summary.beams = mesh.GetFeature().GetNumEdges();
    return summary;
}

} // namespace tools
