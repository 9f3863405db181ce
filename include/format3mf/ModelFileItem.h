#pragma once

// The base of everything a model part owns, so that each owns its own XML
// reading and writing.

#include "common/OndExport.h"

#include <memory>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
class ModelFile;
struct ISAXReadHelper;
struct ISAXWriteHelper;
struct PackageReadContext;
struct PackageWriteContext;

// Base of what a model part owns: it makes its own XML reader and writer and
// takes part in the life cycle of the part.
struct OND_EXPORT ModelFileItem
{
    explicit ModelFileItem(ModelFile* modelFile) : m_modelFile(modelFile) {}
    virtual ~ModelFileItem() = default;

    // A new reader for the caller to push, or null to skip the element.
    virtual ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) = 0;
    // A new writer for the caller to delete.
    virtual ISAXWriteHelper*
    _CreateSaxHandlerWrite(PackageWriteContext* context,
                           std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const = 0;
    virtual void _OnStartWriting(PackageWriteContext* context) = 0;
    virtual void _OnStopWriting(PackageWriteContext* context) = 0;
    virtual void _OnStartReading(PackageReadContext* context) = 0;
    virtual void _OnStopReading(PackageReadContext* context) = 0;

    ModelFile* m_modelFile;
};
} // namespace Format_3MF
