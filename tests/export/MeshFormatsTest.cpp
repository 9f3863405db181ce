// STL, OBJ, PLY and OFF through ond3mf-convert: every one-mesh sample there
// and back, welding a soup, bad files refused with a message and no output,
// and PrusaSlicer as an independent reader and writer where it is installed.
#include "import/ImportSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "format3mf/TriangleSoup.h"

#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTriangle.h"

#include <boost/filesystem.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace
{
int ConvertWith(std::string const& arguments, std::string& output)
{
    CommandOutput const result = RunCommand(Quoted(OND3MF_CONVERT) + " " + arguments + " 2>&1");
    output = result.text;
    return WIFEXITED(result.status) ? WEXITSTATUS(result.status) : -1;
}

// A mesh as the soup a format without indices would give: every triangle's
// corners in millimetres.
format3mf::TriangleSoup SoupOf(MStlBase const& mesh)
{
    format3mf::TriangleSoup soup;
    double const unit = OndSDK::Common::MInternalUnits::Get();
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        for (int corner = 0; corner < 3; ++corner)
        {
            MStlPoint const& point = mesh.PointAt(triangle->GetPointIndex(corner));
            soup.corners.insert(soup.corners.end(),
                                {point.GetX() / unit, point.GetY() / unit, point.GetZ() / unit});
        }
    }
    return soup;
}

// The colour each triangle shows, its own or the mesh's; empty when no
// triangle has one of its own.
std::vector<std::uint32_t> Shown(MStlBase const& mesh)
{
    std::vector<std::uint32_t> shown;
    bool own = false;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        own = own || triangle->GetColor().IsDefined();
        shown.push_back(triangle->GetColor().IsDefined() ? triangle->GetColor().GetRGB()
                                                         : mesh.GetMaterial().GetRGB());
    }
    return own ? shown : std::vector<std::uint32_t>();
}
} // namespace

TEST(TriangleSoup, WeldsEqualAndNearCornersAndDropsDegenerateTriangles)
{
    // Two triangles of a square sharing an edge, the second's last corner
    // 0.0003 mm from where the first would put it; a third triangle on one
    // corner twice, whose other corner no other triangle uses.
    format3mf::TriangleSoup soup;
    soup.corners = {0, 0, 0, 10, 0,  0, 10,      10, 0,   //
                    0, 0, 0, 10, 10, 0, 10.0003, 0,  0.0, //
                    0, 0, 0, 0,  0,  0, 5,       5,  5};
    soup.cornerColors = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    struct Case
    {
        double tolerance;
        std::size_t vertices;
        std::size_t triangles;
    };
    // Welded to 10, 0, 0 the second triangle is the first one reversed.
    for (Case const c : {Case{0.0, 4, 2}, Case{0.001, 3, 2}})
    {
        format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(soup, c.tolerance);
        EXPECT_EQ(c.vertices, welded.mesh->GetNumberOfPoints()) << c.tolerance;
        EXPECT_EQ(c.triangles, welded.mesh->GetNumberOfTriangles()) << c.tolerance;
        EXPECT_EQ(1u, welded.degenerate);
        ASSERT_NE(nullptr, welded.colors);
        EXPECT_EQ(5u, welded.colors->GetInfo(welded.mesh->TriangleAt(1)).m_colors[1].GetRGB());
    }
    soup.corners[4] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(format3mf::WeldTriangleSoup(soup), std::invalid_argument);
    soup.corners[4] = 1e9;
    EXPECT_THROW(format3mf::WeldTriangleSoup(soup), std::invalid_argument);
}

// Every sample of one mesh through each format and back: the vertices its
// triangles weld to, its triangles, and its colours where the format has
// them.
TEST(MeshFormats, EveryOneMeshSampleRoundTripsThroughEachFormat)
{
    auto const files = AllTestFiles();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (../shared/testdata)");
    }
    PackageScratch scratch;
    struct Format
    {
        char const* extension;
        char const* options;
        bool colours;
    };
    Format const formats[] = {{"stl", "", false}, {"stl", "--ascii", false}, {"obj", "", true},
                              {"ply", "", true},  {"ply", "--ascii", true},  {"off", "", false}};
    std::size_t tried = 0;
    for (auto const& file : files)
    {
        auto const original = ImportMeshes(file.string());
        if (original.size() != 1 || original[0]->GetNumberOfTriangles() == 0)
        {
            continue;
        }
        ++tried;
        format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(SoupOf(*original[0]));
        for (Format const& format : formats)
        {
            SCOPED_TRACE(file.string() + " as " + format.extension + " " + format.options);
            std::string const middle =
                StringConversion::ConvertNativeToUTF8(scratch.File(std::string("mesh.") + format.extension));
            std::string const back = StringConversion::ConvertNativeToUTF8(scratch.File("back.3mf"));
            std::string output;
            ASSERT_EQ(0, ConvertWith(std::string("--quiet ") + format.options + " " + Quoted(file.string()) +
                                         " " + Quoted(middle),
                                     output))
                << output;
            ASSERT_EQ(0, ConvertWith("--quiet " + Quoted(middle) + " " + Quoted(back), output)) << output;
            auto const after = ImportMeshes(back);
            ASSERT_EQ(1u, after.size());
            EXPECT_EQ(welded.mesh->GetNumberOfPoints(), after[0]->GetNumberOfPoints());
            EXPECT_EQ(welded.mesh->GetNumberOfTriangles(), after[0]->GetNumberOfTriangles());
            EXPECT_EQ(format.colours ? Shown(*original[0]) : std::vector<std::uint32_t>(), Shown(*after[0]));
        }
    }
    EXPECT_GT(tried, 10u);
}

TEST(MeshFormats, BadFilesAreRefusedByNameWithNoOutputLeft)
{
    PackageScratch scratch;
    boost::filesystem::path const folder(StringConversion::ConvertNativeToUTF8(scratch.File("formats")));
    boost::filesystem::create_directories(folder);
    std::string const header80(80, 'x');
    struct Case
    {
        char const* name;
        std::string bytes;
        char const* says;
    };
    Case const cases[] = {
        {"empty.stl", "", "is empty"},
        {"liar.stl", header80 + std::string("\x80\xf0\xfa\x02", 4) + std::string(16, 'y'),
         "binary STL claims 50000000 triangles"},
        {"cut.stl", "solid a\n facet normal 0 0 1\n  outer loop\n   vertex 0 0 0\n   vertex 1 0 0\n",
         "cut short"},
        {"nan.stl",
         "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex nan 0 0\nvertex 0 1 0\nendloop\n"
         "endfacet\nendsolid a\n",
         "not a finite number"},
        {"index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", "out of range"},
        {"index.ply",
         "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
         "element face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n",
         "out of range"},
        {"liar.ply",
         "ply\nformat ascii 1.0\nelement vertex 50000000\nproperty float x\nproperty float y\nproperty float "
         "z\n"
         "end_header\n0 0 0\n",
         "header claims 50000000 vertices"},
        {"liar.off", "OFF\n40000000 1 0\n0 0 0\n", "header claims 40000000 vertices"},
    };
    for (Case const& c : cases)
    {
        std::string const input = (folder / c.name).string();
        std::ofstream(input, std::ios::binary) << c.bytes;
        std::string output;
        EXPECT_EQ(1, ConvertWith(Quoted(input) + " " + Quoted((folder / "out.3mf").string()), output))
            << c.name;
        EXPECT_NE(std::string::npos, output.find(std::string(c.name) + ": ")) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << c.name << ": " << output;
        boost::filesystem::remove(input);
        EXPECT_TRUE(boost::filesystem::is_empty(folder)) << c.name << " left a file";
    }
}

// PrusaSlicer, where it is installed, reads what we write and writes what we
// read: an STL it exports from a sample converts to a 3MF of its facet
// count, and an STL we write opens in it with ours.
TEST(MeshFormats, PrusaSlicerAgreesOnFacets)
{
    if (RunCommand("command -v prusa-slicer >/dev/null 2>&1").status != 0)
    {
        GTEST_SKIP() << "prusa-slicer is not installed (Debian package prusa-slicer)";
    }
    auto const samples = Samples();
    ASSERT_FALSE(samples.empty());
    PackageScratch scratch;
    std::string const theirs = StringConversion::ConvertNativeToUTF8(scratch.File("theirs.stl"));
    std::string const ours = StringConversion::ConvertNativeToUTF8(scratch.File("ours.stl"));
    std::string const back = StringConversion::ConvertNativeToUTF8(scratch.File("back.3mf"));
    std::string const box =
        (boost::filesystem::path(FORMAT3MF_TESTDATA) / "samples/examples/core/box.3mf").string();
    auto const facets = [](std::string const& file)
    {
        std::string const info = RunCommand("prusa-slicer --info " + Quoted(file) + " 2>/dev/null").text;
        std::size_t const at = info.find("number_of_facets = ");
        return at == std::string::npos ? std::string() : info.substr(at + 19, info.find('\n', at) - at - 19);
    };
    ASSERT_EQ(0, RunCommand("prusa-slicer --export-stl --output " + Quoted(theirs) + " " + Quoted(box) +
                            " >/dev/null 2>&1")
                     .status);
    std::string output;
    ASSERT_EQ(0, ConvertWith(Quoted(theirs) + " " + Quoted(back), output)) << output;
    auto const read = ImportMeshes(back);
    ASSERT_EQ(1u, read.size());
    EXPECT_EQ(facets(theirs), std::to_string(read[0]->GetNumberOfTriangles()));
    ASSERT_EQ(0, ConvertWith(Quoted(box) + " " + Quoted(ours), output)) << output;
    EXPECT_EQ(std::to_string(read[0]->GetNumberOfTriangles()), facets(ours));
}
