// Reading and writing the "build" element and its items, declaring the
// production extension when an item needs it.
#include "model/BuildXML.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/Transformation.h"
#include "foundation/XMLNames.h"
#include "model/MetaDataXML.h"
#include "model/ProductionExtension.h"

namespace Format_3MF
{
void Build::_OnStartWriting(PackageWriteContext*)
{
    auto declare = [this] { DeclareProductionExtension(*m_modelFile); };
    if (!m_uuid.empty())
    {
        declare();
    }
    for (Item const& item : m_items)
    {
        if (!item.m_uuid.empty())
        {
            declare();
        }
        if (item.m_modelFile != nullptr && item.m_modelFile != m_modelFile)
        {
            declare();
        }
    }
}

BuildRead::BuildRead(Build* build, PackageReadContext* context, ISAXReadHelper* parent,
                     std::wstring const& productionPrefix)
    : ISAXReadHelper(parent), XMLReadHandler(context), m_build(build), m_productionPrefix(productionPrefix)
{
}

void BuildRead::HandleAttributes(MSAXReader& reader)
{
    ReadAttribute(reader, L"UUID", m_build->m_uuid, &m_productionPrefix);
}

bool BuildRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    if (tag == L"metadatagroup")
    {
        // Metadata belongs to the item before it; with none there is no target.
        if (m_build->m_items.empty())
        {
            return false;
        }
        reader.PushHandler(new MetaDataGroupRead(&m_build->m_items.back().m_metaData, m_context));
        return true;
    }
    if (tag != L"item")
    {
        return false;
    }
    Build::Item item;
    if (!ReadAttribute(reader, L"objectid", item.m_objectID))
    {
        return true;
    }
    std::wstring path;
    ReadAttribute(reader, L"path", path, &m_productionPrefix);
    item.m_modelFile = path.empty() ? m_build->m_modelFile : m_build->m_modelFile->AddRelatedModelFile(path);
    std::wstring transform;
    if (ReadAttribute(reader, L"transform", transform))
    {
        item.m_transform = ParseTransformation(transform);
    }
    ReadAttribute(reader, L"UUID", item.m_uuid, &m_productionPrefix);
    ReadAttribute(reader, L"partnumber", item.m_partNumber);
    std::wstring printable;
    if (ReadAttribute(reader, L"printable", printable))
    {
        if (printable == L"1" || printable == L"true")
        {
            item.m_printable = true;
        }
        else if (printable == L"0" || printable == L"false")
        {
            item.m_printable = false;
        }
    }
    m_build->m_items.push_back(std::move(item));
    return true;
}

BuildWrite::BuildWrite(Build const* build, PackageWriteContext* context)
    : XMLWriteHandler(context), m_build(build)
{
}

bool BuildWrite::Write(MSAXWriter& writer) const
{
    std::wstring const prefix = m_build->m_modelFile->GetPrefix(NamespaceProduction);
    if (!m_build->m_uuid.empty())
    {
        WriteAttributeNS(writer, L"UUID", m_build->m_uuid, &prefix);
    }
    for (Build::Item const& item : m_build->m_items)
    {
        MSAXTagWriter element(writer, "item");
        writer.WriteAttribute(L"objectid", FormatID(item.m_objectID));
        if (item.m_modelFile != nullptr && item.m_modelFile != m_build->m_modelFile)
        {
            WriteAttributeNS(writer, L"path", item.m_modelFile->GetFileNameInPackage(), &prefix);
        }
        if (!item.m_transform.IsIdentity())
        {
            writer.WriteAttribute(L"transform", FormatTransformation(item.m_transform));
        }
        if (!item.m_uuid.empty())
        {
            WriteAttributeNS(writer, L"UUID", item.m_uuid, &prefix);
        }
        if (!item.m_partNumber.empty())
        {
            writer.WriteAttribute(L"partnumber", item.m_partNumber);
        }
        if (item.m_printable.has_value())
        {
            writer.WriteAttribute(L"printable", *item.m_printable ? L"1" : L"0");
        }
        if (!item.m_metaData.empty())
        {
            MSAXTagWriter group(writer, "metadatagroup");
            MetaDataGroupWrite(&item.m_metaData, m_context, nullptr).Write(writer);
        }
    }
    return true;
}
} // namespace Format_3MF
