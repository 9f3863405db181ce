#pragma once

// A model part made of plain triangle meshes, the common case of reading and
// writing 3MF as meshes.

#include "common/MMTransformMatrix.h"
#include "common/OndExport.h"
#include "format3mf/ModelFile.h"
#include "format3mf/PartRole.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

class MStlBase;

namespace format3mf::project
{
struct ProjectConfig;
}

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

    // Off by default. Set on the root model before reading, it reads the
    // parts of a slicer project (Bambu Studio, OrcaSlicer, QIDI Studio,
    // Creality Print, PrusaSlicer) where the package holds their settings:
    // each part of an object becomes a mesh of its own, named as the project
    // names it, with its role; printable parts take the colour of their
    // filament, and painted triangles are split into the leaves of their
    // paint, each in its filament's colour. An object whose description or
    // paint can't be used is read as without the option, with a warning.
    void SetReadProjectParts(bool value) { m_readProjectParts = value; }
    bool GetReadProjectParts() const { return m_readProjectParts; }
    // Decides, for each build item of the root model before its meshes are
    // made, whether it is read (by its place in the build, from 0); it may
    // move the item. Every item is read when none is set.
    using ItemSelection = std::function<bool(std::size_t index, Build::Item& item)>;
    void SetItemSelection(ItemSelection selection) { m_selectItems = std::move(selection); }
    // The role of a mesh that reading made; Printable for any other index.
    PartRole GetStlRole(std::uint64_t index) const
    {
        return index < m_roles.size() ? m_roles[index] : PartRole::Printable;
    }

    // An object with the mesh, in this file or a related one as the options
    // say, and an identity build item for each listed mesh; then the hooks
    // of every model file.
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopReading(PackageReadContext* context) override;

protected:
    // The root model reads the project's settings first, when asked to.
    void _OnRead(PackageReadContext* context) override;
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override;
    IMesh* _CreateMesh(Object* object, PackageReadContext* context) override;
    ISliceStack* _CreateSliceStack(PackageReadContext*) override { return nullptr; }
    IToolPath* _CreateToolPath(PackageReadContext*) override { return nullptr; }
    ModelFileItem* _CreateResourceOndAMX(PackageReadContext*) override { return nullptr; }

private:
    std::vector<MStlBase*> m_stls;
    std::vector<PartRole> m_roles;
    bool m_readProjectParts = false;
    ItemSelection m_selectItems;
    // The project's settings, read by the root model with the option; the
    // meshes it reads refer to its filament colours.
    std::unique_ptr<format3mf::project::ProjectConfig> m_project;
};
} // namespace Format_3MF
