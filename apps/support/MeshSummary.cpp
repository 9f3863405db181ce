// The summary of a mesh, worked out in one pass over its points and one over
// its triangles.
#include "MeshSummary.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <unordered_set>

namespace format3mf::apps
{
Summary Summarise(MStlBase const& mesh)
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

std::string FilamentColour(format3mf::import::ImportedPart const& part)
{
    if (part.role != Format_3MF::PartRole::Printable)
    {
        return "none";
    }
    std::uint32_t const rgb = part.mesh->GetMaterial().GetRGB();
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb & 0xff, (rgb >> 8) & 0xff, (rgb >> 16) & 0xff);
    return text;
}

nlohmann::json Record(format3mf::import::ImportedPart const& part, bool roles)
{
    Summary const s = Summarise(*part.mesh);
    nlohmann::json record = {
        {"name", part.name},
        {"vertices", s.vertices},
        {"triangles", s.triangles},
        {"box", {{"min", {s.min[0], s.min[1], s.min[2]}}, {"max", {s.max[0], s.max[1], s.max[2]}}}},
        {"coloured_triangles", s.coloured},
        {"textured_triangles", s.textured},
        {"textures", s.textures},
        {"beams", s.beams}};
    if (roles)
    {
        record["role"] = Format_3MF::PartRoleName(part.role);
        record["colour"] = FilamentColour(part);
    }
    return record;
}
} // namespace format3mf::apps
