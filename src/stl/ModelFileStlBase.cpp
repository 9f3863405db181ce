// The model part of plain meshes: building objects from meshes on write and
// meshes from the build on read.
#include "format3mf/ModelFileStlBase.h"

#include "model/ProductionExtension.h"
#include "project/PaintedMesh.h"
#include "project/ProjectConfig.h"
#include "project/ProjectParts.h"

#include "flattening/BuildFlattening.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PackageWriteContext.h"

#include "triangles/MStlBase.h"

#include <memory>

namespace Format_3MF
{
ModelFileStlBase::ModelFileStlBase() : ModelFileStlBase(L"", nullptr) {}

// The meshes of this model read their beam lattices in both dialects, so a
// file that requires either is understood in full.
ModelFileStlBase::ModelFileStlBase(std::wstring const& name, ModelFile* parent) : ModelFile(name, parent)
{
    AddSupportedExtension(NamespaceBeamLattice, true);
    AddSupportedExtension(NamespaceBeamLatticeOndl, true);
}

ModelFileStlBase::~ModelFileStlBase() = default;

void ModelFileStlBase::_OnRead(PackageReadContext* context)
{
    // Before the model: the meshes take their paint's colours as they are read.
    if (m_readProjectParts && GetParent() == nullptr && context->m_packageRead != nullptr &&
        context->m_packageRead->GetArchive() != nullptr)
    {
        m_project =
            format3mf::project::ReadProjectConfig(*context->m_packageRead->GetArchive(), context->m_warnings);
        if (m_project)
        {
            // Paint is stopped at the bound of a read as it is made.
            m_project->tally.limit = kMaxFlattenedElements;
        }
    }
    ModelFile::_OnRead(context);
}

ModelFile* ModelFileStlBase::_CreateRelatedModelFile(std::wstring const& name)
{
    return new ModelFileStlBase(name, this);
}

IMesh* ModelFileStlBase::_CreateMesh(Object* object, PackageReadContext* context)
{
    ModelFile const* root = this;
    while (root->GetParent() != nullptr)
    {
        root = root->GetParent();
    }
    auto const* const stlRoot = dynamic_cast<ModelFileStlBase const*>(root);
    auto stl = std::make_unique<MStlBase>();
    MeshStlBase* const mesh =
        stlRoot != nullptr && stlRoot->m_project
            ? new format3mf::project::PaintedMesh(stl.get(), this, object, context, *stlRoot->m_project)
            : new MeshStlBase(stl.get(), this, object, context);
    mesh->SetStl(stl.get(), true);
    if (object != nullptr)
    {
        stl->SetName(object->m_name.c_str());
    }
    stl.release();
    return mesh;
}

void ModelFileStlBase::_OnStartWriting(PackageWriteContext* context)
{
    // Lives for this step: one bitmap used by several meshes is one image.
    MeshStlBaseRegistry registry;
    for (MStlBase* const stl : m_stls)
    {
        ModelFile* const file = Utilities::GetModelFileForNewObject(this, context);
        auto owned = std::make_unique<Object>(file);
        Object* const object = owned.get();
        file->GetResources().m_objects.push_back(std::move(owned));
        file->Register(*object, -1);
        // The mesh's colour groups, textures and namespaces go into the part
        // that holds the object: a reader looks for them there.
        object->m_mesh = std::make_unique<MeshStlBase>(stl, file, object, context, registry);
        object->m_name = stl->GetName();
        // Unlike preparing the mesh, a solid support goes back as a model.
        object->m_type = stl->m_partIsSolid ? 0 : stl->m_partIsSupport ? 1 : 3;
    }
    _MakeDummyBuild();
    if (context->Objects.m_separateFiles)
    {
        GiveProductionUUIDs(*this);
    }
    ModelFile::_OnStartWriting(context);
}

void ModelFileStlBase::_OnStopReading(PackageReadContext* context)
{
    ModelFile::_OnStopReading(context);
    // Only the root's build says what to make; a related part that has a
    // build of its own would make meshes that nobody takes.
    if (GetParent() != nullptr)
    {
        return;
    }
    if (m_selectItems)
    {
        std::vector<Build::Item>& items = GetBuild().m_items;
        std::vector<Build::Item> kept;
        for (std::size_t i = 0; i < items.size(); ++i)
        {
            if (m_selectItems(i, items[i]))
            {
                kept.push_back(std::move(items[i]));
            }
        }
        items = std::move(kept);
    }
    // The meshes come whole or not at all, so that a failure leaves nothing
    // behind.
    format3mf::project::ProjectMeshes made;
    if (m_project)
    {
        made =
            format3mf::project::FlattenProject(*this, *m_project, kMaxFlattenedElements, context->m_warnings);
    }
    else
    {
        made.meshes = FlattenBuild(*this, kMaxFlattenedElements, context->m_warnings);
        made.roles.assign(made.meshes.size(), PartRole::Printable);
    }
    m_roles.resize(m_stls.size(), PartRole::Printable);
    m_stls.reserve(m_stls.size() + made.meshes.size());
    for (std::size_t i = 0; i < made.meshes.size(); ++i)
    {
        m_stls.push_back(made.meshes[i].release());
        m_roles.push_back(made.roles[i]);
    }
}
} // namespace Format_3MF
