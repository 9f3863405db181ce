// The resources of a model part and their hooks into reading and writing.
#include "format3mf/Resources.h"

#include "model/ResourcesXML.h"

namespace Format_3MF
{
Resources::Resources(ModelFile* modelFile) : ModelFileItem(modelFile), m_materials(modelFile) {}

Resources::~Resources() = default;

ISAXReadHelper* Resources::_CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent)
{
    return new ResourcesRead(this, context, parent);
}

ISAXWriteHelper*
Resources::_CreateSaxHandlerWrite(PackageWriteContext* context,
                                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const
{
    return new ResourcesWrite(this, context, std::move(progress));
}

// Vendor resources take no part in the life cycle: only their own model file
// knows what they need. The materials come last on the way in, since the
// objects' meshes fill them for writing.
void Resources::_OnStartWriting(PackageWriteContext* context)
{
    for (auto const& slice : m_sliceStacks)
    {
        slice->_OnStartWriting(context);
    }
    for (auto const& path : m_toolPaths)
    {
        path->_OnStartWriting(context);
    }
    for (auto const& object : m_objects)
    {
        object->_OnStartWriting(context);
    }
    m_materials._OnStartWriting(context);
}

void Resources::_OnStopWriting(PackageWriteContext* context)
{
    m_materials._OnStopWriting(context);
    for (auto const& slice : m_sliceStacks)
    {
        slice->_OnStopWriting(context);
    }
    for (auto const& path : m_toolPaths)
    {
        path->_OnStopWriting(context);
    }
    for (auto const& object : m_objects)
    {
        object->_OnStopWriting(context);
    }
}

void Resources::_OnStartReading(PackageReadContext* context)
{
    m_materials._OnStartReading(context);
    for (auto const& slice : m_sliceStacks)
    {
        slice->_OnStartReading(context);
    }
    for (auto const& path : m_toolPaths)
    {
        path->_OnStartReading(context);
    }
    for (auto const& object : m_objects)
    {
        object->_OnStartReading(context);
    }
}

void Resources::_OnStopReading(PackageReadContext* context)
{
    m_materials._OnStopReading(context);
    for (auto const& slice : m_sliceStacks)
    {
        slice->_OnStopReading(context);
    }
    for (auto const& path : m_toolPaths)
    {
        path->_OnStopReading(context);
    }
    for (auto const& object : m_objects)
    {
        object->_OnStopReading(context);
    }
}
} // namespace Format_3MF
