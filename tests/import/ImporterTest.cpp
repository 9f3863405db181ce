// Tests of the importer's options, merging, failures and cancellation, on
// packages the tests build.
#include "import/ImportSupport.h"
#include "support/Prerequisites.h"
#include "support/Samples.h"
#include "support/SlicerPackages.h"

#include "format3mf/Importer.h"

#include "common/IProgressDelegate.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlIterators.h"
#include "triangles/MStlPoint.h"
#include "triangles/MStlTexture.h"
#include "triangles/MStlTriangle.h"

#include <gtest/gtest.h>

using format3mf::import::Importer;
using Parts = std::vector<std::unique_ptr<MStlBase>>;

namespace
{
std::string const kCore = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";

// A unit cube at the origin as the mesh of an object.
std::string CubeMesh(std::string const& triangleAttributes = "")
{
    return slicer::BoxMesh(1, 1, 1, triangleAttributes);
}

std::string Model(std::string const& resources, std::string const& build)
{
    return "<model unit=\"millimeter\" xmlns=\"" + kCore +
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

TEST(Importer, SwitchesOnePartAppendAndTextures)
{
    auto const logo = Samples("examples/material");
    auto const gears = Samples("examples/core");
    if (logo.empty() || gears.empty())
    {
        SKIP_OR_FAIL_MISSING("sample files beside the checkout (../shared/testdata)");
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

// A file that is not there (a file that is no archive: ZipFormsImportTest).
TEST(Importer, AMissingFileFailsWithoutParts)
{
    PackageScratch scratch;
    Parts parts;
    Importer importer;
    importer.SetOutputParts(parts);
    importer.SetFileName(scratch.File("missing.3mf"));
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

// A read that fails reaches the importer's caller with the reader's message
// and no parts (the messages themselves are tested where they are made); a
// group defined after the object is no group yet, so the triangles just
// have no colour.
TEST(Importer, ReadFailuresReachTheCallerAndLateGroupsColourNothing)
{
    Import failed(Model(R"(<object id="1"><mesh><vertices><vertex x="0" y="0" z="0"/></vertices>
            <triangles><triangle v1="0" v2="1" v3="7"/></triangles></mesh></object>)",
                        R"(<item objectid="1"/>)"));
    EXPECT_EQ(Importer::ReadFailed, failed.result);
    EXPECT_EQ("A triangle refers to vertex 1 of 1 vertices.", failed.Error());
    EXPECT_TRUE(failed.parts.empty());

    Import later(Model(R"(<object id="2">)" + CubeMesh(R"(pid="1" p1="0")") +
                           R"(</object><m:colorgroup id="1"><m:color color="#FF0000"/></m:colorgroup>)",
                       R"(<item objectid="2"/>)"));
    ASSERT_EQ(Importer::Success, later.result) << later.Error();
    EXPECT_EQ(0u, Coloured(*later.parts[0]));
}
