// Meshes of the library as numpy arrays and back. Every array is allocated
// once at its final size and filled in one pass over the mesh store.
#include "MeshArrays.h"

#include "common/MInternalUnits.h"
#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlBaseElementInfo.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <cmath>
#include <limits>

namespace py = pybind11;

namespace ond3mf
{
namespace
{
void PutColor(std::uint8_t* rgba, std::uint32_t rgb)
{
    rgba[0] = rgb & 0xFF;
    rgba[1] = (rgb >> 8) & 0xFF;
    rgba[2] = (rgb >> 16) & 0xFF;
    rgba[3] = 0xFF;
}

// Corner colours where all three are set, else the triangle's colour, else
// the mesh's material; None when no triangle has a colour of its own.
py::object Colors(MStlBase const& mesh)
{
    MStlColorMaskTrianglePoints const* const corners = MStlColorMaskTrianglePoints::FirstOf(mesh);
    bool coloured = corners != nullptr;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); !coloured && triangle != end;
         ++triangle)
    {
        coloured = triangle->GetColor().IsDefined();
    }
    if (!coloured)
    {
        return py::none();
    }
    std::size_t const count = mesh.GetNumberOfTriangles();
    py::array_t<std::uint8_t> colors({count, std::size_t(3), std::size_t(4)});
    std::uint8_t* out = colors.mutable_data();
    std::uint32_t const material = mesh.GetMaterial().GetRGB();
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end;
         ++triangle, out += 12)
    {
        MStlColor const* const set = corners != nullptr ? corners->GetInfo(*triangle).m_colors : nullptr;
        bool const own = set != nullptr && set[0].IsDefined() && set[1].IsDefined() && set[2].IsDefined();
        for (int corner = 0; corner < 3; ++corner)
        {
            std::uint32_t const rgb = own                                ? set[corner].GetRGB()
                                      : triangle->GetColor().IsDefined() ? triangle->GetColor().GetRGB()
                                                                         : material;
            PutColor(out + 4 * corner, rgb);
        }
    }
    return std::move(colors);
}

// The image as RGBA rows, whatever its channels.
py::array_t<std::uint8_t> Pixels(OndSDK::Common::ImageBitmap const& bitmap)
{
    std::size_t const width = bitmap.GetWidth();
    std::size_t const height = bitmap.GetHeight();
    std::size_t const channels = bitmap.GetChannels();
    py::array_t<std::uint8_t> pixels({height, width, std::size_t(4)});
    std::uint8_t* out = pixels.mutable_data();
    std::uint8_t const* in = bitmap.GetData();
    for (std::size_t i = 0; i < width * height && channels != 0; ++i, in += channels, out += 4)
    {
        out[0] = in[0];
        out[1] = channels >= 3 ? in[1] : in[0];
        out[2] = channels >= 3 ? in[2] : in[0];
        out[3] = channels == 4 ? in[3] : channels == 2 ? in[1] : 0xFF;
    }
    return pixels;
}

void Textures(MStlBase const& mesh, Mesh& result)
{
    std::vector<MStlTexture*> const& textures = mesh.GetTextures();
    if (textures.empty())
    {
        return;
    }
    std::size_t const count = mesh.GetNumberOfTriangles();
    py::array_t<float> uvs({count, std::size_t(3), std::size_t(2)});
    py::array_t<std::int32_t> ids(count);
    std::fill(uvs.mutable_data(), uvs.mutable_data() + count * 6, 0.0f);
    std::fill(ids.mutable_data(), ids.mutable_data() + count, -1);
    py::list images;
    for (std::size_t t = 0; t < textures.size(); ++t)
    {
        MStlTexture const& texture = *textures[t];
        for (MStlTriangle const* triangle : texture.GetTriangles())
        {
            std::uint32_t const index = triangle->GetIndex();
            MStlTextureCoordinates coordinates;
            texture.GetCoordinates(triangle, coordinates, true);
            float const values[6] = {coordinates.m_u1, coordinates.m_v1, coordinates.m_u2,
                                     coordinates.m_v2, coordinates.m_u3, coordinates.m_v3};
            std::copy(values, values + 6, uvs.mutable_data() + 6 * std::size_t(index));
            ids.mutable_data()[index] = static_cast<std::int32_t>(t);
        }
        images.append(Pixels(texture.GetBitmap()));
    }
    result.uvs = std::move(uvs);
    result.texture_ids = std::move(ids);
    result.textures = std::move(images);
}

void Beams(MStlBase const& mesh, Mesh& result)
{
    std::size_t const count = mesh.GetFeature().GetNumEdges();
    if (count == 0)
    {
        return;
    }
    auto const* const dependency = MStlBaseElementInfoStlDependency::GetDependency(&mesh, false);
    MStlBaseElementInfo const* const info = dependency != nullptr ? &dependency->GetElementInfo() : nullptr;
    double const unit = OndSDK::Common::MInternalUnits::Get();
    py::array_t<std::uint32_t> ends({count, std::size_t(2)});
    py::array_t<double> radii({count, std::size_t(2)});
    std::uint32_t* end = ends.mutable_data();
    double* radius = radii.mutable_data();
    for (auto edge = MStlIteratorStlEdgeConst::Begin(&mesh), last = MStlIteratorStlEdgeConst::End(&mesh);
         edge != last; ++edge, end += 2, radius += 2)
    {
        end[0] = edge->GetFirst();
        end[1] = edge->GetSecond();
        // A beam without a diameter has no radius: NaN, not a made-up one.
        MStlGraphEdgeThickness const thickness =
            info != nullptr ? info->GetEdgeThickness(*edge) : MStlGraphEdgeThickness{};
        radius[0] = thickness.m_first > 0 ? thickness.m_first / 2.0 / unit : std::nan("");
        radius[1] = thickness.m_second > 0 ? thickness.m_second / 2.0 / unit : std::nan("");
    }
    result.beams = std::move(ends);
    result.beam_radii = std::move(radii);
}
} // namespace

Mesh ToPython(MStlBase const& mesh)
{
    Mesh result;
    std::size_t const points = mesh.GetNumberOfPoints();
    std::size_t const count = mesh.GetNumberOfTriangles();
    py::array_t<double> vertices({points, std::size_t(3)});
    py::array_t<std::uint32_t> triangles({count, std::size_t(3)});
    double const unit = OndSDK::Common::MInternalUnits::Get();
    double* v = vertices.mutable_data();
    for (auto point = mesh.BeginPoint(), end = mesh.EndPoint(); point != end; ++point, v += 3)
    {
        v[0] = point->GetX() / unit;
        v[1] = point->GetY() / unit;
        v[2] = point->GetZ() / unit;
    }
    std::uint32_t* t = triangles.mutable_data();
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle, t += 3)
    {
        t[0] = triangle->GetPointIndex(0);
        t[1] = triangle->GetPointIndex(1);
        t[2] = triangle->GetPointIndex(2);
    }
    result.vertices = std::move(vertices);
    result.triangles = std::move(triangles);
    result.triangle_colors = Colors(mesh);
    result.uvs = result.texture_ids = result.textures = result.beams = result.beam_radii = py::none();
    Textures(mesh, result);
    Beams(mesh, result);
    result.name = StringConversion::ConvertNativeToUTF8(mesh.GetName());
    return result;
}
} // namespace ond3mf
