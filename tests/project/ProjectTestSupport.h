// What the tests of slicer projects share: the real projects beside the
// checkout, reading with and without the project option, and the colours
// and triangles of what came out.
#pragma once

#include "support/PackageTestSupport.h"
#include "support/SlicerPackages.h"

#include "format3mf/ImportFile.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

// A real project beside the checkout. Without it the test is skipped, with
// a message; under CI=true, where the files must be there, it fails.
#define REAL_PROJECT(variable, name)                                                                         \
    std::wstring const variable = RealProjectPath(name);                                                     \
    if (!boost::filesystem::exists(boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld" / (name)))      \
    {                                                                                                        \
        char const* const ci = std::getenv("CI");                                                            \
        if (ci != nullptr && std::strcmp(ci, "true") == 0)                                                   \
        {                                                                                                    \
            FAIL() << "CI=true, but " << (name) << " is not beside the checkout (../shared/testdata)";       \
        }                                                                                                    \
        GTEST_SKIP() << (name) << " is not beside the checkout (../shared/testdata/realworld)";              \
    }

inline std::wstring RealProjectPath(std::string const& name)
{
    return StringConversion::ConvertMultiByteStringToOndString(std::string(FORMAT3MF_TESTDATA) +
                                                               "/realworld/" + name);
}

inline format3mf::import::ImportResult Import(std::wstring const& file, bool project,
                                              bool nonPrintable = true)
{
    format3mf::import::ImportSettings settings;
    settings.projectParts = project;
    settings.nonPrintableParts = nonPrintable;
    return format3mf::import::ImportFile(file, settings);
}

inline std::string Messages(std::vector<std::wstring> const& messages)
{
    std::string all;
    for (std::wstring const& message : messages)
    {
        all += StringConversion::ConvertNativeToUTF8(message) + "\n";
    }
    return all;
}

// "#RRGGBB" of a packed colour, "none" for a triangle without one.
inline std::string Hex(MStlColor const& colour)
{
    if (!colour.IsDefined())
    {
        return "none";
    }
    char text[8];
    unsigned const rgb = colour.GetRGB();
    std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb & 0xff, (rgb >> 8) & 0xff, (rgb >> 16) & 0xff);
    return text;
}

// How many triangles of a mesh show each colour.
inline std::map<std::string, std::size_t> ColourCounts(MStlBase const& mesh)
{
    std::map<std::string, std::size_t> counts;
    for (std::uint32_t i = 0; i < mesh.GetNumberOfTriangles(); ++i)
    {
        ++counts[Hex(mesh.TriangleAt(i).GetColor())];
    }
    return counts;
}

// The corners of a triangle in internal units.
inline std::array<std::int32_t, 9> Corners(MStlBase const& mesh, std::uint32_t triangle)
{
    std::array<std::int32_t, 9> corners{};
    for (unsigned corner = 0; corner < 3; ++corner)
    {
        MStlPoint const& point = mesh.PointAt(mesh.TriangleAt(triangle).GetPointIndex(corner));
        corners[3 * corner] = point.GetX();
        corners[3 * corner + 1] = point.GetY();
        corners[3 * corner + 2] = point.GetZ();
    }
    return corners;
}

// Whether `part` holds the triangles `first` on of `whole`, in order.
inline bool SameTriangles(MStlBase const& part, MStlBase const& whole, std::uint32_t first)
{
    if (first + part.GetNumberOfTriangles() > whole.GetNumberOfTriangles())
    {
        return false;
    }
    for (std::uint32_t i = 0; i < part.GetNumberOfTriangles(); ++i)
    {
        if (Corners(part, i) != Corners(whole, first + i))
        {
            return false;
        }
    }
    return true;
}

inline std::size_t TotalTriangles(std::vector<std::unique_ptr<MStlBase>> const& meshes)
{
    std::size_t total = 0;
    for (auto const& mesh : meshes)
    {
        total += mesh->GetNumberOfTriangles();
    }
    return total;
}
