// The XML reader of relationship parts.
#pragma once

#include "format3mf/RelsFile.h"

#include "sax/SAXPersist.h"

namespace Format_3MF
{
// Reads the "Relationship" elements of a relationships part.
class RelsFileRead : public ISAXPersistHelper
{
public:
    RelsFileRead(RelsFile* file, PackageReadContext* context) : m_file(file), m_context(context) {}
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    RelsFile* m_file;
    PackageReadContext* m_context;
};

class RelsFileWrite : public ISAXPersistHelper
{
public:
    explicit RelsFileWrite(RelsFile const* file) : m_file(file) {}
    bool Write(MSAXWriter& writer) const override;

private:
    RelsFile const* m_file;
};
} // namespace Format_3MF
