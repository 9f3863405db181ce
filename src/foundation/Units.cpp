// The unit names of 3MF and their scales to millimetres.
#include "format3mf/Units.h"

namespace Format_3MF
{
namespace
{
struct UnitEntry
{
    wchar_t const* name;
    double factor;
};

// Looked up in this order; each factor is the double nearest the decimal.
constexpr UnitEntry kUnits[] = {
    {L"micron", 0.001}, {L"millimeter", 1.0}, {L"centimeter", 10.0},
    {L"meter", 1000.0}, {L"foot", 304.8},     {L"inch", 25.4},
};
} // namespace

tUnits::tUnits()
{
    Init(L"millimeter");
}

tUnits::tUnits(std::wstring const& name)
{
    Init(name);
}

bool tUnits::Init(std::wstring const& name)
{
    m_name = name;
    for (UnitEntry const& entry : kUnits)
    {
        if (name == entry.name)
        {
            m_factor = entry.factor;
            return true;
        }
    }
    Init(L"millimeter");
    return false;
}
} // namespace Format_3MF
