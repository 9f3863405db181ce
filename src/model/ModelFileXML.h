#pragma once

// The XML reader and writer of a model part's root element.

#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include <memory>
#include <string>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
class ModelFile;

// The root element of a model part: namespaces, unit, required extensions
// with their warnings and errors, the binary part, then metadata, resources
// and build. Cancelling is noticed here, at every element.
class ModelFileRead : public ISAXReadHelper, public XMLReadHandler
{
public:
    ModelFileRead(ModelFile* modelFile, PackageReadContext* context);
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    void _ReadNamespaces(MSAXReader& reader);
    // A default namespace that isn't the core one while a prefix is bound to
    // the core: the default becomes the core, with a warning.
    void _ReadMisplacedCore();
    void _ReadRequiredExtensions(MSAXReader& reader);
    void _Unsupported(std::wstring const& uri);
    // A warning of this part: the text, then the part it concerns.
    void _Warn(std::wstring const& text);
    void _ReadBinaryPart(std::wstring const& name);

    ModelFile* m_modelFile;
    std::wstring m_slicePrefix;
    std::wstring m_toolPathPrefix;
    std::wstring m_ondamxPrefix;
};

class ModelFileWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    ModelFileWrite(ModelFile const* modelFile, PackageWriteContext* context,
                   std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    // False when cancelled after the resources: the build is then missing.
    bool Write(MSAXWriter& writer) const override;

private:
    ModelFile const* m_modelFile;
    std::shared_ptr<OndSDK::Common::IProgressDelegate> m_progress;
};
} // namespace Format_3MF
