// Attribute reading for the XML readers: plain name first, then prefixed.
#pragma once

#include "common/OndExport.h"
#include "format3mf/ReferenceID.h"
#include "sax/SAXReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Format_3MF
{
// A prefixed name, "prefix:name", or the name alone for an empty prefix.
OND_EXPORT std::wstring QualifiedAttributeName(std::wstring const& name, std::wstring const& prefix);

// Reads an attribute by its plain name first and then, with a prefix given,
// by the prefixed name, so an extension's attribute is accepted with or
// without its prefix. True when found; `value` is left alone otherwise.
// Numbers that do not parse read as absent.
template <typename T>
bool ReadAttribute(MSAXReader& reader, std::wstring const& name, T& value,
                   std::wstring const* prefix = nullptr)
{
    if (reader.ReadAttribute(value, name))
    {
        return true;
    }
    return prefix != nullptr && reader.ReadAttribute(value, QualifiedAttributeName(name, *prefix));
}

OND_EXPORT bool ReadAttribute(MSAXReader& reader, std::wstring const& name, std::wstring& value,
                              std::wstring const* prefix = nullptr);

// The leading integer of the text, as a stream's extraction reads it: blanks
// skipped, trailing text ignored; no digits give 0, a value out of range the
// nearest limit. Text that is no number is no error here.
OND_EXPORT bool ReadAttribute(MSAXReader& reader, std::wstring const& name, tReferenceID& value,
                              std::wstring const* prefix = nullptr);

// Appends the identifiers of a blank-separated list. Trailing blanks add one
// undefined identifier (-1) at the end, which readers rely on; the list ends
// at the first entry that is no number, after appending 0 for it.
OND_EXPORT bool ReadAttribute(MSAXReader& reader, std::wstring const& name, std::vector<tReferenceID>& value,
                              std::wstring const* prefix = nullptr);
} // namespace Format_3MF
