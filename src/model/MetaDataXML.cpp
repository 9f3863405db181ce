// Reading and writing "metadata" elements of a model, an object or a build item.
#include "model/MetaDataXML.h"

#include "sax/MStreamText.h"

namespace Format_3MF
{
MetaDataGroupRead::MetaDataGroupRead(MetaDataGroup* group, PackageReadContext* context)
    : m_group(group), m_context(context)
{
}

bool MetaDataGroupRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    std::size_t const colon = tag.find(L':');
    if (tag.compare(colon == std::wstring::npos ? 0 : colon + 1, std::wstring::npos, L"metadata") != 0)
    {
        return false;
    }
    std::wstring name;
    MetaDataItem item;
    reader.GetAttributeString(name, L"name");
    std::wstring preserve;
    reader.GetAttributeString(preserve, L"preserve");
    if (!preserve.empty())
    {
        MStreamTextIn(preserve) >> item.m_preserve;
    }
    reader.GetAttributeString(item.m_type, L"type");
    reader.GetText(item.m_value);
    (*m_group)[name] = item;
    return true;
}

MetaDataGroupWrite::MetaDataGroupWrite(MetaDataGroup const* group, PackageWriteContext* context,
                                       std::wstring const* prefix)
    : m_group(group), m_context(context), m_prefix(prefix)
{
}

bool MetaDataGroupWrite::Write(MSAXWriter& writer) const
{
    for (auto const& [name, item] : *m_group)
    {
        MSAXTagWriter element(writer,
                              m_prefix != nullptr ? *m_prefix + L":metadata" : std::wstring(L"metadata"));
        writer.WriteAttribute(L"name", name);
        if (!item.m_type.empty())
        {
            writer.WriteAttribute(L"type", item.m_type);
        }
        if (!item.m_preserve)
        {
            MStreamTextOut text;
            text << item.m_preserve;
            writer.WriteAttribute(L"preserve", text.str());
        }
        writer.WriteText(item.m_value);
    }
    return true;
}
} // namespace Format_3MF
