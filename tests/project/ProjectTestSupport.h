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
    return format3mf::import::ImportFile(StringConversion::ConvertNativeToFileName(file), settings);
}

inline std::string Messages(std::vector<std::string> const& messages)
{
    std::string all;
    for (std::string const& message : messages)
    {
        all += message + "\n";
    }
    return all;
}

inline std::vector<Format_3MF::PartRole> RolesOf(format3mf::import::ImportResult const& read)
{
    std::vector<Format_3MF::PartRole> roles;
    for (auto const& part : read.parts)
    {
        roles.push_back(part.role);
    }
    return roles;
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

inline std::size_t TotalTriangles(std::vector<format3mf::import::ImportedPart> const& parts)
{
    std::size_t total = 0;
    for (auto const& part : parts)
    {
        total += part.mesh->GetNumberOfTriangles();
    }
    return total;
}

// The meshes hold, in order, the triangles that tests/import/expected_meshes.py
// makes of the file, its painted triangles split by its own decoding of the
// paint: each with the same corners, whichever it starts from, to a step of
// the grid (the placement rounds), and, where `stateColours` names them, in
// the colour of its state (the first for state 0: the part's colour).
inline void ExpectOracleTriangles(std::vector<format3mf::import::ImportedPart> const& parts,
                                  std::wstring const& file, std::vector<std::string> const& stateColours = {})
{
    CommandOutput const oracle = RunCommand("python3 '" FORMAT3MF_SOURCE_DIR
                                            "/tests/import/expected_meshes.py' --paint --triangles '" +
                                            StringConversion::ConvertNativeToUTF8(file) + "'");
    ASSERT_EQ(0, oracle.status) << oracle.text;
    std::istringstream lines(oracle.text);
    std::string line;
    std::size_t next = 0;
    for (auto const& part : parts)
    {
        MStlBase const* const mesh = part.mesh.get();
        for (std::uint32_t i = 0; i < mesh->GetNumberOfTriangles(); ++i, ++next)
        {
            ASSERT_TRUE(std::getline(lines, line)) << "the oracle has " << next << " triangles";
            // The mesh's index, the corners, the state.
            std::istringstream fields(line.substr(line.find('\t') + 1));
            std::int64_t values[10] = {};
            unsigned state = 0;
            for (std::int64_t& value : values)
            {
                fields >> value;
            }
            fields >> state;
            ASSERT_FALSE(fields.fail()) << line;
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
                               std::llabs(point.GetCoordinates()[axis] - values[1 + 3 * corner + axis]) <= 1;
                    }
                }
            }
            ASSERT_TRUE(same) << "triangle " << next << ", the oracle's " << line;
            if (!stateColours.empty())
            {
                ASSERT_LT(state, stateColours.size());
                ASSERT_EQ(stateColours[state], ColourText(triangle.GetColor())) << "triangle " << next;
            }
        }
    }
    EXPECT_FALSE(std::getline(lines, line)) << "the oracle has more than " << next << " triangles";
}
