// Meshes of the library as numpy arrays. Every array is allocated once at
// its final size, with the GIL, and filled in one pass over the mesh store
// without it.
#include "MeshArrays.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlBaseElementInfo.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

namespace py = pybind11;

namespace format3mf::python
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

// Whether any triangle has a colour of its own: without, the mesh's colours
// are None.
bool HasColors(MStlBase const& mesh)
{
    bool coloured = MStlColorMaskTrianglePoints::FirstOf(mesh) != nullptr;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); !coloured && triangle != end;
         ++triangle)
    {
        coloured = triangle->GetColor().IsDefined();
    }
    return coloured;
}

// Where the arrays of one mesh are: made with the GIL, filled without it
// (nothing else sees them until they are returned). Null where the mesh has
// no such data.
struct Destination
{
    MStlBase const* mesh = nullptr;
    double* vertices = nullptr;
    std::uint32_t* triangles = nullptr;
    std::uint8_t* colors = nullptr;
    float* uvs = nullptr;
    std::int32_t* textureIds = nullptr;
    // One per texture; null where an earlier mesh's array shows its image.
    std::vector<std::uint8_t*> pixels;
    std::uint32_t* beamEnds = nullptr;
    double* beamRadii = nullptr;
};

template <typename T>
T* NewArray(py::object& field, std::vector<std::size_t> const& shape)
{
    py::array_t<T> array(shape);
    T* const data = array.mutable_data();
    field = std::move(array);
    return data;
}

// The array of each image made so far, so that meshes showing one image (the
// objects of a file that use one texture) share its array.
using ImageArrays = std::map<OndSDK::Common::ImageBitmap const*, py::object>;

// Every array of the mesh at its final size, empty; with the GIL.
Destination Allocate(MeshSource const& source, bool coloured, ImageArrays& images, Mesh& result)
{
    MStlBase const& mesh = *source.mesh;
    Destination to;
    to.mesh = &mesh;
    std::size_t const count = mesh.GetNumberOfTriangles();
    to.vertices = NewArray<double>(result.vertices, {mesh.GetNumberOfPoints(), 3});
    to.triangles = NewArray<std::uint32_t>(result.triangles, {count, 3});
    result.triangle_colors = result.uvs = result.texture_ids = result.textures = result.beams =
        result.beam_radii = py::none();
    if (coloured)
    {
        to.colors = NewArray<std::uint8_t>(result.triangle_colors, {count, 3, 4});
    }
    std::vector<MStlTexture*> const& textures = mesh.GetTextures();
    if (!textures.empty())
    {
        to.uvs = NewArray<float>(result.uvs, {count, 3, 2});
        to.textureIds = NewArray<std::int32_t>(result.texture_ids, {count});
        py::list shown;
        for (MStlTexture const* texture : textures)
        {
            OndSDK::Common::ImageBitmap const& bitmap = texture->GetBitmap();
            auto [entry, fresh] = images.try_emplace(&bitmap);
            to.pixels.push_back(
                fresh ? NewArray<std::uint8_t>(entry->second, {bitmap.GetHeight(), bitmap.GetWidth(), 4})
                      : nullptr);
            shown.append(entry->second);
        }
        result.textures = std::move(shown);
    }
    std::size_t const beams = mesh.GetFeature().GetNumEdges();
    if (beams != 0)
    {
        to.beamEnds = NewArray<std::uint32_t>(result.beams, {beams, 2});
        to.beamRadii = NewArray<double>(result.beam_radii, {beams, 2});
    }
    result.name = source.name;
    result.material = ColourText(mesh.GetMaterial().GetRGB());
    return to;
}

// Corner colours where all three are set, else the triangle's colour, else
// the mesh's material.
void FillColors(MStlBase const& mesh, std::uint8_t* out)
{
    MStlColorMaskTrianglePoints const* const corners = MStlColorMaskTrianglePoints::FirstOf(mesh);
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
}

// The image as RGBA rows, whatever its channels.
void FillPixels(OndSDK::Common::ImageBitmap const& bitmap, std::uint8_t* out)
{
    std::size_t const pixels = std::size_t(bitmap.GetWidth()) * bitmap.GetHeight();
    std::size_t const channels = bitmap.GetChannels();
    std::uint8_t const* in = bitmap.GetData();
    for (std::size_t i = 0; i < pixels && channels != 0; ++i, in += channels, out += 4)
    {
        out[0] = in[0];
        out[1] = channels >= 3 ? in[1] : in[0];
        out[2] = channels >= 3 ? in[2] : in[0];
        out[3] = channels == 4 ? in[3] : channels == 2 ? in[1] : 0xFF;
    }
}

void FillTextures(MStlBase const& mesh, Destination const& to)
{
    std::vector<MStlTexture*> const& textures = mesh.GetTextures();
    std::size_t const count = mesh.GetNumberOfTriangles();
    std::fill(to.uvs, to.uvs + count * 6, 0.0f);
    std::fill(to.textureIds, to.textureIds + count, -1);
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
            std::copy(values, values + 6, to.uvs + 6 * std::size_t(index));
            to.textureIds[index] = static_cast<std::int32_t>(t);
        }
        if (to.pixels[t] != nullptr)
        {
            FillPixels(texture.GetBitmap(), to.pixels[t]);
        }
    }
}

void FillBeams(MStlBase const& mesh, std::uint32_t* end, double* radius)
{
    auto const* const dependency = MStlBaseElementInfoStlDependency::GetDependency(&mesh, false);
    MStlBaseElementInfo const* const info = dependency != nullptr ? &dependency->GetElementInfo() : nullptr;
    double const unit = OndSDK::Common::MInternalUnits::Get();
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
}

// One pass over the mesh store into the arrays; without the GIL.
void Fill(Destination const& to)
{
    MStlBase const& mesh = *to.mesh;
    double const unit = OndSDK::Common::MInternalUnits::Get();
    double* v = to.vertices;
    for (auto point = mesh.BeginPoint(), end = mesh.EndPoint(); point != end; ++point, v += 3)
    {
        v[0] = point->GetX() / unit;
        v[1] = point->GetY() / unit;
        v[2] = point->GetZ() / unit;
    }
    std::uint32_t* t = to.triangles;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle, t += 3)
    {
        t[0] = triangle->GetPointIndex(0);
        t[1] = triangle->GetPointIndex(1);
        t[2] = triangle->GetPointIndex(2);
    }
    if (to.colors != nullptr)
    {
        FillColors(mesh, to.colors);
    }
    if (to.uvs != nullptr)
    {
        FillTextures(mesh, to);
    }
    if (to.beamEnds != nullptr)
    {
        FillBeams(mesh, to.beamEnds, to.beamRadii);
    }
}
} // namespace

std::string ColourText(std::uint32_t rgb)
{
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb & 0xFF, (rgb >> 8) & 0xFF, (rgb >> 16) & 0xFF);
    return text;
}

std::vector<Mesh> ToPython(std::vector<MeshSource> const& meshes)
{
    std::vector<char> coloured(meshes.size());
    {
        py::gil_scoped_release release;
        for (std::size_t i = 0; i < meshes.size(); ++i)
        {
            coloured[i] = HasColors(*meshes[i].mesh);
        }
    }
    std::vector<Mesh> result(meshes.size());
    std::vector<Destination> destinations;
    ImageArrays images;
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        destinations.push_back(Allocate(meshes[i], coloured[i] != 0, images, result[i]));
    }
    {
        py::gil_scoped_release release;
        for (Destination const& to : destinations)
        {
            Fill(to);
        }
    }
    return result;
}
} // namespace format3mf::python
