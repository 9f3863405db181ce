// The package context and the number formats that every reader and writer uses.
#pragma once

#include "common/OndExport.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PackageWriteContext.h"
#include "format3mf/ReferenceID.h"
#include "format3mf/Units.h"

#include "sax/SAXReader.h"

#include <string>

namespace Format_3MF
{
// Gives a reader the context of the package being read.
class OND_EXPORT XMLReadHandler
{
public:
    explicit XMLReadHandler(PackageReadContext* context) : m_context(context) {}

protected:
    // Called for every element: throws Canceled, with status 3, once the
    // delegate asks for it, and otherwise reports the position in the part.
    void _ReportProgress(MSAXReader& reader) const;

    PackageReadContext* m_context;
};

// Gives a writer the context of the package being written, and the exact text
// forms of identifiers and lengths. The formatters print into the context's
// one scratch string and return it: the text is valid until the next call.
class OND_EXPORT XMLWriteHandler
{
public:
    explicit XMLWriteHandler(PackageWriteContext* context) : m_context(context) {}

protected:
    // "%i"; std::logic_error for the undefined identifier.
    std::wstring const& FormatID(tReferenceID const& id) const;
    // "%.*f": fixed notation, trailing zeros kept. std::runtime_error when the
    // text would need more than 63 characters.
    std::wstring const& FormatValueFileUnits(double const& value, int precision) const;
    // An internal length in the file's unit, four decimals.
    std::wstring const& FormatValueInternalUnits(int value, tUnits const& units) const;

    PackageWriteContext* m_context;
};
} // namespace Format_3MF
