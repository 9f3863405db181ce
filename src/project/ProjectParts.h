// The step from the build of a slicer project to meshes: each part of an
// object a mesh of its own, with its role and its filament's colour.
#pragma once

#include "format3mf/PartRole.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MStlBase;

namespace Format_3MF
{
class ModelFile;
}

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

struct ProjectConfig;

struct ProjectMeshes
{
    std::vector<std::unique_ptr<MStlBase>> meshes;
    // One for each mesh.
    std::vector<PartRole> roles;
};

// For each build item that holds geometry, in item order: the parts of its
// object as the project describes them, or the object as one printable mesh
// (as FlattenBuild makes it) when the project does not describe it or its
// description or paint can't be used, with a warning that names the object
// and the settings part. The meshes of objects placed once are taken from
// the model rather than copied. Throws Exception, as FlattenBuild does, when
// the meshes would hold more than `maxElements` points or triangles.
ProjectMeshes FlattenProject(ModelFile& root, ProjectConfig const& config, std::uint64_t maxElements,
                             std::vector<std::wstring>& warnings);
} // namespace format3mf::project
