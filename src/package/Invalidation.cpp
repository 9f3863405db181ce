// The invalidated-parts part, which is written when it lists parts and
// otherwise read without keeping anything.
#include "format3mf/Invalidation.h"

#include "format3mf/FormatIdentifiers.h"
#include "package/PartXML.h"

#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"

namespace Format_3MF
{
namespace
{
// Reading keeps nothing: a "Part" with a target is looked up, which finds
// nothing, and answered false.
class InvalidationRead : public ISAXPersistHelper
{
public:
    explicit InvalidationRead(Invalidation* invalidation) : m_invalidation(invalidation) {}

    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        std::wstring target;
        if (tag == L"Part" && reader.GetAttributeString(target, L"target"))
        {
            static_cast<Invalidation const*>(m_invalidation)->GetPart(*m_invalidation);
        }
        return false;
    }

private:
    Invalidation* m_invalidation;
};

class InvalidationWrite : public ISAXPersistHelper
{
public:
    explicit InvalidationWrite(Invalidation const* invalidation) : m_invalidation(invalidation) {}

    bool Write(MSAXWriter& writer) const override
    {
        for (Invalidation::Part const* part : m_invalidation->GetParts())
        {
            MSAXTagWriter element(writer, "Part");
            writer.WriteAttribute(L"target", part->m_target);
        }
        return true;
    }

private:
    Invalidation const* m_invalidation;
};
} // namespace

Invalidation::Invalidation() : IPackageFile(PartNameInvalidation) {}

Invalidation::~Invalidation()
{
    for (Part* part : m_parts)
    {
        delete part;
    }
}

Invalidation::Part const* Invalidation::GetPart(PackageFile const& file) const
{
    Part probe{file.GetFileNameInPackage(), {}};
    auto const found = m_parts.find(&probe);
    return found != m_parts.end() ? *found : nullptr;
}

Invalidation::Part* Invalidation::GetPart(PackageFile const& file, bool create)
{
    Part probe{file.GetFileNameInPackage(), {}};
    auto const found = m_parts.find(&probe);
    if (found != m_parts.end())
    {
        return *found;
    }
    if (!create)
    {
        return nullptr;
    }
    Part* part = new Part(probe);
    m_parts.insert(part);
    return part;
}

bool Invalidation::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeInvalidation;
    extension.clear();
    return true;
}

bool Invalidation::_GetRelationInfo(std::wstring& type) const
{
    type = RelationshipInvalidation;
    return true;
}

void Invalidation::_OnRead(PackageReadContext* context)
{
    InvalidationRead reader(this);
    ReadPartXML(*this, context, reader);
}

void Invalidation::_OnWrite(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    WritePartXML(*this, context, InvalidationWrite(this), L"Parts");
}
} // namespace Format_3MF
