// Reading the vendor's displacement maps of a mesh.
#include "mesh/DisplacementMapRead.h"

#include "format3mf/ModelFile.h"
#include "format3mf/PropertyValues.h"
#include "format3mf/ReadAttribute.h"

namespace Format_3MF
{
// The group is resolved now, so one defined after the object is not found.
bool ReadDisplacementMapElement(MeshStlBase& mesh, std::wstring const& local, MSAXReader& reader)
{
    if (local == L"textures")
    {
        return true;
    }
    if (local != L"texture")
    {
        return false;
    }
    DisplacementMap map;
    tReferenceID id;
    if (!ReadAttribute(reader, L"white", map.m_white) || !ReadAttribute(reader, L"black", map.m_black) ||
        !ReadAttribute(reader, L"texture2d_id", id))
    {
        return false;
    }
    map.m_group = dynamic_cast<Texture2DGroup*>(mesh.m_modelFile->GetReference(id));
    if (map.m_group == nullptr)
    {
        return false;
    }
    mesh.m_displacementMaps.push_back(map);
    return true;
}
} // namespace Format_3MF
