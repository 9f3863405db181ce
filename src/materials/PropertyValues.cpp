// The orders of property values, so that groups can find equal values when
// writing; NaN is ordered rather than breaking the sort.
#include "format3mf/PropertyValues.h"

#include <cmath>

namespace Format_3MF
{
namespace
{
// A strict weak order on floats that puts NaN after every number.
bool FloatLess(float a, float b)
{
    bool const aNaN = std::isnan(a);
    bool const bNaN = std::isnan(b);
    if (aNaN || bNaN)
    {
        return !aNaN && bNaN;
    }
    return a < b;
}
} // namespace

bool BaseMaterial::operator<(BaseMaterial const& other) const
{
    int const byName = m_name.compare(other.m_name);
    if (byName != 0)
    {
        return byName < 0;
    }
    return m_color < other.m_color;
}

bool Texture2DCoord::operator<(Texture2DCoord const& other) const
{
    if (FloatLess(m_u, other.m_u))
    {
        return true;
    }
    if (FloatLess(other.m_u, m_u))
    {
        return false;
    }
    return FloatLess(m_v, other.m_v);
}

bool MultiProperty::operator<(MultiProperty const& other) const
{
    if (m_pindices.size() != other.m_pindices.size())
    {
        return m_pindices.size() < other.m_pindices.size();
    }
    return m_pindices < other.m_pindices;
}

BaseMaterialGroup::~BaseMaterialGroup() = default;
ColorGroup::~ColorGroup() = default;
Texture2DGroup::~Texture2DGroup() = default;
MultiPropertyGroup::~MultiPropertyGroup() = default;
} // namespace Format_3MF
