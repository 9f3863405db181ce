// The package in memory: its parts, custom files, relationship ids and
// thumbnail, and the steps of reading and writing it as a whole.
#include "format3mf/Package.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/PackageWriteContext.h"

#include <algorithm>

namespace Format_3MF
{
namespace
{
void AppendUnique(std::vector<std::wstring>& values, std::wstring const& value)
{
    if (std::find(values.begin(), values.end(), value) == values.end())
    {
        values.push_back(value);
    }
}

void CollectNamespaces(ModelFile const& model, std::vector<std::wstring>& namespaces)
{
    for (xml_Namespace const& entry : model.GetNamespaces())
    {
        AppendUnique(namespaces, entry.m_uri);
    }
    for (auto const& related : model.GetModelFiles())
    {
        CollectNamespaces(*related, namespaces);
    }
}

void CollectRelationTypes(ModelFile const& model, std::vector<std::wstring>& types)
{
    for (Relationship const& relationship : model.GetRelsFile().GetRelations())
    {
        AppendUnique(types, relationship.m_type);
    }
    for (auto const& related : model.GetModelFiles())
    {
        CollectRelationTypes(*related, types);
    }
}
} // namespace

Package::Package(ModelFile* rootModel) : RelationsOwner(nullptr), m_rootModel(rootModel)
{
    AddPackageFile(&m_content, true, nullptr);
    AddPackageFile(&m_relsFile, true, nullptr);
    if (m_rootModel != nullptr)
    {
        m_rootModel->SetFileNameInPackage(PartNameDefaultModel);
        m_rootModel->m_package = this;
        AddPackageFile(m_rootModel, true, nullptr);
    }
}

Package::~Package() = default;

void Package::AddPackageFile(IPackageFile* file, bool registerFile, IPackageFile* parent)
{
    if (m_listedFiles.insert(file).second)
    {
        m_packageFiles.push_back(file);
    }
    if (registerFile)
    {
        _RegisterPackageFile(file, parent);
    }
}

void Package::AddPackageFile(std::shared_ptr<IPackageFile> file, bool registerFile, IPackageFile* parent)
{
    IPackageFile* const raw = file.get();
    m_ownedFiles.push_back(std::move(file));
    AddPackageFile(raw, registerFile, parent);
}

void Package::AddCustomFile(std::shared_ptr<CustomFile> file, bool registerFile, IPackageFile* parent)
{
    file->UpdateFileNameInPackage();
    AddPackageFile(std::shared_ptr<IPackageFile>(std::move(file)), registerFile, parent);
}

std::wstring Package::GetNewRelationString() const
{
    for (;;)
    {
        std::wstring id = L"rel" + std::to_wstring(m_relationCounter++);
        if (m_relationStrings.insert(id).second)
        {
            return id;
        }
    }
}

void Package::RegisterRelationString(std::wstring const& id)
{
    m_relationStrings.insert(id);
}

void Package::SetThumbnail(std::unique_ptr<ThumbnailExternalFile>& thumbnail, bool registerFile)
{
    m_thumbnail = std::move(thumbnail);
    m_thumbnail->SetFolderInPackage(FolderThumbnails);
    m_thumbnail->SetStemInPackage(L"thumbnail");
    m_thumbnail->UpdateFileNameInPackage();
    AddPackageFile(m_thumbnail.get(), false, nullptr);
    if (registerFile)
    {
        _RegisterPackageFile(m_thumbnail.get(), nullptr);
    }
}

IPackageFile* Package::GetPackageFile(std::wstring const& nameInPackage) const
{
    for (IPackageFile* file : m_packageFiles)
    {
        if (file->GetFileNameInPackage() == nameInPackage)
        {
            return file;
        }
    }
    return nullptr;
}

IPackageFile const* Package::GetPackageFile(PackageOptionCustomFile const& option) const
{
    for (IPackageFile const* file : m_packageFiles)
    {
        if (file->Matches(option))
        {
            return file;
        }
    }
    return nullptr;
}

CustomFile* Package::GetCustomFile(PackageOptionCustomFile const& option) const
{
    for (IPackageFile* file : m_packageFiles)
    {
        auto* custom = dynamic_cast<CustomFile*>(file);
        if (custom != nullptr && custom->Matches(option))
        {
            return custom;
        }
    }
    return nullptr;
}

void Package::GetCustomFiles(std::vector<CustomFile const*>& files) const
{
    for (auto const& file : m_ownedFiles)
    {
        if (auto const* custom = dynamic_cast<CustomFile const*>(file.get()))
        {
            files.push_back(custom);
        }
    }
}

void Package::ReplaceFileContent(CustomFile& file, std::wstring const& path, bool owned)
{
    file.SetExternalFile(path, owned);
}

void Package::GetContentTypes(std::vector<std::wstring>& types)
{
    for (Content::Element const& element : m_content.GetElements())
    {
        types.push_back(element.m_contentType);
    }
}

void Package::GetAllModelFileNamespaces(std::vector<std::wstring>& namespaces)
{
    CollectNamespaces(*m_rootModel, namespaces);
}

void Package::GetAllRelationTypes(std::vector<std::wstring>& types)
{
    for (Relationship const& relationship : m_relsFile.GetRelations())
    {
        AppendUnique(types, relationship.m_type);
    }
    CollectRelationTypes(*m_rootModel, types);
}

void Package::_OnStartWriting(PackageWriteContext* context)
{
    if (m_rootModel != nullptr)
    {
        m_rootModel->_OnStartWriting(context);
    }
    for (PackageOptionCustomFile const& option : context->m_customFiles)
    {
        if (option.m_kind != 0)
        {
            continue;
        }
        auto file = std::make_shared<CustomFile>(option.m_fileName, nullptr);
        file->SetContentInfo(option.m_contentType, option.m_extension);
        file->SetRelationInfo(option.m_relationType);
        file->SetFolderInPackage(FolderThumbnails);
        AddCustomFile(std::move(file), true, nullptr);
    }
    if (!m_invalidation.GetParts().empty())
    {
        AddPackageFile(&m_invalidation, true, nullptr);
    }
}

void Package::_OnStopWriting(PackageWriteContext* context)
{
    if (m_rootModel != nullptr)
    {
        m_rootModel->_OnStopWriting(context);
    }
}

void Package::_OnStartReading(PackageReadContext* context)
{
    if (m_rootModel != nullptr)
    {
        m_rootModel->_OnStartReading(context);
    }
}

void Package::_OnStopReading(PackageReadContext* context)
{
    if (m_rootModel != nullptr)
    {
        m_rootModel->_OnStopReading(context);
    }
}

void Package::_RegisterPackageFile(IPackageFile* file, IPackageFile* parent)
{
    std::wstring contentType;
    std::wstring extension;
    if (file->GetContentInfo(contentType, extension))
    {
        if (!extension.empty())
        {
            m_content.AddDefaultElement(extension, contentType);
        }
        else
        {
            m_content.AddOverrideElement(file->GetFileNameInPackage(), contentType);
        }
    }
    std::wstring type;
    if (file->GetRelationInfo(type))
    {
        Relationship relationship{file->GetFileNameInPackage(), GetNewRelationString(), type};
        RelsFile& rels =
            parent != nullptr ? dynamic_cast<RelationsOwner&>(*parent).GetRelsFile() : m_relsFile;
        rels.AddRelationship(relationship);
    }
}
} // namespace Format_3MF
