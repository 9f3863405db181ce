#pragma once

// The property groups and textures of a model part, in file order.

#include "common/OndExport.h"
#include "format3mf/PropertyValues.h"
#include "format3mf/Texture2D.h"

#include <memory>
#include <vector>

namespace Format_3MF
{
class ModelFile;
struct PackageReadContext;
struct PackageWriteContext;

// The property groups and textures of one model. Each list keeps the order in
// which its entries were read or made; a triangle reaches a value through the
// group's id, which the model file registers, and the value's index.
class OND_EXPORT Materials
{
public:
    explicit Materials(ModelFile* modelFile);
    virtual ~Materials();

    // The last colour group, or a new one when there is none or `createNew`
    // asks for it; a new group takes the next free id of the model.
    ColorGroup* GetColorGroup(bool createNew);
    // The same for base material groups.
    BaseMaterialGroup* GetBaseMaterialGroup(bool createNew);
    // The first multi property group over exactly these groups in this
    // order, or a new one with the next free id.
    MultiPropertyGroup* GetMultiPropertyGroup(std::vector<tReferenceID> const& pids);

    // Declares the materials namespace when any of its elements will be
    // written. Base materials alone don't count: they are core elements.
    virtual void _OnStartWriting(PackageWriteContext* context);
    // Nothing to do around reading and after writing: the groups are complete
    // once read, and whoever fills them for writing does so before it starts.
    virtual void _OnStopWriting(PackageWriteContext* context);
    virtual void _OnStartReading(PackageReadContext* context);
    virtual void _OnStopReading(PackageReadContext* context);

    ModelFile* m_modelFile;
    std::vector<std::unique_ptr<BaseMaterialGroup>> m_baseMaterialGroups;
    std::vector<std::unique_ptr<ColorGroup>> m_colorGroups;
    std::vector<std::unique_ptr<Texture2D>> m_textures;
    std::vector<std::unique_ptr<Texture2DGroup>> m_texture2DGroups;
    std::vector<std::unique_ptr<MultiPropertyGroup>> m_multiPropertyGroups;
};
} // namespace Format_3MF
