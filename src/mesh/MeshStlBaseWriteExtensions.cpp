// The steps of the mesh writer that print extensions of the mesh: the
// vendor's displacement maps and the beam lattice.
#include "mesh/MeshStlBaseWrite.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/PropertyValues.h"
#include "foundation/XMLNames.h"

#include "common/IncrementalProgressReporter.h"
#include "sax/SAXWriter.h"

namespace Format_3MF
{
// Attribute names carry no prefix, as on reading. A cancel ends the list
// quietly where it is.
void MeshStlBaseWrite::_WriteDisplacementMaps(MSAXWriter& writer, Delegate const& progress) const
{
    std::vector<DisplacementMap> const& maps = mp_data->m_displacementMaps;
    OndSDK::Common::IncrementalProgressReporter counter(
        progress, "Format_3MF::MeshStlBaseWrite::_WriteDisplacementMaps", maps.size(), true);
    if (maps.empty())
    {
        return;
    }
    std::wstring const prefix = mp_data->m_modelFile->GetPrefix(NamespaceDisplacementTextures);
    MSAXTagWriterNS textures(writer, L"textures", prefix);
    for (DisplacementMap const& map : maps)
    {
        if (counter.IsCancelled())
        {
            return;
        }
        MSAXTagWriterNS texture(writer, L"texture", prefix);
        writer.WriteAttribute(L"texture2d_id", std::to_wstring(int(map.m_group->m_id)));
        writer.WriteAttribute(L"white", FormatValueFileUnits(map.m_white, 4));
        writer.WriteAttribute(L"black", FormatValueFileUnits(map.m_black, 4));
        ++counter;
    }
}

// Without a beam namespace no lattice is written, not even an empty element.
void MeshStlBaseWrite::_WriteBeamLattice(MSAXWriter& writer) const
{
    if (!mp_data->m_beamLattice || m_context->Graphs.BeamNamespace.empty())
    {
        return;
    }
    std::unique_ptr<ISAXWriteHelper> const helper(
        mp_data->m_beamLattice->_CreateSaxHandlerWrite(m_context, this));
    if (helper)
    {
        std::wstring const prefix = mp_data->m_modelFile->GetPrefix(m_context->Graphs.BeamNamespace);
        MSAXTagWriterNS lattice(writer, L"beamlattice", prefix);
        helper->Write(writer);
    }
}
} // namespace Format_3MF
