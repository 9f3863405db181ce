// The meshes of a mesh file as objects to add to a slicer project, for
// ond3mf-project edit --add: the file read as ond3mf-convert reads its input,
// through the mesh formats where assimp was found, else as 3MF.
#pragma once

#ifdef OND3MF_MESH_FORMATS
#include "MeshFormats.h"
#endif

#include "format3mf/ImportFile.h"
#include "format3mf/Project.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace format3mf::apps
{
// A mesh in millimetres as a new object of a project.
inline ProjectMeshInput ObjectOfMesh(MStlBase const& mesh, std::string const& name, int extruder)
{
    ProjectMeshInput object;
    object.name = name;
    object.extruder = extruder;
    double const unit = OndSDK::Common::MInternalUnits::Get();
    object.vertices.reserve(3 * mesh.GetNumberOfPoints());
    for (auto point = mesh.BeginPoint(), end = mesh.EndPoint(); point != end; ++point)
    {
        object.vertices.insert(object.vertices.end(),
                               {point->GetX() / unit, point->GetY() / unit, point->GetZ() / unit});
    }
    object.triangles.reserve(3 * mesh.GetNumberOfTriangles());
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        object.triangles.insert(
            object.triangles.end(),
            {triangle->GetPointIndex(0), triangle->GetPointIndex(1), triangle->GetPointIndex(2)});
    }
    return object;
}

// Each mesh of the file (one per build item of a 3MF file) as an object with
// that extruder, named as the mesh is, else by the file's stem. What the read
// passed over goes into `notes`. Throws std::runtime_error naming the file
// when it can't be read or holds no mesh.
inline std::vector<ProjectMeshInput> ObjectsOfMeshFile(std::string const& path, int extruder,
                                                       std::vector<std::string>& notes)
{
    std::string const stem = std::filesystem::path(path).stem().string();
    std::vector<ProjectMeshInput> objects;
#ifdef OND3MF_MESH_FORMATS
    meshformats::Format format = meshformats::Format::ThreeMF;
    meshformats::FormatOfPath(path, format);
    if (format != meshformats::Format::ThreeMF)
    {
        try
        {
            meshformats::ReadResult const read =
                meshformats::ReadMeshFile(path, format, meshformats::ReadOptions{});
            notes.insert(notes.end(), read.notes.begin(), read.notes.end());
            objects.push_back(ObjectOfMesh(*read.mesh.mesh, stem, extruder));
            return objects;
        }
        catch (std::runtime_error const& error)
        {
            throw std::runtime_error(std::string("cannot read ") + error.what());
        }
    }
#endif
    import::ImportResult const read = import::ImportFile(path);
    notes.insert(notes.end(), read.warnings.begin(), read.warnings.end());
    if (read.status != import::Importer::Success)
    {
        throw std::runtime_error("cannot read " + path +
                                 (read.errors.empty() ? "" : ": " + read.errors.front()));
    }
    if (read.parts.empty())
    {
        throw std::runtime_error(path + " holds no mesh to add");
    }
    for (std::size_t i = 0; i < read.parts.size(); ++i)
    {
        std::string const& name = read.parts[i].name;
        objects.push_back(ObjectOfMesh(*read.parts[i].mesh,
                                       !name.empty()            ? name
                                       : read.parts.size() == 1 ? stem
                                                                : stem + " " + std::to_string(i + 1),
                                       extruder));
    }
    return objects;
}
} // namespace format3mf::apps
