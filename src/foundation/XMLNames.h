// Attribute names with an optional namespace prefix, for the library's writers.
#pragma once

#include "format3mf/XMLPersistHelpers.h"
#include "sax/SAXWriter.h"

#include <string>

namespace Format_3MF
{
// Writes an attribute under its plain name, or prefixed when a prefix is
// given (an empty prefix gives the plain name too).
void WriteAttributeNS(MSAXWriter& writer, std::wstring const& name, std::wstring const& value,
                      std::wstring const* prefix);

} // namespace Format_3MF
