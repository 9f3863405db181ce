// The tools as their users run them. Every test file through ond3mf-convert
// and back, one test per file: in every kind of 3MF conversion the same
// meshes, colours, textures and beams, in files that a strict check
// independent of the writers passes; a file of one mesh also through STL,
// OBJ, PLY and OFF. Then the welding of triangle soups, the converter's
// refusals, --help, --version and bad options of every tool, and
// ond3mf-info's JSON read back by Python's own json module.
#include "import/ImportSupport.h"
#include "support/MeshDump.h"
#include "support/Samples.h"

#include "format3mf/TriangleSoup.h"
#include "format3mf/Version.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlTexture.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <cmath>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <sys/wait.h>
#include <tuple>

namespace
{
// The exit code of a command that ended normally, or -1.
int Status(CommandOutput const& output)
{
    return WIFEXITED(output.status) ? WEXITSTATUS(output.status) : -1;
}

std::string Convert(std::string const& arguments, int& status)
{
    CommandOutput const output = RunCommand(Quoted(OND3MF_CONVERT) + " " + arguments + " 2>&1");
    status = Status(output);
    return output.text;
}

// Each texture's triangles by index, with its bitmap, in an order that doesn't
// depend on the order the reader made the textures in.
using Texture =
    std::tuple<std::vector<std::uint32_t>, std::uint32_t, std::uint32_t, std::vector<std::uint8_t>>;
std::vector<Texture> Textures(MStlBase const& mesh)
{
    std::vector<Texture> textures;
    for (MStlTexture const* texture : mesh.GetTextures())
    {
        std::vector<std::uint32_t> triangles;
        for (MStlTriangle const* triangle : texture->GetTriangles())
        {
            triangles.push_back(triangle->GetIndex());
        }
        std::sort(triangles.begin(), triangles.end());
        OndSDK::Common::ImageBitmap const& bitmap = texture->GetBitmap();
        std::uint8_t const* data = bitmap.GetData();
        textures.emplace_back(
            triangles, bitmap.GetWidth(), bitmap.GetHeight(),
            std::vector<std::uint8_t>(data, data + std::size_t(bitmap.GetWidth()) * bitmap.GetHeight() *
                                                       bitmap.GetChannels()));
    }
    std::sort(textures.begin(), textures.end());
    return textures;
}

// What a conversion keeps, by the options it was made with.
struct Conversion
{
    char const* name;
    // Each step converts the file the step before wrote, the first the
    // original.
    std::vector<std::string> steps;
    // Without the binary part, unused points, colours and textures come back too.
    bool xml;
    // A lattice in the vendor dialect keeps its beams ('='), none has none
    // ('0'), the published dialect's minimal length drops the short ones ('<').
    char beams;
};

Conversion const kConversions[] = {
    {"plain", {""}, true, '<'},
    {"separate objects, zip64", {"--separate-objects --zip64"}, true, '<'},
    {"vendor lattice", {"--beams=vendor"}, true, '='},
    {"no lattice", {"--beams=none"}, true, '0'},
    {"binary, objects apart", {"--binary --separate-objects --zip64 --beams=vendor"}, false, '='},
    {"binary, then plain", {"--binary --beams=vendor", ""}, false, '<'},
    {"separate vendor, then plain", {"--separate-objects --beams=vendor", ""}, true, '<'},
};

void ExpectSameMeshes(MStlBase const& a, MStlBase const& b, Conversion const& conversion)
{
    EXPECT_EQ(a.GetNumberOfTriangles(), b.GetNumberOfTriangles());
    EXPECT_EQ(std::wstring(a.GetName()), std::wstring(b.GetName())) << "the object's name";
    std::size_t const beamsA = a.GetFeature().GetNumEdges();
    std::size_t const beamsB = b.GetFeature().GetNumEdges();
    EXPECT_TRUE(conversion.beams == '='   ? beamsA == beamsB
                : conversion.beams == '0' ? beamsB == 0
                                          : beamsB <= beamsA)
        << beamsA << " beams, then " << beamsB;
    EXPECT_EQ(a.GetMaterial().GetRGB(), b.GetMaterial().GetRGB()) << "the object's colour";
    // The written file is in millimetres: a length printed with four decimals
    // is within half a unit of the internal grid. Binary blocks hold float
    // millimetres and leave out the points no triangle uses, the triangles'
    // colours and textures.
    PointList const pointsA = PointsOf(a, !conversion.xml);
    PointList const pointsB = PointsOf(b, !conversion.xml);
    ASSERT_EQ(pointsA.size(), pointsB.size());
    for (std::size_t p = 0; p < pointsA.size(); ++p)
    {
        for (int axis = 0; axis < 3; ++axis)
        {
            double const tolerance = conversion.xml ? 0.0001 * OndSDK::Common::MInternalUnits::Get()
                                                    : 1 + std::abs(double(pointsA[p][axis])) * 1.2e-7;
            ASSERT_NEAR(pointsA[p][axis], pointsB[p][axis], tolerance) << "point " << p << ", axis " << axis;
        }
    }
    EXPECT_EQ(conversion.xml ? ColoursOf(a) : std::vector<long long>(a.GetNumberOfTriangles(), -1),
              ColoursOf(b));
    EXPECT_TRUE((conversion.xml ? Textures(a) : std::vector<Texture>()) == Textures(b))
        << "the textures differ";
}

// Holds a written file to what a published reader asks (tests/export/
// check_written.py); gives the counts it prints per object of the root part.
std::vector<std::string> CheckWritten(std::string const& file)
{
    CommandOutput const checked =
        RunCommand("python3 " + Quoted(FORMAT3MF_SOURCE_DIR "/tests/export/check_written.py") + " " +
                   Quoted(file) + " 2>&1");
    EXPECT_EQ(0, checked.status) << checked.text;
    return SplitLines(checked.text);
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

// The test files, or one empty path that reports them missing.
std::vector<boost::filesystem::path> TestFiles()
{
    bool const there = boost::filesystem::exists(FORMAT3MF_TESTDATA);
    std::vector<boost::filesystem::path> files =
        there ? AllTestFiles() : std::vector<boost::filesystem::path>();
    return files.empty() ? std::vector<boost::filesystem::path>{{}} : files;
}

using EveryTestFile = testing::TestWithParam<boost::filesystem::path>;

} // namespace

// The samples and the projects of today's slicers and tools, components
// across model parts among them.
TEST_P(EveryTestFile, ComesBackFromEveryConversion)
{
    std::string const file = GetParam().string();
    if (file.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (../shared/testdata)");
    }
    PackageScratch scratch;
    auto const before = ImportMeshes(file);
    bool const beams = std::any_of(before.begin(), before.end(),
                                   [](auto const& mesh) { return mesh->GetFeature().GetNumEdges() != 0; });
    for (Conversion const& conversion : kConversions)
    {
        // The dialects make a difference only where there are beams.
        if (conversion.beams != '<' && !beams && conversion.xml)
        {
            continue;
        }
        SCOPED_TRACE(conversion.name);
        std::string source = file;
        std::string converted;
        for (std::size_t step = 0; step < conversion.steps.size(); ++step)
        {
            converted =
                StringConversion::ConvertNativeToUTF8(scratch.File("step" + std::to_string(step) + ".3mf"));
            int status = -1;
            std::string const output = Convert(
                "--quiet " + conversion.steps[step] + " " + Quoted(source) + " " + Quoted(converted), status);
            ASSERT_EQ(0, status) << output;
            std::vector<std::string> const counts = CheckWritten(converted);
            if (conversion.xml && conversion.steps[step].find("--separate-objects") == std::string::npos)
            {
                ASSERT_EQ(before.size(), counts.size());
                for (std::size_t i = 0; i < before.size(); ++i)
                {
                    EXPECT_EQ(std::to_string(before[i]->GetNumberOfPoints()) + " " +
                                  std::to_string(before[i]->GetNumberOfTriangles()),
                              counts[i]);
                }
            }
            source = converted;
        }
        auto const after = ImportMeshes(converted);
        ASSERT_EQ(before.size(), after.size());
        for (std::size_t i = 0; i < before.size(); ++i)
        {
            SCOPED_TRACE("mesh " + std::to_string(i));
            ExpectSameMeshes(*before[i], *after[i], conversion);
        }
    }
    if (before.size() != 1 || before[0]->GetNumberOfTriangles() == 0)
    {
        return;
    }
    // Through each mesh format and back: the vertices its triangles weld to,
    // its triangles, and its colours where the format has them.
    format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(SoupOf(*before[0]));
    for (char const* format : {"stl", "stl --ascii", "obj", "ply", "ply --ascii", "off"})
    {
        SCOPED_TRACE(format);
        std::string const extension = std::string(format).substr(0, 3);
        std::string const middle = StringConversion::ConvertNativeToUTF8(scratch.File("mesh." + extension));
        std::string const back = StringConversion::ConvertNativeToUTF8(scratch.File("back.3mf"));
        int status = -1;
        std::string output = Convert(
            "--quiet " + std::string(format).substr(3) + " " + Quoted(file) + " " + Quoted(middle), status);
        ASSERT_EQ(0, status) << output;
        output = Convert("--quiet " + Quoted(middle) + " " + Quoted(back), status);
        ASSERT_EQ(0, status) << output;
        auto const after = ImportMeshes(back);
        ASSERT_EQ(1u, after.size());
        EXPECT_EQ(welded.mesh->GetNumberOfPoints(), after[0]->GetNumberOfPoints());
        EXPECT_EQ(welded.mesh->GetNumberOfTriangles(), after[0]->GetNumberOfTriangles());
        bool const colours = extension == "obj" || extension == "ply";
        EXPECT_EQ(colours ? Shown(*before[0]) : std::vector<std::uint32_t>(), Shown(*after[0]));
    }
}

INSTANTIATE_TEST_SUITE_P(ConvertRoundTrip, EveryTestFile, testing::ValuesIn(TestFiles()),
                         [](testing::TestParamInfo<boost::filesystem::path> const& info)
                         {
                             std::string name = std::to_string(info.index) + "_" + info.param.stem().string();
                             for (char& c : name)
                             {
                                 c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             }
                             return name;
                         });

// Welding merges equal corners, and near ones within a tolerance, and drops
// triangles on one corner twice; a corner that is no finite number, or too
// far out for the grid, is refused.
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
    // Welded to 10, 0, 0 the second triangle is the first one reversed.
    for (auto const& [tolerance, vertices] : {std::pair<double, std::size_t>{0.0, 4}, {0.001, 3}})
    {
        format3mf::WeldedSoup const welded = format3mf::WeldTriangleSoup(soup, tolerance);
        EXPECT_EQ(vertices, welded.mesh->GetNumberOfPoints()) << tolerance;
        EXPECT_EQ(2u, welded.mesh->GetNumberOfTriangles()) << tolerance;
        EXPECT_EQ(1u, welded.degenerate);
        ASSERT_NE(nullptr, welded.colors);
        EXPECT_EQ(5u, welded.colors->GetInfo(welded.mesh->TriangleAt(1)).m_colors[1].GetRGB());
    }
    soup.corners[4] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(format3mf::WeldTriangleSoup(soup), std::invalid_argument);
    soup.corners[4] = 1e9;
    EXPECT_THROW(format3mf::WeldTriangleSoup(soup), std::invalid_argument);
}

// Bad arguments (status 2, what was wrong, then the usage) and files that
// can't be read or written (status 1, naming the file): no output and no
// partial file is left.
TEST(ConvertTool, RefusesBadArgumentsAndFilesLeavingNothing)
{
    PackageScratch scratch;
    boost::filesystem::path const folder(StringConversion::ConvertNativeToUTF8(scratch.File("tool")));
    boost::filesystem::create_directories(folder);
    std::string const torus = (folder / "torus.3mf").string();
    std::string const out = Quoted((folder / "out.3mf").string());
    ASSERT_EQ(0, RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(torus) + " 8 8").status);
    std::string const header80(80, 'x');
    std::string const xyz = "property float x\nproperty float y\nproperty float z\n";
    struct Case
    {
        char const* name; // of the input written from `bytes`, or what is wrong
        std::string bytes;
        std::string arguments; // the input and output follow, when empty
        int status;
        char const* says;
    };
    Case const cases[] = {
        {"unknown beam dialect", "", "--beams=curved " + Quoted(torus) + " " + out, 2,
         "unknown beam dialect 'curved'"},
        {"one file", "", Quoted(torus), 2, "expected IN and OUT"},
        {"missing input", "", Quoted((folder / "none.3mf").string()) + " " + out, 1, "cannot read"},
        {"unwritable output", "", Quoted(torus) + " " + Quoted((folder / "no/such/folder.3mf").string()), 1,
         "cannot write"},
        {"empty.stl", "", "", 1, "is empty"},
        {"liar.stl", header80 + std::string("\x80\xf0\xfa\x02", 4) + std::string(16, 'y'), "", 1,
         "binary STL claims 50000000 triangles"},
        {"cut.stl", "solid a\n facet normal 0 0 1\n  outer loop\n   vertex 0 0 0\n   vertex 1 0 0\n", "", 1,
         "cut short"},
        {"nan.stl",
         "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex nan 0 0\nvertex 0 1 0\nendloop\n"
         "endfacet\nendsolid a\n",
         "", 1, "not a finite number"},
        {"index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", "", 1, "out of range"},
        {"index.ply",
         "ply\nformat ascii 1.0\nelement vertex 3\n" + xyz + "element face 1\n" +
             "property list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n",
         "", 1, "out of range"},
        {"liar.ply", "ply\nformat ascii 1.0\nelement vertex 50000000\n" + xyz + "end_header\n0 0 0\n", "", 1,
         "header claims 50000000 vertices"},
        {"liar.off", "OFF\n40000000 1 0\n0 0 0\n", "", 1, "header claims 40000000 vertices"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string const input = (folder / c.name).string();
        if (c.arguments.empty())
        {
            std::ofstream(input, std::ios::binary) << c.bytes;
        }
        int status = -1;
        std::string const output =
            Convert(c.arguments.empty() ? Quoted(input) + " " + out : c.arguments, status);
        EXPECT_EQ(c.status, status) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << output;
        // What was wrong first, then the usage; or the file that was wrong.
        EXPECT_TRUE(c.status == 2 ? output.rfind("ond3mf-convert: ", 0) == 0 &&
                                        output.find("usage: ond3mf-convert") != std::string::npos
                                  : !c.arguments.empty() || output.find(input + ": ") != std::string::npos)
            << output;
        if (c.arguments.empty())
        {
            boost::filesystem::remove(input);
        }
        std::set<std::string> left;
        for (auto const& item : boost::filesystem::directory_iterator(folder))
        {
            left.insert(item.path().filename().string());
        }
        EXPECT_EQ((std::set<std::string>{"torus.3mf"}), left);
    }
}

// Every tool's --help, --version and an unknown option. Then ond3mf-info on
// one good file with a warning and one missing: the JSON holds both, with the
// good file's figures, the warning, and the missing file's error; standard
// error carries the warning unless --quiet, with which the JSON is all the
// output.
TEST(ToolOptions, HelpVersionUnknownOptionsAndInfoJson)
{
    for (char const* tool : {OND3MF_INFO, OND3MF_CONVERT, OND3MF_TORUS})
    {
        SCOPED_TRACE(tool);
        std::string const program = boost::filesystem::path(tool).filename().string();
        for (char const* help : {"--help", "-h"})
        {
            // The usage goes to standard output, nothing to standard error.
            CommandOutput const output = RunCommand(Quoted(tool) + " " + help + " 2>/dev/null");
            EXPECT_EQ(0, Status(output));
            EXPECT_EQ(0u, output.text.find("usage: " + program)) << output.text;
        }
        CommandOutput const version = RunCommand(Quoted(tool) + " --version");
        EXPECT_EQ(0, Status(version));
        EXPECT_EQ(program + " (OndSDK.AM.3mf) " + format3mf::Version() + "\n", version.text);

        CommandOutput const unknown = RunCommand(Quoted(tool) + " --no-such-option 2>&1 >/dev/null");
        EXPECT_EQ(2, Status(unknown));
        EXPECT_EQ(0u, unknown.text.find(program + ": unknown option '--no-such-option'")) << unknown.text;
        EXPECT_NE(std::string::npos, unknown.text.find("usage: " + program)) << unknown.text;
    }
    // Two segments around make no torus, and no file.
    PackageScratch scratch;
    std::string const torus = StringConversion::ConvertNativeToUTF8(scratch.File("t.3mf"));
    EXPECT_NE(0, Status(RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(torus) + " 2 9 2>&1")));
    EXPECT_FALSE(boost::filesystem::exists(torus));

    std::wstring const good = scratch.File("good.3mf");
    WriteModelPackage(
        good, R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02">)"
              R"(<resources><object id="1" name="tri"><mesh><vertices><vertex x="0" y="0" z="0"/>)"
              R"(<vertex x="2" y="0" z="0"/><vertex x="0" y="3" z="0"/></vertices><triangles>)"
              R"(<triangle v1="0" v2="1" v3="2"/></triangles></mesh></object></resources>)"
              R"(<build><item objectid="1"/><item objectid="7"/></build></model>)");
    std::string const goodName = StringConversion::ConvertNativeToUTF8(good);
    std::string const missing = StringConversion::ConvertNativeToUTF8(scratch.File("missing.3mf"));
    std::string const files = Quoted(goodName) + " " + Quoted(missing);

    std::string const check =
        "import json, sys\n"
        "d = json.load(sys.stdin)\n"
        "g, m = d['files']\n"
        "assert d['version'], d\n"
        "assert g['ok'] and g['status'] == 0 and g['errors'] == [], g\n"
        "assert len(g['meshes']) == 1, g\n"
        "mesh = g['meshes'][0]\n"
        "assert (mesh['vertices'], mesh['triangles'], mesh['beams']) == (3, 1, 0), mesh\n"
        "assert mesh['box'] == {'min': [0, 0, 0], 'max': [2, 3, 0]}, mesh\n"
        "assert len(g['warnings']) == 1 and 'build item' in g['warnings'][0], g\n"
        "assert not m['ok'] and m['status'] == 2 and m['meshes'] == [] and m['errors'], m\n"
        "print('checked')\n";
    std::string const script = StringConversion::ConvertNativeToUTF8(scratch.File("check.py"));
    std::ofstream(script) << check;
    CommandOutput const json =
        RunCommand(Quoted(OND3MF_INFO) + " --json --quiet " + files + " 2>&1 | python3 " + Quoted(script));
    EXPECT_EQ("checked\n", json.text);

    CommandOutput const loud = RunCommand(Quoted(OND3MF_INFO) + " " + Quoted(goodName) + " 2>&1 >/dev/null");
    EXPECT_EQ(0, Status(loud));
    EXPECT_EQ(0u, loud.text.find(goodName + ": warning: A build item refers to")) << loud.text;
}
