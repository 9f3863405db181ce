// Tetrahedral meshes and the process-wide provider slot through which an
// application supplies them.
#include "format3mf/MeshTetraheders.h"

#include "format3mf/IMesh.h"

namespace Format_3MF
{
IMeshTetraheders::IMeshTetraheders(IMesh* mesh) : ModelFileItem(mesh->m_modelFile), m_mesh(mesh) {}

namespace
{
// The one stored pointer; null reads as the None provider.
IProviderMeshTetraheders*& ProviderSlot()
{
    static IProviderMeshTetraheders* provider = nullptr;
    return provider;
}
} // namespace

void SetVolumetricProvider(IProviderMeshTetraheders* provider)
{
    ProviderSlot() = provider;
}

IProviderMeshTetraheders* GetVolumetricProvider()
{
    static ProviderMeshTetrahedersNone none;
    IProviderMeshTetraheders*& provider = ProviderSlot();
    if (provider == nullptr)
    {
        provider = &none;
    }
    return provider;
}
} // namespace Format_3MF
