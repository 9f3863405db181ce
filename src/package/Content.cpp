// The content types part: reading and writing its Default and Override entries.
#include "format3mf/Content.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/PackageRead.h"
#include "foundation/PartNames.h"
#include "package/PartXML.h"

#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"
#include "sax/SaxUtilities.h"

#include <istream>
#include <memory>

namespace Format_3MF
{
namespace
{
class ContentRead : public ISAXPersistHelper
{
public:
    explicit ContentRead(Content* content) : m_content(content) {}

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        Content::Element element;
        if (tag == L"Default")
        {
            if (!reader.GetAttributeString(element.m_extension, L"Extension"))
            {
                return false;
            }
        }
        else if (tag == L"Override")
        {
            if (!reader.GetAttributeString(element.m_partName, L"PartName"))
            {
                return false;
            }
        }
        else
        {
            return false;
        }
        if (!reader.GetAttributeString(element.m_contentType, L"ContentType"))
        {
            return false;
        }
        m_content->AppendElement(element);
        return true;
    }

private:
    Content* m_content;
};

class ContentWrite : public ISAXPersistHelper
{
public:
    explicit ContentWrite(Content const* content) : m_content(content) {}

    bool Write(MSAXWriter& writer) const override
    {
        writer.WriteAttribute(L"xmlns", NamespaceContentTypes);
        for (Content::Element const& element : m_content->GetElements())
        {
            if (!element.m_extension.empty())
            {
                MSAXTagWriter tag(writer, "Default");
                writer.WriteAttribute(L"Extension", element.m_extension);
                writer.WriteAttribute(L"ContentType", element.m_contentType);
            }
            if (!element.m_partName.empty())
            {
                MSAXTagWriter tag(writer, "Override");
                writer.WriteAttribute(L"PartName", element.m_partName);
                writer.WriteAttribute(L"ContentType", element.m_contentType);
            }
        }
        return true;
    }

private:
    Content const* m_content;
};
} // namespace

Content::Content() : IPackageFile(PartNameContentTypes) {}

void Content::AddDefaultElement(std::wstring const& extension, std::wstring const& contentType)
{
    AddElement({extension, L"", contentType});
}

void Content::AddOverrideElement(std::wstring const& partName, std::wstring const& contentType)
{
    AddElement({L"", partName, contentType});
}

void Content::AddElement(Element const& element)
{
    for (Element& existing : m_elements)
    {
        if (existing.m_extension == element.m_extension && existing.m_partName == element.m_partName)
        {
            existing.m_contentType = element.m_contentType;
            return;
        }
    }
    m_elements.push_back(element);
}

Content::Element Content::GetElement(std::wstring const& partName) const
{
    std::wstring loweredName;
    for (Element const& element : m_elements)
    {
        if (!element.m_extension.empty())
        {
            // substr(1) of an empty extension throws std::out_of_range: that is
            // how a name without an extension fails against a Default entry.
            std::wstring const extension =
                ToLowerGlobalLocale(FromPath(ToPath(partName).extension())).substr(1);
            if (extension == element.m_extension)
            {
                return element;
            }
        }
        else
        {
            if (loweredName.empty())
            {
                loweredName = ToLowerGlobalLocale(partName);
            }
            if (ToLowerGlobalLocale(element.m_partName) == loweredName)
            {
                return element;
            }
        }
    }
    return Element();
}

bool Content::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType.clear();
    extension.clear();
    return false;
}

bool Content::_GetRelationInfo(std::wstring& type) const
{
    type.clear();
    return false;
}

void Content::_OnRead(PackageReadContext* context)
{
    // Without the part in the archive the entries of a new package stay.
    std::unique_ptr<std::istream> stream(context->m_packageRead->CreatePartInputStream(this));
    if (!stream)
    {
        return;
    }
    m_elements.clear();
    ContentRead reader(this);
    OndAM::SaxUtilities::ReadStream(*stream, reader);
}

void Content::_OnWrite(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    WritePartXML(*this, context, ContentWrite(this), L"Types");
}
} // namespace Format_3MF
