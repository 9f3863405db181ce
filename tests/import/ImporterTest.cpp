#include "import/ImportSupport.h"
#include "support/Samples.h"

#include "format3mf/Importer.h"

#include "common/IProgressDelegate.h"
#include "common/MInternalUnits.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <gtest/gtest.h>

#include <fstream>

using format3mf::import::Importer;
using Parts = std::vector<std::unique_ptr<MStlBase>>;

namespace
{
std::string const kCore = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";

// A unit cube at the origin as the mesh of an object.
std::string CubeMesh(std::string const& triangleAttributes = "")
{
    std::string mesh = "<mesh><vertices>";
    for (int i = 0; i < 8; ++i)
    {
        mesh += "<vertex x=\"" + std::to_string(i & 1) + "\" y=\"" + std::to_string((i >> 1) & 1) +
                "\" z=\"" + std::to_string((i >> 2) & 1) + "\"/>";
    }
    mesh += "</vertices><triangles>";
    int const faces[12][3] = {{0, 2, 1}, {1, 2, 3}, {4, 5, 6}, {5, 7, 6}, {0, 1, 4}, {1, 5, 4},
                              {2, 6, 3}, {3, 6, 7}, {0, 4, 2}, {2, 4, 6}, {1, 3, 5}, {3, 7, 5}};
    for (auto const& face : faces)
    {
        mesh += "<triangle v1=\"" + std::to_string(face[0]) + "\" v2=\"" + std::to_string(face[1]) +
                "\" v3=\"" + std::to_string(face[2]) + "\" " + triangleAttributes + "/>";
    }
    return mesh + "</triangles></mesh>";
}

std::string Model(std::string const& resources, std::string const& build,
                  std::string const& unit = "millimeter")
{
    return "<model unit=\"" + unit + "\" xmlns=\"" + kCore +
           "\" xmlns:m=\"http://schemas.microsoft.com/3dmanufacturing/material/2015/02\"><resources>" +
           resources + "</resources><build>" + build + "</build></model>";
}

struct Import
{
    PackageScratch scratch;
    Parts parts;
    Importer importer;
    Importer::ErrorStatus result = Importer::ReadFailed;

    explicit Import(std::string const& model) : Import(model, [](Importer&) {}) {}

    template <typename Setup>
    Import(std::string const& model, Setup setup)
    {
        std::wstring const file = scratch.File("import.3mf");
        WriteModelPackage(file, model);
        Run(file, setup);
    }

    template <typename Setup>
    void Run(std::wstring const& file, Setup setup)
    {
        importer.SetOutputParts(parts);
        importer.SetFileName(file);
        setup(importer);
        result = importer.Operate(nullptr);
    }

    std::string Error() const
    {
        return importer.GetErrors().empty()
                   ? std::string()
                   : StringConversion::ConvertNativeToUTF8(importer.GetErrors().front());
    }
};

double MaxX(MStlBase const& mesh)
{
    std::int32_t max = std::numeric_limits<std::int32_t>::min();
    for (auto point = mesh.BeginPoint(); point != mesh.EndPoint(); ++point)
    {
        max = std::max(max, point->GetX());
    }
    return double(max) / OndSDK::Common::MInternalUnits::Get();
}

std::size_t Coloured(MStlBase const& mesh)
{
    std::size_t count = 0;
    for (auto triangle = mesh.BeginTriangle(); triangle != mesh.EndTriangle(); ++triangle)
    {
        count += triangle->GetColor().IsDefined() ? 1 : 0;
    }
    return count;
}
} // namespace

// Components two levels deep: the placements multiply from the build item
// down, in the file's unit.
TEST(Importer, FlattensComponentsWithTheirTransforms)
{
    Import run(Model(R"(<object id="1">)" + CubeMesh() + R"(</object>
        <object id="2"><components><component objectid="1" transform="1 0 0 0 1 0 0 0 1 2 0 0"/></components></object>
        <object id="3"><components><component objectid="2" transform="2 0 0 0 1 0 0 0 1 0 0 0"/>
            <component objectid="1"/></components></object>)",
                     R"(<item objectid="3" transform="1 0 0 0 1 0 0 0 1 10 0 0"/><item objectid="2"/>)",
                     "inch"));
    ASSERT_EQ(Importer::Success, run.result) << run.Error();
    ASSERT_EQ(2u, run.parts.size());
    EXPECT_EQ(16u, run.parts[0]->GetNumberOfPoints());
    EXPECT_EQ(24u, run.parts[0]->GetNumberOfTriangles());
    // (cube + 2) scaled by 2 in x, moved by 10: 2 * 3 + 10 inches.
    EXPECT_DOUBLE_EQ(16 * 25.4, MaxX(*run.parts[0]));
    EXPECT_DOUBLE_EQ(3 * 25.4, MaxX(*run.parts[1]));
}

TEST(Importer, SwitchesOnePartAppendAndTextures)
{
    auto const logo = Samples("examples/material");
    auto const gears = Samples("examples/core");
    if (logo.empty() || gears.empty())
    {
        GTEST_SKIP() << "no sample files beside the checkout (../shared/testdata)";
    }
    std::wstring const cubeGears = StringConversion::ConvertMultiByteStringToOndString(
        (gears[0].parent_path() / "cube_gears.3mf").string());
    std::wstring const sphereLogo = StringConversion::ConvertMultiByteStringToOndString(
        (logo[0].parent_path() / "sphere_logo.3mf").string());

    Parts many;
    Importer importer;
    importer.SetOutputParts(many);
    importer.SetFileName(cubeGears);
    ASSERT_EQ(Importer::Success, importer.Operate(nullptr));
    ASSERT_GT(many.size(), 2u);
    std::size_t triangles = 0;
    for (auto const& part : many)
    {
        triangles += part->GetNumberOfTriangles();
    }

    // Two parts already there: the whole file goes into the second.
    Parts two;
    two.push_back(std::make_unique<MStlBase>());
    two.push_back(std::make_unique<MStlBase>());
    importer.SetOutputParts(two);
    importer.SetImportAsOnePart(true);
    ASSERT_EQ(Importer::Success, importer.Operate(nullptr));
    ASSERT_EQ(2u, two.size());
    EXPECT_EQ(0u, two[0]->GetNumberOfTriangles());
    EXPECT_EQ(triangles, two[1]->GetNumberOfTriangles());

    Parts textured;
    importer.SetOutputParts(textured);
    importer.SetImportAsOnePart(false);
    importer.SetFileName(sphereLogo);
    ASSERT_EQ(Importer::Success, importer.Operate(nullptr));
    ASSERT_EQ(1u, textured.size());
    ASSERT_FALSE(textured[0]->GetTextures().empty());
    EXPECT_NE(nullptr, textured[0]->GetTextures()[0]->GetSharedBitmap());
    Parts plain;
    importer.SetOutputParts(plain);
    importer.SetImportTextures(false);
    ASSERT_EQ(Importer::Success, importer.Operate(nullptr));
    ASSERT_EQ(1u, plain.size());
    EXPECT_TRUE(plain[0]->GetTextures().empty());
}

// Merged as one part, a part that owed its colour to its material keeps it.
TEST(Importer, MergingKeepsMaterialColours)
{
    Import run(
        Model(R"(<m:colorgroup id="1"><m:color color="#FF0000"/><m:color color="#00FF00"/></m:colorgroup>
        <object id="2" pid="1" pindex="0">)" +
                  CubeMesh() + R"(</object>
        <object id="3" pid="1" pindex="1">)" +
                  CubeMesh() + R"(</object>)",
              R"(<item objectid="2"/><item objectid="3"/>)"),
        [](Importer& importer) { importer.SetImportAsOnePart(true); });
    ASSERT_EQ(Importer::Success, run.result) << run.Error();
    ASSERT_EQ(1u, run.parts.size());
    EXPECT_EQ(24u, run.parts[0]->GetNumberOfTriangles());
    EXPECT_EQ(12u, Coloured(*run.parts[0]));
}

TEST(Importer, FailuresGiveTheirResults)
{
    PackageScratch scratch;
    Parts parts;
    Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(scratch.File("missing.3mf"));
    EXPECT_EQ(Importer::ReadFailed, importer.Operate(nullptr));
    std::wstring const text = scratch.File("text.3mf");
    std::ofstream(StringConversion::ConvertNativeToUTF8(text)) << "no zip";
    importer.SetFileName(text);
    EXPECT_EQ(Importer::ReadFailed, importer.Operate(nullptr));
    EXPECT_TRUE(parts.empty());
}

TEST(Importer, CancellingMidMeshReturnsPromptly)
{
    struct Canceller : OndSDK::Common::IProgressDelegate
    {
        void OnProgress(double fraction) override
        {
            if (fraction > 0.2)
            {
                Cancel();
            }
        }
    };
    std::string big = "<mesh><vertices>";
    for (int i = 0; i < 200000; ++i)
    {
        big += "<vertex x=\"" + std::to_string(i) + "\" y=\"0\" z=\"0\"/>";
    }
    big += "</vertices></mesh>";
    PackageScratch scratch;
    std::wstring const file = scratch.File("big.3mf");
    WriteModelPackage(file, Model(R"(<object id="1">)" + big + "</object>", R"(<item objectid="1"/>)"));
    Parts parts;
    Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(file);
    auto delegate = std::make_shared<Canceller>();
    EXPECT_EQ(Importer::Canceled, importer.Operate(delegate));
    EXPECT_TRUE(parts.empty());
}

// Content that makes no sense fails with a message that names the problem;
// nothing is read out of bounds and nothing hangs.
TEST(Importer, HostileContentFailsCleanly)
{
    struct Case
    {
        char const* name;
        std::string model;
        char const* message; // start of the first error
    };
    std::string const cube = CubeMesh();
    std::vector<Case> const cases = {
        {"vertex index",
         Model(R"(<object id="1"><mesh><vertices><vertex x="0" y="0" z="0"/></vertices>
            <triangles><triangle v1="0" v2="1" v3="7"/></triangles></mesh></object>)",
               R"(<item objectid="1"/>)"),
         "A triangle refers to vertex 1 of 1 vertices."},
        {"property index",
         Model(R"(<m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>
            <object id="2">)" +
                   CubeMesh(R"(pid="1" p1="5")") + "</object>",
               R"(<item objectid="2"/>)"),
         "Property index 5 is out of range in the property group 1, which holds 1 values"},
        {"texid",
         Model(R"(<m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>
            <m:texture2dgroup id="2" texid="1"><m:tex2coord u="0" v="0"/></m:texture2dgroup>
            <object id="3">)" +
                   CubeMesh(R"(pid="2" p1="0")") + "</object>",
               R"(<item objectid="3"/>)"),
         "Texture group 2 names the texture 1, which does not exist."},
        {"self component",
         Model(R"(<object id="1"><components><component objectid="1"/></components></object>)",
               R"(<item objectid="1"/>)"),
         "Object 1 has itself as a component."},
    };
    for (Case const& test : cases)
    {
        SCOPED_TRACE(test.name);
        Import run(test.model);
        EXPECT_EQ(Importer::ReadFailed, run.result);
        EXPECT_FALSE(run.Error().empty());
        EXPECT_EQ(0u, run.Error().find(test.message)) << run.Error();
        EXPECT_TRUE(run.parts.empty());
    }

    // Each level places the one below twice: 2^40 cubes from a few lines.
    std::string doubling = R"(<object id="1">)" + cube + "</object>";
    for (int level = 2; level <= 41; ++level)
    {
        std::string const below = std::to_string(level - 1);
        doubling += "<object id=\"" + std::to_string(level) + "\"><components><component objectid=\"" +
                    below + "\"/><component objectid=\"" + below + "\"/></components></object>";
    }
    Import explosion(Model(doubling, R"(<item objectid="41"/>)"));
    EXPECT_EQ(Importer::ReadFailed, explosion.result);
    EXPECT_NE(std::string::npos, explosion.Error().find("more often than can be held")) << explosion.Error();

    // A group defined after the object is no group yet: the triangles just
    // have no colour.
    Import later(Model(R"(<object id="2">)" + CubeMesh(R"(pid="1" p1="0")") +
                           R"(</object><m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>)",
                       R"(<item objectid="2"/>)"));
    ASSERT_EQ(Importer::Success, later.result) << later.Error();
    EXPECT_EQ(0u, Coloured(*later.parts[0]));
}
