// Relationship parts: where each owner's part lives and how its entries are
// read and written.
#include "format3mf/RelsFile.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"
#include "foundation/PartNames.h"
#include "package/PartXML.h"
#include "package/RelsFileXML.h"

#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"

namespace Format_3MF
{
namespace
{
std::wstring RelsNameOf(IPackageFile const* owner)
{
    boost::filesystem::path const ownerName =
        owner != nullptr ? ToPath(owner->GetFileNameInPackage()) : boost::filesystem::path();
    boost::filesystem::path leaf = ownerName.filename();
    leaf += ".rels";
    return WithForwardSlashes(FromPath(ownerName.parent_path() / "_rels" / leaf));
}
} // namespace

RelsFile::RelsFile(IPackageFile const* owner) : IPackageFile(RelsNameOf(owner)), m_owner(owner) {}

void RelsFile::AddRelationship(Relationship const& relationship)
{
    if (m_indexed > m_relations.size())
    {
        m_targets.clear();
        m_indexed = 0;
    }
    for (; m_indexed < m_relations.size(); ++m_indexed)
    {
        m_targets.insert(m_relations[m_indexed].m_target);
    }
    if (m_targets.insert(relationship.m_target).second)
    {
        m_relations.push_back(relationship);
        m_indexed = m_relations.size();
    }
}

PackageFile RelsFile::GetPackagefile(Relationship const& relationship) const
{
    std::wstring const target = WithForwardSlashes(relationship.m_target);
    if (target.empty() || target.front() == L'/')
    {
        return PackageFile(target);
    }
    boost::filesystem::path const base = ToPath(m_owner != nullptr ? m_owner->GetFileNameInPackage() : L"/");
    // The root's parent is the root itself, so that a relative target of the
    // package's relationships gets its leading slash.
    boost::filesystem::path const folder =
        base.has_parent_path() ? base.parent_path() : base.root_directory();
    boost::filesystem::path const resolved = (folder / ToPath(target)).lexically_normal();
    return PackageFile(WithForwardSlashes(FromPath(resolved)));
}

bool RelsFile::_GetContentInfo(std::wstring& contentType, std::wstring& extension) const
{
    contentType = ContentTypeRelationships;
    extension = ExtensionContentRelationships;
    return true;
}

bool RelsFile::_GetRelationInfo(std::wstring& type) const
{
    type.clear();
    return false;
}

void RelsFile::_OnRead(PackageReadContext* context)
{
    m_relations.clear();
    m_targets.clear();
    m_indexed = 0;
    RelsFileRead reader(this, context);
    ReadPartXML(*this, context, reader);
}

void RelsFile::_OnWrite(PackageWriteContext* context, std::shared_ptr<OndSDK::Common::IProgressDelegate>)
{
    WritePartXML(*this, context, RelsFileWrite(this), L"Relationships");
}

bool RelsFileRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    if (tag != L"Relationship")
    {
        return false;
    }
    Relationship& relationship = m_file->m_relations.emplace_back();
    reader.GetAttributeString(relationship.m_id, L"Id");
    reader.GetAttributeString(relationship.m_target, L"Target");
    reader.GetAttributeString(relationship.m_type, L"Type");
    if (m_context != nullptr && m_context->m_package != nullptr)
    {
        m_context->m_package->RegisterRelationString(relationship.m_id);
    }
    return true;
}

bool RelsFileWrite::Write(MSAXWriter& writer) const
{
    writer.WriteAttribute(L"xmlns", NamespaceRelationships);
    for (Relationship const& relationship : m_file->GetRelations())
    {
        MSAXTagWriter element(writer, "Relationship");
        writer.WriteAttribute(L"Target", relationship.m_target);
        writer.WriteAttribute(L"Id", relationship.m_id);
        writer.WriteAttribute(L"Type", relationship.m_type);
    }
    return true;
}
} // namespace Format_3MF
