// The meshes of a project's parts out of the model's meshes: taken whole,
// copied by triangle range, or put back to their plain reading.
#pragma once

#include "common/MMTransformMatrix.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

class MStlBase;

namespace Format_3MF
{
class MeshStlBase;
class ModelFile;
class Object;
} // namespace Format_3MF

namespace format3mf::project
{
// The project's readers build on the model's classes.
using namespace Format_3MF;

// "object 3 of /3D/Objects/object_1.model", for messages.
std::wstring DescribeObject(Object const& object);

// Calls `visit` with the root model and every model part related to it.
template <typename Visit>
void ForEachModelFile(ModelFile& file, Visit&& visit);

// The mesh of an object placed once, taken out of its binding (which is
// left without a mesh) and placed by `placement` (internal units).
std::unique_ptr<MStlBase> TakeMesh(MeshStlBase& binding, MMTransformMatrix const& placement);

// The triangles `first` to `end` (excluded) of `source` with the points they
// use and their colours, placed by `placement` (internal units).
std::unique_ptr<MStlBase> CopyTriangles(MStlBase const& source, std::uint64_t first, std::uint64_t end,
                                        MMTransformMatrix const& placement);

// Puts every mesh of the model whose paint could not be read back to its
// plain reading, and reports it and the support, seam and fuzzy-skin paint
// that is not read. Returns the objects of those meshes.
std::set<Object const*> RevertFailedPaint(ModelFile& root, std::vector<std::wstring>& warnings);

// Puts the meshes of an object and of the objects it places back to their
// plain reading: the object is read as without the project.
void Unpaint(Object const& object);
} // namespace format3mf::project

#include "format3mf/ModelFile.h"

namespace format3mf::project
{
template <typename Visit>
void ForEachModelFile(ModelFile& file, Visit&& visit)
{
    visit(file);
    for (auto const& related : file.GetModelFiles())
    {
        ForEachModelFile(*related, visit);
    }
}
} // namespace format3mf::project
