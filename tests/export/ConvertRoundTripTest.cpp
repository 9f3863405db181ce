// Every sample through ond3mf-convert and back in every kind of conversion:
// the same meshes, colours, textures and beams, files that a strict check
// independent of the writers passes, and the tool's behaviour on bad
// arguments and failures.
#include "import/ImportSupport.h"
#include "support/MeshDump.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"

#include "format3mf/Importer.h"

#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlTexture.h"

#include <boost/filesystem.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

namespace
{
struct Box
{
    std::int32_t low[3];
    std::int32_t high[3];
};

Box BoxOf(MStlBase const& mesh)
{
    Box box;
    std::fill(box.low, box.low + 3, std::numeric_limits<std::int32_t>::max());
    std::fill(box.high, box.high + 3, std::numeric_limits<std::int32_t>::min());
    for (auto point = mesh.BeginPoint(); point != mesh.EndPoint(); ++point)
    {
        std::int32_t const coordinates[3] = {point->GetX(), point->GetY(), point->GetZ()};
        for (int axis = 0; axis < 3; ++axis)
        {
            box.low[axis] = std::min(box.low[axis], coordinates[axis]);
            box.high[axis] = std::max(box.high[axis], coordinates[axis]);
        }
    }
    return box;
}

std::size_t ColouredTriangles(MStlBase const& mesh)
{
    std::size_t count = 0;
    for (auto triangle = mesh.BeginTriangle(); triangle != mesh.EndTriangle(); ++triangle)
    {
        count += triangle->GetColor().IsDefined() ? 1 : 0;
    }
    return count;
}

std::size_t TexturedTriangles(MStlBase const& mesh)
{
    std::set<MStlTriangle const*> triangles;
    for (MStlTexture const* texture : mesh.GetTextures())
    {
        triangles.insert(texture->GetTriangles().begin(), texture->GetTriangles().end());
    }
    return triangles.size();
}

// The textures' bitmaps with their triangle counts, in an order that doesn't
// depend on the order the reader made the textures in.
std::vector<std::pair<OndSDK::Common::ImageBitmap, std::size_t>> Textures(MStlBase const& mesh)
{
    std::vector<std::pair<OndSDK::Common::ImageBitmap, std::size_t>> textures;
    for (MStlTexture const* texture : mesh.GetTextures())
    {
        textures.emplace_back(texture->GetBitmap(), texture->GetNumTriangles());
    }
    auto const key = [](auto const& entry)
    {
        OndSDK::Common::ImageBitmap const& bitmap = entry.first;
        std::uint8_t const* data = bitmap.GetData();
        std::size_t const size = std::size_t(bitmap.GetWidth()) * bitmap.GetHeight() * bitmap.GetChannels();
        return std::make_tuple(bitmap.GetWidth(), bitmap.GetHeight(), entry.second,
                               std::vector<std::uint8_t>(data, data + std::min<std::size_t>(size, 64)));
    };
    std::sort(textures.begin(), textures.end(),
              [&](auto const& a, auto const& b) { return key(a) < key(b); });
    return textures;
}

// A folder of the test's own below the process's temporary folder, so that
// what a tool leaves there can be listed; removed at the end.
struct OwnFolder
{
    PackageScratch scratch;
    boost::filesystem::path path;

    explicit OwnFolder(std::string const& name)
        : path(boost::filesystem::path(StringConversion::ConvertNativeToUTF8(scratch.File(name))))
    {
        boost::filesystem::create_directories(path);
    }
    ~OwnFolder()
    {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path, ignored);
    }
    OwnFolder(OwnFolder const&) = delete;
    OwnFolder& operator=(OwnFolder const&) = delete;
};

std::string Convert(std::string const& arguments, int& status)
{
    CommandOutput const output = RunCommand(Quoted(OND3MF_CONVERT) + " " + arguments + " 2>&1");
    status = WIFEXITED(output.status) ? WEXITSTATUS(output.status) : -1;
    return output.text;
}

// What a conversion keeps, by the options it was made with.
struct Conversion
{
    char const* name;
    // Each step converts the file the step before wrote, the first the
    // original.
    std::vector<std::string> steps;
    // Without the binary part, points, colours and textures come back too.
    bool xml;
    // A lattice in the vendor dialect or none keeps its beams, or has none;
    // the published dialect's minimal length drops the short ones.
    enum Beams
    {
        Same,
        None,
        Fewer
    } beams;
};

Conversion const kConversions[] = {
    {"plain", {""}, true, Conversion::Fewer},
    {"separate objects, zip64", {"--separate-objects --zip64"}, true, Conversion::Fewer},
    {"vendor lattice", {"--beams=vendor"}, true, Conversion::Same},
    {"no lattice", {"--beams=none"}, true, Conversion::None},
    {"binary, vendor lattice, zip64", {"--binary --zip64 --beams=vendor"}, false, Conversion::Same},
    {"binary, then plain", {"--binary --beams=vendor", ""}, false, Conversion::Fewer},
    {"twice: separate vendor, then plain",
     {"--separate-objects --beams=vendor", ""},
     true,
     Conversion::Fewer},
};

void ExpectSameMeshes(MStlBase const& a, MStlBase const& b, Conversion const& conversion)
{
    EXPECT_EQ(a.GetNumberOfTriangles(), b.GetNumberOfTriangles());
    EXPECT_EQ(std::wstring(a.GetName()), std::wstring(b.GetName())) << "the object's name";
    std::size_t const beamsA = a.GetFeature().GetNumEdges();
    std::size_t const beamsB = b.GetFeature().GetNumEdges();
    switch (conversion.beams)
    {
    case Conversion::Same:
        EXPECT_EQ(beamsA, beamsB);
        break;
    case Conversion::None:
        EXPECT_EQ(0u, beamsB);
        break;
    case Conversion::Fewer:
        EXPECT_LE(beamsB, beamsA);
        break;
    }
    if (!conversion.xml)
    {
        // Binary blocks hold float millimetres and leave out the points no
        // triangle uses and the triangles' colours: the used points come
        // back on the same grid point or the next (or within a float's
        // precision), and the object keeps its colour.
        PointList const pointsA = PointsOf(a, true);
        PointList const pointsB = PointsOf(b, true);
        ASSERT_EQ(pointsA.size(), pointsB.size());
        for (std::size_t p = 0; p < pointsA.size(); ++p)
        {
            for (int axis = 0; axis < 3; ++axis)
            {
                double const tolerance = 1 + std::abs(double(pointsA[p][axis])) * 1.2e-7;
                ASSERT_NEAR(pointsA[p][axis], pointsB[p][axis], tolerance)
                    << "point " << p << ", axis " << axis;
            }
        }
        EXPECT_EQ(a.GetMaterial().GetRGB(), b.GetMaterial().GetRGB());
        EXPECT_EQ(0u, ColouredTriangles(b));
        return;
    }
    // The written file is in millimetres; a length printed with four
    // decimals is within half a unit of the internal grid.
    std::int32_t const tolerance = static_cast<std::int32_t>(0.0001 * OndSDK::Common::MInternalUnits::Get());
    EXPECT_EQ(a.GetNumberOfPoints(), b.GetNumberOfPoints());
    Box const boxA = BoxOf(a);
    Box const boxB = BoxOf(b);
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_NEAR(boxA.low[axis], boxB.low[axis], tolerance) << "axis " << axis;
        EXPECT_NEAR(boxA.high[axis], boxB.high[axis], tolerance) << "axis " << axis;
    }
    EXPECT_EQ(ColouredTriangles(a), ColouredTriangles(b));
    EXPECT_EQ(TexturedTriangles(a), TexturedTriangles(b));
    auto const texturesA = Textures(a);
    auto const texturesB = Textures(b);
    ASSERT_EQ(texturesA.size(), texturesB.size());
    for (std::size_t t = 0; t < texturesA.size(); ++t)
    {
        EXPECT_TRUE(texturesA[t].first == texturesB[t].first) << "texture " << t << " differs in pixels";
        EXPECT_EQ(texturesA[t].second, texturesB[t].second);
    }
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
} // namespace

// The samples and the projects of today's slicers and tools, components
// across model parts among them, through every kind of conversion: each
// written file passes the strict check and reads back with the same meshes.
TEST(ConvertRoundTrip, EveryTestFileInEveryConversionComesBackWithTheSameMeshes)
{
    auto const files = AllTestFiles();
    if (files.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (../shared/testdata)");
    }
    PackageScratch scratch;
    for (auto const& file : files)
    {
        auto const before = ImportMeshes(file.string());
        bool const beams =
            std::any_of(before.begin(), before.end(),
                        [](auto const& mesh) { return mesh->GetFeature().GetNumEdges() != 0; });
        for (Conversion const& conversion : kConversions)
        {
            // The dialects make a difference only where there are beams.
            if (conversion.beams != Conversion::Fewer && !beams && conversion.xml)
            {
                continue;
            }
            SCOPED_TRACE(file.string() + ", " + conversion.name);
            std::string source = file.string();
            std::string converted;
            for (std::size_t step = 0; step < conversion.steps.size(); ++step)
            {
                converted = StringConversion::ConvertNativeToUTF8(
                    scratch.File("step" + std::to_string(step) + ".3mf"));
                int status = -1;
                std::string const output = Convert("--quiet " + conversion.steps[step] + " " +
                                                       Quoted(source) + " " + Quoted(converted),
                                                   status);
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
    }
}

TEST(ConvertTool, HelpBadArgumentsAndFailures)
{
    OwnFolder const own("tools");
    std::string const folder = own.path.string();
    std::string const out = folder + "/out.3mf";
    std::string const torus = folder + "/torus.3mf";
    ASSERT_EQ(0, RunCommand(Quoted(OND3MF_TORUS) + " " + Quoted(torus) + " 8 8").status);
    struct Case
    {
        char const* name;
        std::string arguments;
        int status;
        char const* says;
    };
    Case const cases[] = {
        {"unknown option", "--fast " + Quoted(torus) + " " + Quoted(out), 2, "unknown option '--fast'"},
        {"unknown beam dialect", "--beams=curved " + Quoted(torus) + " " + Quoted(out), 2,
         "unknown beam dialect 'curved'"},
        {"one file", Quoted(torus), 2, "expected IN and OUT"},
        {"missing input", Quoted(folder + "/none.3mf") + " " + Quoted(out), 1, "cannot read"},
        {"not a 3MF file", Quoted(FORMAT3MF_SOURCE_DIR "/README.md") + " " + Quoted(out), 1, "cannot read"},
        {"unwritable output", Quoted(torus) + " " + Quoted(folder + "/no/such/folder.3mf"), 1,
         "cannot write"},
    };
    for (Case const& entry : cases)
    {
        int status = -1;
        std::string const output = Convert(entry.arguments, status);
        EXPECT_EQ(entry.status, status) << entry.name << ": " << output;
        EXPECT_NE(std::string::npos, output.find(entry.says)) << entry.name << ": " << output;
        if (entry.status == 2)
        {
            // What was wrong first, then the usage.
            EXPECT_EQ(0u, output.find("ond3mf-convert: ")) << entry.name << ": " << output;
            EXPECT_NE(std::string::npos, output.find("usage: ond3mf-convert"))
                << entry.name << ": " << output;
        }
        // Nothing is left behind by a failure: no output, no partial file.
        std::set<std::string> left;
        for (auto const& item : boost::filesystem::directory_iterator(folder))
        {
            left.insert(item.path().filename().string());
        }
        EXPECT_EQ((std::set<std::string>{"torus.3mf"}), left) << entry.name;
    }
}
