// Writing meshes as STL, OBJ or PLY through assimp, and as OFF by hand (assimp
// has no OFF writer), each into the temporary file of a safe write. A coloured
// mesh goes to OBJ and PLY with its colours on the vertices, each triangle
// with corners of its own.
#include "FileSink.h"
#include "MeshFormats.h"
#include "StlBinary.h"

#include "common/MInternalUnits.h"
#include "common/SafeFileWrite.h"
#include "triangles/MStlColorMaskTrianglePoints.h"
#include "triangles/MStlFeature.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <assimp/Exporter.hpp>
#include <assimp/scene.h>

#include <cstdio>
#include <memory>

namespace format3mf::meshformats
{
namespace
{
bool HasColors(MStlBase const& mesh)
{
    if (MStlColorMaskTrianglePoints::FirstOf(mesh) != nullptr)
    {
        return true;
    }
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        if (triangle->GetColor().IsDefined())
        {
            return true;
        }
    }
    return false;
}

// The colour a corner shows: its own, else its triangle's, else the mesh's.
std::uint32_t CornerColor(MStlBase const& mesh, MStlColorMaskTrianglePoints const* corners,
                          MStlTriangle const& triangle, int corner)
{
    if (corners != nullptr)
    {
        MStlColor const* const set = corners->GetInfo(triangle).m_colors;
        if (set[0].IsDefined() && set[1].IsDefined() && set[2].IsDefined())
        {
            return set[corner].GetRGB();
        }
    }
    return triangle.GetColor().IsDefined() ? triangle.GetColor().GetRGB() : mesh.GetMaterial().GetRGB();
}

aiVector3D Millimetres(MStlPoint const& point)
{
    double const unit = OndSDK::Common::MInternalUnits::Get();
    return aiVector3D(static_cast<ai_real>(point.GetX() / unit), static_cast<ai_real>(point.GetY() / unit),
                      static_cast<ai_real>(point.GetZ() / unit));
}

// One assimp mesh of a mesh of ours: indexed, or with a vertex a corner and
// its colour where the mesh is coloured and the format keeps colours.
aiMesh* ToAssimp(MStlBase const& mesh, bool colours)
{
    auto out = std::make_unique<aiMesh>();
    out->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
    out->mMaterialIndex = 0;
    std::size_t const triangles = mesh.GetNumberOfTriangles();
    out->mNumFaces = static_cast<unsigned>(triangles);
    out->mFaces = new aiFace[triangles];
    if (!colours)
    {
        out->mNumVertices = static_cast<unsigned>(mesh.GetNumberOfPoints());
        out->mVertices = new aiVector3D[mesh.GetNumberOfPoints()];
        unsigned v = 0;
        for (auto point = mesh.BeginPoint(), end = mesh.EndPoint(); point != end; ++point)
        {
            out->mVertices[v++] = Millimetres(*point);
        }
    }
    else
    {
        out->mNumVertices = static_cast<unsigned>(3 * triangles);
        out->mVertices = new aiVector3D[3 * triangles];
        out->mColors[0] = new aiColor4D[3 * triangles];
    }
    MStlColorMaskTrianglePoints const* const corners = MStlColorMaskTrianglePoints::FirstOf(mesh);
    unsigned f = 0;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle, ++f)
    {
        aiFace& face = out->mFaces[f];
        face.mNumIndices = 3;
        face.mIndices = new unsigned[3];
        for (int c = 0; c < 3; ++c)
        {
            if (!colours)
            {
                face.mIndices[c] = triangle->GetPointIndex(c);
                continue;
            }
            unsigned const v = 3 * f + c;
            face.mIndices[c] = v;
            out->mVertices[v] = Millimetres(mesh.PointAt(triangle->GetPointIndex(c)));
            std::uint32_t const rgb = CornerColor(mesh, corners, *triangle, c);
            out->mColors[0][v] = aiColor4D((rgb & 0xFF) / 255.0f, ((rgb >> 8) & 0xFF) / 255.0f,
                                           ((rgb >> 16) & 0xFF) / 255.0f, 1.0f);
        }
    }
    return out.release();
}

void WriteOff(FileSink& sink, std::vector<MStlBase const*> const& meshes)
{
    std::size_t vertices = 0;
    std::size_t faces = 0;
    for (MStlBase const* mesh : meshes)
    {
        vertices += mesh->GetNumberOfPoints();
        faces += mesh->GetNumberOfTriangles();
    }
    sink.Write("OFF\n" + std::to_string(vertices) + ' ' + std::to_string(faces) + " 0\n");
    char line[128];
    for (MStlBase const* mesh : meshes)
    {
        for (auto point = mesh->BeginPoint(), end = mesh->EndPoint(); point != end; ++point)
        {
            aiVector3D const at = Millimetres(*point);
            sink.Write(line, static_cast<std::size_t>(
                                 std::snprintf(line, sizeof line, "%.9g %.9g %.9g\n", at.x, at.y, at.z)));
        }
    }
    std::size_t offset = 0;
    for (MStlBase const* mesh : meshes)
    {
        for (auto triangle = mesh->BeginTriangle(), end = mesh->EndTriangle(); triangle != end; ++triangle)
        {
            sink.Write(line, static_cast<std::size_t>(std::snprintf(
                                 line, sizeof line, "3 %zu %zu %zu\n", offset + triangle->GetPointIndex(0),
                                 offset + triangle->GetPointIndex(1), offset + triangle->GetPointIndex(2))));
        }
        offset += mesh->GetNumberOfPoints();
    }
}

// The file through assimp's exporter, kept in memory and then written: its
// own file writing drops the errors of a full disk.
void WriteThroughAssimp(FileSink& sink, Format format, std::vector<MStlBase const*> const& meshes, bool text,
                        bool colours)
{
    aiScene scene;
    scene.mNumMaterials = 1;
    scene.mMaterials = new aiMaterial* [1] { new aiMaterial() };
    scene.mNumMeshes = static_cast<unsigned>(meshes.size());
    scene.mMeshes = new aiMesh*[meshes.size()]();
    scene.mRootNode = new aiNode();
    scene.mRootNode->mNumMeshes = scene.mNumMeshes;
    scene.mRootNode->mMeshes = new unsigned[meshes.size()];
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        scene.mMeshes[i] = ToAssimp(*meshes[i], colours);
        scene.mRootNode->mMeshes[i] = static_cast<unsigned>(i);
    }
    char const* const id = format == Format::Stl   ? (text ? "stl" : "stlb")
                           : format == Format::Obj ? "objnomtl"
                                                   : (text ? "ply" : "plyb");
    Assimp::Exporter exporter;
    aiExportDataBlob const* const blob = exporter.ExportToBlob(&scene, id);
    if (blob == nullptr)
    {
        throw sink.Failure(std::string("assimp could not make it a ") + NameOfFormat(format) +
                           " file: " + exporter.GetErrorString());
    }
    sink.Write(blob->data, blob->size);
}

// What the format leaves out of the meshes, a line each.
std::vector<std::string> Dropped(Format format, std::vector<MStlBase const*> const& meshes, bool coloured)
{
    std::vector<std::string> notes;
    std::string const name = NameOfFormat(format);
    std::size_t textures = 0;
    std::size_t beams = 0;
    for (MStlBase const* mesh : meshes)
    {
        textures += mesh->GetTextures().size();
        beams += mesh->GetFeature().GetNumEdges();
    }
    if (coloured && format != Format::Obj && format != Format::Ply)
    {
        notes.push_back(name + " holds no colours: the meshes' colours were dropped");
    }
    if (textures != 0)
    {
        notes.push_back("the converter writes " + name + " without textures: " + std::to_string(textures) +
                        " texture(s) were dropped");
    }
    if (beams != 0)
    {
        notes.push_back(name + " holds no beam lattice: " + std::to_string(beams) + " beam(s) were dropped");
    }
    if (meshes.size() > 1)
    {
        notes.push_back(std::to_string(meshes.size()) + " meshes were written as one " + name + " file");
    }
    return notes;
}
} // namespace

std::vector<std::string> WriteMeshFile(std::string const& path, Format format,
                                       std::vector<MStlBase const*> const& meshes,
                                       WriteOptions const& options,
                                       OndSDK::Common::IProgressDelegate const* progress)
{
    bool coloured = false;
    std::size_t triangles = 0;
    std::size_t beams = 0;
    for (MStlBase const* mesh : meshes)
    {
        coloured = coloured || HasColors(*mesh);
        triangles += mesh->GetNumberOfTriangles();
        beams += mesh->GetFeature().GetNumEdges();
    }
    if (triangles == 0)
    {
        // An empty file would pass for a conversion that worked.
        throw format3mf::FileWriteError(
            path, 0,
            std::string(NameOfFormat(format)) + " holds triangles alone, and the meshes have none" +
                (beams != 0 ? " (only a beam lattice of " + std::to_string(beams) + " beams)" : ""));
    }
    std::vector<std::string> notes = Dropped(format, meshes, coloured);
    format3mf::SafeFileWrite target(path);
    FileSink sink(target, progress);
    if (format == Format::Off)
    {
        WriteOff(sink, meshes);
    }
    else if (format == Format::Stl && !options.ascii)
    {
        WriteBinaryStl(sink, meshes);
    }
    else
    {
        bool const keepsColours = format == Format::Obj || format == Format::Ply;
        // assimp's binary PLY with vertex colours does not read back (its
        // reader refuses the faces): a coloured PLY is written as text.
        bool const text = options.ascii || (format == Format::Ply && coloured);
        if (format == Format::Ply && coloured && !options.ascii)
        {
            notes.push_back("a coloured PLY is written as text");
        }
        WriteThroughAssimp(sink, format, meshes, text, coloured && keepsColours);
    }
    sink.Flush();
    target.Commit();
    return notes;
}
} // namespace format3mf::meshformats
