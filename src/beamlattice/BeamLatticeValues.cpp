// The value forms shared by the lattice readers and writers.
#include "beamlattice/BeamLatticeValues.h"

#include "common/MInternalUnits.h"

#include <cmath>
#include <limits>

namespace Format_3MF
{
namespace
{
std::int32_t Clamped(double value)
{
    if (std::isnan(value))
    {
        return 0;
    }
    if (value >= 2147483648.0)
    {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value <= -2147483649.0)
    {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(value);
}
} // namespace

eStlGraphEdgeCap CapOfText(std::wstring const& text)
{
    if (text == L"sphere")
    {
        return eStlGraphEdgeCap::Sphere;
    }
    if (text == L"butt")
    {
        return eStlGraphEdgeCap::Butt;
    }
    return eStlGraphEdgeCap::Hemisphere;
}

wchar_t const* TextOfCap(eStlGraphEdgeCap cap)
{
    switch (cap)
    {
    case eStlGraphEdgeCap::Sphere:
        return L"sphere";
    case eStlGraphEdgeCap::Butt:
        return L"butt";
    default:
        return L"hemisphere";
    }
}

std::int32_t LengthToInternal(double value, double unitFactor)
{
    double const scaled = value * OndSDK::Common::MInternalUnits::Get() * unitFactor;
    return Clamped(scaled >= 0 ? scaled + 0.5 : scaled - 0.5);
}

std::int32_t DiameterOfRadius(std::int32_t radius)
{
    return Clamped(2.0 * radius);
}

double LengthToFile(std::int32_t value, double unitFactor)
{
    return value / OndSDK::Common::MInternalUnits::Get() / unitFactor;
}
} // namespace Format_3MF
