// Reading and writing "object" elements: type, properties, mesh and components.
#include "model/ObjectXML.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Package.h"
#include "format3mf/ReadAttribute.h"
#include "foundation/XMLNames.h"
#include "model/ComponentXML.h"
#include "model/MetaDataXML.h"

#include "common/BranchingProgressReporter.h"
#include "sax/SAXWriter.h"

namespace Format_3MF
{
namespace
{
int ParseObjectType(std::wstring const& text)
{
    if (text == L"support")
    {
        return 1;
    }
    if (text == L"solidsupport")
    {
        return 2;
    }
    if (text == L"other")
    {
        return 3;
    }
    return 0;
}

wchar_t const* ObjectTypeName(int type)
{
    switch (type)
    {
    case 1:
        return L"support";
    case 2:
        return L"solidsupport";
    case 3:
        return L"other";
    default:
        return L"model";
    }
}
} // namespace

ObjectRead::ObjectRead(Object* object, PackageReadContext* context, ISAXReadHelper* parent)
    : ISAXReadHelper(parent), XMLReadHandler(context), m_object(object),
      m_slicePrefix(object->GetModelFile()->GetPrefix(NamespaceSlice)),
      m_productionPrefix(object->GetModelFile()->GetPrefix(NamespaceProduction)),
      m_toolPathPrefix(object->GetModelFile()->GetPrefix(NamespaceToolPath)),
      m_ondamxPrefix(object->GetModelFile()->GetPrefix(NamespaceOndAMX))
{
}

void ObjectRead::HandleAttributes(MSAXReader& reader)
{
    ModelFile* const modelFile = m_object->GetModelFile();
    UpdateNamespaces(reader);
    std::wstring base;
    GetNamespaceURI(L"", base);

    ReadAttribute(reader, L"name", m_object->m_name);
    ReadAttribute(reader, L"UUID", m_object->m_uuid, &m_productionPrefix);
    std::wstring thumbnail;
    if (ReadAttribute(reader, L"thumbnail", thumbnail))
    {
        _ReadThumbnail(thumbnail);
    }
    tReferenceID group;
    if (ReadAttribute(reader, L"pid", group))
    {
        m_object->m_propertyGroup = modelFile->GetReference(group);
    }
    reader.ReadAttribute(m_object->m_propertyIndex, L"pindex");
    if (base == NamespaceCore2013)
    {
        tReferenceID material;
        if (ReadAttribute(reader, L"materialid", material))
        {
            m_object->m_propertyGroup = modelFile->GetReference(material);
            m_object->m_propertyIndex = 0;
        }
    }
    std::wstring type;
    if (ReadAttribute(reader, L"type", type))
    {
        m_object->m_type = ParseObjectType(type);
    }
    if (ReadAttribute(reader, L"slicestackid", m_object->m_sliceStack.m_id, &m_slicePrefix))
    {
        m_object->m_sliceStack.m_modelFile = _ReadPath(reader, L"slicepath", m_slicePrefix);
    }
    Object::ReferenceToOtherModelFile toolPath;
    if (ReadAttribute(reader, L"toolpathid", toolPath.m_id, &m_toolPathPrefix))
    {
        toolPath.m_modelFile = _ReadPath(reader, L"toolpathpath", m_toolPathPrefix);
        m_object->m_toolPaths.push_back(toolPath);
    }
}

ModelFile* ObjectRead::_ReadPath(MSAXReader& reader, wchar_t const* name, std::wstring const& prefix)
{
    std::wstring path;
    if (ReadAttribute(reader, name, path, &prefix))
    {
        return m_object->GetModelFile()->AddRelatedModelFile(path);
    }
    return m_object->GetModelFile();
}

void ObjectRead::_ReadThumbnail(std::wstring const& name)
{
    m_object->m_thumbnail = std::make_unique<ThumbnailExternalFile>(name, L"");
    if (Package* const package = m_context->m_package)
    {
        package->AddPackageFile(m_object->m_thumbnail.get(), true, m_object->GetModelFile());
    }
}

bool ObjectRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);
    std::wstring prefix;
    std::wstring uri;
    std::wstring local;
    SplitName(tag, prefix, uri, local);
    if (local == L"metadatagroup")
    {
        reader.PushHandler(new MetaDataGroupRead(&m_object->m_metaData, m_context));
        return true;
    }
    if (local == L"mesh")
    {
        m_meshReader = nullptr;
        m_object->m_mesh.reset(m_object->GetModelFile()->CreateMesh(m_object, m_context));
        if (!m_object->m_mesh)
        {
            return false;
        }
        m_meshReader = m_object->m_mesh->_CreateSaxHandlerRead(m_context, this);
        if (m_meshReader == nullptr)
        {
            return false;
        }
        reader.PushHandler(m_meshReader);
        return true;
    }
    if (local == L"components")
    {
        return true;
    }
    if (local == L"component")
    {
        _ReadComponent(reader);
        return false;
    }
    if (local == L"ondamx")
    {
        bool const complete = ReadAttribute(reader, L"id", m_object->m_ondamxID) &&
                              ReadAttribute(reader, L"UUID", m_object->m_ondamxUUID);
        if (!complete)
        {
            m_object->m_ondamxID = -1;
            m_object->m_ondamxUUID.clear();
        }
        return complete;
    }
    return false;
}

void ObjectRead::_ReadComponent(MSAXReader& reader)
{
    Component component;
    if (!ReadAttribute(reader, L"objectid", component.m_objectID))
    {
        return;
    }
    ModelFile* const own = m_object->GetModelFile();
    ComponentRead(&component, own, m_context, m_productionPrefix).HandleAttributes(reader);
    // An object of another part is found when all parts are read
    // (Object::_OnStopReading); one of this part must stand before.
    if (component.m_modelFile == own)
    {
        // An object is registered before its children are read, so a
        // component can name its own object; that would place it inside
        // itself forever.
        IReferenced* const target = own->GetReference(component.m_objectID);
        if (target == m_object)
        {
            throw Exception(L"Object " + std::to_wstring(int(m_object->m_id)) +
                            L" has itself as a component.");
        }
        component.m_object = dynamic_cast<Object*>(target);
    }
    m_object->m_components.push_back(component);
}

ObjectWrite::ObjectWrite(Object const* object, PackageWriteContext* context,
                         std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
    : XMLWriteHandler(context), m_object(object), m_progress(std::move(progress))
{
}

void ObjectWrite::_WriteAttributes(MSAXWriter& writer) const
{
    ModelFile const* const modelFile = m_object->GetModelFile();
    std::wstring const slicePrefix = modelFile->GetPrefix(NamespaceSlice);
    std::wstring const productionPrefix = modelFile->GetPrefix(NamespaceProduction);
    if (!m_object->m_name.empty())
    {
        writer.WriteAttribute(L"name", m_object->m_name);
    }
    if (m_object->m_thumbnail && !m_object->m_thumbnail->GetFileNameInPackage().empty())
    {
        writer.WriteAttribute(L"thumbnail", m_object->m_thumbnail->GetFileNameInPackage());
    }
    if (!m_object->m_uuid.empty())
    {
        WriteAttributeNS(writer, L"UUID", m_object->m_uuid, &productionPrefix);
    }
    writer.WriteAttribute(L"type", ObjectTypeName(m_object->m_type));
    if (m_object->m_propertyGroup != nullptr && m_object->m_propertyIndex != -1)
    {
        writer.WriteAttribute(L"pid", FormatID(m_object->m_propertyGroup->m_id));
        writer.WriteAttribute(L"pindex", FormatID(m_object->m_propertyIndex));
    }
    if (m_object->m_sliceStack.m_id.IsDefined())
    {
        WriteAttributeNS(writer, L"slicestackid", FormatID(m_object->m_sliceStack.m_id), &slicePrefix);
        ModelFile const* const file = m_object->m_sliceStack.m_modelFile;
        if (file != nullptr && file != modelFile)
        {
            WriteAttributeNS(writer, L"slicepath", file->GetFileNameInPackage(), &slicePrefix);
        }
    }
}

bool ObjectWrite::Write(MSAXWriter& writer) const
{
    OndSDK::Common::BranchingProgressReporter reporter(m_progress, "Format_3MF::ObjectWrite::Write", true);
    ModelFile const* const modelFile = m_object->GetModelFile();
    _WriteAttributes(writer);
    if (reporter.IsCancelled())
    {
        return false;
    }
    std::wstring const toolPathPrefix = modelFile->GetPrefix(NamespaceToolPath);
    for (Object::ReferenceToOtherModelFile const& path : m_object->m_toolPaths)
    {
        WriteAttributeNS(writer, L"toolpathid", FormatID(path.m_id), &toolPathPrefix);
        if (path.m_modelFile != nullptr && path.m_modelFile != modelFile)
        {
            WriteAttributeNS(writer, L"toolpathpath", path.m_modelFile->GetFileNameInPackage(),
                             &toolPathPrefix);
        }
    }
    if (!m_object->m_meshResolution.empty())
    {
        std::wstring const slicePrefix = modelFile->GetPrefix(NamespaceSlice);
        WriteAttributeNS(writer, L"meshresolution", m_object->m_meshResolution, &slicePrefix);
    }

    if (!m_object->m_metaData.empty())
    {
        MSAXTagWriter group(writer, "metadatagroup");
        MetaDataGroupWrite(&m_object->m_metaData, m_context, nullptr).Write(writer);
    }
    if (m_object->m_mesh)
    {
        if (reporter.IsCancelled())
        {
            return false;
        }
        std::unique_ptr<ISAXWriteHelper const> helper(
            m_object->m_mesh->_CreateSaxHandlerWrite(m_context, reporter.CreateNestedDelegate(1.0)));
        if (helper)
        {
            MSAXTagWriter mesh(writer, "mesh");
            helper->Write(writer);
        }
    }
    if (!m_object->m_components.empty())
    {
        MSAXTagWriter components(writer, "components");
        for (Component const& component : m_object->m_components)
        {
            MSAXTagWriter element(writer, "component");
            ComponentWrite(&component, m_object, m_context).Write(writer);
        }
    }
    if (m_object->m_ondamxID.IsDefined())
    {
        MSAXTagWriterNS element(writer, L"ondamx", modelFile->GetPrefix(NamespaceOndAMX));
        writer.WriteAttribute(L"id", FormatID(m_object->m_ondamxID));
        if (!m_object->m_ondamxUUID.empty())
        {
            writer.WriteAttribute(L"UUID", m_object->m_ondamxUUID);
        }
    }
    return true;
}
} // namespace Format_3MF
