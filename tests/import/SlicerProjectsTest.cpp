// Projects as today's slicers save them: components that name objects in
// other model parts, parts that name each other, dangling references and old
// Cura namespaces. Geometry is checked against the independent expectations
// of expected_meshes.py.

#include "import/ImportSupport.h"
#include "import/SlicerReadSupport.h"
#include "support/Prerequisites.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

using namespace Format_3MF;
using namespace slicer;

namespace
{
std::string const kObject1 = "/3D/Objects/object_1.model";
std::string const kObject2 = "/3D/Objects/object_2.model";

// Two projects: items and components with transforms, components in a
// related part that name objects of the same and of the other related part
// (with and without the leading slash), a part in inches, a component-only
// object as the leaf of a chain of three levels.
std::vector<std::pair<std::string, std::vector<std::pair<std::string, std::string>>>> Projects()
{
    std::string const part1 =
        Part(MeshObject(1, BoxMesh(10, 20, 5)) + MeshObject(2, BoxMesh(3, 3, 3)) +
             Assembly(3, ComponentElement(1, "", "1 0 0 0 1 0 0 0 1 0 0 5") +
                             ComponentElement(1, "3D/Objects/object_2.model", "0 1 0 -1 0 0 0 0 1 4 4 0")));
    std::string const part2 = Part(MeshObject(1, BoxMesh(1, 1, 1)), "", "inch");
    std::string const first =
        Part(Assembly(5, ComponentElement(1, kObject1, "1 0 0 0 1 0 0 0 1 -5 -10 0") +
                             ComponentElement(1, kObject2, "2 0 0 0 1 0 0 0 1 20 0 0")) +
                 Assembly(6, ComponentElement(3, kObject1, "1 0 0 0 1 0 0 0 1 0 0 1")) +
                 Assembly(7, ComponentElement(6, "")),
             Item(5, R"(transform="1 0 0 0 1 0 0 0 1 128 128 2.5" printable="1")") + Item(7) +
                 Item(2, "p:path=\"" + kObject1 + "\" transform=\"0 0 1 0 1 0 -1 0 0 50 0 0\""));
    std::string const second =
        Part(Assembly(1, ComponentElement(2, kObject1) + ComponentElement(1, kObject2)),
             Item(1, R"(transform="1 0 0 0 1 0 0 0 1 0.5 0.25 0")"), "centimeter");
    return {{first, {{"3D/Objects/object_1.model", part1}, {"3D/Objects/object_2.model", part2}}},
            {second, {{"3D/Objects/object_1.model", part1}, {"3D/Objects/object_2.model", part2}}}};
}
} // namespace

TEST(SlicerProjects, ComponentsInOtherPartsMatchTheIndependentExpectations)
{
    PackageScratch scratch;
    std::vector<std::string> files;
    auto const projects = Projects();
    for (std::size_t i = 0; i < projects.size(); ++i)
    {
        std::wstring const file = scratch.File("project" + std::to_string(i) + ".3mf");
        slicer::WriteSlicerPackage(file, projects[i].first, projects[i].second);
        files.push_back(Utf8(file));
    }
    ExpectToolMatchesOracle(files);

    StlRead read(StringConversion::ConvertMultiByteStringToOndString(files[0]));
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(1u, read.ModelFilesNamed(L"3D/Objects/object_2.model"));
    EXPECT_EQ(2u, read.model.GetModelFiles().size());
    EXPECT_EQ("", read.Warnings());
}

TEST(SlicerProjects, RealProjectsMatchTheIndependentExpectations)
{
    boost::filesystem::path const folder = boost::filesystem::path(FORMAT3MF_TESTDATA) / "realworld";
    std::vector<std::string> files;
    for (char const* name :
         {"bambu-multicolor-test-coin.3mf", "orcaslicer-modifierGroup.3mf", "qidi-flowrate-test-pass2.3mf",
          "cura-UMS5_frame.3mf", "cura-old-UM3E_Spacer_V2.3mf"})
    {
        if (boost::filesystem::exists(folder / name))
        {
            files.push_back((folder / name).string());
        }
    }
    if (files.size() != 5)
    {
        SKIP_OR_FAIL_MISSING("slicers' projects beside the checkout (../shared/testdata/realworld)");
    }
    ExpectToolMatchesOracle(files);

    StlRead cura(StringConversion::ConvertMultiByteStringToOndString(files[4]));
    ASSERT_TRUE(cura.ok) << cura.Error();
    ASSERT_EQ(1u, cura.meshes.size());
    EXPECT_NE(std::string::npos, cura.Warnings().find("http://software.ultimaker.com/xml/cura/3mf/2015/10"))
        << cura.Warnings();
}

// Some Cura versions made their own namespace the default and bound "cura"
// to the core: the geometry is read as core, and the warning names the
// namespace that stood in the wrong place.
TEST(SlicerProjects, OldCuraNamespacesReadAsCore)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("cura.3mf");
    std::string const cura = "http://software.ultimaker.com/xml/cura/3mf/2015/10";
    WriteModelPackage(file, "<model unit=\"millimeter\" xmlns=\"" + cura + "\" xmlns:cura=\"" +
                                slicer::kCore + "\"><resources>" + MeshObject(1, BoxMesh(1, 2, 3)) +
                                "</resources><build>" + Item(1) + "</build></model>");
    StlRead read(file);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ("The default namespace " + cura + " stands where the 3MF core namespace belongs; read as " +
                  slicer::kCore + " (in /3D/3dmodel.model)\n",
              read.Warnings());
    ExpectToolMatchesOracle({Utf8(file)});
}

// Parts that name themselves or each other, through items, components and
// slice paths: each part is read once, and a cycle of components fails the
// flattening with a message that names it.
TEST(SlicerProjects, PartsThatNameEachOtherAreReadOnce)
{
    std::string const slices = "http://schemas.microsoft.com/3dmanufacturing/slice/2015/07";
    struct Case
    {
        char const* name;
        std::string root;
        std::string part1; // the content of object_1.model, if any
        std::string part2; // the same of object_2.model
        std::string error; // empty when the read succeeds
        std::size_t related;
    };
    std::vector<Case> const cases = {
        {"item names its own part",
         Part(MeshObject(1, BoxMesh(1, 1, 1)), Item(1, R"(p:path="/3D/3dmodel.model")")), "", "", "", 0},
        {"item names its own part without the slash",
         Part(MeshObject(1, BoxMesh(1, 1, 1)), Item(1, R"(p:path="3D/3dmodel.model")")), "", "", "", 0},
        {"component names its own part",
         Part(MeshObject(1, BoxMesh(1, 1, 1)) + Assembly(2, ComponentElement(1, "/3D/3dmodel.model")),
              Item(2)),
         "", "", "", 0},
        {"a related part names the root and itself",
         Part(Assembly(1, ComponentElement(1, kObject1)), Item(1)),
         Part(MeshObject(1, BoxMesh(1, 1, 1)) + Assembly(2, ComponentElement(1, kObject1)),
              Item(1, R"(p:path="/3D/3dmodel.model")") + Item(2, "p:path=\"" + kObject1 + "\"")),
         "", "", 1},
        {"components cycle through two parts", Part(Assembly(1, ComponentElement(1, kObject1)), Item(1)),
         Part(Assembly(1, ComponentElement(1, "/3D/3dmodel.model"))), "",
         "The components of object 1 of /3D/3dmodel.model form a cycle: object 1 of /3D/3dmodel.model > "
         "object 1 of "
         "/3D/Objects/object_1.model > object 1 of /3D/3dmodel.model.",
         1},
        {"components cycle through two related parts",
         Part(Assembly(1, ComponentElement(2, kObject1)), Item(1)),
         Part(Assembly(2, ComponentElement(3, kObject2))), Part(Assembly(3, ComponentElement(2, kObject1))),
         "The components of object 2 of /3D/Objects/object_1.model form a cycle: object 2 of "
         "/3D/Objects/object_1.model > object 3 of /3D/Objects/object_2.model > object 2 of "
         "/3D/Objects/object_1.model.",
         2},
        {"slice paths name their own and the root part",
         "<model unit=\"millimeter\" xmlns=\"" + slicer::kCore + "\" xmlns:s=\"" + slices +
             "\"><resources><object id=\"1\" s:slicestackid=\"4\" "
             "s:slicepath=\"/3D/3dmodel.model\"><components>"
             "<component objectid=\"1\" path=\"" +
             kObject1 + "\"/></components></object></resources><build>" + Item(1) + "</build></model>",
         "<model unit=\"millimeter\" xmlns=\"" + slicer::kCore + "\" xmlns:s=\"" + slices +
             "\"><resources><object id=\"1\" s:slicestackid=\"4\" s:slicepath=\"" + kObject1 + "\">" +
             BoxMesh(1, 1, 1) + "</object></resources></model>",
         "", "", 1},
    };
    for (Case const& test : cases)
    {
        SCOPED_TRACE(test.name);
        PackageScratch scratch;
        std::wstring const file = scratch.File("cycle.3mf");
        std::vector<std::pair<std::string, std::string>> parts;
        if (!test.part1.empty())
        {
            parts.emplace_back("3D/Objects/object_1.model", test.part1);
        }
        if (!test.part2.empty())
        {
            parts.emplace_back("3D/Objects/object_2.model", test.part2);
        }
        slicer::WriteSlicerPackage(file, test.root, parts);
        StlRead read(file);
        EXPECT_EQ(test.related, read.model.GetModelFiles().size());
        EXPECT_EQ(1u, read.ModelFilesNamed(L"3D/3dmodel.model"));
        if (test.error.empty())
        {
            ASSERT_TRUE(read.ok) << read.Error();
            EXPECT_FALSE(read.meshes.empty());
            ExpectToolMatchesOracle({Utf8(file)});
        }
        else
        {
            EXPECT_FALSE(read.ok);
            EXPECT_EQ(test.error, read.Error());
            EXPECT_TRUE(read.meshes.empty());
        }
    }
}

// An item or component whose object does not exist is left out with a
// warning that names it; everything else imports.
TEST(SlicerProjects, DanglingReferencesAreLeftOutWithAWarning)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("dangling.3mf");
    slicer::WriteSlicerPackage(
        file,
        Part(MeshObject(1, BoxMesh(1, 1, 1)) +
                 Assembly(2, ComponentElement(1, kObject1) + ComponentElement(77, kObject1) +
                                 ComponentElement(1, "/3D/Objects/missing.model")),
             Item(1) + Item(99) + Item(2) + Item(3, "p:path=\"" + kObject1 + "\"")),
        {{"3D/Objects/object_1.model", Part(MeshObject(1, BoxMesh(2, 2, 2)))}});
    StlRead read(file);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_EQ(
        "A build item refers to object 99 of /3D/3dmodel.model, which does not exist; it is left out.\n"
        "A component of object 2 of /3D/3dmodel.model refers to object 77 of /3D/Objects/object_1.model, "
        "which does not exist; it is left out.\n"
        "A component of object 2 of /3D/3dmodel.model refers to object 1 of /3D/Objects/missing.model, "
        "which does not exist; it is left out.\n"
        "A build item refers to object 3 of /3D/Objects/object_1.model, which does not exist; it is left "
        "out.\n",
        read.Warnings());
    ExpectToolMatchesOracle({Utf8(file)});
}

// The limit holds for the whole build, and is checked before anything is
// copied; within it, a hundred thousand copies come out whole.
