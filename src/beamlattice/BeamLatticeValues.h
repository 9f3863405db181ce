// The value forms that the lattice readers and writers share: the text of a
// cap, and lengths between a file's unit and the mesh's internal units.
#pragma once

#include "triangles/MStlBaseElementInfo.h"

#include <cstdint>
#include <string>

namespace Format_3MF
{
// "hemisphere", "sphere" or "butt"; any other text is a hemisphere.
eStlGraphEdgeCap CapOfText(std::wstring const& text);
// Sphere and butt by name; every other value, "not set" included, is
// written as "hemisphere".
wchar_t const* TextOfCap(eStlGraphEdgeCap cap);

// A length of the file in internal units: scaled by the unit's factor,
// rounded half away from zero. A length beyond the 32-bit range is clamped
// to the nearest limit and NaN gives 0, so that no number of a file makes
// the conversion undefined.
std::int32_t LengthToInternal(double value, double unitFactor);
// Twice a rounded radius, clamped to 32 bits the same way.
std::int32_t DiameterOfRadius(std::int32_t radius);
// An internal length in the file's unit.
double LengthToFile(std::int32_t value, double unitFactor);
} // namespace Format_3MF
