#pragma once

// The XML reader and writer of "build" and its items.

#include "format3mf/Build.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

namespace Format_3MF
{
class BuildRead : public ISAXReadHelper, public ISAXAttributeHandler, public XMLReadHandler
{
public:
    BuildRead(Build* build, PackageReadContext* context, ISAXReadHelper* parent,
              std::wstring const& productionPrefix);
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;
    void HandleAttributes(MSAXReader& reader) override;

private:
    Build* m_build;
    std::wstring m_productionPrefix;
};

class BuildWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    BuildWrite(Build const* build, PackageWriteContext* context);
    bool Write(MSAXWriter& writer) const override;

private:
    Build const* m_build;
};
} // namespace Format_3MF
