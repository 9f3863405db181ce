// The lattice of a mesh over the host's graphs: ownership of the mesh, the
// clipping mode, and the choice of dialect for reading and writing.
#include "format3mf/BeamLattice.h"

#include "beamlattice/BeamLatticeStlBaseRead.h"
#include "beamlattice/BeamLatticeStlBaseWrite.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "mesh/MeshStlBaseRead.h"
#include "mesh/MeshStlBaseWrite.h"

#include "triangles/MStlBase.h"

namespace Format_3MF
{
std::wstring IBeamLattice::GetStringClipMode() const
{
    switch (m_clipMode)
    {
    case 1:
        return L"inside";
    case 2:
        return L"outside";
    default:
        return L"none";
    }
}

void IBeamLattice::SetStringClipMode(std::wstring const& mode)
{
    if (mode == L"inside")
    {
        m_clipMode = 1;
    }
    else if (mode == L"outside")
    {
        m_clipMode = 2;
    }
}

BeamLatticeStlBase::BeamLatticeStlBase(MStlBase* stl, ModelFile* modelFile, Object* object)
    : IBeamLattice(modelFile, object), m_stl(stl)
{
}

BeamLatticeStlBase::BeamLatticeStlBase(BeamLatticeStlBase const& other)
    : IBeamLattice(other), m_stl(other.m_stl)
{
}

BeamLatticeStlBase& BeamLatticeStlBase::operator=(BeamLatticeStlBase const& other)
{
    if (this != &other)
    {
        SetStl(other.m_stl, false);
        IBeamLattice::operator=(other);
    }
    return *this;
}

BeamLatticeStlBase::~BeamLatticeStlBase()
{
    if (m_ownStl)
    {
        delete m_stl;
    }
}

void BeamLatticeStlBase::SetStl(MStlBase* stl, bool own)
{
    if (stl != m_stl && m_ownStl)
    {
        delete m_stl;
    }
    m_ownStl = own;
    m_stl = stl;
}

MStlBase* BeamLatticeStlBase::GetStl(bool release)
{
    if (release)
    {
        m_ownStl = false;
    }
    return m_stl;
}

// The namespaces are told apart by the whole URI: both dialects have the same
// path under different roots.
ISAXReadHelper* BeamLatticeStlBase::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent,
                                                          std::wstring const& nameSpace)
{
    auto* const mesh = dynamic_cast<MeshStlBaseRead*>(parent);
    if (mesh == nullptr)
    {
        return nullptr;
    }
    if (nameSpace == NamespaceBeamLatticeOndl)
    {
        return new BeamLatticeStlBaseReadOndl(context, this, *mesh);
    }
    if (nameSpace == NamespaceBeamLattice)
    {
        return new BeamLatticeStlBaseReadOfficial(context, this, *mesh);
    }
    return nullptr;
}

ISAXWriteHelper* BeamLatticeStlBase::_CreateSaxHandlerWrite(PackageWriteContext* context,
                                                            ISAXWriteHelper const* parent) const
{
    auto const* const mesh = dynamic_cast<MeshStlBaseWrite const*>(parent);
    if (mesh == nullptr)
    {
        return nullptr;
    }
    if (context->Graphs.BeamNamespace == NamespaceBeamLatticeOndl)
    {
        return new BeamLatticeStlBaseWriteOndl(context, this, *mesh);
    }
    return new BeamLatticeStlBaseWriteOfficial(context, this, *mesh);
}

void BeamLatticeStlBase::_OnStartWriting(PackageWriteContext* context)
{
    std::wstring const& nameSpace = context->Graphs.BeamNamespace;
    if (!nameSpace.empty() && m_stl != nullptr && m_stl->GetFeature().GetNumEdges() != 0)
    {
        m_modelFile->AddNamespace(nameSpace, L"lg");
    }
}
} // namespace Format_3MF
