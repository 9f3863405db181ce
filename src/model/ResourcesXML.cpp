// Reading and writing "resources": each child goes to the materials or to the
// factory of its kind.
#include "model/ResourcesXML.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/ReadAttribute.h"
#include "foundation/XMLNames.h"
#include "materials/MaterialsWrite.h"
#include "model/ObjectXML.h"

#include "common/BranchingProgressReporter.h"
#include "sax/SAXWriter.h"

namespace Format_3MF
{
namespace
{
std::wstring LocalName(std::wstring const& tag)
{
    std::size_t const colon = tag.find(L':');
    return colon == std::wstring::npos ? tag : tag.substr(colon + 1);
}

// Writes one list of extension items under its namespace; each item writes
// its own attributes, the "id" included.
template <typename List>
void WriteExtensionList(MSAXWriter& writer, List const& items, PackageWriteContext* context,
                        std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress, char const* name,
                        std::wstring const& prefix, wchar_t const* tag)
{
    OndSDK::Common::BranchingProgressReporter reporter(progress, name, true);
    double const weight = items.empty() ? 0.0 : 1.0 / double(items.size());
    for (auto const& item : items)
    {
        if (reporter.IsCancelled())
        {
            return;
        }
        std::unique_ptr<ISAXWriteHelper> helper(
            item->_CreateSaxHandlerWrite(context, reporter.CreateNestedDelegate(weight)));
        if (helper)
        {
            MSAXTagWriterNS element(writer, tag, prefix);
            helper->Write(writer);
        }
    }
}
} // namespace

ResourcesRead::ResourcesRead(Resources* resources, PackageReadContext* context, ISAXReadHelper* parent)
    : ISAXReadHelper(parent), XMLReadHandler(context), m_resources(resources),
      m_materialsRead(context, &resources->m_materials, resources->m_modelFile)
{
}

tReferenceID ResourcesRead::_ReadID(MSAXReader& reader, std::wstring const& prefix) const
{
    tReferenceID id = -1;
    ReadAttribute(reader, L"id", id, &prefix);
    return id;
}

bool ResourcesRead::_ReadExtension(ModelFileItem* item, MSAXReader& reader, bool attributesFirst)
{
    ISAXReadHelper* const handler = item->_CreateSaxHandlerRead(m_context, this);
    if (handler == nullptr)
    {
        return false;
    }
    auto* const attributes = dynamic_cast<ISAXAttributeHandler*>(handler);
    if (attributesFirst && attributes != nullptr)
    {
        attributes->HandleAttributes(reader);
    }
    reader.PushHandler(handler);
    if (!attributesFirst && attributes != nullptr)
    {
        attributes->HandleAttributes(reader);
    }
    return true;
}

bool ResourcesRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    if (m_materialsRead.HandleTag(tag, reader))
    {
        return true;
    }
    ModelFile* const modelFile = m_resources->m_modelFile;
    std::wstring const local = LocalName(tag);
    if (local == L"slicestack")
    {
        tReferenceID const id = _ReadID(reader, m_slicePrefix);
        ISliceStack* const slice = modelFile->CreateSliceStack(m_context);
        if (slice == nullptr)
        {
            return false;
        }
        m_resources->m_sliceStacks.emplace_back(slice);
        modelFile->Register(*slice, id);
        return _ReadExtension(slice, reader, false);
    }
    if (local == L"toolpath")
    {
        tReferenceID const id = _ReadID(reader, m_toolPathPrefix);
        IToolPath* const path = modelFile->CreateToolPath(m_context);
        if (path == nullptr)
        {
            return false;
        }
        m_resources->m_toolPaths.emplace_back(path);
        modelFile->Register(*path, id);
        return _ReadExtension(path, reader, false);
    }
    if (local == L"ondamx")
    {
        tReferenceID const id = _ReadID(reader, m_ondamxPrefix);
        ModelFileItem* const item = modelFile->CreateResourceOndAMX(m_context);
        if (item == nullptr)
        {
            return false;
        }
        m_resources->m_resourcesOndAMX.emplace_back(item);
        // A vendor resource is referable as well, but only its concrete class
        // says so; one that is not can't be registered.
        auto* const referenced = dynamic_cast<IReferenced*>(item);
        if (referenced == nullptr)
        {
            throw Exception(L"The vendor resource " + std::to_wstring(int(id)) + L" can't be referenced.");
        }
        modelFile->Register(*referenced, id);
        return _ReadExtension(item, reader, true);
    }
    if (tag == L"object")
    {
        int id = -1;
        reader.ReadAttribute(id, L"id");
        auto object = std::make_unique<Object>(modelFile);
        Object* const raw = object.get();
        m_resources->m_objects.push_back(std::move(object));
        modelFile->Register(*raw, id);
        auto* const handler = new ObjectRead(raw, m_context, this);
        std::unique_ptr<ObjectRead> owner(handler);
        handler->HandleAttributes(reader);
        reader.PushHandler(owner.release());
        return true;
    }
    return false;
}

ResourcesWrite::ResourcesWrite(Resources const* resources, PackageWriteContext* context,
                               std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
    : XMLWriteHandler(context), m_resources(resources), m_progress(std::move(progress))
{
}

bool ResourcesWrite::Write(MSAXWriter& writer) const
{
    OndSDK::Common::BranchingProgressReporter reporter(m_progress, "Format_3MF::ResourcesWrite::Write", true);
    Materials const& materials = m_resources->m_materials;
    double material = 0.014 * double(materials.m_baseMaterialGroups.size() + materials.m_colorGroups.size() +
                                     materials.m_textures.size() + materials.m_texture2DGroups.size() +
                                     materials.m_multiPropertyGroups.size());
    double slices = double(m_resources->m_sliceStacks.size());
    double paths = double(m_resources->m_toolPaths.size());
    double objects = double(m_resources->m_objects.size());
    double const total = material + slices + paths + objects;
    if (total != 0)
    {
        material /= total;
        slices /= total;
        paths /= total;
        objects /= total;
    }
    MaterialsWrite(m_context, &materials, reporter.CreateNestedDelegate(material)).Write(writer);
    _WriteSliceStacks(writer, reporter.CreateNestedDelegate(slices));
    _WriteToolPaths(writer, reporter.CreateNestedDelegate(paths));
    _WriteResourcesOndAMX(writer, reporter.CreateNestedDelegate(0));
    _WriteObjects(writer, reporter.CreateNestedDelegate(objects));
    return true;
}

void ResourcesWrite::_WriteSliceStacks(MSAXWriter& writer, Delegate const& progress) const
{
    WriteExtensionList(writer, m_resources->m_sliceStacks, m_context, progress,
                       "Format_3MF::ResourcesWrite::_WriteSliceStacks",
                       m_resources->m_modelFile->GetPrefix(NamespaceSlice), L"slicestack");
}

void ResourcesWrite::_WriteToolPaths(MSAXWriter& writer, Delegate const& progress) const
{
    WriteExtensionList(writer, m_resources->m_toolPaths, m_context, progress,
                       "Format_3MF::ResourcesWrite::_WriteToolPaths",
                       m_resources->m_modelFile->GetPrefix(NamespaceToolPath), L"toolpath");
}

void ResourcesWrite::_WriteResourcesOndAMX(MSAXWriter& writer, Delegate const& progress) const
{
    OndSDK::Common::BranchingProgressReporter reporter(
        progress, "Format_3MF::ResourcesWrite::_WriteResourcesOndAMX", true);
    std::wstring const prefix = m_resources->m_modelFile->GetPrefix(NamespaceOndAMX);
    for (auto const& item : m_resources->m_resourcesOndAMX)
    {
        if (item == nullptr)
        {
            continue;
        }
        if (reporter.IsCancelled())
        {
            return;
        }
        MSAXTagWriterNS element(writer, L"ondamx", prefix);
        auto const* const referenced = dynamic_cast<IReferenced const*>(item.get());
        if (referenced == nullptr)
        {
            throw Exception(L"A vendor resource can't be written without an identifier.");
        }
        writer.WriteAttribute(L"id", FormatID(referenced->m_id));
        std::unique_ptr<ISAXWriteHelper> helper(item->_CreateSaxHandlerWrite(m_context, progress));
        if (helper)
        {
            helper->Write(writer);
        }
    }
}

void ResourcesWrite::_WriteObjects(MSAXWriter& writer, Delegate const& progress) const
{
    OndSDK::Common::BranchingProgressReporter reporter(progress, "Format_3MF::ResourcesWrite::_WriteObjects",
                                                       true);
    auto const& objects = m_resources->m_objects;
    double const weight = objects.empty() ? 0.0 : 1.0 / double(objects.size());
    for (auto const& object : objects)
    {
        if (reporter.IsCancelled())
        {
            return;
        }
        MSAXTagWriter element(writer, "object");
        writer.WriteAttribute(L"id", FormatID(object->m_id));
        ObjectWrite(object.get(), m_context, reporter.CreateNestedDelegate(weight)).Write(writer);
    }
}
} // namespace Format_3MF
