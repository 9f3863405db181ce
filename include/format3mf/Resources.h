#pragma once

#include "common/OndExport.h"
#include "format3mf/ModelFileItem.h"

namespace Format_3MF
{
// The content of the "resources" element of one model part.
struct OND_EXPORT Resources : ModelFileItem
{
    explicit Resources(ModelFile* modelFile) : ModelFileItem(modelFile) {}

    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override;
    ISAXWriteHelper*
    _CreateSaxHandlerWrite(PackageWriteContext* context,
                           std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const override;
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopWriting(PackageWriteContext* context) override;
    void _OnStartReading(PackageReadContext* context) override;
    void _OnStopReading(PackageReadContext* context) override;
};
} // namespace Format_3MF
