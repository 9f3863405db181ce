#pragma once

// The XML reader and writer of metadata groups.

#include "format3mf/MetaData.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include "sax/SAXWriter.h"

namespace Format_3MF
{
// Takes "metadata" elements of any namespace into a group.
class MetaDataGroupRead : public ISAXReadHelper
{
public:
    MetaDataGroupRead(MetaDataGroup* group, PackageReadContext* context);
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    MetaDataGroup* m_group;
    PackageReadContext* m_context;
};

// Writes one "metadata" element per item, in the order of the names.
class MetaDataGroupWrite : public ISAXWriteHelper
{
public:
    MetaDataGroupWrite(MetaDataGroup const* group, PackageWriteContext* context, std::wstring const* prefix);
    bool Write(MSAXWriter& writer) const override;

private:
    MetaDataGroup const* m_group;
    PackageWriteContext* m_context;
    std::wstring const* m_prefix;
};
} // namespace Format_3MF
