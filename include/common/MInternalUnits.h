#pragma once

// The integer length unit of mesh coordinates and the conversions from
// millimetres and the other model units.

#include "common/OndExport.h"

namespace OndSDK::Common
{
// The internal length unit of the integer mesh coordinates: 10000 units per
// millimetre, a 0.1 micrometre grid. With 32-bit coordinates that spans about
// +-214 metres, more than any build volume.
class OND_EXPORT MInternalUnits
{
public:
    static constexpr double kUnitsPerMillimetre = 10000.0;

    static double Get() { return kUnitsPerMillimetre; }
};
} // namespace OndSDK::Common
