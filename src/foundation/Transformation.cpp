// The "transform" attribute text, its conversion between file and internal
// units, and the spelling of UUIDs.
#include "format3mf/Transformation.h"

#include "common/MInternalUnits.h"
#include "triangles/MGuid.h"

#include <cstdint>
#include <sstream>

namespace Format_3MF
{
MMTransformMatrix ParseTransformation(std::wstring const& text)
{
    MMTransformMatrix matrix;
    if (text.empty())
    {
        return matrix;
    }
    std::wistringstream stream(text);
    for (unsigned short column = 0; column < 4; ++column)
    {
        for (unsigned short row = 0; row < 3; ++row)
        {
            stream >> matrix.AccessElement(row, column, false);
        }
    }
    if (stream.fail())
    {
        return MMTransformMatrix();
    }
    matrix.VerifyAndSetClass();
    matrix.ComputeInverse();
    return matrix;
}

std::wstring FormatTransformation(MMTransformMatrix const& matrix)
{
    std::wostringstream stream;
    stream.setf(std::ios::showpoint);
    stream.setf(std::ios::fixed, std::ios::floatfield);
    stream.precision(8);
    bool first = true;
    for (unsigned short column = 0; column < 4; ++column)
    {
        for (unsigned short row = 0; row < 3; ++row)
        {
            if (!first)
            {
                stream << L' ';
            }
            first = false;
            stream << matrix.GetElement(row, column, false);
        }
    }
    return stream.str();
}

MMTransformMatrix ConvertTransformationFileUnitsToInternalUnits(MMTransformMatrix const& matrix,
                                                                tUnits const& units)
{
    MMTransformMatrix result(matrix);
    double const scale = OndSDK::Common::MInternalUnits::Get();
    for (unsigned short row = 0; row < 3; ++row)
    {
        double& element = result.AccessElement(row, 3, false);
        double t = element * units.m_factor * scale;
        t += t >= 0 ? 0.5 : -0.5;
        element = static_cast<double>(static_cast<std::int32_t>(t));
    }
    result.ComputeInverse();
    return result;
}

MMTransformMatrix ConvertTransformationInternalUnitsToFileUnits(MMTransformMatrix const& matrix,
                                                                tUnits const& units)
{
    MMTransformMatrix result(matrix);
    for (unsigned short row = 0; row < 3; ++row)
    {
        double& element = result.AccessElement(row, 3, false);
        element = element / OndSDK::Common::MInternalUnits::Get() / units.m_factor;
    }
    return result;
}

std::wstring FormatGUID(std::wstring const& text)
{
    MStlRevisionSystem::MGuid guid;
    guid.SetString(text);
    return guid.GetString(false, false);
}
} // namespace Format_3MF
