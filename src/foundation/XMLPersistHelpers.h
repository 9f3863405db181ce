#pragma once

#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/XMLNamespaceHandler.h"

namespace Format_3MF
{
// Base of the library's readers: a persist object that carries the namespace
// scope of its element, inheriting the declarations of its ancestors.
struct ISAXReadHelper : ISAXPersistHelper, OndAM::SaxUtilities::XMLNamespaceHandler
{
    ISAXReadHelper() = default;
    // A child element sees the prefixes declared on its ancestors. The parent
    // must outlive the child, as it does on the reader's stack.
    explicit ISAXReadHelper(ISAXReadHelper const* parent) : OndAM::SaxUtilities::XMLNamespaceHandler(parent)
    {
    }
    ~ISAXReadHelper() override = default;
};

// Base of the library's writers.
struct ISAXWriteHelper : ISAXPersistHelper
{
    ISAXWriteHelper() = default;
    ISAXWriteHelper(ISAXWriteHelper const&) = default;
    ISAXWriteHelper& operator=(ISAXWriteHelper const&) = default;
};

// Implemented by readers that take the attributes of the element that was
// just opened, called by whoever pushed them while the start tag is current.
struct ISAXAttributeHandler
{
    virtual ~ISAXAttributeHandler() = default;
    virtual void HandleAttributes(MSAXReader& reader) = 0;
};
} // namespace Format_3MF
