// The tools as their users run them. Every test file through ond3mf-convert
// and back, one test per file: in every kind of 3MF conversion the same
// meshes, points, colours, textures and beams, in files that a strict check
// independent of the writers passes; a file of one mesh also through STL,
// OBJ, PLY and OFF, with the vertices and triangles its welding must give,
// counted apart from the welder. Then tables: the inputs the converter reads
// or refuses, what each format it writes keeps or refuses, the options of
// every tool, and file names that are not UTF-8; ond3mf-info's JSON is read
// back by Python's own json module.
#include "export/ToolSupport.h"
#include "support/BlankPng.h"
#include "support/MeshDump.h"
#include "support/Samples.h"

#include "format3mf/Version.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlTexture.h"

#include <gtest/gtest.h>

#include <array>
#include <boost/filesystem.hpp>
#include <cmath>
#include <fstream>
#include <set>
#include <tuple>

namespace
{
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
    // Without the binary part, colours and textures come back too.
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
    {"binary twice", {"--binary", "--binary --beams=vendor"}, false, '<'},
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
    // is within half a unit of the internal grid. Binary blocks hold every
    // point in float millimetres, and leave out the triangles' colours and
    // textures.
    PointList const pointsA = PointsOf(a);
    PointList const pointsB = PointsOf(b);
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

// The vertices and triangles a mesh's triangles weld to, counted without the
// welder: the places of the corners of the triangles whose three corners are
// at three places.
std::pair<std::size_t, std::size_t> WeldedCounts(MStlBase const& mesh)
{
    std::set<std::array<std::int32_t, 3>> places;
    std::size_t triangles = 0;
    for (auto triangle = mesh.BeginTriangle(), end = mesh.EndTriangle(); triangle != end; ++triangle)
    {
        std::array<std::array<std::int32_t, 3>, 3> corners;
        for (int c = 0; c < 3; ++c)
        {
            MStlPoint const& point = mesh.PointAt(triangle->GetPointIndex(c));
            corners[c] = {point.GetX(), point.GetY(), point.GetZ()};
        }
        if (corners[0] != corners[1] && corners[1] != corners[2] && corners[2] != corners[0])
        {
            places.insert(corners.begin(), corners.end());
            ++triangles;
        }
    }
    return {places.size(), triangles};
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
    auto const [vertices, triangles] = WeldedCounts(*before[0]);
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
        EXPECT_EQ(vertices, after[0]->GetNumberOfPoints());
        EXPECT_EQ(triangles, after[0]->GetNumberOfTriangles());
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

namespace
{
// A binary STL of the given triangles (nine coordinates each, normals 0),
// with `trailing` bytes after the last one.
std::string BinaryStl(std::string header, std::vector<std::array<float, 9>> const& triangles,
                      std::size_t trailing = 0)
{
    header.resize(80, ' ');
    auto const count = static_cast<std::uint32_t>(triangles.size());
    std::string bytes = header + std::string(reinterpret_cast<char const*>(&count), 4);
    for (auto const& corners : triangles)
    {
        bytes += std::string(12, '\0') + std::string(reinterpret_cast<char const*>(corners.data()), 36) +
                 std::string(2, '\0');
    }
    return bytes + std::string(trailing, 't');
}

std::string const kXyz = "property float x\nproperty float y\nproperty float z\n";
std::string const kFaceList = "property list uchar int vertex_indices\n";

// One unit of the internal grid is 0.0001 mm.
std::array<float, 9> const kFlat = {0, 0, 0, 1, 0, 0, 0, 1, 0};
std::array<float, 9> const kOneUnitOff = {0.0001f, 0, 0, 1, 1, 0, 1, 0, 0};
std::array<float, 9> const kThirdOnFirst = {2, 0, 0, 0, 1, 0, 2, 0, 0};
} // namespace

// Each input written from its bytes and converted to 3MF: a refused one
// gives status 1 and a message naming the file, a read one the vertex and
// triangle counts worked out by hand, as Python reads them from the written
// file; either way nothing but the input is left.
TEST(ConvertTool, ReadsOrRefusesEachInput)
{
    PackageScratch scratch;
    boost::filesystem::path const folder(StringConversion::ConvertNativeToUTF8(scratch.File("inputs")));
    boost::filesystem::create_directories(folder);
    std::string const header80(80, 'x');
    struct Case
    {
        char const* name;
        std::string bytes;
        int status;
        char const* says;
        // "vertices triangles" of the written object.
        char const* counts;
    };
    Case const cases[] = {
        {"empty.stl", "", 1, "is empty", ""},
        {"liar.stl", header80 + std::string("\x80\xf0\xfa\x02", 4) + std::string(16, 'y'), 1,
         "binary STL claims 50000000 triangles", ""},
        {"cut.stl", "solid a\n facet normal 0 0 1\n  outer loop\n   vertex 0 0 0\n   vertex 1 0 0\n", 1,
         "cut short", ""},
        {"nan.stl",
         "solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex nan 0 0\nvertex 0 1 0\nendloop\n"
         "endfacet\nendsolid a\n",
         1, "not a finite number", ""},
        {"index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n", 1, "out of range", ""},
        {"index.ply",
         "ply\nformat ascii 1.0\nelement vertex 3\n" + kXyz + "element face 1\n" + kFaceList +
             "end_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n",
         1, "out of range", ""},
        {"liar.ply", "ply\nformat ascii 1.0\nelement vertex 50000000\n" + kXyz + "end_header\n0 0 0\n", 1,
         "header claims 50000000 vertices", ""},
        // 13 bytes a face times this count is 2^64 + 10.
        {"wrapping faces.ply",
         "ply\nformat binary_little_endian 1.0\nelement vertex 3\n" + kXyz +
             "element face 1418980313362273202\n" + kFaceList + "end_header\n" + std::string(36 + 13, '\0'),
         1, "header claims 3 vertices and 1418980313362273202 faces", ""},
        {"wrapping edges.ply",
         "ply\nformat binary_little_endian 1.0\nelement vertex 3\n" + kXyz +
             "element edge 18446744073709551615\nproperty int vertex1\nend_header\n" + std::string(64, '\0'),
         1, "header claims 3 vertices and 0 faces", ""},
        {"liar.off", "OFF\n40000000 1 0\n0 0 0\n", 1, "header claims 40000000 vertices", ""},
        {"trailing bytes.stl", BinaryStl("binary", {kFlat}, 7), 0, "the 7 bytes after the last triangle",
         "3 1"},
        {"solid header, trailing bytes.stl", BinaryStl("solid made by a CAD program", {kFlat}, 30), 0,
         "the 30 bytes after the last triangle", "3 1"},
        {"one unit apart.stl", BinaryStl("binary", {kFlat, kOneUnitOff}), 0, "", "5 2"},
        {"third corner on the first.stl", BinaryStl("binary", {kFlat, kThirdOnFirst}), 0,
         "1 degenerate triangles", "3 1"},
    };
    std::string const out = (folder / "out.3mf").string();
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::string const input = (folder / c.name).string();
        std::ofstream(input, std::ios::binary) << c.bytes;
        int status = -1;
        std::string const output = Convert(Quoted(input) + " " + Quoted(out), status);
        EXPECT_EQ(c.status, status) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << output;
        EXPECT_EQ(*c.says != '\0', output.find(input + ": ") != std::string::npos) << output;
        if (status == 0)
        {
            EXPECT_EQ(std::vector<std::string>{c.counts}, CheckWritten(out));
            boost::filesystem::remove(out);
        }
        boost::filesystem::remove(input);
        EXPECT_TRUE(boost::filesystem::is_empty(folder));
    }
}

namespace
{
std::string const kFourVertices = R"(<vertices><vertex x="0" y="0" z="0"/><vertex x="10" y="0" z="0"/>)"
                                  R"(<vertex x="0" y="10" z="0"/><vertex x="0" y="0" z="10"/></vertices>)";
std::string const kLattice = R"(<b:beamlattice radius="1" minlength="0.0001" cap="sphere"><b:beams>)"
                             R"(<b:beam v1="0" v2="3"/><b:beam v1="1" v2="3"/></b:beams></b:beamlattice>)";

std::string MeshModel(std::string const& mesh, std::string const& resources = "")
{
    return R"(<model unit="millimeter" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02")"
           R"( xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02")"
           R"( xmlns:b="http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02"><resources>)" +
           resources + R"(<object id="9"><mesh>)" + mesh +
           R"(</mesh></object></resources><build><item objectid="9"/></build></model>)";
}
} // namespace

// A 3MF file made by hand, converted (again and again where asked): what the
// target's format can't hold is named in one line, and a mesh with nothing
// the format holds is refused. Python counts the records of the binary part.
TEST(ConvertTool, KeepsWhatEachFormatHoldsAndNamesWhatIsDropped)
{
    PackageScratch scratch;
    std::string const triangle = R"(<triangles><triangle v1="0" v2="1" v3="2"/></triangles>)";
    struct Case
    {
        char const* name;
        std::string model;
        std::string options;
        char const* extension;
        int times;
        int status;
        char const* says;
        // The counts of the binary part's blocks, in order.
        char const* records;
    };
    Case const cases[] = {
        {"a point no triangle uses, binary twice", MeshModel(kFourVertices + triangle), "--binary", "3mf", 2,
         0, "", "4 1\n"},
        {"texture to STL",
         MeshModel(
             kFourVertices +
                 R"(<triangles><triangle v1="0" v2="1" v3="2" pid="2" p1="0" p2="1" p3="2"/></triangles>)",
             R"(<m:texture2d id="1" path="/3D/Textures/t.png" contenttype="image/png"/>)"
             R"(<m:texture2dgroup id="2" texid="1"><m:tex2coord u="0" v="0"/><m:tex2coord u="1" v="0"/>)"
             R"(<m:tex2coord u="0" v="1"/></m:texture2dgroup>)"),
         "", "stl", 1, 0, "the converter writes STL without textures: 1 texture(s) were dropped", ""},
        {"lattice and triangle to OBJ", MeshModel(kFourVertices + triangle + kLattice), "", "obj", 1, 0,
         "OBJ holds no beam lattice: 2 beam(s) were dropped", ""},
        {"lattice alone to STL", MeshModel(kFourVertices + kLattice), "", "stl", 1, 1,
         "STL holds triangles alone, and the meshes have none (only a beam lattice of 2 beams)", ""},
        {"lattice alone to PLY", MeshModel(kFourVertices + kLattice), "", "ply", 1, 1,
         "PLY holds triangles alone", ""},
    };
    std::string const records = StringConversion::ConvertNativeToUTF8(scratch.File("records.py"));
    std::ofstream(records)
        << "import sys, zipfile, xml.etree.ElementTree as E\n"
           "z = zipfile.ZipFile(sys.argv[1])\n"
           "m = E.fromstring(z.read('3D/3dmodel.model'))\n"
           "print(' '.join(b.get('count', '0') for b in m.iter() if b.tag.endswith('bin')))\n";
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        std::wstring const input = scratch.File("in.3mf");
        WriteModelPackage(input, c.model, {{"3D/Textures/t.png", BlankPng::Make(2, 2, false)}});
        std::string source = StringConversion::ConvertNativeToUTF8(input);
        std::string target;
        int status = -1;
        std::string output;
        for (int time = 0; time < c.times; ++time)
        {
            target = StringConversion::ConvertNativeToUTF8(scratch.File(std::string("out.") + c.extension));
            output = Convert(c.options + " " + Quoted(source) + " " + Quoted(target), status);
            source = target;
        }
        EXPECT_EQ(c.status, status) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << output;
        EXPECT_EQ(c.status == 0, boost::filesystem::exists(target));
        if (*c.records != '\0')
        {
            EXPECT_EQ(c.records, RunCommand("python3 " + Quoted(records) + " " + Quoted(target)).text);
        }
    }
}

namespace
{
struct ToolUsage
{
    char const* tool;
    // Each option must be in --help.
    std::vector<char const*> options;
};
} // namespace

// Every tool's --help lists its options, --version names the library's, and
// an unknown option gives status 2, what was wrong and the usage.
TEST(ToolOptions, HelpVersionAndUnknownOptionsOfEveryTool)
{
    ToolUsage const tools[] = {
        {OND3MF_INFO, {"--tsv", "--json", "--project", "--quiet", "--version"}},
        {OND3MF_CONVERT,
         {"--binary", "--zip64", "--separate-objects", "--beams=", "--project", "--from=", "--to=", "--ascii",
          "--unit=", "--weld=", "--quiet", "--help", "--version"}},
        {OND3MF_PROJECT,
         {"--json", "--filament", "--extruder", "--metadata", "--setting", "--remove-object", "--add",
          "--plate", "--quiet", "--help", "--version"}},
        {OND3MF_TORUS, {"--version"}},
    };
    for (ToolUsage const& usage : tools)
    {
        SCOPED_TRACE(usage.tool);
        std::string const program = boost::filesystem::path(usage.tool).filename().string();
        for (char const* help : {"--help", "-h"})
        {
            // The usage goes to standard output, nothing to standard error.
            CommandOutput const output = RunCommand(Quoted(usage.tool) + " " + help + " 2>/dev/null");
            EXPECT_EQ(0, Status(output));
            EXPECT_EQ(0u, output.text.find("usage: " + program)) << output.text;
            for (char const* option : usage.options)
            {
                EXPECT_NE(std::string::npos, output.text.find(std::string("  ") + option)) << option;
            }
        }
        CommandOutput const version = RunCommand(Quoted(usage.tool) + " --version");
        EXPECT_EQ(0, Status(version));
        EXPECT_EQ(program + " (OndSDK.AM.3mf) " + format3mf::Version() + "\n", version.text);

        CommandOutput const unknown = RunCommand(Quoted(usage.tool) + " --no-such-option 2>&1 >/dev/null");
        EXPECT_EQ(2, Status(unknown));
        EXPECT_EQ(0u, unknown.text.find(program + ": unknown option '--no-such-option'")) << unknown.text;
        EXPECT_NE(std::string::npos, unknown.text.find("usage: " + program)) << unknown.text;
    }
    // Two segments around make no torus, and no file.
    PackageScratch scratch;
    std::string const torus = StringConversion::ConvertNativeToUTF8(scratch.File("t.3mf"));
    EXPECT_EQ(2, Status(RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(torus) + " 2 9 2>&1")));
    EXPECT_FALSE(boost::filesystem::exists(torus));
}

// The converter's arguments: a bad one, or an option for a format neither
// side has, gives status 2 with what was wrong first and then the usage, and
// writes nothing; the options each format takes convert.
TEST(ToolOptions, ConvertRefusesBadArgumentsAndOptionsOfOtherFormats)
{
    PackageScratch scratch;
    boost::filesystem::path const folder(StringConversion::ConvertNativeToUTF8(scratch.File("options")));
    boost::filesystem::create_directories(folder);
    std::string const torus = Quoted((folder / "torus.3mf").string());
    std::string const ply = Quoted((folder / "flat.ply").string());
    ASSERT_EQ(0, RunCommand(Quoted(OND3MF_TORUS) + " " + torus + " 8 8").status);
    std::ofstream((folder / "flat.ply").string()) << "ply\nformat ascii 1.0\nelement vertex 3\n" + kXyz +
                                                         "element face 1\n" + kFaceList +
                                                         "end_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
    auto const out = [&folder](char const* extension)
    { return " " + Quoted((folder / (std::string("out.") + extension)).string()); };
    struct Case
    {
        std::string arguments;
        int status;
        char const* says;
    };
    Case const cases[] = {
        {"--beams=curved " + torus + out("3mf"), 2, "unknown beam dialect 'curved'"},
        {torus, 2, "expected IN and OUT, got 1 file name(s)"},
        {"--to=xyz " + torus + out("3mf"), 2, "unknown format 'xyz'"},
        {"--unit=furlong " + ply + out("3mf"), 2, "unknown unit 'furlong'"},
        {"--weld=-1 " + ply + out("3mf"), 2, "--weld takes a distance in millimetres, at least 0, not '-1'"},
        {"--project " + ply + out("3mf"), 2, "--project applies to reading 3MF only, and IN is read as PLY"},
        {"--unit=inch " + torus + out("stl"), 2,
         "--unit applies to reading STL, OBJ, PLY or OFF only, and IN is read as 3MF"},
        {"--weld=0.1 " + torus + out("3mf"), 2, "--weld applies to reading STL, OBJ, PLY or OFF only"},
        {"--binary " + torus + out("stl"), 2,
         "--binary applies to writing 3MF only, and OUT is written as STL"},
        {"--zip64 " + ply + out("obj"), 2, "--zip64 applies to writing 3MF only, and OUT is written as OBJ"},
        {"--separate-objects " + torus + out("off"), 2, "--separate-objects applies to writing 3MF only"},
        {"--beams=vendor " + torus + out("ply"), 2, "--beams applies to writing 3MF only"},
        {"--ascii " + torus + out("3mf"), 2,
         "--ascii applies to writing STL or PLY only, and OUT is written as 3MF"},
        {"--ascii --to=obj " + torus + out("stl"), 2, "OUT is written as OBJ"},
        {"--quiet --unit=inch --weld=0.01 --ascii " + ply + out("stl"), 0, ""},
        {"--quiet --project --binary --zip64 --separate-objects --beams=none " + torus + out("3mf"), 0, ""},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.arguments);
        int status = -1;
        std::string const output = Convert(c.arguments, status);
        EXPECT_EQ(c.status, status) << output;
        EXPECT_EQ(c.status == 2, output.rfind("ond3mf-convert: ", 0) == 0) << output;
        EXPECT_NE(std::string::npos, output.find(c.says)) << output;
        EXPECT_EQ(c.status == 2, output.find("usage: ond3mf-convert") != std::string::npos) << output;
        std::set<std::string> written = Entries(folder);
        written.erase("torus.3mf");
        written.erase("flat.ply");
        EXPECT_EQ(c.status == 2 ? 0u : 1u, written.size());
        for (std::string const& name : written)
        {
            boost::filesystem::remove(folder / name);
        }
    }
}

// ond3mf-info on one good file with a warning and one missing: the JSON
// holds both, with the good file's figures, the warning, and the missing
// file's error; standard error carries the warning unless --quiet, with
// which the JSON is all the output.
TEST(InfoTool, JsonOfAGoodAndAMissingFile)
{
    PackageScratch scratch;
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

// Linux file names are bytes: every tool opens and writes a name that is not
// UTF-8 as it was given, and ond3mf-info's JSON names it with U+FFFD where
// its bytes are not UTF-8, exiting 1 for the file that is missing.
TEST(ToolOptions, FileNamesThatAreNotUtf8)
{
    PackageScratch scratch;
    boost::filesystem::path const folder(StringConversion::ConvertNativeToUTF8(scratch.File("bytes")));
    boost::filesystem::create_directories(folder);
    std::string const name = (folder / "\xff\xfe-torus").string();
    struct Step
    {
        std::string command;
        int status;
        std::string made;
    };
    Step const steps[] = {
        {Quoted(OND3MF_TORUS) + " " + Quoted(name + ".3mf") + " 8 8", 0, name + ".3mf"},
        {Quoted(OND3MF_CONVERT) + " " + Quoted(name + ".3mf") + " " + Quoted(name + ".stl"), 0,
         name + ".stl"},
        {Quoted(OND3MF_CONVERT) + " " + Quoted(name + ".stl") + " " + Quoted(name + "\xfd.3mf"), 0,
         name + "\xfd.3mf"},
        {Quoted(OND3MF_INFO) + " " + Quoted(name + "\xfd.3mf"), 0, ""},
    };
    for (Step const& step : steps)
    {
        SCOPED_TRACE(step.command);
        CommandOutput const output = RunCommand(step.command + " 2>&1");
        EXPECT_EQ(step.status, Status(output)) << output.text;
        EXPECT_TRUE(step.made.empty() || boost::filesystem::exists(step.made)) << output.text;
    }
    std::string const check =
        "import json, sys\n"
        "d = json.load(sys.stdin)\n"
        "g, m = d['files']\n"
        "assert g['ok'] and g['file'].endswith('/\\ufffd\\ufffd-torus.3mf'), g\n"
        "assert (g['meshes'][0]['vertices'], g['meshes'][0]['triangles']) == (64, 128), g\n"
        "assert not m['ok'] and m['file'].endswith('/\\ufffd.3mf') and m['errors'], m\n"
        "print('checked')\n";
    std::string const script = (folder / "check.py").string();
    std::ofstream(script) << check;
    CommandOutput const json =
        RunCommand(Quoted(OND3MF_INFO) + " --json --quiet " + Quoted(name + ".3mf") + " " +
                   Quoted((folder / "\xfc.3mf").string()) + "; echo $? > " + Quoted(script + ".status"));
    EXPECT_EQ("1\n", FileText(script + ".status")) << json.text;
    std::ofstream(script + ".json") << json.text;
    EXPECT_EQ("checked\n",
              RunCommand("python3 " + Quoted(script) + " < " + Quoted(script + ".json") + " 2>&1").text);
}
