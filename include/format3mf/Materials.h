#pragma once

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

    // Nothing to do around writing and reading: the groups are complete once
    // read, and whoever fills them for writing does so before writing starts.
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
