#pragma once

// The XML reader and writer of "object" elements.

#include "format3mf/Object.h"
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
// The attributes and children of an "object". Prefixes are taken from the
// model file, so after its root element was read.
class ObjectRead : public ISAXReadHelper, public ISAXAttributeHandler, public XMLReadHandler
{
public:
    ObjectRead(Object* object, PackageReadContext* context, ISAXReadHelper* parent);
    void HandleAttributes(MSAXReader& reader) override;
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    void _ReadThumbnail(std::wstring const& name);
    // The model file that a path attribute names: the object's own for none.
    ModelFile* _ReadPath(MSAXReader& reader, wchar_t const* name, std::wstring const& prefix);
    void _ReadComponent(MSAXReader& reader);

    Object* m_object;
    std::wstring m_slicePrefix;
    std::wstring m_productionPrefix;
    std::wstring m_toolPathPrefix;
    std::wstring m_ondamxPrefix;
    ISAXReadHelper* m_meshReader = nullptr; // owned by the reader's stack
};

// Everything of an "object" element but its "id", which the list writes.
class ObjectWrite : public ISAXPersistHelper, public XMLWriteHandler
{
public:
    ObjectWrite(Object const* object, PackageWriteContext* context,
                std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    // False when cancelled: the element is then incomplete.
    bool Write(MSAXWriter& writer) const override;

private:
    // Those before the tool paths.
    void _WriteAttributes(MSAXWriter& writer) const;

    Object const* m_object;
    std::shared_ptr<OndSDK::Common::IProgressDelegate> m_progress;
};
} // namespace Format_3MF
