#pragma once

// A model part made of plain triangle meshes, the common case of reading and
// writing 3MF as meshes.

#include "common/MMTransformMatrix.h"
#include "common/OndExport.h"
#include "format3mf/ModelFile.h"

#include <cstdint>
#include <memory>
#include <vector>

class MStlBase;

namespace Format_3MF
{
// The model file of plain triangle meshes. On writing, every listed mesh
// becomes an object with a build item of its own; on reading, every build
// item becomes one mesh: its object, its components and their
// transformations flattened into the coordinates, across model parts.
class OND_EXPORT ModelFileStlBase : public ModelFile
{
public:
    ModelFileStlBase();
    ModelFileStlBase(std::wstring const& name, ModelFile* parent);
    // Frees the list only: the meshes belong to whoever added or took them.
    ~ModelFileStlBase() override;

    // The most points, and the most triangles, that all the meshes of one
    // read may hold together. Components let a small file place an object
    // any number of times; a read that would go beyond this fails before
    // anything is copied. Far beyond what a real part has, it still fits in
    // the memory of a workstation (some 3.5 GB).
    static constexpr std::uint64_t kMaxFlattenedElements = std::uint64_t(1) << 27;

    void AddStl(MStlBase* stl) { m_stls.push_back(stl); }
    std::uint64_t GetNumStls() const { return m_stls.size(); }
    // No bounds check.
    MStlBase* GetStl(std::uint64_t index) const { return m_stls[index]; }

    // An object with the mesh, in this file or a related one as the options
    // say, and an identity build item for each listed mesh; then the hooks
    // of every model file.
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopReading(PackageReadContext* context) override;

protected:
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override;
    IMesh* _CreateMesh(Object* object, PackageReadContext* context) override;
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return nullptr; }
    IToolPath* _CreateToolPath(PackageReadContext*) override { return nullptr; }
    ModelFileItem* _CreateResourceOndAMX(PackageReadContext*) override { return nullptr; }

private:
    std::vector<MStlBase*> m_stls;
};
} // namespace Format_3MF
