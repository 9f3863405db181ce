// The model part: its id table, namespaces, extensions, related model parts
// and the hooks through which a package reads and writes it.
#include "format3mf/ModelFile.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "foundation/PartNames.h"
#include "model/ModelFileXML.h"
#include "model/ReadBufferModelFileAnalyzeOnly.h"
#include "package/PartXML.h"

#include "zip/ReadBufferFromZip.h"
#include "zip/ReadBufferStream.h"

#include <boost/format.hpp>

#include <algorithm>

namespace Format_3MF
{
namespace
{
// Names of one part compare equal: with or without the leading slash, with
// either kind of slash, as the archive is asked for them.
std::wstring PartKey(std::wstring const& name)
{
    std::wstring key = WithForwardSlashes(name);
    return !key.empty() && key.front() == L'/' ? key.substr(1) : key;
}
} // namespace

IModelFile::IModelFile(std::wstring const& name) : IPackageFile(name.empty() ? PartNameDefaultModel : name) {}

ModelFile::ModelFile(std::wstring const& name, ModelFile* parent)
    : IModelFile(name), RelationsOwner(this), m_parent(parent), m_resources(_CreateResources(this)),
      m_build(this)
{
    AddSupportedExtension(NamespaceCore2015, true);
    AddSupportedExtension(NamespaceCore2013, false);
    AddSupportedExtension(NamespaceMaterial, true);
    AddSupportedExtension(NamespaceProduction, true);
}

ModelFile::~ModelFile() = default;

Resources* ModelFile::_CreateResources(ModelFile* modelFile)
{
    return new Resources(modelFile);
}

ModelFile* ModelFile::GetRootModelFile()
{
    ModelFile* root = this;
    while (root->m_parent != nullptr)
    {
        root = root->m_parent;
    }
    return root;
}

tReferenceID ModelFile::Register(IReferenced& item, tReferenceID id)
{
    if (item.m_id.IsDefined())
    {
        return item.m_id;
    }
    item.m_id = id.IsDefined() ? int(id) : m_nextID;
    m_nextID = item.m_id + 1;
    m_references[item.m_id] = &item;
    return item.m_id;
}

IReferenced* ModelFile::GetReference(tReferenceID id) const
{
    auto const found = m_references.find(id);
    return found != m_references.end() ? found->second : nullptr;
}

void ModelFile::AddNamespace(std::wstring const& uri, std::wstring const& prefix)
{
    for (xml_Namespace const& entry : m_namespaces)
    {
        if (entry.m_uri == uri)
        {
            return;
        }
    }
    m_namespaces.push_back({prefix, uri});
}

std::wstring ModelFile::GetPrefix(std::wstring const& uri) const
{
    for (xml_Namespace const& entry : m_namespaces)
    {
        if (entry.m_uri == uri)
        {
            return entry.m_prefix;
        }
    }
    return std::wstring();
}

std::wstring ModelFile::GetNamespace(std::wstring const& prefix) const
{
    for (xml_Namespace const& entry : m_namespaces)
    {
        if (entry.m_prefix == prefix)
        {
            return entry.m_uri;
        }
    }
    return std::wstring();
}

void ModelFile::AddRequiredExtension(std::wstring const& prefix)
{
    if (std::find(m_requiredExtensions.begin(), m_requiredExtensions.end(), prefix) ==
        m_requiredExtensions.end())
    {
        m_requiredExtensions.push_back(prefix);
    }
}

void ModelFile::AddSupportedExtension(std::wstring const& uri, bool full)
{
    tSupportedExtension const extension{uri, full ? 0 : 2};
    if (std::find(m_supportedExtensions.begin(), m_supportedExtensions.end(), extension) ==
        m_supportedExtensions.end())
    {
        m_supportedExtensions.push_back(extension);
    }
}

tSupportedExtension ModelFile::GetSupportedExtension(std::wstring const& uri) const
{
    for (tSupportedExtension const& extension : m_supportedExtensions)
    {
        if (extension.m_uri == uri)
        {
            return extension;
        }
    }
    return {uri, 1};
}

ModelFile* ModelFile::GetRelatedModelFile(std::wstring const& name) const
{
    auto const found = m_modelFilesByName.find(PartKey(name));
    return found != m_modelFilesByName.end() ? found->second : nullptr;
}

ModelFile* ModelFile::AddRelatedModelFile(std::wstring const& name)
{
    // One part, one model: items, components, slice stacks and tool paths of
    // any part that name the same part reach the same model file, which the
    // root owns, so that each part is read once, also when parts name each
    // other or themselves.
    ModelFile* const root = GetRootModelFile();
    if (PartKey(root->GetFileNameInPackage()) == PartKey(name))
    {
        return root;
    }
    if (ModelFile* const existing = root->GetRelatedModelFile(name))
    {
        return existing;
    }
    std::unique_ptr<ModelFile> file(_CreateRelatedModelFile(name));
    file->m_parent = this;
    file->m_package = m_package;
    ModelFile* const related = file.get();
    root->m_modelFilesByName.emplace(PartKey(name), related);
    root->m_modelFiles.push_back(std::move(file));
    if (m_package != nullptr)
    {
        m_package->AddPackageFile(related, true, this);
    }
    return related;
}

std::wstring ModelFile::GenerateRelatedObjectFileName(PackageWriteContext& context)
{
    return _GenerateRelatedFileName(FolderObjects, BaseNameObjects, context.m_relatedObjectFileCount++);
}

std::wstring ModelFile::GenerateRelatedSliceFileName(PackageWriteContext& context)
{
    return _GenerateRelatedFileName(FolderSlices, BaseNameSlices, context.m_relatedSliceFileCount++);
}

std::wstring ModelFile::_GenerateRelatedFileName(wchar_t const* folder, wchar_t const* file,
                                                 std::uint32_t index) const
{
    boost::filesystem::path path = ToPath(GetFileNameInPackage()).parent_path() / ToPath(folder);
    boost::filesystem::path const leaf = ToPath(file);
    if (index == 0)
    {
        path /= leaf;
    }
    else
    {
        path /= (boost::format("%s(%i)%s") % leaf.stem().string() % (index + 1) % leaf.extension().string())
                    .str();
    }
    return WithForwardSlashes(FromPath(path));
}

void ModelFile::AddObject(Object* object)
{
    m_resources->m_objects.emplace_back(object);
    Register(*object, -1);
}

void ModelFile::AddSliceStack(ISliceStack* slice, PackageWriteContext*)
{
    m_resources->m_sliceStacks.emplace_back(slice);
    Register(*slice, -1);
}

void ModelFile::AddToolPath(IToolPath* path, PackageWriteContext*)
{
    m_resources->m_toolPaths.emplace_back(path);
    Register(*path, -1);
}

void ModelFile::_MakeDummyBuild()
{
    if (m_package == nullptr || m_package->GetRootModel() != this)
    {
        return;
    }
    auto addItems = [this](ModelFile* file)
    {
        for (auto const& object : file->GetResources().m_objects)
        {
            Build::Item item;
            item.m_objectID = object->m_id;
            item.m_modelFile = file == this ? nullptr : file;
            m_build.m_items.push_back(std::move(item));
        }
    };
    addItems(this);
    for (auto const& file : m_modelFiles)
    {
        addItems(file.get());
    }
}

void ModelFile::EnsureBinary()
{
    EnsureBinary(nullptr);
}

void ModelFile::EnsureBinary(PackageWriteContext* context)
{
    if (m_binary)
    {
        return;
    }
    m_binary = std::make_unique<ModelFileBinary>(GetFileNameInPackage() + ExtensionBinaryModelFile, this);
    if (context != nullptr && context->m_packageWrite != nullptr)
    {
        m_binary->StartWriting(ToPath(context->m_packageWrite->GetFileName()).parent_path().string());
    }
    else
    {
        m_binary->StartWriting();
    }
    if (m_package != nullptr)
    {
        m_package->AddPackageFile(m_binary.get(), true, this);
    }
}

ModelFileBinary* ModelFile::SetBinaryFileForReading(std::wstring const& name)
{
    m_binary = std::make_unique<ModelFileBinary>(name, this);
    return m_binary.get();
}

void ModelFile::SetPrintTicket(std::shared_ptr<CustomFile> file)
{
    m_package->AddCustomFile(std::move(file), true, this);
}

CustomFile const* ModelFile::GetPrintTicket() const
{
    return m_package != nullptr ? m_package->GetCustomFile(CreateCustomFileOndrelBuildTicket(L"")) : nullptr;
}

void ModelFile::_OnStartWriting(PackageWriteContext* context)
{
    AddNamespace(NamespaceCore2015, L"");
    m_resources->_OnStartWriting(context);
    for (auto const& file : m_modelFiles)
    {
        file->_OnStartWriting(context);
    }
    m_build._OnStartWriting(context);
    bool const isRoot = m_package != nullptr && m_package->GetRootModel() == this;
    PackageOptionCustomFile const& ticket = context->m_printTicket;
    if (isRoot && !ticket.m_fileName.empty())
    {
        auto file = std::make_shared<PrintTicketFile>(ticket.m_fileName, this);
        file->SetContentInfo(ticket.m_contentType, ticket.m_extension);
        file->SetRelationInfo(ticket.m_relationType);
        SetPrintTicket(std::move(file));
    }
    for (PackageOptionCustomFile const& option : context->m_customFiles)
    {
        if (option.m_kind != 1)
        {
            continue;
        }
        auto file = std::make_shared<CustomFile>(option.m_fileName, this);
        file->SetContentInfo(option.m_contentType, option.m_extension);
        file->SetRelationInfo(option.m_relationType);
        file->SetFolderInPackage(FolderModelMetadata);
        m_package->AddCustomFile(std::move(file), true, this);
    }
    if (!GetRelsFile().GetRelations().empty())
    {
        m_package->AddPackageFile(&GetRelsFile(), false, nullptr);
    }
}

void ModelFile::_OnStopWriting(PackageWriteContext* context)
{
    m_resources->_OnStopWriting(context);
    for (auto const& file : m_modelFiles)
    {
        file->_OnStopWriting(context);
    }
}

void ModelFile::_OnStartReading(PackageReadContext* context)
{
    m_resources->_OnStartReading(context);
    for (auto const& file : m_modelFiles)
    {
        file->_OnStartReading(context);
    }
}

void ModelFile::_OnStopReading(PackageReadContext* context)
{
    m_resources->_OnStopReading(context);
    for (auto const& file : m_modelFiles)
    {
        file->_OnStopReading(context);
    }
}

bool ModelFile::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeModel;
    extension = ExtensionContentModel;
    return true;
}

bool ModelFile::_GetRelationInfo(std::wstring& type) const
{
    type = RelationshipModel;
    return true;
}

std::istream* ModelFile::_CreateInputStream(PackageReadContext const* context) const
{
    if (!context->Package.m_analyseOnly)
    {
        return nullptr;
    }
    MZipArchive* const archive = context->m_packageRead->GetArchive();
    std::wstring const name = WithForwardSlashes(GetFileNameInPackageWithoutLeadingSlash());
    return new ReadBufferStream(
        new ReadBufferModelFileAnalyzeOnly(new ReadBufferFromZip(archive, name.c_str())));
}

void ModelFile::_OnRead(PackageReadContext* context)
{
    try
    {
        ModelFileRead reader(this, context);
        ReadPartXML(*this, context, reader);
        if (m_binary)
        {
            m_binary->FinishReading();
        }
    }
    catch (MalformedPartXML const& error)
    {
        // Analysing, the part was cut on purpose and may end anywhere. The
        // root model fails the read; a related part that can't be read is
        // left empty, so that no object comes from what stood before the
        // fault, and the rest of the package is read.
        if (context->m_package == nullptr || context->m_package->GetRootModel() == this)
        {
            if (!context->Package.m_analyseOnly)
            {
                throw;
            }
        }
        else
        {
            context->m_warnings.push_back(error.m_message + L" Its objects are left out.");
            _DiscardReadContent(context);
        }
    }
    RelsFile& rels = GetRelsFile();
    if (context->m_packageRead->_ReadPackageFile(&rels, false))
    {
        for (Relationship const& relationship : rels.GetRelations())
        {
            context->m_packageRead->_AddRelatedCustomFile(relationship);
        }
    }
}

void ModelFile::_DiscardReadContent(PackageReadContext* context)
{
    m_references.clear();
    m_resources.reset(_CreateResources(this));
    m_resources->_OnStartReading(context);
    m_build.m_items.clear();
}

void ModelFile::_OnWrite(PackageWriteContext* context,
                         std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    WritePartXML(*this, context, ModelFileWrite(this, context, progress), L"model");
    // The binary part is complete; records that could not be compressed
    // would leave blocks that the XML names but the part lacks.
    if (m_binary)
    {
        m_binary->FinishWriting();
    }
}

namespace Utilities
{
ModelFile* GetModelFileForNewObject(ModelFile* file, PackageWriteContext* context)
{
    if (!context->Objects.m_separateFiles)
    {
        return file;
    }
    return file->AddRelatedModelFile(file->GenerateRelatedObjectFileName(*context));
}

Object* AddNewObject(ModelFile* file, PackageWriteContext* context)
{
    ModelFile* const target = GetModelFileForNewObject(file, context);
    auto* const object = new Object(target);
    target->AddObject(object);
    return object;
}
} // namespace Utilities
} // namespace Format_3MF
