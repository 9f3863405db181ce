#pragma once

#include "format3mf/Component.h"
#include "foundation/XMLHandlers.h"
#include "foundation/XMLPersistHelpers.h"

#include <string>

namespace Format_3MF
{
class Object;

// The attributes of a "component" besides "objectid", which the object's
// reader takes itself.
class ComponentRead : public ISAXReadHelper, public ISAXAttributeHandler, public XMLReadHandler
{
public:
    ComponentRead(Component* component, PackageReadContext* context, std::wstring const& productionPrefix);
    void HandleAttributes(MSAXReader& reader) override;

private:
    Component* m_component;
    std::wstring m_productionPrefix;
};

class ComponentWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    // `owner` is the object whose components these are, named in errors.
    ComponentWrite(Component const* component, Object const* owner, PackageWriteContext* context);
    bool Write(MSAXWriter& writer) const override;

private:
    Component const* m_component;
    Object const* m_owner;
};
} // namespace Format_3MF
