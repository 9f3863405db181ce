// Declaring the production extension in a model part and its root model when
// something written needs it.
#include "model/ProductionExtension.h"

#include "format3mf/Build.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Resources.h"

#include "triangles/MGuid.h"

#include <vector>

namespace Format_3MF
{
void DeclareProductionExtension(ModelFile& file)
{
    file.AddNamespace(NamespaceProduction, PrefixProduction);
    ModelFile* const root = file.GetRootModelFile();
    root->AddNamespace(NamespaceProduction, PrefixProduction);
    root->AddRequiredExtension(PrefixProduction);
}

void GiveProductionUUIDs(ModelFile& root)
{
    auto const give = [](std::wstring& uuid)
    {
        if (uuid.empty())
        {
            uuid = MStlRevisionSystem::MGuid::NewRandom().GetString(false, false);
        }
    };
    std::vector<ModelFile*> files{&root};
    for (auto const& file : root.GetModelFiles())
    {
        files.push_back(file.get());
    }
    for (ModelFile* file : files)
    {
        for (auto const& object : file->GetResources().m_objects)
        {
            give(object->m_uuid);
        }
    }
    give(root.GetBuild().m_uuid);
    for (Build::Item& item : root.GetBuild().m_items)
    {
        give(item.m_uuid);
    }
}
} // namespace Format_3MF
