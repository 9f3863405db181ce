// A mesh of the library built from checked arrays, without the GIL: points
// and triangles in bulk, then corner colours, textures and beams.
#include "MeshArrays.h"

#include "common/ImageBitmap.h"
#include "common/MInternalUnits.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlBaseElementInfo.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

namespace format3mf::python
{
std::int32_t ToInternal(double millimetres)
{
    // Half away from zero, as lengths read from files are.
    return static_cast<std::int32_t>(std::round(millimetres * OndSDK::Common::MInternalUnits::Get()));
}

namespace
{
void AddTextures(CheckedMesh const& checked, MStlBase& mesh)
{
    std::vector<MStlTexture*> textures;
    for (CheckedMesh::Image const& image : checked.images)
    {
        auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
        if (!bitmap->Create(std::uint32_t(image.width), std::uint32_t(image.height), 4))
        {
            throw std::bad_alloc();
        }
        std::memcpy(bitmap->GetData(), image.pixels, image.height * image.width * 4);
        MStlTexture* const texture = mesh.GetTextureFactory(true)->AddTexture();
        texture->SetSharedBitmap(bitmap);
        textures.push_back(texture);
    }
    for (std::size_t i = 0, count = mesh.GetNumberOfTriangles(); i < count; ++i)
    {
        std::int32_t const id = checked.textureIdData[i];
        if (id < 0)
        {
            continue;
        }
        float const* uv = checked.uvData + 6 * i;
        MStlTextureCoordinates const coordinates{uv[0], uv[1], uv[2], uv[3], uv[4], uv[5]};
        textures[std::size_t(id)]->AddTriangle(&mesh.TriangleAt(std::uint32_t(i)), coordinates, true);
    }
}

void AddBeams(CheckedMesh const& checked, MStlBase& mesh)
{
    MStlBaseElementInfo& info =
        MStlBaseElementInfoStlDependency::GetDependency(&mesh, true)->GetElementInfo();
    MStlGraph* const graph = mesh.GetFeature().AddNewGraph();
    for (std::size_t i = 0; i < checked.beamCount; ++i)
    {
        std::uint32_t const* ends = checked.beamData + 2 * i;
        auto* const element = graph->AddEdge(&mesh.PointAt(ends[0]), &mesh.PointAt(ends[1]));
        if (element == nullptr)
        {
            continue;
        }
        // A radius that is NaN is none: the diameter 0 of a beam without one.
        double const r1 = checked.radiusData[2 * i];
        double const r2 = checked.radiusData[2 * i + 1];
        MStlGraphEdgeThickness thickness;
        thickness.m_first = std::isnan(r1) ? 0 : ToInternal(2 * r1);
        thickness.m_second = std::isnan(r2) ? 0 : ToInternal(2 * r2);
        info.SetEdgeThickness(element->GetData(), thickness);
    }
}
} // namespace

BuiltMesh ToMesh(CheckedMesh const& checked)
{
    BuiltMesh built;
    built.mesh = std::make_unique<MStlBase>();
    MStlBase& mesh = *built.mesh;
    mesh.SetName(StringConversion::ConvertUTF8ToNative(checked.name.data(), checked.name.size()).c_str());
    mesh.GetMaterial().SetRGB(checked.material);
    // Into the mesh in bulk, a batch at a time: the arrays were checked, so
    // every index names a vertex and no triangle names one twice.
    constexpr std::size_t kBatch = 65536;
    std::size_t const vertexCount = static_cast<std::size_t>(checked.vertices.shape(0));
    std::vector<std::int32_t> xyz(3 * std::min(kBatch, vertexCount));
    double const* v = checked.vertices.data();
    for (std::size_t done = 0; done < vertexCount;)
    {
        std::size_t const batch = std::min(kBatch, vertexCount - done);
        for (std::size_t i = 0; i < 3 * batch; ++i)
        {
            xyz[i] = ToInternal(v[3 * done + i]);
        }
        mesh.AddPoints(xyz.data(), batch);
        done += batch;
    }
    std::size_t const count = static_cast<std::size_t>(checked.triangles.shape(0));
    if (count != 0)
    {
        mesh.AddTriangles(checked.triangles.data(), count);
    }
    if (std::uint8_t const* const colors = checked.colourData; colors != nullptr)
    {
        built.colors = std::make_unique<MStlColorMaskTrianglePoints>(&mesh.GetTriangleMaskOwner());
        for (std::size_t i = 0; i < count; ++i)
        {
            MStlColorTrianglePoints& triangle = built.colors->GetInfo(static_cast<std::uint32_t>(i));
            for (int corner = 0; corner < 3; ++corner)
            {
                std::uint8_t const* rgba = colors + 12 * i + 4 * corner;
                triangle.m_colors[corner] =
                    MStlColor(rgba[0] | (rgba[1] << 8) | (std::uint32_t(rgba[2]) << 16));
            }
        }
    }
    if (checked.textureIdData != nullptr)
    {
        AddTextures(checked, mesh);
    }
    if (checked.beamCount != 0)
    {
        AddBeams(checked, mesh);
    }
    return built;
}
} // namespace format3mf::python
