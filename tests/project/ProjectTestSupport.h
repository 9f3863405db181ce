// What the tests of slicer projects share: the real projects beside the
// checkout, reading with and without the project option, and the colours
// and triangles of what came out.
#pragma once

#include "support/PackageTestSupport.h"
#include "support/Prerequisites.h"
#include "support/SlicerPackages.h"

#include "format3mf/ImportFile.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <map>
#include <string>
#include <vector>

// A real project beside the checkout: without it the test skips with a
// message, and fails under CI=true, where the files must be there.
#define REAL_PROJECT(variable, name)                                                                         \
    std::wstring const variable = StringConversion::ConvertMultiByteStringToOndString(                       \
        std::string(FORMAT3MF_TESTDATA) + "/realworld/" + (name));                                           \
    if (!boost::filesystem::exists(StringConversion::ConvertNativeToUTF8(variable)))                         \
    {                                                                                                        \
        SKIP_OR_FAIL_MISSING((name) << " beside the checkout (../shared/testdata/realworld)");               \
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

// How many triangles of a mesh show each colour ("#RRGGBB", "none" for a
// triangle without one).
inline std::map<std::string, std::size_t> ColourCounts(MStlBase const& mesh)
{
    std::map<std::string, std::size_t> counts;
    for (std::uint32_t i = 0; i < mesh.GetNumberOfTriangles(); ++i)
    {
        MStlColor const& colour = mesh.TriangleAt(i).GetColor();
        unsigned const rgb = colour.GetRGB();
        char text[8];
        std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb & 0xff, (rgb >> 8) & 0xff, (rgb >> 16) & 0xff);
        ++counts[colour.IsDefined() ? text : "none"];
    }
    return counts;
}

// Whether `part` holds the triangles `first` on of `whole`, in order, by
// their corners' coordinates.
inline bool SameTriangles(MStlBase const& part, MStlBase const& whole, std::uint32_t first)
{
    bool same = first + part.GetNumberOfTriangles() <= whole.GetNumberOfTriangles();
    for (std::uint32_t i = 0; same && i < part.GetNumberOfTriangles(); ++i)
    {
        for (unsigned corner = 0; corner < 3; ++corner)
        {
            same =
                same && part.PointAt(part.TriangleAt(i).GetPointIndex(corner)).GetCoordinates() ==
                            whole.PointAt(whole.TriangleAt(first + i).GetPointIndex(corner)).GetCoordinates();
        }
    }
    return same;
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
