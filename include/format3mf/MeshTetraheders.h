#pragma once

// Tetrahedral meshes, which an application supplies through a provider and the
// library only carries.

#include "common/OndExport.h"
#include "format3mf/ModelFileItem.h"

namespace Format_3MF
{
class IMesh;

// The tetrahedra of a mesh, supplied by an application through a provider.
struct OND_EXPORT IMeshTetraheders : ModelFileItem
{
    explicit IMeshTetraheders(IMesh* mesh);

    IMesh* m_mesh;
};

// Makes the tetrahedra item of a mesh. The library keeps one provider for
// applications and never calls it itself.
class OND_EXPORT IProviderMeshTetraheders
{
public:
    virtual ~IProviderMeshTetraheders() = default;
    // A new item for the caller to own, or null.
    virtual IMeshTetraheders* CreateMeshTetraheders(IMesh* mesh) = 0;
};

// The provider in effect while an application has set none.
class OND_EXPORT ProviderMeshTetrahedersNone : public IProviderMeshTetraheders
{
public:
    IMeshTetraheders* CreateMeshTetraheders(IMesh*) override { return nullptr; }
};

// Not owned; null puts the None provider back. Set it once, before reading:
// nothing guards the pointer against other threads.
OND_EXPORT void SetVolumetricProvider(IProviderMeshTetraheders* provider);
// Never null.
OND_EXPORT IProviderMeshTetraheders* GetVolumetricProvider();
} // namespace Format_3MF
