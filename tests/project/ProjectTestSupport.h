// What the tests of slicer projects share: the real projects beside the
// checkout, reading with and without the project option, the colours and
// triangles of what came out, and the triangles that the independent reading
// of tests/import/expected_meshes.py makes of the paint.
#pragma once

#include "support/PackageTestSupport.h"
#include "support/Prerequisites.h"
#include "support/SlicerPackages.h"

#include "format3mf/ImportFile.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>
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

// A triangle's colour as "#RRGGBB", "none" for a triangle without one.
inline std::string ColourText(MStlColor const& colour)
{
    unsigned const rgb = colour.GetRGB();
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb & 0xff, (rgb >> 8) & 0xff, (rgb >> 16) & 0xff);
    return colour.IsDefined() ? text : "none";
}

// How many triangles of a mesh show each colour.
inline std::map<std::string, std::size_t> ColourCounts(MStlBase const& mesh)
{
    std::map<std::string, std::size_t> counts;
    for (std::uint32_t i = 0; i < mesh.GetNumberOfTriangles(); ++i)
    {
        ++counts[ColourText(mesh.TriangleAt(i).GetColor())];
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

inline std::string QuotedPath(std::wstring const& file)
{
    return "'" + StringConversion::ConvertNativeToUTF8(file) + "'";
}

// A triangle as the oracle gives it: its corners in internal units and the
// state of its paint (0: unpainted).
struct OracleTriangle
{
    std::array<std::array<std::int64_t, 3>, 3> corners;
    unsigned state;
};

// The triangles of every mesh of a file, in order, as
// tests/import/expected_meshes.py reads the file and splits its paint.
inline std::vector<OracleTriangle> OracleTriangles(std::wstring const& file)
{
    CommandOutput const output =
        RunCommand("python3 '" FORMAT3MF_SOURCE_DIR "/tests/import/expected_meshes.py' --paint --triangles " +
                   QuotedPath(file));
    EXPECT_EQ(0, output.status) << output.text;
    std::vector<OracleTriangle> triangles;
    std::istringstream lines(output.text);
    for (std::string line; std::getline(lines, line);)
    {
        std::istringstream fields(line.substr(line.find('\t') + 1));
        int mesh = 0;
        OracleTriangle triangle{};
        fields >> mesh;
        for (auto& corner : triangle.corners)
        {
            fields >> corner[0] >> corner[1] >> corner[2];
        }
        fields >> triangle.state;
        EXPECT_FALSE(fields.fail()) << line;
        triangles.push_back(triangle);
    }
    return triangles;
}

// The meshes hold the oracle's triangles of the file, in order: each with
// the same corners, whichever it starts from, to a step of the grid (the
// placement rounds), and, where `stateColours` names them, in the colour of
// its state (the first for state 0, the part's colour).
inline void ExpectOracleTriangles(std::vector<std::unique_ptr<MStlBase>> const& meshes,
                                  std::wstring const& file, std::vector<std::string> const& stateColours = {})
{
    std::vector<OracleTriangle> const expected = OracleTriangles(file);
    ASSERT_EQ(expected.size(), TotalTriangles(meshes));
    std::size_t next = 0;
    for (auto const& mesh : meshes)
    {
        for (std::uint32_t i = 0; i < mesh->GetNumberOfTriangles(); ++i, ++next)
        {
            OracleTriangle const& want = expected[next];
            MStlTriangle const& triangle = mesh->TriangleAt(i);
            bool same = false;
            for (unsigned start = 0; start < 3 && !same; ++start)
            {
                same = true;
                for (unsigned corner = 0; corner < 3; ++corner)
                {
                    MStlPoint const& point = mesh->PointAt(triangle.GetPointIndex((start + corner) % 3));
                    for (unsigned axis = 0; axis < 3; ++axis)
                    {
                        same = same &&
                               std::llabs(point.GetCoordinates()[axis] - want.corners[corner][axis]) <= 1;
                    }
                }
            }
            ASSERT_TRUE(same) << "triangle " << next << " of " << expected.size();
            if (!stateColours.empty())
            {
                ASSERT_LT(want.state, stateColours.size());
                ASSERT_EQ(stateColours[want.state], ColourText(triangle.GetColor()))
                    << "triangle " << next << " of state " << want.state;
            }
        }
    }
}
