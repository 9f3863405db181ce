#pragma once

// The XML reader and writer of "resources".

#include "format3mf/Resources.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"
#include "materials/MaterialsRead.h"

#include <memory>
#include <string>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
// Hands each child of "resources" to the materials first and then to the
// factory of its kind. Extension
// resources whose factory gives nothing are skipped with their content.
class ResourcesRead : public ISAXReadHelper, public XMLReadHandler
{
public:
    ResourcesRead(Resources* resources, PackageReadContext* context, ISAXReadHelper* parent);
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    // The element's "id", or -1 when it has none.
    tReferenceID _ReadID(MSAXReader& reader, std::wstring const& prefix) const;
    // Pushes the item's own reader; false when it has none.
    bool _ReadExtension(ModelFileItem* item, MSAXReader& reader, bool attributesFirst);

    Resources* m_resources;
    // Never assigned: the "id" of extension resources is in effect read by
    // its plain name.
    std::wstring m_slicePrefix;
    std::wstring m_toolPathPrefix;
    std::wstring m_ondamxPrefix;
    MaterialsRead m_materialsRead;
};

// Writes the lists in an order that needs no forward reference: materials,
// slice stacks, tool paths, vendor resources, then objects.
class ResourcesWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    ResourcesWrite(Resources const* resources, PackageWriteContext* context,
                   std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    bool Write(MSAXWriter& writer) const override;

private:
    using Delegate = std::shared_ptr<OndSDK::Common::IProgressDelegate>;
    void _WriteSliceStacks(MSAXWriter& writer, Delegate const& progress) const;
    void _WriteToolPaths(MSAXWriter& writer, Delegate const& progress) const;
    void _WriteResourcesOndAMX(MSAXWriter& writer, Delegate const& progress) const;
    void _WriteObjects(MSAXWriter& writer, Delegate const& progress) const;

    Resources const* m_resources;
    Delegate m_progress;
};
} // namespace Format_3MF
