#pragma once

#include "sax/SAXWriter.h"

#include <string>

namespace Format_3MF
{
// Writes an attribute under its plain name, or prefixed when a prefix is
// given (an empty prefix gives the plain name too).
void WriteAttributeNS(MSAXWriter& writer, std::wstring const& name, std::wstring const& value,
                      std::wstring const* prefix);

// An element named prefix ":" tag. The colon is always there, so an empty
// prefix gives a name that begins with one: that shows a namespace that was
// not declared before writing began.
class MSAXTagWriterNS : public MSAXTagWriter
{
public:
    MSAXTagWriterNS(MSAXWriter& writer, std::wstring const& tag, std::wstring const& prefix);
};
} // namespace Format_3MF
