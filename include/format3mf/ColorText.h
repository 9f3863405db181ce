#pragma once

// The "#rrggbb" colour text of 3MF attributes, to and from packed colours.

#include "common/OndExport.h"

#include <cstdint>
#include <string>
#include <string_view>

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

namespace format3mf
{
// The strict reading of colour text, for everything but the model's own
// attributes: "#RRGGBB" or "#RRGGBBAA" in either case, packed with red in
// the lowest byte as MStlColor packs it; the alpha, where given, goes into
// the top byte. Any other text throws Format_3MF::Exception naming it.
OND_EXPORT std::uint32_t ParseColorText(std::string_view text);
} // namespace format3mf
