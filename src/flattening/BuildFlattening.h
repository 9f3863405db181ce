#pragma once

// The step from the build of a root model to plain meshes: each item's
// object with its components placed, across model parts, sized before
// anything is copied.

#include "common/MMTransformMatrix.h"
#include "format3mf/Build.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MStlBase;

namespace Format_3MF
{
class ModelFile;
class Object;

// One mesh per build item that holds geometry, in item order, in internal
// units (translations converted with the unit of `root`). An item or a
// component whose object does not exist is left out with a warning. Throws
// Exception for components that form a cycle and for a build whose meshes
// would hold more than `maxElements` points or triangles, in both cases
// before anything is copied.
std::vector<std::unique_ptr<MStlBase>> FlattenBuild(ModelFile const& root, std::uint64_t maxElements,
                                                    std::vector<std::wstring>& warnings);

// The object that a build item of `root` places, or null, with a warning
// that names it, when there is none.
Object const* ItemObject(ModelFile const& root, Build::Item const& item, std::vector<std::wstring>& warnings);

// One object as a build item with `transform` (in the file units of `root`)
// makes it: its mesh and its components' in one mesh, an empty mesh when
// it holds no geometry. Throws as FlattenBuild does, for this object alone.
std::unique_ptr<MStlBase> FlattenObject(ModelFile const& root, Object const& object,
                                        MMTransformMatrix const& transform, std::uint64_t maxElements,
                                        std::vector<std::wstring>& warnings);
} // namespace Format_3MF
