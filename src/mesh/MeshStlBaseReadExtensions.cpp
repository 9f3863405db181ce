// The elements of other namespaces inside "mesh": the vendor's displacement
// maps, and the beam lattice in either dialect.
#include "mesh/MeshStlBaseRead.h"

#include "format3mf/FormatIdentifiers.h"
#include "mesh/DisplacementMapRead.h"

namespace Format_3MF
{
// "beamlattice" is taken in any namespace that has a lattice reader; with
// the geometry skipped, it is skipped too, as its beams need the vertices.
bool MeshStlBaseRead::_ReadExtension(std::wstring const& tag, MSAXReader& reader)
{
    std::wstring prefix;
    std::wstring uri;
    std::wstring local;
    SplitName(tag, prefix, uri, local);
    if (uri == NamespaceDisplacementTextures)
    {
        return ReadDisplacementMapElement(*m_mesh, local, reader);
    }
    if (local != L"beamlattice" || m_context->IsSkipGeometry)
    {
        return false;
    }
    m_mesh->m_beamLattice = m_mesh->CreateBeamLattice(true);
    ISAXReadHelper* const helper = m_mesh->m_beamLattice->_CreateSaxHandlerRead(m_context, this, uri);
    if (helper == nullptr)
    {
        return false;
    }
    reader.PushHandler(helper);
    if (auto* const attributes = dynamic_cast<ISAXAttributeHandler*>(helper))
    {
        attributes->HandleAttributes(reader);
    }
    return true;
}
} // namespace Format_3MF
