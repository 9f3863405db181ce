#pragma once

// The resources of a model part, in file order.

#include "common/OndExport.h"
#include "format3mf/Materials.h"
#include "format3mf/ModelFileItem.h"
#include "format3mf/Object.h"
#include "format3mf/SliceStack.h"
#include "format3mf/ToolPath.h"

#include <memory>
#include <vector>

namespace Format_3MF
{
// The content of the "resources" element of one model part. Lists keep the
// order of the file; identifiers live in the model file's table.
struct OND_EXPORT Resources : ModelFileItem
{
    explicit Resources(ModelFile* modelFile);
    ~Resources() override;

    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override;
    ISAXWriteHelper*
    _CreateSaxHandlerWrite(PackageWriteContext* context,
                           std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const override;
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopWriting(PackageWriteContext* context) override;
    void _OnStartReading(PackageReadContext* context) override;
    void _OnStopReading(PackageReadContext* context) override;

    Materials m_materials;
    std::vector<std::unique_ptr<ISliceStack>> m_sliceStacks;
    std::vector<std::unique_ptr<IToolPath>> m_toolPaths;
    std::vector<std::unique_ptr<ModelFileItem>> m_resourcesOndAMX;
    std::vector<std::unique_ptr<Object>> m_objects;
};
} // namespace Format_3MF
