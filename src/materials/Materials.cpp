// The materials of one model: the groups that meshes ask for while they are
// prepared for writing, and the namespace that their elements need.
#include "format3mf/Materials.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"

namespace Format_3MF
{
namespace
{
template <typename Group>
Group* LastOrNew(std::vector<std::unique_ptr<Group>>& groups, bool createNew, ModelFile* modelFile)
{
    if (!groups.empty() && !createNew)
    {
        return groups.back().get();
    }
    auto group = std::make_unique<Group>();
    modelFile->Register(*group, -1);
    groups.push_back(std::move(group));
    return groups.back().get();
}
} // namespace

Materials::Materials(ModelFile* modelFile) : m_modelFile(modelFile) {}

Materials::~Materials() = default;

ColorGroup* Materials::GetColorGroup(bool createNew)
{
    return LastOrNew(m_colorGroups, createNew, m_modelFile);
}

BaseMaterialGroup* Materials::GetBaseMaterialGroup(bool createNew)
{
    return LastOrNew(m_baseMaterialGroups, createNew, m_modelFile);
}

MultiPropertyGroup* Materials::GetMultiPropertyGroup(std::vector<tReferenceID> const& pids)
{
    for (auto const& group : m_multiPropertyGroups)
    {
        if (group->m_pids == pids)
        {
            return group.get();
        }
    }
    auto group = std::make_unique<MultiPropertyGroup>();
    group->m_pids = pids;
    m_modelFile->Register(*group, -1);
    m_multiPropertyGroups.push_back(std::move(group));
    return m_multiPropertyGroups.back().get();
}

void Materials::_OnStartWriting(PackageWriteContext*)
{
    if (m_colorGroups.empty() && m_multiPropertyGroups.empty() && m_texture2DGroups.empty() &&
        m_textures.empty())
    {
        return;
    }
    m_modelFile->AddNamespace(NamespaceMaterial, PrefixMaterial);
}

void Materials::_OnStopWriting(PackageWriteContext*) {}
void Materials::_OnStartReading(PackageReadContext*) {}
void Materials::_OnStopReading(PackageReadContext*) {}
} // namespace Format_3MF
