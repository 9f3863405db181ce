// Projects as today's slicers save them: components that name objects in
// other model parts, parts that name each other, dangling references, fan-out
// and old Cura namespaces. Geometry is checked against the independent
// expectations of expected_meshes.py.

#include "import/ImportSupport.h"
#include "support/SlicerPackages.h"

#include "format3mf/Exception.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"
#include "stl/BuildFlattening.h"

#include "triangles/MStlBase.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

using namespace Format_3MF;
using slicer::Assembly;
using slicer::BoxMesh;
using slicer::ComponentElement;
using slicer::Part;

namespace
{
std::string const kObject1 = "/3D/Objects/object_1.model";
std::string const kObject2 = "/3D/Objects/object_2.model";

std::string MeshObject(int id, std::string const& content)
{
    return "<object id=\"" + std::to_string(id) + "\" type=\"model\">" + content + "</object>";
}

std::string Item(int id, std::string const& attributes = "")
{
    return "<item objectid=\"" + std::to_string(id) + "\" " + attributes + "/>";
}

std::string Utf8(std::wstring const& text)
{
    return StringConversion::ConvertNativeToUTF8(text);
}

// A read by the model file of plain meshes, as the importer does it, with
// what the context says afterwards.
struct StlRead
{
    ModelFileStlBase model;
    Package package{&model};
    PackageRead reader{&package, PackageReadOptions()};
    bool ok = false;
    std::vector<std::unique_ptr<MStlBase>> meshes;

    explicit StlRead(std::wstring const& file)
    {
        ok = reader.Read(file, nullptr);
        for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
        {
            meshes.emplace_back(model.GetStl(i));
        }
    }

    std::string Error() const
    {
        auto const& errors = reader.GetContext().m_errors;
        return errors.empty() ? std::string() : Utf8(errors.front());
    }

    std::string Warnings() const
    {
        std::string all;
        for (std::wstring const& warning : reader.GetContext().m_warnings)
        {
            all += Utf8(warning) + "\n";
        }
        return all;
    }

    // Model files of the package with that part name (without the leading
    // slash): one for a part read once.
    std::size_t ModelFilesNamed(std::wstring const& name) const
    {
        std::size_t count = 0;
        for (IPackageFile const* file : package.GetPackageFiles())
        {
            if (dynamic_cast<ModelFile const*>(file) != nullptr &&
                file->GetFileNameInPackageWithoutLeadingSlash() == name)
            {
                ++count;
            }
        }
        return count;
    }
};

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

// Each level places the one below `fan` times, side by side.
std::string FanOut(int levels, int fan)
{
    std::string resources = MeshObject(1, BoxMesh(1, 1, 1));
    for (int level = 2; level <= levels + 1; ++level)
    {
        std::string components;
        for (int copy = 0; copy < fan; ++copy)
        {
            components +=
                ComponentElement(level - 1, "", "1 0 0 0 1 0 0 0 1 " + std::to_string(2 * copy) + " 0 0");
        }
        resources += Assembly(level, components);
    }
    return Part(resources, Item(levels + 1));
}
} // namespace

// The slicers' layout imports with the meshes and boxes that the
// independent reading gives, and every part is read once.
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
    ASSERT_EQ(3u, read.meshes.size());
    EXPECT_EQ(16u, read.meshes[0]->GetNumberOfPoints());
    EXPECT_EQ(24u, read.meshes[1]->GetNumberOfTriangles());
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
        GTEST_SKIP() << "the slicers' projects are not beside the checkout (../shared/testdata/realworld)";
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
    ASSERT_EQ(1u, read.meshes.size());
    EXPECT_EQ(12u, read.meshes[0]->GetNumberOfTriangles());
    EXPECT_EQ("The default namespace " + cura + " stands where the 3MF core namespace belongs; read as " +
                  slicer::kCore + "\n",
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
    ASSERT_EQ(2u, read.meshes.size());
    EXPECT_EQ(12u, read.meshes[0]->GetNumberOfTriangles());
    EXPECT_EQ(12u, read.meshes[1]->GetNumberOfTriangles());
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
TEST(SlicerProjects, FanOutWithinAndAboveTheLimit)
{
    PackageScratch scratch;
    std::wstring const within = scratch.File("within.3mf");
    WriteModelPackage(within, FanOut(5, 10));
    StlRead many(within);
    ASSERT_TRUE(many.ok) << many.Error();
    ASSERT_EQ(1u, many.meshes.size());
    EXPECT_EQ(800000u, many.meshes[0]->GetNumberOfPoints());
    EXPECT_EQ(1200000u, many.meshes[0]->GetNumberOfTriangles());

    std::wstring const above = scratch.File("above.3mf");
    WriteModelPackage(above, FanOut(9, 10));
    StlRead refused(above);
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(
        "The build places its objects more often than can be held: more than 134217728 points, triangles or "
        "placed objects.",
        refused.Error());
    EXPECT_TRUE(refused.meshes.empty());

    // A trillion copies of an object without geometry add nothing and cost
    // nothing; a million copies of one triangle at the end of a chain of 200
    // components would cost 200 million steps, and are refused.
    std::wstring const empty = scratch.File("empty.3mf");
    std::string nothing = FanOut(12, 10);
    nothing.replace(nothing.find("<mesh>"), nothing.find("</mesh>") + 7 - nothing.find("<mesh>"), "");
    WriteModelPackage(empty, nothing);
    StlRead none(empty);
    ASSERT_TRUE(none.ok) << none.Error();
    EXPECT_TRUE(none.meshes.empty());
    std::string chain =
        MeshObject(1, "<mesh><vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"1\" y=\"0\" "
                      "z=\"0\"/><vertex x=\"0\" y=\"1\" z=\"0\"/></vertices><triangles><triangle "
                      "v1=\"0\" v2=\"1\" v3=\"2\"/></triangles></mesh>");
    for (int id = 2; id <= 200; ++id)
    {
        chain += Assembly(id, ComponentElement(id - 1));
    }
    for (int level = 201; level <= 206; ++level)
    {
        std::string components;
        for (int copy = 0; copy < 10; ++copy)
        {
            components += ComponentElement(level - 1);
        }
        chain += Assembly(level, components);
    }
    std::wstring const deep = scratch.File("deep.3mf");
    WriteModelPackage(deep, Part(chain, Item(206)));
    StlRead long_chains(deep);
    EXPECT_FALSE(long_chains.ok);
    EXPECT_EQ(refused.Error(), long_chains.Error());

    // Two items of 12,000 triangles each: the limit counts both.
    std::wstring const two = scratch.File("two.3mf");
    std::string model = FanOut(3, 10);
    model.replace(model.find("</build>"), 0, Item(4));
    WriteModelPackage(two, model);
    StlRead read(two);
    ASSERT_TRUE(read.ok) << read.Error();
    std::vector<std::wstring> warnings;
    EXPECT_EQ(2u, FlattenBuild(read.model, 24000, warnings).size());
    EXPECT_THROW(FlattenBuild(read.model, 23999, warnings), Exception);
    EXPECT_TRUE(warnings.empty());
}

// Thousands of part names, each named twice: one model file for each part,
// found again at once rather than by a search through all of them.
TEST(SlicerProjects, ManyPartsAreEachMadeOnce)
{
    PackageScratch scratch;
    std::wstring const file = scratch.File("many.3mf");
    std::string items;
    for (int round = 0; round < 2; ++round)
    {
        for (int part = 0; part < 10000; ++part)
        {
            items += Item(1, "p:path=\"/3D/Objects/part_" + std::to_string(part) + ".model\"");
        }
    }
    WriteModelPackage(file, Part("", items));
    StlRead read(file);
    ASSERT_TRUE(read.ok) << read.Error();
    EXPECT_TRUE(read.meshes.empty());
    EXPECT_EQ(10000u, read.model.GetModelFiles().size());
    EXPECT_EQ(1u, read.ModelFilesNamed(L"3D/Objects/part_9999.model"));
    EXPECT_EQ(20000u, read.reader.GetContext().m_warnings.size());
}
