// Reading and writing a "component", including its production path to an
// object in another model part.
#include "model/ComponentXML.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/ReadAttribute.h"
#include "format3mf/Transformation.h"
#include "foundation/XMLNames.h"

namespace Format_3MF
{
ComponentRead::ComponentRead(Component* component, ModelFile* modelFile, PackageReadContext* context,
                             std::wstring const& productionPrefix)
    : XMLReadHandler(context), m_component(component), m_modelFile(modelFile),
      m_productionPrefix(productionPrefix)
{
}

void ComponentRead::HandleAttributes(MSAXReader& reader)
{
    std::wstring path;
    ReadAttribute(reader, L"path", path, &m_productionPrefix);
    m_component->m_modelFile = path.empty() ? m_modelFile : m_modelFile->AddRelatedModelFile(path);
    ReadAttribute(reader, L"UUID", m_component->m_uuid, &m_productionPrefix);
    std::wstring transform;
    if (reader.GetAttributeString(transform, L"transform"))
    {
        m_component->m_transform = ParseTransformation(transform);
    }
}

ComponentWrite::ComponentWrite(Component const* component, Object const* owner, PackageWriteContext* context)
    : XMLWriteHandler(context), m_component(component), m_owner(owner)
{
}

bool ComponentWrite::Write(MSAXWriter& writer) const
{
    if (m_component->m_object == nullptr)
    {
        throw Exception(L"A component of object " + std::to_wstring(int(m_owner->m_id)) +
                        L" refers to no object.");
    }
    ModelFile const* const own = m_owner->GetModelFile();
    std::wstring const prefix = own->GetPrefix(NamespaceProduction);
    if (!m_component->m_uuid.empty())
    {
        WriteAttributeNS(writer, L"UUID", m_component->m_uuid, &prefix);
    }
    writer.WriteAttribute(L"objectid", FormatID(m_component->m_object->m_id));
    ModelFile const* const file = m_component->m_object->GetModelFile();
    if (file != own)
    {
        WriteAttributeNS(writer, L"path", file->GetFileNameInPackage(), &prefix);
    }
    if (!m_component->m_transform.IsIdentity())
    {
        writer.WriteAttribute(L"transform", FormatTransformation(m_component->m_transform));
    }
    return true;
}
} // namespace Format_3MF
