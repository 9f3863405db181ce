// Default handlers of the persist interfaces: an element that ignores an event
// need not override it.
#include "sax/SAXPersist.h"

ISAXReference::~ISAXReference() = default;

ISAXPersistBase::~ISAXPersistBase() = default;

void ISAXPersistBase::SetDefaults() {}

bool ISAXPersistBase::HandleTag(std::wstring const&, MSAXReader&)
{
    return false;
}

void ISAXPersistBase::HandleEndTag(std::wstring const&) {}

void ISAXPersistBase::ResolveReferences(MSAXReader&) {}

void ISAXPersistBase::InitAfterLoading() {}

bool ISAXPersistBase::Write(MSAXWriter&) const
{
    return true;
}

void ISAXPersistBase::SetObjectId(unsigned) {}

ISAXPersist::~ISAXPersist() = default;

ISAXPersistHelper::~ISAXPersistHelper() = default;

ISAXReference* ISAXPersistHelper::GetObjectReference()
{
    return this;
}
