// The binding of an object's mesh to a host mesh: construction, ownership
// and the life-cycle hooks. Reading, preparing and writing live beside it.
#include "format3mf/MeshStlBase.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "mesh/MeshStlBaseRead.h"
#include "mesh/MeshStlBaseWrite.h"

#include "triangles/MStlBase.h"

namespace Format_3MF
{
MeshStlBase::MeshStlBase(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext*)
    : IMesh(modelFile, object), m_stl(stl)
{
}

MeshStlBase::MeshStlBase(MStlBase* stl, ModelFile* modelFile, Object* object, PackageWriteContext* context,
                         MeshStlBaseRegistry& registry)
    : IMesh(modelFile, object), m_stl(stl)
{
    AddContentForWriting(context, registry);
}

// The mask hangs on the host mesh, so it goes first, while its owner exists.
MeshStlBase::~MeshStlBase()
{
    m_triangleProperties.reset();
    if (m_ownStl)
    {
        delete m_stl;
    }
}

void MeshStlBase::SetStl(MStlBase* stl, bool own)
{
    if (stl != m_stl && m_ownStl)
    {
        delete m_stl;
    }
    m_ownStl = own;
    m_stl = stl;
}

MStlBase* MeshStlBase::GetStl(bool release)
{
    if (release)
    {
        m_ownStl = false;
    }
    return m_stl;
}

std::unique_ptr<BeamLatticeStlBase> MeshStlBase::CreateBeamLattice(bool force)
{
    if (!force && m_stl->GetFeature().GetNumGraphs(false) == 0)
    {
        return nullptr;
    }
    return std::make_unique<BeamLatticeStlBase>(m_stl, m_modelFile, m_object);
}

void MeshStlBase::InitTriangleProperties()
{
    if (!m_triangleProperties)
    {
        m_triangleProperties = std::make_unique<TrianglePropertyMask>(&m_stl->GetTriangleMaskOwner());
    }
}

ISAXReadHelper* MeshStlBase::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent)
{
    return new MeshStlBaseRead(context, this, parent);
}

ISAXWriteHelper*
MeshStlBase::_CreateSaxHandlerWrite(PackageWriteContext* context,
                                    std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const
{
    // The writer fills a mask on the host mesh; the binding itself stays as it is.
    return new MeshStlBaseWrite(context, const_cast<MeshStlBase*>(this), std::move(progress));
}

void MeshStlBase::_OnStartWriting(PackageWriteContext* context)
{
    if (m_tetraheders)
    {
        m_tetraheders->_OnStartWriting(context);
    }
    if (!m_displacementMaps.empty())
    {
        m_modelFile->AddNamespace(NamespaceDisplacementTextures, PrefixDisplacementTextures);
        m_modelFile->AddRequiredExtension(PrefixDisplacementTextures);
    }
}

void MeshStlBase::_OnStopWriting(PackageWriteContext* context)
{
    if (m_tetraheders)
    {
        m_tetraheders->_OnStopWriting(context);
    }
}

void MeshStlBase::_OnStartReading(PackageReadContext* context)
{
    if (m_tetraheders)
    {
        m_tetraheders->_OnStartReading(context);
    }
}
} // namespace Format_3MF
