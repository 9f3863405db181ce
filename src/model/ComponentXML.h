#pragma once

// The XML reader and writer of "component" elements.

#include "format3mf/Component.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include <string>

namespace Format_3MF
{
class ModelFile;
class Object;

// The attributes of a "component" besides "objectid", which the object's
// reader takes itself.
class ComponentRead : public ISAXReadHelper, public ISAXAttributeHandler, public XMLReadHandler
{
public:
    // `modelFile` is the part the component stands in.
    ComponentRead(Component* component, ModelFile* modelFile, PackageReadContext* context,
                  std::wstring const& productionPrefix);
    // Sets the component's part: the one its "path" names, else its own.
    void HandleAttributes(MSAXReader& reader) override;

private:
    Component* m_component;
    ModelFile* m_modelFile;
    std::wstring m_productionPrefix;
};

class ComponentWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    // `owner` is the object whose components these are, named in errors.
    ComponentWrite(Component const* component, Object const* owner, PackageWriteContext* context);
    // Writes "path" when the placed object stands in another part; the
    // owner's _OnStartWriting declared the production extension for it.
    bool Write(MSAXWriter& writer) const override;

private:
    Component const* m_component;
    Object const* m_owner;
};
} // namespace Format_3MF
