// Objects: preparing their references for writing and finding the slice data
// they link to.
#include "format3mf/Object.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/SliceStack.h"
#include "model/ProductionExtension.h"

namespace Format_3MF
{
Object::~Object() = default;

ISliceStack* Object::_GetSliceStack() const
{
    ModelFile const* const file =
        m_sliceStack.m_modelFile != nullptr ? m_sliceStack.m_modelFile : m_modelFile;
    return dynamic_cast<ISliceStack*>(file->GetReference(m_sliceStack.m_id));
}

void Object::_OnStartWriting(PackageWriteContext* context)
{
    if (!m_uuid.empty())
    {
        m_modelFile->AddNamespace(NamespaceProduction, PrefixProduction);
        m_modelFile->AddRequiredExtension(PrefixProduction);
    }
    if (m_ondamxID.IsDefined())
    {
        m_modelFile->AddNamespace(NamespaceOndAMX, PrefixOndAMX);
    }
    for (Component const& component : m_components)
    {
        if (component.m_object != nullptr && component.m_object->GetModelFile() != m_modelFile)
        {
            DeclareProductionExtension(*m_modelFile);
        }
    }
    if (m_mesh)
    {
        m_mesh->_OnStartWriting(context);
    }
}

void Object::_OnStopWriting(PackageWriteContext* context)
{
    if (m_mesh)
    {
        m_mesh->_OnStopWriting(context);
    }
}

void Object::_OnStartReading(PackageReadContext* context)
{
    if (m_mesh)
    {
        m_mesh->_OnStartReading(context);
    }
}

void Object::_OnStopReading(PackageReadContext* context)
{
    // Every part is read by now: components into other parts find their
    // objects. One that finds none stays null, for the flattening to report.
    for (Component& component : m_components)
    {
        if (component.m_object == nullptr && component.m_modelFile != nullptr &&
            component.m_modelFile != m_modelFile)
        {
            component.m_object =
                dynamic_cast<Object*>(component.m_modelFile->GetReference(component.m_objectID));
        }
    }
    if (m_mesh)
    {
        m_mesh->_OnStopReading(context);
    }
}
} // namespace Format_3MF
