#pragma once

// The interfaces of persist objects, which read and write one XML element each
// and so split a document's handling by element.

#include "common/OndExport.h"

#include <string>

class MSAXReader;
class MSAXWriter;

// The persist objects that MSAXReader drives while reading and that print
// themselves through MSAXWriter. They live in the global namespace, beside
// the reader and writer classes.

// An empty root that every persist object has as a virtual base, so that a
// persist object has one identity whatever path it was reached by.
class OND_EXPORT ISAXReference
{
public:
    virtual ~ISAXReference();
};

// The callbacks of reading and writing. The base implementations do nothing
// and take nothing, so a class overrides only what it needs.
class OND_EXPORT ISAXPersistBase : public virtual ISAXReference
{
public:
    ~ISAXPersistBase() override;
    virtual void SetDefaults();
    // A start tag, as written in the document (prefix included). True when
    // the element was taken; an element not taken is skipped with all of its
    // content.
    virtual bool HandleTag(std::wstring const& tag, MSAXReader& reader);
    // The end of an element whose start tag this object took.
    virtual void HandleEndTag(std::wstring const& tag);
    // Called on the root object once the whole document was read.
    virtual void ResolveReferences(MSAXReader& reader);
    // Called on the root object after ResolveReferences.
    virtual void InitAfterLoading();
    // Prints the attributes and the children of the element this object stands for.
    virtual bool Write(MSAXWriter& writer) const;
    virtual ISAXReference* GetObjectReference() = 0;
    virtual void SetObjectId(unsigned id);
};

class OND_EXPORT ISAXPersist : public ISAXPersistBase
{
public:
    ~ISAXPersist() override;
};

// The class a concrete persist object builds on.
class OND_EXPORT ISAXPersistHelper : public ISAXPersist
{
public:
    ISAXPersistHelper() = default;
    ISAXPersistHelper(ISAXPersistHelper const&) = default;
    ISAXPersistHelper& operator=(ISAXPersistHelper const&) = default;
    ~ISAXPersistHelper() override;
    ISAXReference* GetObjectReference() override;
};
