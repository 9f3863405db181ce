#pragma once

// The "transform" attribute text, to and from transformation matrices.

#include "common/MMTransformMatrix.h"
#include "common/OndExport.h"
#include "format3mf/Units.h"

#include <string>

namespace Format_3MF
{
// Twelve values of the "transform" attribute, the file's row vectors being
// the matrix's columns. Bad or short text gives the identity, silently.
OND_EXPORT MMTransformMatrix ParseTransformation(std::wstring const& text);
// Twelve fixed-point values with eight decimals, in the order Parse reads.
OND_EXPORT std::wstring FormatTransformation(MMTransformMatrix const& matrix);

// Scales the translation to whole internal units (rounded half away from
// zero, truncated to 32 bits) and refreshes the inverse.
OND_EXPORT MMTransformMatrix ConvertTransformationFileUnitsToInternalUnits(MMTransformMatrix const& matrix,
                                                                           tUnits const& units);
// The reverse scaling, without rounding. Unlike the other direction it
// leaves the cached inverse as it was copied; callers rely on that.
OND_EXPORT MMTransformMatrix ConvertTransformationInternalUnitsToFileUnits(MMTransformMatrix const& matrix,
                                                                           tUnits const& units);

// The canonical spelling of a production UUID.
OND_EXPORT std::wstring FormatGUID(std::wstring const& text);
} // namespace Format_3MF
