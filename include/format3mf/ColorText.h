#pragma once

// The "#rrggbb" colour text of 3MF attributes, to and from packed colours.

#include "common/OndExport.h"

#include <string>

namespace Format_3MF
{
// "#rrggbb" in lower case from a packed colour (red in the lowest byte);
// the top byte is never written.
OND_EXPORT std::wstring EncodeColor(unsigned int const& color);

// The packed colour of "#rrggbb" or "#rrggbbaa" (the alpha pair is ignored).
// Text that is empty or doesn't start with "#" gives 0. A text that starts
// with "#" but has neither 7 nor 9 characters throws the int 0: callers rely
// on that being no exception class. A pair that doesn't start with a
// hexadecimal digit reads as 0; a digit followed by something else reads as
// that digit.
OND_EXPORT unsigned int DecodeColor(std::wstring const& text);
} // namespace Format_3MF
