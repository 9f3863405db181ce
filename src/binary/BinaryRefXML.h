// The attributes of a "bin" element: reading them into a BinaryRef and
// printing a BinaryRef into the element that the caller has opened.
#pragma once

#include "binary/BinaryRef.h"
#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

namespace Format_3MF
{
// Used on the stack while the "bin" start tag is current; nothing is pushed.
class BinaryRefRead : public XMLReadHandler
{
public:
    BinaryRefRead(BinaryRef* ref, PackageReadContext* context);

    // "ref" and "format" are copied when present. True when "pos" and
    // "count" were both read; a missing "count" (as written for 0 records)
    // is a failure too.
    bool HandleAttributes(MSAXReader& reader);

private:
    BinaryRef* m_ref;
};

class BinaryRefWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    BinaryRefWrite(BinaryRef const* ref, PackageWriteContext* context);

    // "ref", "format", "pos", "count", each only when it has a value.
    // Always true.
    bool Write(MSAXWriter& writer) const override;

private:
    BinaryRef const* m_ref;
};
} // namespace Format_3MF
