#pragma once

// The unit of a model part and its scale to millimetres.

#include "common/OndExport.h"

#include <string>

namespace Format_3MF
{
// The unit of a model part: its name and millimetres per file unit.
struct OND_EXPORT tUnits
{
    std::wstring m_name;
    double m_factor = 1.0;

    tUnits();
    explicit tUnits(std::wstring const& name);

    // Stores the name, then looks it up exactly (case and blanks matter).
    // An unknown name falls back to "millimeter" and gives false.
    bool Init(std::wstring const& name);
};
} // namespace Format_3MF
