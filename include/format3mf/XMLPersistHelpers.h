// Bases of every XML reader and writer, the library's own and those an
// application supplies at the extension points (slice stacks, tool paths, ...).
#pragma once

#include "common/OndExport.h"
#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"
#include "sax/XMLNamespaceHandler.h"

#include <string>

namespace Format_3MF
{
// Base of every reader: a persist object that carries the namespace
// scope of its element, inheriting the declarations of its ancestors.
struct OND_EXPORT ISAXReadHelper : ISAXPersistHelper, OndAM::SaxUtilities::XMLNamespaceHandler
{
    ISAXReadHelper() = default;
    // A child element sees the prefixes declared on its ancestors. The parent
    // must outlive the child, as it does on the reader's stack.
    explicit ISAXReadHelper(ISAXReadHelper const* parent) : OndAM::SaxUtilities::XMLNamespaceHandler(parent)
    {
    }
    ~ISAXReadHelper() override = default;
};

// Base of every writer.
struct OND_EXPORT ISAXWriteHelper : ISAXPersistHelper
{
    ISAXWriteHelper() = default;
    ISAXWriteHelper(ISAXWriteHelper const&) = default;
    ISAXWriteHelper& operator=(ISAXWriteHelper const&) = default;
};

// Implemented by readers that take the attributes of the element that was
// just opened, called by whoever pushed them while the start tag is current.
struct OND_EXPORT ISAXAttributeHandler
{
    virtual ~ISAXAttributeHandler() = default;
    virtual void HandleAttributes(MSAXReader& reader) = 0;
};

// An element named prefix ":" tag. The colon is always there, so an empty
// prefix gives a name that begins with one: that shows a namespace that was
// not declared before writing began.
class OND_EXPORT MSAXTagWriterNS : public MSAXTagWriter
{
public:
    MSAXTagWriterNS(MSAXWriter& writer, std::wstring const& tag, std::wstring const& prefix);
};
} // namespace Format_3MF
